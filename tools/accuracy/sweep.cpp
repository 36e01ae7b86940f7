// sweep.cpp - the frequency of both sweeps over time, from the times at which the
// received signal crosses a level.
#include "tools/accuracy/sections.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kBurstS = 700.0 * kSampleS;

struct Sweep {
    double seconds;
    double start_hz;
    double stop_hz;
    double begins_s = 0.0; // before it a sine of the start frequency is played

    [[nodiscard]] double HzAt(double t) const
    {
        return start_hz + (stop_hz - start_hz) * (t - begins_s) / seconds;
    }
    /// The time at which the phase reaches so many turns, for a frequency that is
    /// linear in time from start to stop.
    [[nodiscard]] double SecondsAt(double turns) const
    {
        const double slope = (stop_hz - start_hz) / seconds;
        const double swept = turns - start_hz * begins_s;
        return begins_s + 2.0 * swept / (start_hz + std::sqrt(start_hz * start_hz + 2.0 * slope * swept));
    }
};

/// Adds the frequency over time. The n-th event of equal phase is `turn_of_first` + n turns from the start.
void AddCurve(Report& report, const std::string& name, const Sweep& sweep,
              const std::vector<double>& instants, double turn_of_first, double counts_per_second_at_1_hz)
{
    // The error of an instant: one sample, and one count on the slope, which grows with the frequency.
    const auto instant_at = [&](double hz) { return kSampleS + 1.0 / (counts_per_second_at_1_hz * hz); };
    for (const double share : {0.02, 0.1, 0.25, 0.5, 0.75, 0.9, 0.98}) {
        const double around = share * sweep.seconds;
        // Seconds on either side: at least a whole turn.
        const double half = std::max(0.25, 0.75 / sweep.HzAt(around));
        const auto first = std::ranges::lower_bound(instants, around - half);
        const auto last = std::ranges::upper_bound(instants, around + half) - 1;
        if (last <= first)
            continue;
        // In a linear sweep the mean over some turns is the frequency in the middle of them.
        const double span = *last - *first;
        const double measured = static_cast<double>(last - first) / span;
        const double asked = sweep.HzAt((*first + *last) / 2.0);
        report.Add({name, fmt::format("Hz at {:.3f} s", (*first + *last) / 2.0), asked, measured,
                    asked * instant_at(sweep.HzAt(*first)) / span, kByInstant});
    }
    double worst = 0.0;
    double worst_limit = kSampleS;
    for (std::size_t n = 0; n < instants.size(); ++n) {
        const double asked = sweep.SecondsAt(turn_of_first + static_cast<double>(n));
        const double off = instants[n] - asked;
        const double limit = instant_at(sweep.HzAt(asked));
        if (std::abs(off) / limit > std::abs(worst) / worst_limit) {
            worst = off;
            worst_limit = limit;
        }
    }
    constexpr double kUs = 1e6;
    report.Add({name, fmt::format("instant of a turn, us off, worst of {}", instants.size()), 0.0,
                worst * kUs, worst_limit * kUs, kByInstant});
}

Samples Collect(Bench& bench, const std::function<void()>& start)
{
    Samples samples;
    bench.PlayToItsEnd(start, [&](std::span<const Sample> played) {
        samples.insert(samples.end(), played.begin(), played.end());
    });
    return samples;
}

void AddDuration(Report& report, const std::string& name, const Sweep& sweep, const Samples& samples)
{
    // The library plays whole bursts and checks for the end once in each.
    report.Add({name, "played, s", sweep.begins_s + sweep.seconds,
                static_cast<double>(samples.size()) * kSampleS, kBurstS, "one burst of 17.5 ms"});
}

void SineSweep(Bench& bench, Report& report, const Sweep& sweep)
{
    constexpr double kAmplitude = 10.0;
    Must(ZEKASetAmplitude(kAmplitude), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(sweep.start_hz), "ZEKASetFrequency");
    const Samples samples = Collect(bench, [&] {
        Must(ZEKASetFrequencyScan(true, static_cast<int>(sweep.seconds), sweep.start_hz, sweep.stop_hz),
             "ZEKASetFrequencyScan");
    });
    const std::string name =
        fmt::format("sine, {:g} to {:g} Hz in {:g} s", sweep.start_hz, sweep.stop_hz, sweep.seconds);
    // At half of its height a sine is a twelfth of a turn after its rising zero.
    const auto ac = Ac(samples);
    const double top = kAmplitude / 2.0;
    const auto instants = Rises(ac, top / 2.0, top / 4.0);
    const double slope = 2.0 * std::numbers::pi * top * std::cos(std::numbers::pi / 6.0) / kAcCountMv;
    AddCurve(report, name, sweep, instants, 1.0 / 12.0, slope);
    AddDuration(report, name, sweep, samples);
}

/// The sweep of the ECG: its R waves come later within their beats as the beats get shorter.
void EcgSweep(Bench& bench, Report& report)
{
    constexpr Sweep kSweep{30.0, 0.05, 0.5};
    constexpr double kHalfRS = 0.01 + 0.04375 / 2.0; // from the beginning of the beat
    constexpr double kHalfRMv = 0.4375;
    constexpr double kRiseMvPerS = 0.875 / 0.04375;
    Must(ZEKASetAmplitude(1.0), "ZEKASetAmplitude");
    const Samples samples = Collect(bench, [] { Must(SetFreqScanECG(true), "SetFreqScanECG"); });
    const auto instants = Rises(Ac(samples), kHalfRMv, kHalfRMv / 2.0);
    // The phase less whole turns, start_hz t + slope t^2 / 2 - n, equals kHalfRS times the frequency at t.
    const double slope = (kSweep.stop_hz - kSweep.start_hz) / kSweep.seconds;
    const double linear = kSweep.start_hz - kHalfRS * slope;
    double worst = 0.0;
    for (std::size_t n = 0; n < instants.size(); ++n) {
        const double turns = static_cast<double>(n) + kHalfRS * kSweep.start_hz;
        const double off =
            instants[n] - 2.0 * turns / (linear + std::sqrt(linear * linear + 2.0 * slope * turns));
        if (std::abs(off) > std::abs(worst))
            worst = off;
    }
    const std::string name = "ECG 7, 0.05 to 0.5 Hz in 30 s";
    // 8.25 beats: the ninth has begun.
    const double beats = (kSweep.start_hz + kSweep.stop_hz) / 2.0 * kSweep.seconds;
    report.Add({name, "R waves", std::ceil(beats), static_cast<double>(instants.size()), 0.0, kExact});
    report.Add({name, fmt::format("instant of an R wave, us off, worst of {}", instants.size()), 0.0,
                worst * 1e6, (kSampleS + kAcCountMv / kRiseMvPerS) * 1e6, kByInstant});
    AddDuration(report, name, kSweep, samples);
}

} // namespace

void Sweeps(Bench& bench, Report& report, Extent extent)
{
    report.Heading("Frequency sweeps");
    report.Text("Asked is the straight line from start to stop. The frequency steps once per sample and is "
                "held for it, "
                "which delays the curve by half a sample. The instants are those at which the sine rises "
                "through half of "
                "its height, in the ECG those of the R wave's half height; the frequency is that of the "
                "turns around the "
                "given time. The sweep of the sine begins with the "
                "second burst, 17.5 ms after the start: the first one is a sine of the frequency that was "
                "set before, here "
                "the start frequency. A sweep ends with the burst in which it reaches its stop frequency.");
    if (extent == Extent::kQuick) {
        SineSweep(bench, report, {10.0, 1.0, 100.0, kBurstS});
        bench.Defaults();
        return;
    }
    for (const Sweep& sweep : {Sweep{30.0, 0.67, 150.0, kBurstS}, Sweep{10.0, 1.0, 100.0, kBurstS},
                               Sweep{60.0, 0.67, 40.0, kBurstS}, Sweep{180.0, 10.0, 500.0, kBurstS}})
        SineSweep(bench, report, sweep);
    EcgSweep(bench, report);
    bench.Defaults();
}

} // namespace zeka::accuracy
