// file_playback.cpp (signal) - the loaded recording, sample and hold: each sample is held until the next one.
// Called once per sample under g_CriticalSection, which also guards the exchange of the arrays.
#include "signal/file_playback.h"

#include "signal/numeric.h"

namespace {

constexpr double kMicrovoltsPerMillivolt = 1000.0;

double HeldSample(const double* samples, std::int32_t count, double t) ZEKA_NEEDS_LOCK
{
    if (samples == nullptr || count <= 0)
        return 0.0;
    // Rounding can bring the position to the sample count at the end of the period.
    const double value = samples[zeka::HeldIndex(ECGFileFreq * t, count)];
    return value / (ECGFileUnitMV ? 1.0 : kMicrovoltsPerMillivolt);
}

} // namespace

namespace zeka {

double FileVoltageAt(double t) { return HeldSample(ECGFile, ECGFileSize, t); }

double FileDcVoltageAt(double t) { return HeldSample(g_DcRawData, dc_raw_size, t); }

} // namespace zeka
