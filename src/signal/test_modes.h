// test_modes.h (signal) - the part of the baseline reset test that other files use.
#pragma once

#include "signal/state.h"

/// Sets frequency and amplitude of the overload signal after the baseline reset test has changed its state.
void _Baseline1V_CheckedChanged() ZEKA_NEEDS_LOCK;

namespace zeka {
inline constexpr double kOverloadMv = 1000.0;               // of the overload signal, peak to peak
inline constexpr double kOverloadDcMv = -kOverloadMv / 2.0; // with any other function than the sine
} // namespace zeka
