// scaling.cpp (stream) - converts millivolts to the words of the instrument: DC code, AC word, AC
// attenuation. Every producer of samples uses it: the stream, the silent burst, the upload.
#include "stream/scaling.h"

#include <algorithm>

namespace {

constexpr double kDcLimitMv = 1000.0;
constexpr double kDcSpanMv = 2000.0;
constexpr double kDcCodes = 65535.0;
constexpr std::uint16_t kDcZero = 32768;

/// The instrument's respiration stage loads the AC channel, depending on its baseline impedance.
struct Attenuation {
    int ohms;
    double factor;
};
constexpr Attenuation kAttenuations[] = {
    {500, 2.873}, {1000, 7.827}, {1500, 13.134}, {2000, 17.92}, {2500, 22.9}};

} // namespace

std::uint16_t ECG_DC_VoltageToDAC(double millivolts)
{
    if (millivolts != millivolts)
        return kDcZero;
    const double v = std::clamp(millivolts, -kDcLimitMv, kDcLimitMv);
    return static_cast<std::uint16_t>(0.5 + (v + kDcLimitMv) / kDcSpanMv * kDcCodes);
}

double GetAttenuation()
{
    if (!g_RespirationEnabled)
        return 1.0;
    for (const Attenuation& entry : kAttenuations)
        if (entry.ohms == g_nRespirationResistance)
            return entry.factor;
    return 1.0;
}

std::int16_t zeka::AcWord(double counts) noexcept
{
    if (counts != counts)
        return 0;
    return static_cast<std::int16_t>(std::clamp(counts, kAcWordLow, kAcWordHigh));
}
