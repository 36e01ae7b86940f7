// pacing.cpp - pacing pulses: width, height, rate, distance to the QRS, second pulse, droop and overshoot.
#include "tools/accuracy/sections.h"

#include <cmath>
#include <fmt/format.h>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kMs = 1000.0;
constexpr int kFlat = 11; // an output function with 0 mV on the AC channel

double Level(const std::vector<double>& dc, double seconds)
{
    return dc.at(static_cast<std::size_t>(std::lround(seconds * kSampleRate)));
}

void Widths(Bench& bench, Report& report, Extent extent)
{
    Must(ZEKASetPacingAmplitude(5.0), "ZEKASetPacingAmplitude");
    const auto all = {2.0, 0.1, 0.2, 0.33, 0.5, 1.0, 1.51, 3.0};
    for (const double width : all) {
        Must(ZEKASetPacingDuration(width), "ZEKASetPacingDuration");
        const auto dc = sim::MeasureChannel(Dc(bench.Play(kFlat, 2.5)), kSampleRate);
        report.Add({fmt::format("pulse of {:g} ms, 5 mV", width), "width, ms", width, dc.pulse_width_ms.at(0),
                    kSampleMs / 2.0, "half a sample"});
        if (extent == Extent::kQuick)
            break;
    }
    bench.Defaults();
}

void Heights(Bench& bench, Report& report, Extent extent)
{
    const auto all = {-2.0, 2.0, 0.5, 5.0, 100.0, 700.0, -700.0};
    for (const double height : all) {
        Must(ZEKASetPacingAmplitude(height), "ZEKASetPacingAmplitude");
        const auto dc = Dc(bench.Play(kFlat, 1.5));
        const double top = height > 0.0 ? Highest(dc) : Lowest(dc);
        const std::string name = fmt::format("pulse of 2 ms, {:g} mV", height);
        report.Add({name, "level, mV", height, top, kDcCountMv / 2.0, kByDcCount});
        report.Add({name, "height above rest, mV", height, top - Level(dc, 0.5), kDcCountMv, kByTwoDcLevels});
        if (extent == Extent::kQuick)
            break;
    }
    bench.Defaults();
}

void AddRate(Report& report, const std::string& name, const std::vector<double>& starts, double per_minute)
{
    const double period = 60.0 / per_minute;
    const Intervals found = Between(starts, period);
    const double span = period * static_cast<double>(found.count);
    report.Add({name, "pulses/min", per_minute, 60.0 / found.mean, per_minute * kSampleS / span, kBySample});
    report.Add({name, fmt::format("interval, ms, worst of {}", found.count), period * kMs, found.worst * kMs,
                kSampleMs, kBySample});
}

void Rates(Bench& bench, Report& report, Extent extent)
{
    Must(ZEKASetPacingAmplitude(5.0), "ZEKASetPacingAmplitude");
    const auto all = {72U, 10U, 60U, 70U, 100U, 180U, 360U};
    for (const unsigned rate : all) {
        Must(ZEKASetPacingRate(rate), "ZEKASetPacingRate");
        const double seconds = 60.0 / rate * (extent == Extent::kQuick ? 5.0 : 30.0);
        const auto dc = sim::MeasureChannel(Dc(bench.Play(kFlat, seconds)), kSampleRate);
        AddRate(report, fmt::format("free-running at {}/min", rate), dc.pulse_start_s, rate);
        if (extent == Extent::kQuick)
            break;
    }
    Must(ZEKASetPacingRateSynchronized(), "ZEKASetPacingRateSynchronized");
    bench.Defaults();
}

/// Adds the pulses of an ECG at 72 beats per minute, and how far before the R wave they come.
void AddLead(Bench& bench, Report& report, int function)
{
    constexpr double kPerMinute = 72.0;
    constexpr double kLeadMs = 30.0;      // before the onset of the QRS
    constexpr double kOnsetToRMs = 43.75; // 0.4375 of 100 ms
    Must(ZEKASetFrequency(kPerMinute / 60.0), "ZEKASetFrequency");
    Must(ZEKASetPacingAmplitude(5.0), "ZEKASetPacingAmplitude");
    const sim::Report measured = sim::Measure(bench.Play(function, 10.0));
    const std::string name = fmt::format("synchronised with ECG {} at 72/min", function);
    std::vector<double> starts = measured.dc.pulse_start_s;
    if (function == 8) // the first one is early: see the last chapter
        starts.erase(starts.begin());
    AddRate(report, name, starts, kPerMinute);
    double worst = kLeadMs + kOnsetToRMs;
    for (const double start : starts)
        for (const double r : measured.r_peak_s)
            // The first sample of the pulse is half a sample after the middle of its edge.
            if (const double lead = (r - start - kSampleS / 2.0) * kMs;
                lead > 0.0 && lead < 2.0 * kLeadMs + kOnsetToRMs &&
                std::abs(lead - kLeadMs - kOnsetToRMs) > std::abs(worst - kLeadMs - kOnsetToRMs))
                worst = lead;
    report.Add({name, "pulse to R, ms, worst", kLeadMs + kOnsetToRMs, worst, kSampleMs, kBySample});
    bench.Defaults();
}

void SecondPulses(Bench& bench, Report& report)
{
    constexpr double kPeriodS = 1.0;
    Must(ZEKASetPacingAmplitude(5.0), "ZEKASetPacingAmplitude");
    Must(ZEKASetPacingRate(60), "ZEKASetPacingRate");
    struct Mode {
        int mode;
        double ms;
    };
    for (const Mode& mode : {Mode{1, 150.0}, Mode{2, 250.0}}) {
        Must(ZEKASetPacingPulseMode(mode.mode), "ZEKASetPacingPulseMode");
        const auto dc = sim::MeasureChannel(Dc(bench.Play(kFlat, 5.0 * kPeriodS)), kSampleRate);
        const std::vector<double>& starts = dc.pulse_start_s;
        report.Add({fmt::format("pulse mode {}", mode.mode), "second pulse to first pulse, ms", mode.ms,
                    (starts.at(1) - starts.at(0)) * kMs, kSampleMs, kBySample});
    }
    Must(ZEKASetPacingRateSynchronized(), "ZEKASetPacingRateSynchronized");
    bench.Defaults();
}

void DroopAndOvershoot(Bench& bench, Report& report)
{
    constexpr double kHeight = 20.0;
    constexpr double kOvershoot = 2.0;
    Must(ZEKASetPacingAmplitude(kHeight), "ZEKASetPacingAmplitude");
    Must(ZEKASetOvershootAmplitude(kOvershoot), "ZEKASetOvershootAmplitude");
    for (const unsigned ms : {10U, 100U}) {
        Must(ZEKASetOvershootTimeConstant(ms), "ZEKASetOvershootTimeConstant");
        const Samples samples = bench.Play(kFlat, 1.9);
        const auto dc = Dc(samples);
        const auto ac = Ac(samples);
        const std::string name = fmt::format("2 ms, 20 mV, overshoot 2 mV, {} ms", ms);
        const double begin = Rises(dc, kHeight / 2.0, kHeight / 4.0).at(0) + kSampleS / 2.0;
        const double last = Falls(dc, kHeight / 2.0, kHeight / 4.0).at(0) - kSampleS / 2.0;
        report.Add(
            {name, "first sample of the pulse, mV", kHeight, Level(dc, begin), kDcCountMv / 2.0, kByDcCount});
        report.Add({name, "last sample of the pulse, mV", kHeight - kOvershoot * (1.0 - std::exp(-1.0)),
                    Level(dc, last), kDcCountMv / 2.0, kByDcCount});
        report.Add({name, "overshoot, mV", -kOvershoot, Lowest(ac), kAcCountMv, kByAcCount});
        // The signal rises back through half and a fifth of its depth.
        constexpr double kFifth = 0.2;
        const double half = Rises(ac, -kOvershoot / 2.0, kOvershoot / 4.0).at(0);
        const double fifth = Rises(ac, -kOvershoot * kFifth, kOvershoot / 4.0).at(0);
        const double share = std::log(0.5 / kFifth);
        const double slope = kOvershoot * kFifth / (ms / kMs);
        report.Add({name, "time constant, ms", static_cast<double>(ms), (fifth - half) / share * kMs,
                    (kSampleS + kAcCountMv / slope) / share * kMs, kByInstant});
    }
    Must(ZEKASetOvershootTimeConstant(0), "ZEKASetOvershootTimeConstant");
    bench.Defaults();
}

} // namespace

void PacingPulses(Bench& bench, Report& report, Extent extent)
{
    report.Heading("Pacing pulses");
    report.Text(
        "A width becomes the nearest whole number of samples, so it is off by at most half of one. A height "
        "is the "
        "difference of two rounded levels: the pulse and the rest, whose word 32768 stands for 0.01526 mV.");
    Widths(bench, report, extent);
    Heights(bench, report, extent);
    Rates(bench, report, extent);
    AddLead(bench, report, 7);
    AddLead(bench, report, 8);
    SecondPulses(bench, report);
    DroopAndOvershoot(bench, report);
}

} // namespace zeka::accuracy
