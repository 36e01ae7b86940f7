// ecg.cpp - functions 7 and 8: heights, times within the beat, and the RR interval over many beats.
#include "tools/accuracy/sections.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kMs = 1000.0;
// Shares of the QRS, whose amplitude is 1; 7/8 of it are above zero.
constexpr double kRShare = 0.875;
constexpr double kSShare = 0.125;
constexpr double kRiseShare = 0.4375; // of the duration
constexpr double kFallShare = 0.5;

struct Beat {
    double amplitude_mv = 1.0;
    double qrs_s = 0.1;
    double onset_s = 0.0;
    double t_start_s = 0.0;
    double t_end_s = 0.0;
    double t_mv = 0.2;
};

std::size_t At(double seconds) { return static_cast<std::size_t>(std::lround(seconds * kSampleRate)); }

/// The instant of the first largest value within [from, to).
double InstantOfHighest(std::span<const double> ac, double from, double to)
{
    const auto first = ac.begin() + static_cast<std::ptrdiff_t>(At(from));
    const auto last = ac.begin() + static_cast<std::ptrdiff_t>(At(to));
    return static_cast<double>(std::max_element(first, last) - ac.begin()) * kSampleS;
}

double InstantOfLowest(std::span<const double> ac, double from, double to)
{
    const auto first = ac.begin() + static_cast<std::ptrdiff_t>(At(from));
    const auto last = ac.begin() + static_cast<std::ptrdiff_t>(At(to));
    return static_cast<double>(std::min_element(first, last) - ac.begin()) * kSampleS;
}

/// The first instant after `from` at which the signal leaves zero.
double InstantOfLeaving(std::span<const double> ac, double from)
{
    std::size_t i = At(from);
    while (i < ac.size() && std::abs(ac[i]) < kAcCountMv / 2.0)
        ++i;
    return static_cast<double>(i) * kSampleS;
}

void AddBeat(Report& report, const std::string& name, std::span<const double> ac, const Beat& beat)
{
    const double slope = beat.amplitude_mv / (kFallShare * beat.qrs_s); // of the straight lines of R and S
    const double hidden = slope * kSampleS / 2.0;
    report.Add(
        {name, "R, mV", kRShare * beat.amplitude_mv, Highest(ac), kAcCountMv + hidden, kByAcCountAndTop});
    report.Add(
        {name, "S, mV", -kSShare * beat.amplitude_mv, Lowest(ac), kAcCountMv + hidden, kByAcCountAndTop});
    const double end = beat.onset_s + beat.qrs_s;
    const double r = InstantOfHighest(ac, beat.onset_s, end);
    const double s = InstantOfLowest(ac, beat.onset_s, end);
    report.Add({name, "R to S, ms", kFallShare * beat.qrs_s * kMs, (s - r) * kMs, kSampleMs, kBySample});
    const double onset = InstantOfLeaving(ac, beat.onset_s - 0.005);
    report.Add({name, "QRS onset to R, ms", kRiseShare * beat.qrs_s * kMs, (r - onset) * kMs,
                (kSampleS + kAcCountMv / slope) * kMs, kByInstant});
    const auto t_wave = ac.subspan(At(beat.t_start_s), At(beat.t_end_s) - At(beat.t_start_s));
    report.Add({name, "T, mV", beat.t_mv, Highest(t_wave), kAcCountMv, kByAcCount});
}

void EcgOfFixedTiming(Bench& bench, Report& report)
{
    Must(ZEKASetFrequency(1.0), "ZEKASetFrequency");
    for (const double amplitude : {1.0, 5.0, 0.5}) {
        Must(ZEKASetAmplitude(amplitude), "ZEKASetAmplitude");
        const auto ac = Ac(bench.Play(7, 3.0));
        AddBeat(report, fmt::format("7 ECG, {} mV, 60/min", amplitude), ac,
                {.amplitude_mv = amplitude, .onset_s = 0.01, .t_start_s = 0.18, .t_end_s = 0.36});
    }
}

/// Adds P, PR and QT, which only the ECG with adjustable timing has.
void AddIntervals(Report& report, const std::string& name, std::span<const double> ac, double pr_s,
                  double qt_s, const Beat& beat)
{
    constexpr double kP = 0.2;
    constexpr double kPDurationS = 0.1;
    report.Add({name, "P, mV", kP, Highest(ac.first(At(kPDurationS))), kAcCountMv, kByAcCount});
    // The second beat, because its P wave begins from a signal at rest.
    const double p_slope = kP * std::numbers::pi / kPDurationS;
    const double p = InstantOfLeaving(ac, 0.9);
    const double onset = InstantOfLeaving(ac, 1.0 + pr_s - 0.005);
    report.Add({name, "PR interval, ms", pr_s * kMs, (onset - p) * kMs,
                (kSampleS + kAcCountMv / p_slope) * kMs, kByInstant});
    std::size_t t_end = At(1.95);
    while (t_end > 0 && std::abs(ac[t_end]) < kAcCountMv / 2.0)
        --t_end;
    const double t_slope = beat.t_mv * std::numbers::pi / (beat.t_end_s - beat.t_start_s);
    const double qrs_slope = beat.amplitude_mv / (kFallShare * beat.qrs_s);
    report.Add({name, "QT interval, ms", qt_s * kMs, (static_cast<double>(t_end) * kSampleS - onset) * kMs,
                (2.0 * kSampleS + kAcCountMv / t_slope + kAcCountMv / qrs_slope) * kMs,
                "1 sample, 1 AC count of slope, at either end"});
}

void EcgOfAdjustableTiming(Bench& bench, Report& report)
{
    Must(ZEKASetAmplitude(1.0), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(1.0), "ZEKASetFrequency");
    struct Timing {
        double pr_s, qt_s, qrs_s;
    };
    for (const Timing& timing : {Timing{0.16, 0.35, 0.1}, Timing{0.2, 0.42, 0.04}}) {
        Must(ZEKASetPRInterval(timing.pr_s * kMs), "ZEKASetPRInterval");
        Must(ZEKASetQTInterval(timing.qt_s * kMs), "ZEKASetQTInterval");
        Must(ZEKASetQRSDuration(timing.qrs_s * kMs), "ZEKASetQRSDuration");
        constexpr double kTShare = 180.0 / 250.0; // of the part of QT after the QRS
        const double end = timing.pr_s + timing.qt_s;
        const Beat beat{.qrs_s = timing.qrs_s,
                        .onset_s = timing.pr_s,
                        .t_start_s = end - kTShare * (timing.qt_s - timing.qrs_s),
                        .t_end_s = end};
        const auto ac = Ac(bench.Play(8, 3.0));
        const std::string name = fmt::format("8 ECG, 1 mV, 60/min, PR {:g}, QRS {:g}, QT {:g} ms",
                                             timing.pr_s * kMs, timing.qrs_s * kMs, timing.qt_s * kMs);
        AddBeat(report, name, ac, beat);
        AddIntervals(report, name, ac, timing.pr_s, timing.qt_s, beat);
    }
    bench.Defaults();
}

void RrAt(Bench& bench, Report& report, int function, double per_minute, int beats)
{
    const double rr = 60.0 / per_minute;
    Must(ZEKASetFrequency(per_minute / 60.0), "ZEKASetFrequency");
    const Samples samples = bench.Play(function, rr * (beats + 1.5));
    const sim::Report measured = sim::Measure(samples);
    const std::vector<double>& peaks = measured.r_peak_s;
    const Intervals found = Between(peaks, rr);
    const double mean_limit = kSampleMs / static_cast<double>(found.count);
    const double mean = (found.mean - rr) * kMs;
    const double worst = (found.worst - rr) * kMs;
    constexpr double kRounding = 1e-7; // ms
    report.Row({fmt::format("{}", function), fmt::format("{:g}", per_minute), fmt::format("{}", found.count),
                Number(rr * kMs, kSampleMs), Number(found.mean * kMs, mean_limit), Number(mean, mean_limit),
                Number(mean_limit, mean_limit), Number(worst, kSampleMs), Number(kSampleMs, kSampleMs)},
               std::abs(mean) <= mean_limit + kRounding && std::abs(worst) <= kSampleMs + kRounding &&
                   found.count >= static_cast<std::size_t>(beats));
}

} // namespace

void EcgFunctions(Bench& bench, Report& report, Extent)
{
    report.Heading("The beat of the ECG functions 7 and 8");
    report.Text("The amplitude is that of the whole QRS: R is 0.875 and S is -0.125 of it. P and T are set "
                "in mV and do "
                "not follow the amplitude.");
    EcgOfFixedTiming(bench, report);
    EcgOfAdjustableTiming(bench, report);
}

void RrIntervals(Bench& bench, Report& report, Extent extent)
{
    report.Heading("RR intervals");
    report.Text(
        "Measured between the highest samples of successive R waves. A beat whose length is no whole number "
        "of "
        "samples begins on the first sample behind its mark, so single intervals are off by up to one sample "
        "(0.025 ms) and make up for it: the error of the mean falls with the number of beats. Above 200 "
        "beats "
        "per minute function 8 is measured with a PR interval of 40 ms, as the R wave of the 160 ms default "
        "would fall into the next beat from 294 per minute on.");
    report.Head({"function", "beats/min", "intervals", "asked, ms", "mean, ms", "mean off by", "its limit",
                 "worst off by", "its limit", "at it"});
    const std::vector<double> rates =
        extent == Extent::kQuick
            ? std::vector<double>{72.0, 200.0}
            : std::vector<double>{30, 40, 60, 72, 80, 100, 120, 150, 180, 200, 240, 300, 360};
    constexpr double kShortPrAbove = 200.0;
    constexpr double kShortPrMs = 40.0;
    for (const int function : {7, 8}) {
        for (const double rate : rates) {
            if (function == 8 && rate > kShortPrAbove)
                Must(ZEKASetPRInterval(kShortPrMs), "ZEKASetPRInterval");
            RrAt(bench, report, function, rate, extent == Extent::kQuick ? 5 : 60);
        }
        bench.Defaults();
    }
}

} // namespace zeka::accuracy
