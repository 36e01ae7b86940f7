// fast_ecg.cpp (stream) - the ECGs over a run of samples: first the breathing of the whole run, then the beat
// of signal/ecg.h, piece by piece. Runs under g_CriticalSection.
#include <algorithm>
#include <cmath>
#include <limits>

#include "signal/ecg.h"
#include "signal/respiration.h"
#include "stream/fast_signal.h"
#include "stream/run_pen.h"

namespace zeka {
namespace {

/// One part of a breath: HalfSine of every sample. The division is in the loop of the
/// sines, whose latency hides it.
template <typename Time>
void DrawHalfSine(Time time, double length, double sign, int from, int end, RunBuffer& breath)
{
    if (length == 0.0) {
        std::fill(breath.begin() + from, breath.begin() + end, sign * 0.0);
        return;
    }
    for (int i = from; i < end; ++i)
        breath[static_cast<std::size_t>(i)] = time(i) * kTwoPi;
    const double d = 2 * length;
    for (int i = from; i < end; ++i)
        breath[static_cast<std::size_t>(i)] = sign * std::sin(breath[static_cast<std::size_t>(i)] / d);
}

/// The breathing curve from sample `from` to `end`, where time(i) is the rising time into one breath.
template <typename Time>
void DrawBreath(const SampleRun& run, Time time, int from, int end, RunBuffer& breath) ZEKA_NEEDS_LOCK
{
    const double inhale_s = s_InhaleS, exhale_s = s_ExhaleS;
    const auto exhaling = [time, inhale_s](int i) { return time(i) - inhale_s; };
    const auto first_beyond = [&run, from, end](auto quantity, double last, int at) {
        const double guess = from + run.SamplesIn(last - quantity(from));
        return std::min(run.FirstReaching(quantity, std::nextafter(last, HUGE_VAL), at, guess), end);
    };
    const int turn = first_beyond(time, inhale_s, from);
    const int rest = first_beyond(exhaling, exhale_s, turn);
    DrawHalfSine(time, inhale_s, 1.0, from, turn, breath);
    DrawHalfSine(exhaling, exhale_s, -1.0, turn, rest, breath);
    for (int i = rest; i < end; ++i)
        breath[static_cast<std::size_t>(i)] = 0.0;
}

/// Breaths without a break.
void DrawBreaths(const SampleRun& run, RunBuffer& breath) ZEKA_NEEDS_LOCK
{
    for (int from = 0; from < run.Count();) {
        const Turn turn = TurnAt(run, s_OneRespireS, from);
        DrawBreath(run, RunTimes(run, turn.base), from, turn.end, breath);
        from = turn.end;
    }
}

/// Whether the curve is made of an inspiration, an expiration and a rest that follow each other in time.
bool BreathHasParts() ZEKA_NEEDS_LOCK
{
    return s_InhaleS >= 0.0 && s_ExhaleS >= 0.0 && s_OneRespireS > 0.0 &&
           s_OneRespireS <= std::numeric_limits<double>::max();
}

/// Breathing at every sample, computed one by one.
void FillBreathPlainly(const SampleRun& run, const RunTimes& beat_times, RunBuffer& breath) ZEKA_NEEDS_LOCK
{
    for (int i = 0; i < run.Count(); ++i)
        breath[static_cast<std::size_t>(i)] =
            s_FreqModHz != 0.0 ? _solveRespireVoltage(beat_times(i)) : BreathAt(run.Time(i));
}

/// Breathing at every sample. While the heart rate breathes, the curve runs on the time within the beat.
void FillBreath(const SampleRun& run, const RunTimes& beat_times, RunBuffer& breath) ZEKA_NEEDS_LOCK
{
    if (!BreathHasParts() || (s_FreqModHz == 0.0 && s_OneApneaS != 0.0))
        FillBreathPlainly(run, beat_times, breath);
    else if (s_FreqModHz != 0.0)
        DrawBreath(run, beat_times, 0, run.Count(), breath);
    else
        DrawBreaths(run, breath);
}

} // namespace

bool LimitEcgRun(SampleRun& run)
{
    if (s_FreqModHz == 0.0)
        return true;
    if (run.Time(0) > s_FreqModEndT)
        return false; // a beat begins: the plain path computes its length
    const auto time = [&run](int i) { return run.Time(i); };
    const double beyond = std::nextafter(s_FreqModEndT, HUGE_VAL);
    run.Shorten(run.FirstReaching(time, beyond, 0, run.SamplesIn(s_FreqModEndT - run.Time(0))));
    return true;
}

void FillEcg(const SampleRun& run, double base, RunBuffer& mv)
{
    const double beat_base = s_FreqModHz != 0.0 ? s_FreqModPreEndT : base;
    const double a = s_A, height_swing = s_AmpModV;
    RunBuffer breath;
    if (height_swing != 0.0 || s_BaselineModV != 0.0)
        FillBreath(run, RunTimes(run, beat_base), breath);

    if (height_swing == 0.0) {
        RunPen pen(
            run, beat_base, mv, [a](int) { return a; }, &breath);
        return DrawEcg(g_MainOutput, pen);
    }
    const auto breathing = [a, height_swing, &breath](int i) {
        return a + height_swing * breath[static_cast<std::size_t>(i)];
    };
    RunPen pen(run, beat_base, mv, breathing, &breath);
    DrawEcg(g_MainOutput, pen);
}

} // namespace zeka
