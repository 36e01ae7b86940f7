// modes.cpp - the test modes: input dynamic range (function 15), DC offset, baseline reset, drift, mains
// noise, dynamic range and breathing.
#include "tools/accuracy/sections.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <stdexcept>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kMs = 1000.0;
constexpr double kTurn = 2.0 * std::numbers::pi;

/// The level of the staircase with its ramp at a time. The first step comes as the ramp begins, so the sum is
/// half a millivolt above the line from -300 mV.
double RampMv(double t)
{
    constexpr double kRest = -300.0;
    constexpr double kStep = 0.5;
    constexpr double kBegin = 20.0;
    constexpr double kTurnS = 620.0;
    constexpr double kEnd = 1220.0;
    if (t < kBegin || t >= kEnd)
        return kRest;
    return t < kTurnS ? kRest + kStep + (t - kBegin) : -kRest + kStep - (t - kTurnS);
}

/// Follows function 15. Used on the instrument's thread.
struct Staircase {
    void Take(std::span<const Sample> played)
    {
        for (const Sample& sample : played)
            Take(sample);
    }
    void Take(const Sample& sample)
    {
        const double t = static_cast<double>(count++) * kSampleS;
        const double dc_mv = sim::DcMillivolts(sample.dc);
        const double off = dc_mv + sim::AcMillivolts(sample.ac) - RampMv(t);
        const bool step = count > 1 && dc_mv != dc;
        dc = dc_mv;
        steps += step;
        lowest = std::min(lowest, dc);
        highest = std::max(highest, dc);
        // At a step the first sample has the new DC level and still the AC ramp of before.
        double& worst = step ? worst_on_a_step : worst_between;
        if (std::abs(off) > std::abs(worst))
            worst = off;
    }
    std::uint64_t count = 0;
    int steps = 0;
    double dc = 0.0;
    double lowest = 0.0;
    double highest = 0.0;
    double worst_between = 0.0;
    double worst_on_a_step = 0.0;
};

void InputDynamicRange(Bench& bench, Report& report)
{
    constexpr double kSeconds = 1222.0;
    constexpr double kTwoSamplesOfRampMv = 2.0 * kSampleS; // at 1 mV/s: steps come two samples early
    constexpr double kLimit = kDcCountMv / 2.0 + kAcCountMv + kTwoSamplesOfRampMv;
    Staircase seen;
    bench.Play(15, kSeconds, [&](std::span<const Sample> played) { seen.Take(played); });
    const std::string name = "15 input dynamic range, 1222 s";
    // 1201 steps up, 1200 down, and one back to rest at the end.
    report.Add({name, "steps of the DC channel", 2402.0, static_cast<double>(seen.steps), 0.0, kExact});
    report.Add({name, "DC lowest, mV", -300.0, seen.lowest, kDcCountMv / 2.0, kByDcCount});
    report.Add({name, "DC highest, mV", 300.5, seen.highest, kDcCountMv / 2.0, kByDcCount});
    constexpr std::string_view kSetBy = "half a DC count, 1 AC count, 2 samples of 1 mV/s";
    report.Add(
        {name, "DC + AC, mV off the ramp between steps, worst", 0.0, seen.worst_between, kLimit, kSetBy});
    report.Add({name, "DC + AC, mV off the ramp on a step's sample, worst", 0.5,
                std::abs(seen.worst_on_a_step), kLimit, kSetBy});
}

void DcOffset(Bench& bench, Report& report)
{
    for (const int offset : {0, 300, -300, 1000, -1000, 1}) {
        Must(ZEKASetDCOffset(0, offset), "ZEKASetDCOffset");
        const auto dc = Dc(bench.Play(11, 0.1));
        report.Add({fmt::format("DC offset {} mV", offset), "DC, mV", static_cast<double>(offset),
                    Highest(dc), kDcCountMv / 2.0, kByDcCount});
    }
    bench.Defaults();
}

/// The amplitude of the component at `hz`, by correlation over the whole signal.
/// REQUIRES: it holds whole periods.
double Component(std::span<const double> signal, double hz)
{
    double in_phase = 0.0;
    double across = 0.0;
    for (std::size_t n = 0; n < signal.size(); ++n) {
        const double angle = kTurn * hz * static_cast<double>(n) * kSampleS;
        in_phase += signal[n] * std::sin(angle);
        across += signal[n] * std::cos(angle);
    }
    return 2.0 * std::hypot(in_phase, across) / static_cast<double>(signal.size());
}

void BaselineReset(Bench& bench, Report& report)
{
    constexpr std::array kHz{50.0, 60.0, 80.0, 100.0};
    for (std::size_t i = 0; i < kHz.size(); ++i) {
        const auto dc = Dc(bench.PlayAfter(
            [i] { Must(SetBaselineResetTest(static_cast<int>(i) + 1), "SetBaselineResetTest"); }, 1.0));
        const std::string name = fmt::format("baseline reset test, {:g} Hz", kHz[i]);
        const double hidden = 500.0 * (1.0 - std::cos(kTurn / 2.0 * kHz[i] * kSampleS));
        report.Add({name, "DC highest, mV", 500.0, Highest(dc), kDcCountMv / 2.0 + hidden, kByDcCount});
        report.Add({name, "DC lowest, mV", -500.0, Lowest(dc), kDcCountMv / 2.0 + hidden, kByDcCount});
        const Intervals found = Between(Rises(dc, 0.0, 100.0), 1.0 / kHz[i]);
        const double instant = kSampleS + kDcCountMv / (kTurn * kHz[i] * 500.0);
        report.Add({name, fmt::format("interval, ms, worst of {}", found.count), kMs / kHz[i],
                    found.worst * kMs, instant * kMs, "1 sample, 1 DC count of slope"});
    }
    bench.Defaults();
}

/// Sets the waves of function 7 to 0 mV, so that only what is added to the ECG remains.
void FlatEcg()
{
    Must(ZEKASetAmplitude(0.0), "ZEKASetAmplitude");
    Must(ZEKASetTWave(0.0), "ZEKASetTWave");
}

void Drift(Bench& bench, Report& report)
{
    FlatEcg();
    Must(SetECG2_27_AAMIDriftTest(true), "SetECG2_27_AAMIDriftTest");
    struct Setting {
        double mv, hz;
    };
    for (const Setting& setting : {Setting{4.0, 0.1}, Setting{8.0, 0.5}, Setting{1.0, 2.0}}) {
        Must(SetECG2_27_AAMIDriftTestAmp(setting.mv), "SetECG2_27_AAMIDriftTestAmp");
        Must(SetECG2_27_AAMIDriftTestFreq(setting.hz), "SetECG2_27_AAMIDriftTestFreq");
        const auto ac = Ac(bench.Play(7, 3.3 / setting.hz));
        const std::string name = fmt::format("drift, {:g} mV, {:g} Hz", setting.mv, setting.hz);
        const double slope = 2.0 * setting.mv * setting.hz;
        report.Add({name, "highest, mV", setting.mv / 2.0, Highest(ac), kAcCountMv + slope * kSampleS / 2.0,
                    kByAcCountAndTop});
        report.Add({name, "lowest, mV", -setting.mv / 2.0, Lowest(ac), kAcCountMv + slope * kSampleS / 2.0,
                    kByAcCountAndTop});
        const Intervals found = Between(Rises(ac, setting.mv / 4.0, setting.mv / 4.0), 1.0 / setting.hz);
        report.Add({name, fmt::format("interval, ms, worst of {}", found.count), kMs / setting.hz,
                    found.worst * kMs, (kSampleS + kAcCountMv / slope) * kMs, kByInstant});
    }
    bench.Defaults();
}

void MainsNoise(Bench& bench, Report& report)
{
    constexpr double kMv = 0.2;
    FlatEcg();
    for (const int type : {1, 2}) {
        Must(SetECG2_27_Noise(type, kMv), "SetECG2_27_Noise");
        const double hz = type == 1 ? 50.0 : 60.0;
        const auto ac = Ac(bench.Play(7, 2.0));
        const std::string name = fmt::format("mains noise, {:g} mV, {:g} Hz", kMv, hz);
        report.Add(
            {name, "amplitude of the component, mV", kMv / 2.0, Component(ac, hz), kAcCountMv, kByAcCount});
        const auto rises = Rises(ac, kMv / 4.0, kMv / 4.0);
        const Intervals found = Between(rises, 1.0 / hz);
        const double slope = kTurn * hz * kMv / 2.0 * std::cos(kTurn / 12.0);
        const double span = static_cast<double>(found.count) / hz;
        report.Add({name, "frequency, Hz", hz, 1.0 / found.mean, (kSampleS + kAcCountMv / slope) / span * hz,
                    kByInstant});
    }
    Must(SetECG2_27_Noise(3, kMv), "SetECG2_27_Noise");
    const auto ac = Ac(bench.Play(7, 10.0));
    double squares = 0.0;
    for (const double value : ac)
        squares += value * value;
    const auto n = static_cast<double>(ac.size());
    const double rms = kMv / 2.0 / std::sqrt(3.0);
    // The mean of n squares of uniform values has a standard deviation of 2/sqrt(45 n) of top^2, so the
    // rms has 1/sqrt(5 n) of itself.
    constexpr double kSigmas = 5.0;
    report.Add({"random noise, 0.2 mV", "rms, mV", rms, std::sqrt(squares / n),
                kSigmas * rms / std::sqrt(5.0 * n) + kAcCountMv / 2.0,
                "5 sigma of 400000 samples, half an AC count"});
    report.Add(
        {"random noise, 0.2 mV", "highest, mV", kMv / 2.0, Highest(ac), 2.0 * kAcCountMv, "2 AC counts"});
    report.Add(
        {"random noise, 0.2 mV", "lowest, mV", -kMv / 2.0, Lowest(ac), 2.0 * kAcCountMv, "2 AC counts"});
    bench.Defaults();
}

void DynamicRange(Bench& bench, Report& report)
{
    constexpr double kMv = 1.0;
    constexpr double kHz = 40.0;
    constexpr double kMainHz = 1.0;
    Must(ZEKASetAmplitude(2.0), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(kMainHz), "ZEKASetFrequency");
    for (const bool triangle : {true, false}) {
        const auto ac = Ac(bench.PlayAfter(
            [&] { Must(ZEKASetDynamicRangeTest(true, triangle, kMv, kHz), "ZEKASetDynamicRangeTest"); },
            2.0));
        const std::string name = fmt::format("dynamic range, {} of 2 mV at 1 Hz, sine of 1 mV at 40 Hz",
                                             triangle ? "triangle" : "square");
        // Neither has even harmonics, so only what sampling folds there falls on 40 Hz, the 40th.
        report.Add({name, "amplitude of the sine, mV", kMv / 2.0, Component(ac, kHz), 2.0 * kAcCountMv,
                    "2 AC counts, cutting and sampling"});
        Must(ZEKASetDynamicRangeTest(false, triangle, kMv, kHz), "ZEKASetDynamicRangeTest");
    }
    bench.Defaults();
}

void Breathing(Bench& bench, Report& report)
{
    constexpr double kAmplitude = 1.0;
    constexpr double kBreathS = 3.0; // 20 per minute, 1 s in, 2 s out
    constexpr int kBaselinePercent = 50;
    FlatEcg();
    Must(ZEKASetAmplitude(kAmplitude), "ZEKASetAmplitude");
    if (SetRespireAlgorithmParam(20, 2, 0, kBaselinePercent, 0, 0) != 1)
        throw std::runtime_error("the breathing was refused");
    FlatEcg(); // the breathing keeps the amplitude of this moment
    const auto ac = Ac(bench.Play(7, 31.0));
    const double top = kAmplitude * kBaselinePercent / 100.0;
    const std::string name = "breathing 20/min, 1:2, baseline 0.5 mV";
    report.Add({name, "highest, mV", top, Highest(ac), kAcCountMv, kByAcCount});
    report.Add({name, "lowest, mV", -top, Lowest(ac), kAcCountMv, kByAcCount});
    const double slope = top * std::numbers::pi * std::cos(kTurn / 12.0); // breathing in, at half height
    const double instant = kSampleS + kAcCountMv / slope;
    const auto rises = Rises(ac, top / 2.0, top / 4.0);
    const Intervals found = Between(rises, kBreathS);
    report.Add({name, fmt::format("interval, ms, worst of {}", found.count), kBreathS * kMs,
                found.worst * kMs, instant * kMs, kByInstant});
    const auto falls = Falls(ac, top / 2.0, top / 4.0);
    report.Add({name, "time above half height, ms", 2.0 / 3.0 * kMs, (falls.at(0) - rises.at(0)) * kMs,
                2.0 * instant * kMs, kByInstant});
    (void)EnableRespiration(false); // ends the breathing; 1 because an instrument is open
    bench.Defaults();
}

} // namespace

void TestModes(Bench& bench, Report& report, Extent extent)
{
    report.Heading("DC offset and test modes");
    report.Text("What is added to an ECG (drift, mains noise, breathing) is measured on an ECG whose own "
                "waves are set to "
                "0 mV.");
    DcOffset(bench, report);
    BaselineReset(bench, report);
    if (extent == Extent::kQuick)
        return;
    InputDynamicRange(bench, report);
    Drift(bench, report);
    MainsNoise(bench, report);
    DynamicRange(bench, report);
    Breathing(bench, report);
}

} // namespace zeka::accuracy
