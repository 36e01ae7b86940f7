// file_playback.h (signal) - the loaded recording at a time within the period (functions 14 and 18).
#pragma once

#include "signal/state.h"

namespace zeka {
/// AC sample (mV) at time t (s) within the period, behind the end the last one; 0.0 when nothing is loaded.
double FileVoltageAt(double t) ZEKA_NEEDS_LOCK;
/// DC sample (mV) of function 18 at time t (s); 0.0 when no DC channel is loaded.
double FileDcVoltageAt(double t) ZEKA_NEEDS_LOCK;
} // namespace zeka
