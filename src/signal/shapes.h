// shapes.h (signal) - the definition of the signal: what every output function draws, but for the ECGs
// (signal/ecg.h). A shape is drawn in pieces, first to last, by one of two pens. The pen of the plain path
// draws one instant (signal/point_pen.h), the pen of the fast path a run of samples (stream/run_pen.h). Both
// evaluate the same formulas in double and in the order in which they stand, so the words sent are
// reproducible to the bit. Called under g_CriticalSection; allocates nothing, blocks nowhere.
//
// What a pen offers to a shape:
//   Until(bound, formula)           draws formula(t) from the end of the piece before up to `bound` (s)
//   ToTheEnd(formula)               draws the rest of the period
//   Held(rate, lookup, raw, count)  draws lookup(t), which changes at most `rate` times a second; `raw`,
//                                   unless null, holds what lookup(t) finds for indexes 0 .. count - 1
//   Ramp(level, step)               adds step to level for each sample and draws level
//   AddSine(amplitude, w)           adds amplitude * sin(w * stream time)
//   AddRandom(amplitude, largest)   adds a value of rand(), at most `largest`, scaled to +- amplitude
//   Limit(limit)                    limits everything to -limit .. limit
//   StreamTime()                    stream time of the (first) sample, s
// Formulas that take the R scale too, AlongWave and AddBreath are for the beats alone.
#pragma once

#include <cmath>

#include "signal/file_playback.h"
#include "signal/functions.h"
#include "signal/mains_noise.h"
#include "signal/staircase.h"
#include "signal/standard_waveforms.h"
#include "signal/state.h"
#include "signal/tables/tables.h"

namespace zeka {

/// A formula in two steps. A pen that fills a run computes all arguments first, because products are vector
/// code and calls of a curve are not.
template <typename Argument, typename Curve> struct InTwoSteps {
    Argument argument;
    Curve curve;
    double operator()(double t) const { return curve(argument(t)); }
};

struct Flat {
    double mv;
    double operator()(double) const { return mv; }
};

/// Argument of a sine of this frequency, t seconds into its period.
inline double SineArgument(double hz, double t) { return hz * kTwoPi * t; }

template <typename Pen> void DrawSine(Pen& pen) ZEKA_NEEDS_LOCK
{
    const double hz = g_F, a = s_A;
    const auto argument = [hz](double t) { return SineArgument(hz, t); };
    const auto curve = [a](double x) { return a * std::sin(x); };
    pen.ToTheEnd(InTwoSteps<decltype(argument), decltype(curve)>{argument, curve});
}

/// The sine of the dynamic range test, on the stream's own clock, added to triangle and square.
template <typename Pen> void AddDynamicRangeSine(Pen& pen) ZEKA_NEEDS_LOCK
{
    constexpr double kLimitMv = 5.0;
    if (!g_DynamicRangeTest)
        return;
    pen.AddSine(g_ADynamicRange / 2.0, g_FDynamicRange * kTwoPi);
    pen.Limit(kLimitMv);
}

template <typename Pen> void DrawTriangle(Pen& pen) ZEKA_NEEDS_LOCK
{
    const double a = s_A, period = g_fTimePeriod;
    const double k = 4.0 * a / period;
    pen.Until(0.25 * period, [k](double t) { return k * t; }) ||
        pen.Until(0.75 * period, [k, a](double t) { return 2.0 * a - k * t; }) ||
        pen.ToTheEnd([k, a](double t) { return k * t - 4.0 * a; });
    AddDynamicRangeSine(pen);
}

template <typename Pen> void DrawSquare(Pen& pen) ZEKA_NEEDS_LOCK
{
    pen.Until(g_fTimePeriod / 2.0, Flat{s_A}) || pen.ToTheEnd(Flat{-s_A});
    AddDynamicRangeSine(pen);
}

template <typename Pen> void DrawRectangularPulse(Pen& pen) ZEKA_NEEDS_LOCK
{
    pen.Until(s_PW, Flat{2.0 * s_A}) || pen.ToTheEnd(Flat{0.0});
}

/// Starts late while pacing, to make room for the pacing pulse.
template <typename Pen> void DrawTriangularPulse(Pen& pen) ZEKA_NEEDS_LOCK
{
    const double a = s_A, start = s_PacDelayTP, width = s_PW;
    const double k = 4.0 * a / width;
    pen.Until(start, Flat{0.0}) ||
        pen.Until(start + width / 2.0, [k, start](double t) { return (t - start) * k; }) ||
        pen.Until(start + width, [k, start, a](double t) { return 4.0 * a - (t - start) * k; }) ||
        pen.ToTheEnd(Flat{0.0});
}

inline constexpr double kDecayS = 0.05; // time constant of both exponentials

template <typename Pen> void DrawExponential(Pen& pen) ZEKA_NEEDS_LOCK
{
    const double height = 2.0 * s_A;
    pen.ToTheEnd([height](double t) { return height * std::exp(-t / kDecayS); });
}

template <typename Pen> void DrawBiphasicExponential(Pen& pen) ZEKA_NEEDS_LOCK
{
    constexpr double kSecondPulseS = 0.5;
    const double a = s_A;
    pen.Until(kSecondPulseS, [a](double t) { return a * std::exp(-t / kDecayS); }) ||
        pen.ToTheEnd([a](double t) { return -a * std::exp(-(t - kSecondPulseS) / kDecayS); });
}

/// Draws a standard waveform.
template <typename Pen, typename Lookup> void DrawTable(Pen& pen, double rate, Lookup lookup)
{
    pen.Held(rate, lookup, nullptr, 0);
}

template <typename Pen> void DrawRecording(Pen& pen) ZEKA_NEEDS_LOCK
{
    pen.Held(ECGFileFreq, FileVoltageAt, ECGFileUnitMV ? ECGFile : nullptr, ECGFileSize);
}

/// Draws any function but the ECGs; 0.0 mV for a number that is none.
template <typename Pen> void Draw(int function, Pen& pen) ZEKA_NEEDS_LOCK
{
    switch (function) {
    case ZEKA_FUNCTION_SINE:
        return DrawSine(pen);
    case ZEKA_FUNCTION_TRIANGLE:
        return DrawTriangle(pen);
    case ZEKA_FUNCTION_SQUARE:
        return DrawSquare(pen);
    case ZEKA_FUNCTION_RECTANGULAR_PULSE:
        return DrawRectangularPulse(pen);
    case ZEKA_FUNCTION_TRIANGULAR_PULSE:
        return DrawTriangularPulse(pen);
    case ZEKA_FUNCTION_EXPONENTIAL:
        return DrawExponential(pen);
    case ZEKA_FUNCTION_BIPHASIC_EXPONENTIAL:
        return DrawBiphasicExponential(pen);
    case ZEKA_FUNCTION_IEC60601_2_27:
        return DrawTable(pen, wave227::kRateHz, Wave227At);
    case ZEKA_FUNCTION_IEC60601_2_51:
        return DrawTable(pen, wave251::kRateHz, Wave251At);
    case ZEKA_FUNCTION_IEC60601_2_47:
        return DrawTable(pen, pattern247::kRateHz, Wave247At);
    case ZEKA_FUNCTION_ANE20000:
        DrawTable(pen, ane20000::kRateHz, Ane20000At);
        return AddMainsNoise(pen);
    case ZEKA_FUNCTION_RECORDING:
    case ZEKA_FUNCTION_RAW_DATA:
        return DrawRecording(pen);
    case ZEKA_FUNCTION_INPUT_DYNAMIC_RANGE:
        return DrawStaircase(pen);
    default:
        pen.ToTheEnd(Flat{0.0});
    }
}

} // namespace zeka
