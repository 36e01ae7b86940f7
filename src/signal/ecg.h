// ecg.h (signal) - the synthetic ECGs: straight-line QRS, half-sine P and T, flat ST level, and what is added
// to them. One definition for both pens (signal/shapes.h lists what a pen offers). Under g_CriticalSection.
#pragma once

#include <cmath>

#include "signal/functions.h"
#include "signal/mains_noise.h"
#include "signal/state.h"

/// Recomputes the time points of the beat from the parameters and fits them into short beats.
void _CheckECGTime() ZEKA_NEEDS_LOCK;

namespace zeka {

/// The selected ECG at time t (s) within the period with everything that is added to it, limited, mV.
double EcgVoltage(double t) ZEKA_NEEDS_LOCK;

inline constexpr double kFixedQrsOnsetS = 0.01; // of every function but the adjustable ECG

/// The QRS complex of both functions: up to R, down to S.
inline constexpr double kRHeight = 0.875; // of the R scale
inline constexpr double kSDepth = 0.125;

// Formulas of the beats: t in s from the start of the beat, a the R scale in mV.

template <typename Pen> bool DrawRAndS(Pen& pen, double onset, double r_peak, double s_trough)
{
    return pen.Until(r_peak,
                     [=](double t, double a) { return kRHeight * a * (t - onset) / (r_peak - onset); }) ||
           pen.Until(s_trough,
                     [=](double t, double a) { return a * (kRHeight - (t - r_peak) / (s_trough - r_peak)); });
}

template <typename Pen> void DrawFixedBeat(Pen& pen) ZEKA_NEEDS_LOCK
{
    constexpr double kTWavePeriodS = 0.36;
    const double s_trough = s_t2, qrs_end = s_t3, t_start = s_t4, t_mv = g_CusT;
    const auto line = [](double, double) { return 0.0; };
    const auto back_to_line = [=](double t, double a) {
        return a * (kSDepth * (t - s_trough) / (qrs_end - s_trough) - kSDepth);
    };
    const auto t_wave = [=](double t, double) {
        return t_mv * std::sin(kTwoPi * (t - t_start) / kTWavePeriodS);
    };

    pen.Until(kFixedQrsOnsetS, line) ||                    //
        DrawRAndS(pen, kFixedQrsOnsetS, s_t1, s_trough) || //
        pen.Until(qrs_end, back_to_line) ||                //
        pen.Until(t_start, line) ||                        //
        pen.Until(s_t5, t_wave) ||                         //
        pen.ToTheEnd(line);
}

/// Each piece begins where the one before ended: a P wave longer than the PR interval is drawn to its end,
/// and intervals of negative length are not drawn. So no formula divides by a length of zero.
template <typename Pen> void DrawAdjustableBeat(Pen& pen) ZEKA_NEEDS_LOCK
{
    // The T wave has left the ST level this far before its end.
    constexpr double kStRiseEndsBeforeS = 0.09;
    const double onset = s_Cus_t2, s_trough = s_Cus_t4, j_point = s_Cus_t5, t_start = s_Cus_t6,
                 t_end = s_Cus_t7;
    const double p_ms = g_PDuration, p_mv = g_CusP, st_mv = g_CusST, t_mv = g_CusT;
    const auto line = [](double, double) { return 0.0; };
    const auto p_wave = [=](double t, double) { return p_mv * std::sin(kTwoPi * t / (0.002 * p_ms)); };
    const auto to_st_level = [=](double t, double a) {
        return (t - s_trough) * (a / 8.0 + st_mv) / (j_point - s_trough) - a / 8.0;
    };
    const auto st_level = [=](double, double) { return st_mv; };
    const auto half_sine = [=](double t) {
        return std::sin(kTwoPi * (t - t_start) / (2.0 * (t_end - t_start)));
    };
    const auto t_wave_from_st = [=](double t, double) { return st_mv + (t_mv - st_mv) * half_sine(t); };
    const auto t_wave = [=](double t, double) { return t_mv * half_sine(t); };

    (p_ms > 0.0 && pen.Until(s_Cus_t1, p_wave)) || // rounding may put t just below 0 where there is no P wave
        pen.Until(onset, line) || DrawRAndS(pen, onset, s_Cus_t3, s_trough) ||
        pen.Until(j_point, to_st_level) || pen.Until(t_start, st_level) ||
        (st_mv != 0.0 && pen.Until(t_end - kStRiseEndsBeforeS, t_wave_from_st)) || pen.Until(t_end, t_wave) ||
        pen.ToTheEnd(line);
}

/// Adds the slow triangle of the drift test to v: 0, +amplitude/2, -amplitude/2, 0. x is the
/// time within its wave length.
template <typename Pen> void AddDrift(Pen& pen) ZEKA_NEEDS_LOCK
{
    const double slope = g_AAMIDriftTestSlope, amplitude = g_AAMIDriftTestAmp;
    const double top = g_AAMIDriftTestWaveLenQuad, bottom = g_AAMIDriftTestWaveLenQuad3;
    pen.AlongWave(g_AAMIDriftTestWaveLen, [=](auto& wave) {
        wave.Until(top, [=](double v, double x) { return v + slope * x; }) ||
            wave.Until(bottom, [=](double v, double x) { return v - slope * x + amplitude; }) ||
            wave.ToTheEnd([=](double v, double x) { return v + slope * x - 2.0 * amplitude; });
    });
}

/// Draws a beat with breathing on its baseline, mains noise and drift, limited. The pen holds the R scale and
/// the breathing of each sample.
template <typename Pen> void DrawEcg(int function, Pen& pen) ZEKA_NEEDS_LOCK
{
    if (function == ZEKA_FUNCTION_FIXED_ECG)
        DrawFixedBeat(pen);
    else
        DrawAdjustableBeat(pen);
    if (s_BaselineModV != 0.0)
        pen.AddBreath(s_BaselineModV);
    AddMainsNoise(pen);
    if (g_AAMIDriftTest)
        AddDrift(pen);
    pen.Limit(g_fVoltageRange);
}

} // namespace zeka
