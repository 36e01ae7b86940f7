// fast_ecg.cpp (stream) - functions 7 and 8 over a run of samples: row by row of the beat instead of sample
// by sample. Runs under g_CriticalSection. The rows are those of signal/ecg.h, which the plain road draws
// with too.
#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "signal/ecg.h"
#include "signal/respiration.h"
#include "stream/fast_signal.h"
#include "stream/fast_words.h"

namespace zeka {
namespace {

/// Draws the rows of one beat, first to last; each begins where the one before ended. `scale(i)` is the R
/// scale.
template <typename Scale> class BeatDrawer {
public:
    BeatDrawer(const SampleRun& run, const RunTimes& times, Scale scale, RunBuffer& mv)
        : run_(run), times_(times), scale_(scale), mv_(mv)
    {
    }

    /// The row formula(t, a) up to the sample at `until`; nothing when that is behind already.
    template <typename Row> void Until(double until, Row row) { To(times_.FirstAt(until, at_), row); }
    template <typename Row> void ToTheEnd(Row row) { To(run_.Count(), row); }

private:
    template <typename Row> void To(int end, Row row)
    {
        const RunTimes times = times_;
        const Scale scale = scale_;
        for (int i = at_; i < end; ++i)
            mv_[static_cast<std::size_t>(i)] = row(times(i), scale(i));
        at_ = end;
    }

    const SampleRun& run_;
    const RunTimes& times_;
    Scale scale_;
    RunBuffer& mv_;
    int at_ = 0;
};

constexpr auto kFlat = [](double, double) { return 0.0; };

template <typename Drawer> void DrawFixedBeat(Drawer beat) ZEKA_NEEDS_LOCK
{
    using fixed_beat::kOnsetS;
    const double r = s_t1, s = s_t2, end = s_t3, t_start = s_t4, height = g_CusT;
    beat.Until(kOnsetS, kFlat);
    beat.Until(r, [r](double t, double a) { return qrs::Rise(t, a, kOnsetS, r); });
    beat.Until(s, [r, s](double t, double a) { return qrs::Fall(t, a, r, s); });
    beat.Until(end, [s, end](double t, double a) { return qrs::Return(t, a, s, end); });
    beat.Until(t_start, kFlat);
    beat.Until(s_t5, [t_start, height](double t, double) { return fixed_beat::TWave(t, t_start, height); });
    beat.ToTheEnd(kFlat);
}

template <typename Drawer> void DrawAdjustableBeat(Drawer beat) ZEKA_NEEDS_LOCK
{
    using namespace adjustable_beat;
    const double onset = s_Cus_t2, r = s_Cus_t3, s = s_Cus_t4, j = s_Cus_t5, t_start = s_Cus_t6,
                 t_end = s_Cus_t7;
    const double p_ms = g_PDuration, p_mv = g_CusP, st = g_CusST, t_mv = g_CusT;
    if (p_ms > 0.0)
        beat.Until(s_Cus_t1, [p_ms, p_mv](double t, double) { return PWave(t, p_ms, p_mv); });
    beat.Until(onset, kFlat);
    beat.Until(r, [onset, r](double t, double a) { return qrs::Rise(t, a, onset, r); });
    beat.Until(s, [r, s](double t, double a) { return qrs::Fall(t, a, r, s); });
    beat.Until(j, [s, j, st](double t, double a) { return qrs::ReturnToSt(t, a, s, j, st); });
    beat.Until(t_start, [st](double, double) { return st; });
    if (st != 0.0)
        beat.Until(t_end - kStRiseEndsBeforeS,
                   [=](double t, double) { return st + (t_mv - st) * THalfSine(t, t_start, t_end); });
    beat.Until(t_end, [=](double t, double) { return t_mv * THalfSine(t, t_start, t_end); });
    beat.ToTheEnd(kFlat);
}

template <typename Scale>
void DrawBeat(const SampleRun& run, const RunTimes& times, Scale scale, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const BeatDrawer<Scale> beat(run, times, scale, mv);
    if (g_MainOutput == 7)
        DrawFixedBeat(beat);
    else
        DrawAdjustableBeat(beat);
}

/// One part of a breath: HalfSine of every sample. The division stands in the loop of the sines, whose
/// latency hides it.
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

/// Breathing at every sample, one by one.
void FillBreathPlainly(const SampleRun& run, const RunTimes& beat_times, RunBuffer& breath) ZEKA_NEEDS_LOCK
{
    const double now = g_fOutputTime;
    for (int i = 0; i < run.Count(); ++i) {
        g_fOutputTime = run.Time(i); // what the curve is drawn over
        breath[static_cast<std::size_t>(i)] =
            s_FreqModHz != 0.0 ? _solveRespireVoltage(beat_times(i)) : _solveRespireV();
    }
    g_fOutputTime = now;
}

/// Breathing at every sample. While the heart rate breathes the curve is drawn over the beat.
void FillBreath(const SampleRun& run, const RunTimes& beat_times, RunBuffer& breath) ZEKA_NEEDS_LOCK
{
    if (!BreathHasParts() || (s_FreqModHz == 0.0 && s_OneApneaS != 0.0))
        FillBreathPlainly(run, beat_times, breath);
    else if (s_FreqModHz != 0.0)
        DrawBreath(run, beat_times, 0, run.Count(), breath);
    else
        DrawBreaths(run, breath);
}

void AddDrift(const SampleRun& run, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double slope = g_AAMIDriftTestSlope, amplitude = g_AAMIDriftTestAmp;
    for (int from = 0; from < run.Count();) {
        const Turn wave = TurnAt(run, g_AAMIDriftTestWaveLen, from);
        const RunTimes x(run, wave.base);
        const int top = std::min(x.FirstAt(g_AAMIDriftTestWaveLenQuad, from), wave.end);
        const int bottom = std::min(x.FirstAt(g_AAMIDriftTestWaveLenQuad3, top), wave.end);
        auto v = mv.begin();
        for (int i = from; i < top; ++i)
            v[i] = DriftRising(v[i], x(i), slope);
        for (int i = top; i < bottom; ++i)
            v[i] = DriftFalling(v[i], x(i), slope, amplitude);
        for (int i = bottom; i < wave.end; ++i)
            v[i] = DriftReturning(v[i], x(i), slope, amplitude);
        from = wave.end;
    }
}

} // namespace

bool LimitEcgRun(SampleRun& run)
{
    if (s_FreqModHz == 0.0)
        return true;
    if (run.Time(0) > s_FreqModEndT)
        return false; // a beat begins: its length is the plain road's business
    const auto time = [&run](int i) { return run.Time(i); };
    const double beyond = std::nextafter(s_FreqModEndT, HUGE_VAL);
    run.Shorten(run.FirstReaching(time, beyond, 0, run.SamplesIn(s_FreqModEndT - run.Time(0))));
    return true;
}

void FillEcg(const SampleRun& run, double base, RunBuffer& mv)
{
    const RunTimes times(run, s_FreqModHz != 0.0 ? s_FreqModPreEndT : base);
    const double a = s_A, height_swing = s_AmpModV, baseline_swing = s_BaselineModV;
    RunBuffer breath;
    if (height_swing != 0.0 || baseline_swing != 0.0)
        FillBreath(run, times, breath);

    if (height_swing == 0.0) {
        DrawBeat(
            run, times, [a](int) { return a; }, mv);
    } else {
        const auto breathing = [a, height_swing, &breath](int i) {
            return a + height_swing * breath[static_cast<std::size_t>(i)];
        };
        DrawBeat(run, times, breathing, mv);
    }
    if (baseline_swing != 0.0)
        for (int i = 0; i < run.Count(); ++i)
            mv[static_cast<std::size_t>(i)] += baseline_swing * breath[static_cast<std::size_t>(i)];
    AddMainsNoise(run, mv);
    if (g_AAMIDriftTest)
        AddDrift(run, mv);

    LimitVoltages(std::span(mv).first(static_cast<std::size_t>(run.Count())), g_fVoltageRange);
}

} // namespace zeka
