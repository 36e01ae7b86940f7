// periodic.cpp - functions 1 to 6 and 13: levels, frequency, interval, and the other properties of each.
#include "tools/accuracy/sections.h"

#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <numbers>
#include <span>
#include <utility>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kVertical = std::numeric_limits<double>::infinity(); // slope of an edge
constexpr double kDecayS = 0.05;

struct Setting {
    double amplitude_mv;
    double hz;
    double width_ms = 0.0;
};

struct Wave {
    const char* name;
    int function;
};

std::string Name(const Wave& wave, const Setting& setting)
{
    std::string name =
        fmt::format("{} {}, {} mV, {} Hz", wave.function, wave.name, setting.amplitude_mv, setting.hz);
    if (setting.width_ms > 0.0)
        name += fmt::format(", {} ms", setting.width_ms);
    return name;
}

std::vector<double> PlayAc(Bench& bench, const Wave& wave, const Setting& setting, double seconds)
{
    Must(ZEKASetAmplitude(setting.amplitude_mv), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(setting.hz), "ZEKASetFrequency");
    if (setting.width_ms > 0.0)
        Must(ZEKASetPulseWidth(setting.width_ms), "ZEKASetPulseWidth");
    return Ac(bench.Play(wave.function, seconds));
}

/// `hidden`: the part of the top that can lie between two samples.
void AddLevels(Report& report, const std::string& name, std::span<const double> ac, double high, double low,
               double hidden = 0.0)
{
    const auto set_by = hidden > 0.0 ? kByAcCountAndTop : kByAcCount;
    report.Add({name, "highest, mV", high, Highest(ac), kAcCountMv + hidden, set_by});
    report.Add({name, "lowest, mV", low, Lowest(ac), kAcCountMv + hidden, set_by});
}

/// Compares instants on a slope of so many mV/s, one per period.
void AddTiming(Report& report, const std::string& name, std::vector<double> instants, double period,
               double slope)
{
    const double instant = kSampleS + kAcCountMv / slope;
    const auto set_by = slope == kVertical ? kBySample : kByInstant;
    if (slope == kVertical)
        instants = FirstSamples(std::move(instants));
    const Intervals found = Between(instants, period);
    const double mean_limit = instant / static_cast<double>(found.count);
    report.Add({name, "frequency, Hz", 1.0 / period, 1.0 / found.mean,
                1.0 / (period - mean_limit) - 1.0 / period, set_by});
    constexpr double kMs = 1000.0;
    report.Add({name, fmt::format("interval, ms, worst of {}", found.count), period * kMs, found.worst * kMs,
                instant * kMs, set_by});
}

double SecondsFor(const Setting& setting, Extent extent)
{
    const double periods = extent == Extent::kQuick ? 3.3 : std::max(4.3, setting.hz * 5.0);
    return periods / setting.hz;
}

/// The first of each list in a quick run.
std::span<const Setting> Chosen(std::span<const Setting> all, Extent extent)
{
    return extent == Extent::kQuick ? all.first(1) : all;
}

void Sine(Bench& bench, Report& report, Extent extent)
{
    constexpr Wave kWave{"sine", 1};
    constexpr Setting kSettings[]{{1, 10}, {1, 1},   {10, 10}, {0.1, 10}, {-2, 10},
                                  {2, 40}, {2, 100}, {2, 333}, {10, 500}, {10, 0.017}};
    for (const Setting& setting : Chosen(kSettings, extent)) {
        const auto ac = PlayAc(bench, kWave, setting, SecondsFor(setting, extent));
        const double top = std::abs(setting.amplitude_mv) / 2.0;
        const double turn = 2.0 * std::numbers::pi * setting.hz;
        AddLevels(report, Name(kWave, setting), ac, top, -top, top * (1.0 - std::cos(turn * kSampleS / 2.0)));
        const double level = top / 2.0; // not at zero, where the cut words do not change for a while
        AddTiming(report, Name(kWave, setting), Rises(ac, level, level), 1.0 / setting.hz,
                  turn * std::sqrt(top * top - level * level));
    }
}

void Triangle(Bench& bench, Report& report, Extent extent)
{
    constexpr Wave kWave{"triangle", 2};
    constexpr Setting kSettings[]{{1, 10}, {1, 1}, {10, 33.3}, {2, 500}};
    for (const Setting& setting : Chosen(kSettings, extent)) {
        const auto ac = PlayAc(bench, kWave, setting, SecondsFor(setting, extent));
        const double top = setting.amplitude_mv / 2.0;
        const double slope = 4.0 * top * setting.hz;
        AddLevels(report, Name(kWave, setting), ac, top, -top, slope * kSampleS / 2.0);
        AddTiming(report, Name(kWave, setting), Rises(ac, top / 2.0, top / 2.0), 1.0 / setting.hz, slope);
    }
}

void Square(Bench& bench, Report& report, Extent extent)
{
    constexpr Wave kWave{"square", 3};
    constexpr Setting kSettings[]{{1, 10}, {1, 1}, {10, 33.3}, {2, 500}};
    for (const Setting& setting : Chosen(kSettings, extent)) {
        const auto ac = PlayAc(bench, kWave, setting, SecondsFor(setting, extent));
        const double top = setting.amplitude_mv / 2.0;
        AddLevels(report, Name(kWave, setting), ac, top, -top);
        const auto rises = FirstSamples(Rises(ac, 0.0, top / 2.0));
        AddTiming(report, Name(kWave, setting), rises, 1.0 / setting.hz, kVertical);
        // The signal begins high: one fall comes before the first rise.
        const auto falls = FirstSamples(Falls(ac, 0.0, top / 2.0));
        constexpr double kMs = 1000.0;
        report.Add({Name(kWave, setting), "time high, ms", 0.5 / setting.hz * kMs,
                    (falls.at(1) - rises.at(0)) * kMs, kSampleMs, kBySample});
    }
}

void RectangularPulse(Bench& bench, Report& report, Extent extent)
{
    constexpr Wave kWave{"rectangular pulse", 4};
    constexpr Setting kSettings[]{{1, 5, 20}, {1, 1, 100}, {3, 1.7, 1}, {10, 0.5, 300}};
    for (const Setting& setting : Chosen(kSettings, extent)) {
        const auto ac = PlayAc(bench, kWave, setting, SecondsFor(setting, extent));
        const double reached = std::min(setting.amplitude_mv, 32767.0 * kAcCountMv);
        const double half = reached / 2.0;
        report.Add({Name(kWave, setting), "height, mV", reached, Highest(ac), kAcCountMv, kByAcCount});
        const auto rises = FirstSamples(Rises(ac, half, half / 2.0));
        AddTiming(report, Name(kWave, setting), rises, 1.0 / setting.hz, kVertical);
        const auto falls = FirstSamples(Falls(ac, half, half / 2.0));
        report.Add({Name(kWave, setting), "width, ms", setting.width_ms, (falls.at(1) - rises.at(0)) * 1000.0,
                    kSampleMs, kBySample});
    }
}

void TriangularPulse(Bench& bench, Report& report, Extent extent)
{
    constexpr Wave kWave{"triangular pulse", 5};
    constexpr Setting kSettings[]{{1, 5, 20}, {1, 1, 100}, {3, 1.7, 10}, {5, 0.5, 300}};
    for (const Setting& setting : Chosen(kSettings, extent)) {
        const auto ac = PlayAc(bench, kWave, setting, SecondsFor(setting, extent));
        const double half = setting.amplitude_mv / 2.0;
        const double slope = setting.amplitude_mv / (setting.width_ms / 2000.0);
        report.Add({Name(kWave, setting), "height, mV", setting.amplitude_mv, Highest(ac),
                    kAcCountMv + slope * kSampleS / 2.0, kByAcCountAndTop});
        const auto rises = Rises(ac, half, half / 2.0);
        AddTiming(report, Name(kWave, setting), rises, 1.0 / setting.hz, slope);
        const auto falls = Falls(ac, half, half / 2.0);
        const double instant = kSampleS + kAcCountMv / slope;
        report.Add({Name(kWave, setting), "width at half height, ms", setting.width_ms / 2.0,
                    (falls.at(0) - rises.at(0)) * 1000.0, instant * 1000.0, kByInstant});
    }
}

/// Measures the decay from the times at which it falls through two shares of its height.
void AddDecay(Report& report, const std::string& name, std::span<const double> ac, double height)
{
    constexpr double kEarly = 0.9;
    constexpr double kLate = 0.3;
    const double early = Falls(ac, kEarly * height, 0.0).at(0);
    const double late = Falls(ac, kLate * height, 0.0).at(0);
    const double instant = kSampleS + kAcCountMv / (kLate * height / kDecayS);
    const double share = std::log(kEarly / kLate);
    report.Add({name, "time constant, ms", kDecayS * 1000.0, (late - early) / share * 1000.0,
                instant / share * 1000.0, kByInstant});
}

void ExponentialDecay(Bench& bench, Report& report, Extent extent)
{
    constexpr Wave kWave{"exponential decay", 6};
    constexpr Setting kSettings[]{{1, 5}, {1, 1}, {5, 1.7}};
    for (const Setting& setting : Chosen(kSettings, extent)) {
        const auto ac = PlayAc(bench, kWave, setting, SecondsFor(setting, extent));
        report.Add({Name(kWave, setting), "height, mV", setting.amplitude_mv, Highest(ac),
                    kAcCountMv + setting.amplitude_mv * kSampleS / kDecayS, kByAcCountAndTop});
        const double half = setting.amplitude_mv / 2.0;
        AddTiming(report, Name(kWave, setting), Rises(ac, half, half / 2.0), 1.0 / setting.hz, kVertical);
        AddDecay(report, Name(kWave, setting), ac, setting.amplitude_mv);
    }
}

void BiphasicPulse(Bench& bench, Report& report, Extent extent)
{
    const Setting setting{2, 1};
    const std::string name = "13 biphasic exponential, 2 mV, 1 Hz";
    Must(ZEKASetAmplitude(setting.amplitude_mv), "ZEKASetAmplitude");
    const auto ac = Ac(bench.Play(13, extent == Extent::kQuick ? 3.3 : 10.3));
    const double top = setting.amplitude_mv / 2.0;
    AddLevels(report, name, ac, top, -top, top * kSampleS / kDecayS);
    const auto rises = FirstSamples(Rises(ac, top / 2.0, top));
    AddTiming(report, name, rises, 1.0, kVertical);
    const auto turns = FirstSamples(Falls(ac, -top / 2.0, 0.0));
    report.Add({name, "first half, ms", 500.0, (turns.at(1) - rises.at(0)) * 1000.0, kSampleMs, kBySample});
    AddDecay(report, name, ac, top);
}

} // namespace

void PeriodicFunctions(Bench& bench, Report& report, Extent extent)
{
    report.Heading("Periodic functions");
    report.Text(
        "Asked is what the number of mV, Hz and ms in the first column means for the figure: the amplitude "
        "is "
        "peak to peak for the functions 1, 2, 3 and 13 and the height of the pulses 4, 5 and 6. An AC word "
        "ends at 5.11984 mV; what is asked for beyond is cut there (10 mV pulses).");
    Sine(bench, report, extent);
    Triangle(bench, report, extent);
    Square(bench, report, extent);
    RectangularPulse(bench, report, extent);
    TriangularPulse(bench, report, extent);
    ExponentialDecay(bench, report, extent);
    BiphasicPulse(bench, report, extent);
    bench.Defaults();
}

} // namespace zeka::accuracy
