// ecg.cpp (signal) - the time points of a beat, derived from the parameters in every apply step, and the ECG
// at one instant: the beat clock, and how breathing changes beat length, QRS height and baseline. Called once
// per sample, under g_CriticalSection.
#include "signal/ecg.h"

#include <limits>

#include "signal/numeric.h"
#include "signal/point_pen.h"
#include "signal/respiration.h"

namespace {

// The QRS complex: up to R, down to S, back to the line, as shares of the QRS
// duration and heights of the R scale.
constexpr double kRiseShare = 0.4375;
constexpr double kFallShare = 0.5;
constexpr double kReturnShare = 0.0625;

// Function 7: fixed timing after the QRS.
constexpr double kFlatStS = 0.07;
constexpr double kTWaveS = 0.18;
constexpr double kShortTWaveS = 0.16;

/// What is left of the fixed timing in a beat too short for all of it. First the ST stretch is dropped, then
/// part of the T wave, then all of it; at last the QRS is cut.
struct FittedBeat {
    double qrs_s, flat_st_s, t_wave_s;
};

FittedBeat FitInto(double beat_s, double qrs_s)
{
    if (!(qrs_s + kFlatStS + kTWaveS > beat_s))
        return {qrs_s, kFlatStS, kTWaveS};
    if (!(qrs_s + kTWaveS > beat_s))
        return {qrs_s, 0.0, kTWaveS};
    if (!(qrs_s + kShortTWaveS > beat_s))
        return {qrs_s, 0.0, kShortTWaveS};
    return {qrs_s > beat_s ? beat_s : qrs_s, 0.0, 0.0};
}

/// Advances the beat clock of a heart rate that follows the breathing. Returns the time
/// since the running beat began, s.
double AdvanceBeatClock() ZEKA_NEEDS_LOCK
{
    if (g_fOutputTime > s_FreqModEndT) {
        s_FreqModPreEndT = s_FreqModEndT;
        const double rate_hz = g_F + s_FreqModHz * zeka::BreathAt(s_FreqModEndT);
        // A rate of 0: this beat has no end.
        s_FreqModEndT += rate_hz != 0.0 ? 1.0 / rate_hz : std::numeric_limits<double>::infinity();
    }
    return g_fOutputTime - s_FreqModPreEndT;
}

} // namespace

void _CheckECGTime()
{
    const FittedBeat beat = FitInto(1.0 / g_F, g_QRSDuration / 1000.0);
    const double q = beat.qrs_s;

    s_t1 = zeka::kFixedQrsOnsetS + kRiseShare * q;
    s_t2 = s_t1 + kFallShare * q;
    s_t3 = s_t2 + kReturnShare * q;
    s_t4 = s_t3 + beat.flat_st_s;
    s_t5 = s_t4 + beat.t_wave_s;

    // ST segment and T wave share the rest of the QT interval by their weights;
    // the rest may be 0 or negative.
    const double rest = g_QTInterval / 1000.0 - q;
    const double st = g_STSegment * rest / (g_STSegment + g_TDuration);
    const double tw = g_TDuration * rest / (g_STSegment + g_TDuration);
    s_Cus_t1 = g_PDuration / 1000.0;
    s_Cus_t2 = s_Cus_t1 + (g_PRInterval - g_PDuration) / 1000.0;
    s_Cus_t3 = s_Cus_t2 + kRiseShare * q;
    s_Cus_t4 = s_Cus_t3 + kFallShare * q;
    s_Cus_t5 = s_Cus_t4 + kReturnShare * q;
    s_Cus_t6 = s_Cus_t5 + st;
    s_Cus_t7 = s_Cus_t6 + tw;
}

[[gnu::flatten]] double zeka::EcgVoltage(double t)
{
    double breath = 0.0;
    if (s_FreqModHz != 0.0) {
        t = AdvanceBeatClock();
        breath = _solveRespireVoltage(t);
    } else if (s_AmpModV != 0.0 || s_BaselineModV != 0.0) {
        breath = _solveRespireV();
    }
    double a = s_A;
    if (s_AmpModV != 0.0 && breath != 0.0)
        a += s_AmpModV * breath;
    PointPen pen(t, g_fOutputTime, a, breath);
    DrawEcg(g_MainOutput, pen);
    return pen.Millivolts();
}
