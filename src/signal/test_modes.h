// test_modes.h (signal) - frequency sweeps, baseline reset test and the DC staircase of function 15.
#pragma once

#include "signal/state.h"

/// Once per burst, after it is written: reports the frequency of a running sweep and ends a finished one.
void _UpdateFreqScanIfRequired() ZEKA_NEEDS_LOCK;

/// Switches the overload signal after the baseline reset test changed state.
void _Baseline1V_CheckedChanged() ZEKA_NEEDS_LOCK;

namespace zeka {
/// DC level (mV) of function 15 at the current sample; steps it at every half second and tells the callback.
double InputDynamicRangeDc() ZEKA_NEEDS_LOCK;
/// Ends both sweeps' flags; part of stopping the stream.
void ClearSweepFlags() ZEKA_NEEDS_LOCK;
} // namespace zeka
