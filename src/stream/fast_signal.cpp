// fast_signal.cpp (stream) - the generator's functions over a whole run of samples, but for the ECGs.
// Runs under g_CriticalSection, once or a few times per burst. Every expression is the generator's, evaluated
// in the same order on the same doubles; only what is the same for all samples of the run is computed once.
#include "stream/fast_signal.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <span>

#include "signal/file_playback.h"
#include "signal/generator.h"
#include "signal/standard_waveforms.h"
#include "stream/fast_words.h"
#include "stream/sample_stream.h"
#include "util/peek.h"

namespace zeka {
namespace {

constexpr double kStaircaseStartS = 20.0;
constexpr double kStaircaseTurnS = 620.0;
constexpr double kStaircaseEndS = 1220.0;
constexpr double kStairS = 0.5;
constexpr double kNearStairS =
    0.0005; // the stairs and what is told of them lie within this of a whole half second

constexpr bool IsStandardWaveform(int function)
{
    return function == 9 || function == 10 || function == 16 || function == 17;
}
constexpr bool IsFile(int function) { return function == 14 || function == 18; }
constexpr bool IsEcg(int function) { return function == 7 || function == 8; }

/// mv[from .. to) = f(time of the sample).
template <typename Formula> inline void Fill(RunBuffer& mv, RunTimes t, int from, int to, Formula formula)
{
    for (int i = from; i < to; ++i)
        mv[static_cast<std::size_t>(i)] = formula(t(i));
}

inline void FillFlat(RunBuffer& mv, int from, int to, double value)
{
    if (from < to)
        std::fill_n(mv.begin() + from, to - from, value);
}

void FillSine(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double w = g_F * kTwoPi;
    Fill(mv, times, 0, run.Count(), [w](double t) { return w * t; });
    const double a = s_A;
    for (int i = 0; i < run.Count(); ++i)
        mv[static_cast<std::size_t>(i)] = a * std::sin(mv[static_cast<std::size_t>(i)]);
}

/// Adds amplitude * sin(w * stream time).
void AddSine(const SampleRun& run, double amplitude, double w, RunBuffer& mv)
{
    RunBuffer arguments;
    Fill(arguments, RunTimes(run, 0.0), 0, run.Count(), [w](double time) { return w * time; });
    for (int i = 0; i < run.Count(); ++i)
        mv[static_cast<std::size_t>(i)] += amplitude * std::sin(arguments[static_cast<std::size_t>(i)]);
}

void AddDynamicRangeSine(const SampleRun& run, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    if (!g_DynamicRangeTest)
        return;
    constexpr double kLimitMv = 5.0;
    const double half = g_ADynamicRange / 2.0;
    const double w = g_FDynamicRange * kTwoPi;
    AddSine(run, half, w, mv);
    LimitVoltages(std::span(mv).first(static_cast<std::size_t>(run.Count())), kLimitMv);
}

void FillTriangle(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double a = s_A;
    const double k = 4.0 * a / g_fTimePeriod;
    const int top = times.FirstAt(0.25 * g_fTimePeriod, 0);
    const int bottom = times.FirstAt(0.75 * g_fTimePeriod, top);
    Fill(mv, times, 0, top, [k](double t) { return k * t; });
    Fill(mv, times, top, bottom, [k, a](double t) { return 2.0 * a - k * t; });
    Fill(mv, times, bottom, run.Count(), [k, a](double t) { return k * t - 4.0 * a; });
}

void FillSquare(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const int turn = times.FirstAt(g_fTimePeriod / 2.0, 0);
    FillFlat(mv, 0, turn, s_A);
    FillFlat(mv, turn, run.Count(), -s_A);
}

void FillRectangularPulse(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const int end = times.FirstAt(s_PW, 0);
    FillFlat(mv, 0, end, 2.0 * s_A);
    FillFlat(mv, end, run.Count(), 0.0);
}

void FillTriangularPulse(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double a = s_A;
    const double start = s_PacDelayTP;
    const double k = 4.0 * a / s_PW;
    const int rise = times.FirstAt(start, 0);
    const int peak = times.FirstAt(start + s_PW / 2.0, rise);
    const int end = times.FirstAt(start + s_PW, peak);
    FillFlat(mv, 0, rise, 0.0);
    Fill(mv, times, rise, peak, [k, start](double t) { return (t - start) * k; });
    Fill(mv, times, peak, end, [k, start, a](double t) { return 4.0 * a - (t - start) * k; });
    FillFlat(mv, end, run.Count(), 0.0);
}

void FillExponential(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double height = 2.0 * s_A;
    Fill(mv, times, 0, run.Count(), [height](double t) { return height * std::exp(-t / 0.05); });
}

void FillBiphasicExponential(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double a = s_A;
    const int second = times.FirstAt(0.5, 0);
    Fill(mv, times, 0, second, [a](double t) { return a * std::exp(-t / 0.05); });
    Fill(mv, times, second, run.Count(), [a](double t) { return -a * std::exp(-(t - 0.5) / 0.05); });
}

template <typename Lookup>
void FillHeld(const SampleRun& run, const RunTimes& times, double rate, RunBuffer& mv, Lookup lookup)
{
    ForEachHeld(run, times, rate, [&](int from, int to) { FillFlat(mv, from, to, lookup(times(from))); });
}

/// A recording nearly as dense as the stream, sample by sample.
void FillDenseFile(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double* const samples = ECGFile;
    const double rate = ECGFileFreq;
    const bool inside = rate * times(0) > -1.0 && rate * times(run.Count() - 1) < ECGFileSize;
    if (!ECGFileUnitMV || samples == nullptr || !inside) {
        Fill(mv, times, 0, run.Count(), FileVoltageAt);
        return;
    }
    Fill(mv, times, 0, run.Count(),
         [samples, rate](double t) { return samples[static_cast<std::int32_t>(rate * t)]; });
}

void FillFile(const SampleRun& run, const RunTimes& times, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    constexpr double kFewSamplesHeld = 8.0;
    if (run.SamplesIn(1.0) >= kFewSamplesHeld * ECGFileFreq)
        FillHeld(run, times, ECGFileFreq, mv, FileVoltageAt);
    else
        FillDenseFile(run, times, mv);
}

void FillStaircase(const SampleRun& run, RunBuffer& mv) ZEKA_NEEDS_LOCK
{
    const double time = run.Time(0); // the run lies between two stairs
    if (time < kStaircaseStartS || time >= kStaircaseEndS) {
        FillFlat(mv, 0, run.Count(), 0.0);
        return;
    }
    const double up = 1.0 / g_nSampleRate;
    const double step = time <= kStaircaseTurnS ? up : -up;
    double ramp = s_InputDynamicRangeAC;
    for (int i = 0; i < run.Count(); ++i) {
        ramp += step;
        mv[static_cast<std::size_t>(i)] = ramp;
    }
    s_InputDynamicRangeAC = ramp;
}

/// Keeps the run between two stairs of function 15.
void LimitBetweenStairs(SampleRun& run)
{
    const double stair = kStairS * Trunc(run.Time(0) / kStairS);
    const RunTimes since_stair(run, stair);
    run.Shorten(since_stair(0) < kNearStairS ? 0 : since_stair.FirstAt(kStairS - kNearStairS, 0));
}

} // namespace

void LimitRun(SampleRun& run, double& base)
{
    if (!(g_fTimePeriod > 0.0) || !(g_fTimePeriod <= std::numeric_limits<double>::max())) {
        run.Shorten(0);
        return;
    }
    const Turn period = TurnAt(run, g_fTimePeriod, 0);
    base = period.base;
    run.Shorten(period.end);

    const int function = g_MainOutput;
    const bool once =
        (IsStandardWaveform(function) && !Peek(s_loopPlay)) || (IsFile(function) && !Peek(s_loopFile));
    if (once && period.number != 0.0)
        run.Shorten(0); // past the end: who is told, and when, is the plain road's business
    if (IsEcg(function) && !LimitEcgRun(run))
        run.Shorten(0);
    if (function == 15)
        LimitBetweenStairs(run);
}

void AddMainsNoise(const SampleRun& run, RunBuffer& mv)
{
    constexpr double kLargestRandom = 2147483647.0;
    const double amplitude = s_MainsNoiseAmplitude;
    if (g_MainNoise == 0)
        return;
    if (g_MainNoise == 3) {
        for (int i = 0; i < run.Count(); ++i)
            mv[static_cast<std::size_t>(i)] += amplitude * (2.0 * std::rand() / kLargestRandom - 1.0);
        return;
    }
    AddSine(run, amplitude, (g_MainNoise == 1 ? 50.0 : 60.0) * kTwoPi, mv);
}

void FillMainVoltage(const SampleRun& run, double base, RunBuffer& mv)
{
    const RunTimes times(run, base);
    switch (g_MainOutput) {
    case 1:
        return FillSine(run, times, mv);
    case 2:
        FillTriangle(run, times, mv);
        return AddDynamicRangeSine(run, mv);
    case 3:
        FillSquare(run, times, mv);
        return AddDynamicRangeSine(run, mv);
    case 4:
        return FillRectangularPulse(run, times, mv);
    case 5:
        return FillTriangularPulse(run, times, mv);
    case 6:
        return FillExponential(run, times, mv);
    case 7:
    case 8:
        return FillEcg(run, base, mv);
    case 9:
        return FillHeld(run, times, 720.0, mv, Wave227At);
    case 10:
        return FillHeld(run, times, 1000.0, mv, Wave251At);
    case 13:
        return FillBiphasicExponential(run, times, mv);
    case 14:
    case 18:
        return FillFile(run, times, mv);
    case 15:
        return FillStaircase(run, mv);
    case 16:
        return FillHeld(run, times, 1000.0, mv, Wave247At);
    case 17:
        FillHeld(run, times, 1000.0, mv, Ane20000At);
        return AddMainsNoise(run, mv);
    default:
        return FillFlat(mv, 0, run.Count(), 0.0);
    }
}

void FillRawDcWords(const SampleRun& run, double base, std::array<std::uint16_t, kBurstSamples>& words)
{
    const RunTimes times(run, base);
    double (*const dc_at)(double) = FileDcVoltageAt; // called below, under the lock held here
    ForEachHeld(run, times, ECGFileFreq, [&times, &words, dc_at](int from, int to) {
        std::fill_n(words.begin() + from, to - from, ECG_DC_VoltageToDAC(dc_at(times(from))));
    });
}

} // namespace zeka
