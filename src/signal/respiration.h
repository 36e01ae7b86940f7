// respiration.h (signal) - the breathing curve that modulates the synthesised ECG. respiration_commands.cpp
// commands the instrument's own respiration.
#pragma once

#include <cmath>

#include "signal/state.h"

/// The breathing curve, -1 .. 1, at time t (s) into a breath.
double _solveRespireVoltage(double t) ZEKA_NEEDS_LOCK;

/// The breathing curve at the current stream time, apnea included.
double _solveRespireV() ZEKA_NEEDS_LOCK;

namespace zeka {
/// The breathing curve at any stream time (s): breath after breath, 0.0 in the
/// apnea at the end of each minute.
double BreathAt(double time) ZEKA_NEEDS_LOCK;

/// A half sine over one part of the breath; 0.0 for a part without length.
inline double HalfSine(double t, double length)
{
    return length == 0.0 ? 0.0 : std::sin(t * kTwoPi / (2 * length));
}
} // namespace zeka
