// standard.cpp - functions 9, 10, 16 and 17: the range of every standard test waveform, its repetition, and
// the rhythm of the IEC 60601-2-47 patterns.
#include "tools/accuracy/sections.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kMs = 1000.0;

/// The published range of a waveform.
struct Range {
    double low_uv;
    double high_uv;
};

void AddRange(Report& report, const std::string& name, std::span<const double> ac, Range range)
{
    constexpr double kUv = 1000.0;
    report.Add({name, "highest, mV", range.high_uv / kUv, Highest(ac), kAcCountMv, kByAcCount});
    report.Add({name, "lowest, mV", range.low_uv / kUv, Lowest(ac), kAcCountMv, kByAcCount});
}

/// The time after which the words repeat: the lag near the expected one at which most of them are equal.
double SecondsOfRepetition(const Samples& samples, double expected)
{
    constexpr std::size_t kEitherSide = 3;
    const auto about = static_cast<std::size_t>(std::lround(expected * kSampleRate));
    std::size_t best = 0;
    std::ptrdiff_t most = -1;
    for (std::size_t lag = about - kEitherSide; lag <= about + kEitherSide; ++lag) {
        const std::size_t compared = samples.size() - about - kEitherSide;
        std::ptrdiff_t agree = 0;
        for (std::size_t i = 0; i < compared; ++i)
            agree += samples[i].ac == samples[i + lag].ac;
        if (agree > most) {
            most = agree;
            best = lag;
        }
    }
    return static_cast<double>(best) * kSampleS;
}

void AddRepetition(Report& report, const std::string& name, const Samples& samples, double seconds)
{
    report.Add({name, "interval, s", seconds, SecondsOfRepetition(samples, seconds), kSampleS, kBySample});
}

void Iec227(Bench& bench, Report& report, Extent extent)
{
    struct Record {
        double samples; // at 720 per second
        Range range;
    };
    constexpr double kRate = 720.0;
    constexpr std::array<Record, 10> kRecords{{{43081, {-531, 608}},
                                               {43142, {-415, 1038}},
                                               {43144, {-715, 515}},
                                               {34511, {-338, 708}},
                                               {65211, {-775, 750}},
                                               {65214, {-1550, 1050}},
                                               {65207, {-388, 787}},
                                               {65238, {-1512, 662}},
                                               {65239, {-3025, 1325}},
                                               {65237, {-756, 606}}}};
    for (std::size_t i = 0; i < kRecords.size(); ++i) {
        if (extent == Extent::kQuick && i != 3) // the shortest
            continue;
        (void)SetSpecialWave227(static_cast<int>(i)); // always returns 0
        const double seconds = kRecords[i].samples / kRate;
        const Samples samples = bench.Play(9, seconds + 10.0);
        const std::string name = fmt::format("9 IEC 60601-2-27, number {}", i);
        AddRange(report, name, Ac(samples), kRecords[i].range);
        AddRepetition(report, name, samples, seconds);
    }
}

void Iec251(Bench& bench, Report& report, Extent extent)
{
    constexpr std::array<Range, 16> kRanges{{{-500, 500},
                                             {-1000, 1000},
                                             {-1500, 1500},
                                             {-2000, 2000},
                                             {-3000, 3000},
                                             {-5000, 5000},
                                             {-2000, 2000},
                                             {0, 2000},
                                             {-200, 2000},
                                             {0, 2000},
                                             {-2000, 400},
                                             {-2000, 400},
                                             {-2000, 400},
                                             {-2000, 2000},
                                             {-2000, 2000},
                                             {-4000, 4000}}};
    for (std::size_t i = 0; i < kRanges.size(); ++i) {
        if (extent == Extent::kQuick && i != 5) // the largest
            continue;
        (void)SetSpecialWave251(static_cast<int>(i)); // always returns 0
        const Samples samples = bench.Play(10, 2.5);
        const std::string name = fmt::format("10 IEC 60601-2-51, number {}", i);
        AddRange(report, name, Ac(samples), kRanges[i]);
        AddRepetition(report, name, samples, 1.0);
    }
}

void Ane20000(Bench& bench, Report& report, Extent extent)
{
    constexpr std::array<Range, 9> kRanges{{{-197, 831},
                                            {-215, 1180},
                                            {-39, 397},
                                            {-1204, 316},
                                            {-1929, 819},
                                            {-1201, 1004},
                                            {-639, 1781},
                                            {-333, 1821},
                                            {-186, 1506}}};
    constexpr std::array kNames{"I", "II", "III", "V1", "V2", "V3", "V4", "V5", "V6"};
    for (std::size_t i = 0; i < kRanges.size(); ++i) {
        if (extent == Extent::kQuick && i != 4) // the largest
            continue;
        Must(SetANE20000Lead(static_cast<int>(i)), "SetANE20000Lead");
        const Samples samples = bench.Play(17, 2.5);
        const std::string name = fmt::format("17 ANE20000, lead {}", kNames[i]);
        AddRange(report, name, Ac(samples), kRanges[i]);
        AddRepetition(report, name, samples, 1.0);
    }
}

/// Adds the largest deviation of an RR interval in the first minute from its rhythm.
void AddRhythm(Report& report, const std::string& name, const Samples& samples, double mean_s, double depth_s,
               double hz)
{
    const std::vector<double> peaks = sim::Measure(samples).r_peak_s;
    double worst = 0.0;
    double longest = 0.0;
    double shortest = 1e9;
    for (std::size_t i = 1; i < peaks.size(); ++i) {
        // Begin of the beat, whose R wave has the same place in all beats.
        const double begin = peaks[i - 1] - peaks[0];
        const double asked = mean_s + depth_s * std::sin(2.0 * std::numbers::pi * hz * begin);
        const double rr = peaks[i] - peaks[i - 1];
        if (std::abs(rr - asked) > std::abs(worst))
            worst = rr - asked;
        longest = std::max(longest, rr);
        shortest = std::min(shortest, rr);
    }
    report.Add({name, fmt::format("RR interval, ms off, worst of {}", peaks.size() - 1), 0.0, worst * kMs,
                1.0 + kSampleMs, "the pattern's whole ms, 1 sample"});
    report.Text(
        fmt::format("Shortest and longest RR interval of {} in its first minute: {:.3f} and {:.3f} ms, asked "
                    "{:g} ms and {:g} ms either side.",
                    name, shortest * kMs, longest * kMs, mean_s * kMs, depth_s * kMs));
}

void Iec247(Bench& bench, Report& report, Extent extent)
{
    struct Pattern {
        double mean_s, depth_s, hz;
    };
    constexpr std::array<Pattern, 5> kPatterns{{{1.0, 0.0, 0.0},
                                                {0.8, 0.035, 0.25},
                                                {1.0, 0.07, 0.1},
                                                {3.0, 0.28, 0.033333},
                                                {1.5, 0.14, 0.000278}}};
    for (std::size_t i = 0; i < kPatterns.size(); ++i) {
        if (extent == Extent::kQuick && i != 1)
            continue;
        (void)SetSpecialWave247(static_cast<int>(i)); // always returns 0
        const double repeated = extent == Extent::kQuick ? 0.0 : 10.0;
        const Samples samples = bench.Play(16, (extent == Extent::kQuick ? 10.0 : 60.0) + repeated);
        const std::string name = fmt::format("16 IEC 60601-2-47, number {}", i);
        AddRange(report, name, Ac(samples), i == 0 ? Range{0.0, 1000.0} : Range{-125.0, 875.0});
        if (repeated > 0.0)
            AddRepetition(report, name, samples, 60.0);
        const auto minute = std::min<std::size_t>(samples.size(), 60 * 40000);
        const Samples first(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(minute));
        AddRhythm(report, name, first, kPatterns[i].mean_s, kPatterns[i].depth_s, kPatterns[i].hz);
    }
}

} // namespace

void StandardWaveforms(Bench& bench, Report& report, Extent extent)
{
    report.Heading("Standard test waveforms");
    report.Text(
        "Asked are the published ranges and lengths. The interval is that after which the received words "
        "repeat. "
        "Where a waveform's length is no whole number of samples, its repetition begins on the first sample "
        "behind the mark. How close the shapes are to the published ones says waveforms.md.");
    Iec227(bench, report, extent);
    Iec251(bench, report, extent);
    Ane20000(bench, report, extent);
    Iec247(bench, report, extent);
    bench.Defaults();
}

} // namespace zeka::accuracy
