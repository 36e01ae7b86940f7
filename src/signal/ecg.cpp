// ecg.cpp (signal) - the synthetic ECG of functions 7 and 8: straight-line QRS, half-sine P and T, flat ST
// level. The time points follow from the parameters in every apply step; the voltage is asked for once per
// sample. Both run under g_CriticalSection. Breathing (signal/respiration.h) moves beat length, QRS height
// and baseline.
#include "signal/ecg.h"

#include <algorithm>
#include <limits>

#include "signal/generator.h"
#include "signal/numeric.h"
#include "signal/respiration.h"

namespace {

using zeka::fixed_beat::kOnsetS;
namespace qrs = zeka::qrs;

// The QRS complex: up to R, down to S, back to the line, as shares of the QRS duration and heights of the R
// scale.
constexpr double kRiseShare = 0.4375;
constexpr double kFallShare = 0.5;
constexpr double kReturnShare = 0.0625;

// Function 7: fixed timing after the QRS.
constexpr double kFlatStS = 0.07;
constexpr double kTWaveS = 0.18;
constexpr double kShortTWaveS = 0.16;

constexpr double kMinuteS = 60.0;

/// What is left of the fixed timing in a beat too short for all of it: first the ST stretch goes, then part
/// of the T wave, then all of it, at last the QRS itself is cut.
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

/// Function 7 at time t into the beat; a is the R scale.
double FixedBeat(double t, double a) ZEKA_NEEDS_LOCK
{
    if (t < kOnsetS)
        return 0.0;
    if (t < s_t1)
        return qrs::Rise(t, a, kOnsetS, s_t1);
    if (t < s_t2)
        return qrs::Fall(t, a, s_t1, s_t2);
    if (t < s_t3)
        return qrs::Return(t, a, s_t2, s_t3);
    if (t < s_t4)
        return 0.0;
    if (t < s_t5)
        return zeka::fixed_beat::TWave(t, s_t4, g_CusT);
    return 0.0;
}

/// Function 8 at time t into the beat; a is the R scale. The first row that t falls into counts, so a P wave
/// longer than the PR interval is drawn to its end, intervals of negative length are not drawn at all, and no
/// row divides by its length unless it has one.
double AdjustableBeat(double t, double a) ZEKA_NEEDS_LOCK
{
    using namespace zeka::adjustable_beat;
    if (t < s_Cus_t1 && g_PDuration > 0.0) // without a P wave, rounding may still put t just below 0
        return PWave(t, g_PDuration, g_CusP);
    if (t < s_Cus_t2)
        return 0.0;
    if (t < s_Cus_t3)
        return qrs::Rise(t, a, s_Cus_t2, s_Cus_t3);
    if (t < s_Cus_t4)
        return qrs::Fall(t, a, s_Cus_t3, s_Cus_t4);
    if (t < s_Cus_t5)
        return qrs::ReturnToSt(t, a, s_Cus_t4, s_Cus_t5, g_CusST);
    if (t < s_Cus_t6)
        return g_CusST;
    if (!(t < s_Cus_t7))
        return 0.0;
    const double wave = THalfSine(t, s_Cus_t6, s_Cus_t7);
    if (g_CusST != 0.0 && t < s_Cus_t7 - kStRiseEndsBeforeS)
        return g_CusST + (g_CusT - g_CusST) * wave;
    return g_CusT * wave;
}

/// Breathing at the start e of a beat, apnea at the end of each minute included.
double BreathAtBeatStart(double e) ZEKA_NEEDS_LOCK
{
    if (s_OneApneaS == 0.0)
        return _solveRespireVoltage(zeka::TimeInPeriod(e, s_OneRespireS));
    const double in_minute = zeka::TimeInPeriod(e, kMinuteS);
    if (in_minute >= kMinuteS - s_OneApneaS)
        return 0.0;
    return _solveRespireVoltage(zeka::TimeInPeriod(in_minute, s_OneRespireS));
}

/// The beat clock of a heart whose rate breathes. Returns the time since the running beat began.
double AdvanceBeatClock() ZEKA_NEEDS_LOCK
{
    if (g_fOutputTime > s_FreqModEndT) {
        s_FreqModPreEndT = s_FreqModEndT;
        const double rate_hz = g_F + s_FreqModHz * BreathAtBeatStart(s_FreqModEndT);
        // Modulated down to a standstill: this beat has no end.
        s_FreqModEndT += rate_hz != 0.0 ? 1.0 / rate_hz : std::numeric_limits<double>::infinity();
    }
    return g_fOutputTime - s_FreqModPreEndT;
}

/// Slow triangle of the drift test, on the stream's clock: 0, +amplitude/2, -amplitude/2, 0 over one wave
/// length.
double WithDrift(double v) ZEKA_NEEDS_LOCK
{
    const double x = zeka::TimeInPeriod(g_fOutputTime, g_AAMIDriftTestWaveLen);
    if (x < g_AAMIDriftTestWaveLenQuad)
        return zeka::DriftRising(v, x, g_AAMIDriftTestSlope);
    if (x < g_AAMIDriftTestWaveLenQuad3)
        return zeka::DriftFalling(v, x, g_AAMIDriftTestSlope, g_AAMIDriftTestAmp);
    return zeka::DriftReturning(v, x, g_AAMIDriftTestSlope, g_AAMIDriftTestAmp);
}

} // namespace

void _CheckECGTime()
{
    const FittedBeat beat = FitInto(1.0 / g_F, g_QRSDuration / 1000.0);
    const double q = beat.qrs_s;

    s_t1 = kOnsetS + kRiseShare * q;
    s_t2 = s_t1 + kFallShare * q;
    s_t3 = s_t2 + kReturnShare * q;
    s_t4 = s_t3 + beat.flat_st_s;
    s_t5 = s_t4 + beat.t_wave_s;

    // ST segment and T wave share what is left of the QT interval by their weights; nothing may be left.
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

double zeka::EcgVoltage(double t)
{
    double a = s_A;
    double breath = 0.0;
    bool breath_known = false;
    if (s_FreqModHz != 0.0) {
        t = AdvanceBeatClock();
        breath = _solveRespireVoltage(t);
        breath_known = true;
    }
    if (s_AmpModV != 0.0) {
        if (!breath_known)
            breath = _solveRespireV();
        breath_known = true;
        if (breath != 0.0)
            a += s_AmpModV * breath;
    }

    double v = g_MainOutput == 7 ? FixedBeat(t, a) : AdjustableBeat(t, a);

    if (s_BaselineModV != 0.0) {
        if (!breath_known)
            breath = _solveRespireV();
        v += s_BaselineModV * breath;
    }
    if (g_MainNoise != 0)
        v += MainsNoise();
    if (g_AAMIDriftTest)
        v = WithDrift(v);
    return std::clamp(v, -g_fVoltageRange, g_fVoltageRange);
}
