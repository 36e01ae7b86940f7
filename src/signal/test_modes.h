// test_modes.h (signal) - the baseline reset test, as far as others must know of it.
#pragma once

#include "signal/state.h"

/// Switches the overload signal after the baseline reset test changed state.
void _Baseline1V_CheckedChanged() ZEKA_NEEDS_LOCK;

namespace zeka {
inline constexpr double kOverloadMv = 1000.0;               // of the overload signal, peak to peak
inline constexpr double kOverloadDcMv = -kOverloadMv / 2.0; // with any other function than the sine
} // namespace zeka
