// fast_signal.h (stream) - the main voltage of a whole run of samples: the shapes of the signal, with
// everything constant taken out of the loops. The plain path stays the definition; a test compares the two.
#pragma once

#include "signal/state.h"
#include "stream/fast_words.h"
#include "stream/sample_run.h"

namespace zeka {

/// Shortens the run to what the fast path can do at once: one period, one beat, no end of
/// playback. An empty run means that the next sample takes the plain path. `base` becomes the
/// stream time at which the period began.
void LimitRun(SampleRun& run, double& base) ZEKA_NEEDS_LOCK;

/// Main voltage of every sample of a limited run, mV.
void FillMainVoltage(const SampleRun& run, double base, RunBuffer& mv) ZEKA_NEEDS_LOCK;

/// DC channel of raw data for every sample of a limited run, as DC words.
void FillRawDcWords(const SampleRun& run, double base, WordBuffer& words) ZEKA_NEEDS_LOCK;

/// The ECGs, fast_ecg.cpp.
[[nodiscard]] bool LimitEcgRun(SampleRun& run) ZEKA_NEEDS_LOCK;
void FillEcg(const SampleRun& run, double base, RunBuffer& mv) ZEKA_NEEDS_LOCK;

} // namespace zeka
