// sweep.h (signal) - frequency sweeps of the sine and of the ECG: what the stream and the apply step call.
#pragma once

#include "signal/state.h"

/// Once per burst, after it is written: reports the frequency of a running sweep and ends a finished one.
void _UpdateFreqScanIfRequired() ZEKA_NEEDS_LOCK;

namespace zeka {
/// Clears both sweeps' flags; part of stopping the stream.
void ClearSweepFlags() ZEKA_NEEDS_LOCK;
} // namespace zeka
