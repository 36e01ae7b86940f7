// respiration.cpp - the breathing curve that modulates the synthesised ECG, and its settings. The curve is
// evaluated up to twice per sample under g_CriticalSection. respiration_commands.cpp commands the respiration
// that the instrument itself produces; applications normally use both together.
#include "signal/respiration.h"

#include "link/serial_link.h"
#include "signal/frame.h"
#include "signal/numeric.h"

namespace zeka {
namespace {

constexpr double kMinuteS = 60.0;

} // namespace
} // namespace zeka

double _solveRespireVoltage(double t)
{
    if (t <= s_InhaleS)
        return zeka::HalfSine(t, s_InhaleS);
    const double u = t - s_InhaleS;
    if (u <= s_ExhaleS)
        return -zeka::HalfSine(u, s_ExhaleS);
    return 0.0;
}

double zeka::BreathAt(double time)
{
    if (s_OneApneaS == 0.0)
        return _solveRespireVoltage(TimeInPeriod(time, s_OneRespireS));
    const double in_minute = TimeInPeriod(time, kMinuteS);
    if (in_minute >= kMinuteS - s_OneApneaS)
        return 0.0;
    return _solveRespireVoltage(TimeInPeriod(in_minute, s_OneRespireS));
}

double _solveRespireV() { return zeka::BreathAt(g_fOutputTime); }

int SetRespireAlgorithmParam(int breathsPerMinute, int ratio, int apneaSeconds, int baselinePercent,
                             int amplitudePercent, int ratePercent)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return 0;

    const double parts = static_cast<double>(ratio);
    if (breathsPerMinute == 0 || ratio == 0 || ratio == -1) {
        s_OneRespireS = s_ExhaleS = s_InhaleS = 0.0; // no breath: the curve stays flat
    } else {
        s_OneRespireS = zeka::kMinuteS / breathsPerMinute;
        s_ExhaleS = s_OneRespireS * parts / (parts + 1);
        s_InhaleS = s_ExhaleS / parts;
    }
    s_OneApneaS = apneaSeconds < 0 ? 0.0 : apneaSeconds;
    s_BaselineModV = g_Amplitude * baselinePercent / 100.0;
    s_AmpModV = g_Amplitude * amplitudePercent / 100.0;
    if (ratePercent != 0) {
        s_FreqModHz = g_F * ratePercent / 100.0;
        // A new beat begins now, with the length of the running period.
        s_FreqModPreEndT = g_fOutputTime;
        s_FreqModEndT = g_fOutputTime + g_fTimePeriod;
    } else {
        s_FreqModHz = 0.0;
    }
    return 1;
}
