// generator.h (signal) - the main (AC) output voltage of the selected function at one instant.
#pragma once

#include "signal/state.h"

/// Main output voltage in mV at time t (s, 0 <= t < g_fTimePeriod) within the period; 0.0 for a number that
/// is no function. Called for every sample; allocates nothing, blocks nowhere.
double _GetMainFunctionVoltage(double t) ZEKA_NEEDS_LOCK;
