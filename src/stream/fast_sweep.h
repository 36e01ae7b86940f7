// fast_sweep.h (stream) - the main voltage while a frequency sweep runs.
#pragma once

#include "stream/fast_words.h"

namespace zeka {

/// Whether the sweep of the selected function has a fast path: only the sine's and the ECGs' have.
[[nodiscard]] bool CanSweepFast() ZEKA_NEEDS_LOCK;

/// Main voltage of the next `count` samples, mV. Advances frequency, period and both clocks.
void SweepMainVoltage(int count, RunBuffer& mv) ZEKA_NEEDS_LOCK;

} // namespace zeka
