// fast_signal.h (stream) - the main voltage of a whole run of samples: the generator's formulas with
// everything taken out of the loop that does not move. The plain generator stays the definition; a test holds
// the two together.
#pragma once

#include <array>
#include <cstdint>

#include "signal/numeric.h"
#include "signal/state.h"
#include "stream/burst.h"
#include "stream/sample_run.h"

namespace zeka {

using RunBuffer = std::array<double, kBurstSamples>;

/// Cuts the run to what one pass of the fast generator can do: one period, one beat, no end of playback. An
/// empty run means that the next sample is one for the plain road. `base` becomes the stream time at which
/// the period began.
void LimitRun(SampleRun& run, double& base) ZEKA_NEEDS_LOCK;

/// Main voltage of every sample of a limited run, mV.
void FillMainVoltage(const SampleRun& run, double base, RunBuffer& mv) ZEKA_NEEDS_LOCK;

/// DC channel of raw data (function 18) for every sample of a limited run, as DC words.
void FillRawDcWords(const SampleRun& run, double base,
                    std::array<std::uint16_t, kBurstSamples>& words) ZEKA_NEEDS_LOCK;

/// Functions 7 and 8, fast_ecg.cpp.
[[nodiscard]] bool LimitEcgRun(SampleRun& run) ZEKA_NEEDS_LOCK;
void FillEcg(const SampleRun& run, double base, RunBuffer& mv) ZEKA_NEEDS_LOCK;

/// Adds the mains noise of every sample.
void AddMainsNoise(const SampleRun& run, RunBuffer& mv) ZEKA_NEEDS_LOCK;

/// Calls fill(i, end) once for every stretch of samples for which trunc(rate * time) stays the same.
template <typename Fill> void ForEachHeld(const SampleRun& run, const RunTimes& times, double rate, Fill fill)
{
    const auto position = [&times, rate](int i) { return rate * times(i); };
    for (int i = 0; i < run.Count();) {
        const double whole = Trunc(position(i));
        const double guess = i + run.SamplesIn((whole + 1.0) / rate - times(i));
        const int end = run.FirstReaching(position, whole + 1.0, i + 1, guess);
        fill(i, end);
        i = end;
    }
}

} // namespace zeka
