// ecg.h (signal) - the synthetic ECG of functions 7 and 8: time points of the beat and its voltage.
#pragma once

#include <cmath>

#include "signal/state.h"

/// Recomputes the time points of the beat from the parameters, fitting them into short beats.
void _CheckECGTime() ZEKA_NEEDS_LOCK;

namespace zeka {

/// Functions 7 and 8 at time t (s) within the period, everything added and limited, mV.
double EcgVoltage(double t) ZEKA_NEEDS_LOCK;

// The rows of a beat, each drawn between its two time points; t in s from the start of the beat, a the R
// scale in mV. The plain road picks the row of one sample, the fast road draws a row for a stretch of
// samples: one formula for both.

/// The QRS complex, the same in both functions: up to R, down to S.
namespace qrs {
inline constexpr double kRHeight = 0.875; // of the R scale
inline constexpr double kSDepth = 0.125;

inline double Rise(double t, double a, double onset, double r_peak)
{
    return kRHeight * a * (t - onset) / (r_peak - onset);
}
inline double Fall(double t, double a, double r_peak, double s_trough)
{
    return a * (kRHeight - (t - r_peak) / (s_trough - r_peak));
}
/// From the S trough back to the line (function 7).
inline double Return(double t, double a, double s_trough, double end)
{
    return a * (kSDepth * (t - s_trough) / (end - s_trough) - kSDepth);
}
/// From the S trough to the ST level (function 8).
inline double ReturnToSt(double t, double a, double s_trough, double j_point, double st)
{
    return (t - s_trough) * (a / 8.0 + st) / (j_point - s_trough) - a / 8.0;
}
} // namespace qrs

namespace fixed_beat { // function 7
inline constexpr double kOnsetS = 0.01;

inline double TWave(double t, double start, double height)
{
    return height * std::sin(kTwoPi * (t - start) / 0.36);
}
} // namespace fixed_beat

namespace adjustable_beat { // function 8
inline constexpr double kStRiseEndsBeforeS =
    0.09; // the T wave leaves the ST level for good this far before its end

inline double PWave(double t, double duration_ms, double height)
{
    return height * std::sin(kTwoPi * t / (0.002 * duration_ms));
}
/// The T wave's half sine, without its height.
inline double THalfSine(double t, double start, double end)
{
    return std::sin(kTwoPi * (t - start) / (2.0 * (end - start)));
}
} // namespace adjustable_beat

/// Slow triangle of the drift test on top of v; x is the time within its wave length.
inline double DriftRising(double v, double x, double slope) { return v + slope * x; }
inline double DriftFalling(double v, double x, double slope, double amplitude)
{
    return v - slope * x + amplitude;
}
inline double DriftReturning(double v, double x, double slope, double amplitude)
{
    return v + slope * x - 2.0 * amplitude;
}

} // namespace zeka
