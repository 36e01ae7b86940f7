// consequences.cpp - consequences of how the signal is computed that can surprise a user, each
// measured and compared with its rule.
#include "tools/accuracy/sections.h"

#include <atomic>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kMs = 1000.0;

/// Calls `change` once, from the signal callback at the given time: the only way to hit a given sample.
class ChangeDuringPlay {
public:
    ChangeDuringPlay(double seconds, void (*change)())
    {
        when_ = seconds;
        change_ = change;
        done_ = false;
        ZEKARegisterSignalOutputCallback([](double t, double) {
            if (!done_ && t >= when_) {
                done_ = true;
                change_.load()();
            }
        });
    }
    ~ChangeDuringPlay() { ZEKARegisterSignalOutputCallback(nullptr); }
    ChangeDuringPlay(const ChangeDuringPlay&) = delete;
    ChangeDuringPlay& operator=(const ChangeDuringPlay&) = delete;

private:
    // Static, because the callback has no argument for an object.
    static inline std::atomic<double> when_;
    static inline std::atomic<void (*)()> change_;
    static inline std::atomic<bool> done_;
};

void ChangesAheadOfTheBoundary(Bench& bench, Report& report)
{
    report.Text(
        "**A change lands up to 0.4 ms before the end of the period.** Amplitude, frequency, pulse width, "
        "pacing "
        "and the test modes are applied behind the first sample that is less than 0.4 ms from the end of the "
        "running period, so the last samples of the old period are new already. Measured: a square of 1 mV "
        "and "
        "1 Hz is set to 2 mV in the middle of its period. Below 0.15 Hz a change lands on the next sample.");
    Must(ZEKASetAmplitude(1.0), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(1.0), "ZEKASetFrequency");
    const ChangeDuringPlay change(0.25, [] { (void)ZEKASetAmplitude(2.0); });
    const auto ac = Ac(bench.Play(3, 1.5));
    std::size_t first_new = 0;
    while (first_new < ac.size() && std::abs(ac[first_new]) < 0.75)
        ++first_new;
    // By the rule the change follows the first sample less than 0.4 ms (16 samples) from the end, the
    // 15th before it. The sample after that is the first new one; one sample of tolerance for the
    // rounding of the clock at exactly 0.4 ms.
    const double ahead = kSampleRate - static_cast<double>(first_new);
    report.Add({"3 square, 1 to 2 mV", "new samples ahead of the boundary", 14.0, ahead, 1.0, kBySample});
    bench.Defaults();
}

void SineFollowsAtOnce(Bench& bench, Report& report)
{
    constexpr double kWhen = 0.3;
    report.Text("**A new frequency makes the sine jump.** The sine takes its frequency from the setting "
                "itself, at once, while "
                "its period waits for the boundary. So the phase jumps at the change, and again at the "
                "boundary when the old "
                "period holds no whole number of new ones. Triangle, square and pulses follow their period "
                "and do not jump. "
                "For a frequency that changes without jumps use the sweep. Measured: 1 Hz, 2 mV, set to 2 Hz "
                "at 0.3 s.");
    Must(ZEKASetAmplitude(2.0), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(1.0), "ZEKASetFrequency");
    const ChangeDuringPlay change(kWhen, [] { (void)ZEKASetFrequency(2.0); });
    const auto ac = Ac(bench.Play(1, 1.5));
    double largest = 0.0;
    for (std::size_t i = 1; i < ac.size(); ++i)
        if (std::abs(ac[i] - ac[i - 1]) > std::abs(largest))
            largest = ac[i] - ac[i - 1];
    constexpr double kTurn = 2.0 * std::numbers::pi;
    const double jump = std::sin(kTurn * 2.0 * kWhen) - std::sin(kTurn * kWhen);
    // The callback is called every tenth sample, so the two curves may continue for that long.
    report.Add({"1 sine, 1 to 2 Hz at 0.3 s", "jump, mV", jump, largest,
                2.0 * kAcCountMv + 11.0 * kSampleS * kTurn * 3.0, "2 AC counts, 11 samples of slope"});
    bench.Defaults();
}

/// Switches pacing off so that its trigger is armed. The trigger survives its stream: a stream
/// that is stopped within 10 ms of a pulse leaves it set, and the next stream omits its first
/// pulse. Pacing that is switched off while an ECG plays ends at the end of a beat, far from any
/// pulse, and leaves the trigger armed.
void ArmPacing(Bench& bench)
{
    constexpr double kTwoBeats = 2.5;
    const auto start = [] {
        Must(ZEKASetPacingAmplitude(5.0), "ZEKASetPacingAmplitude");
        Must(ZEKASetOutputFunction(8), "ZEKASetOutputFunction");
        Must(ZEKASetPacingAmplitude(0.0), "ZEKASetPacingAmplitude");
    };
    (void)bench.PlayAfter(start, kTwoBeats);
}

void EarlyFirstPulse(Bench& bench, Report& report)
{
    constexpr double kMark = 0.13; // PR interval 0.16 s less the 0.03 s by which the pulse leads
    report.Text(
        "**The first pacing pulse of ECG 8 is four samples early.** Every pacing pulse starts on the first "
        "sample "
        "at or behind its mark (within a millionth of the pacing period) - except where the mark is that of "
        "the "
        "stream's own beginning, as with ECG 8, whose first pulse belongs to the first QRS: it starts on the "
        "first sample within 0.105 ms of its mark, four samples ahead. Its interval to the second pulse is "
        "0.1 ms too long. A stream that is stopped within 10 ms of a pulse keeps its trigger set, and the "
        "first "
        "pulse of the next one stays out. Measured: ECG 8, 60/min, synchronised, PR 160 ms.");
    Must(ZEKASetFrequency(1.0), "ZEKASetFrequency");
    ArmPacing(bench);
    Must(ZEKASetPacingAmplitude(5.0), "ZEKASetPacingAmplitude");
    const auto dc = Dc(bench.Play(8, 2.5));
    std::vector<double> starts = Rises(dc, 2.5, 1.0);
    for (double& start : starts)
        start += kSampleS / 2.0; // from the middle of the edge to the first sample
    report.Add({"pacing of ECG 8", "first pulse, ms", (kMark - 4.0 * kSampleS) * kMs, starts.at(0) * kMs,
                kSampleMs / 2.0, "half a sample"});
    report.Add({"pacing of ECG 8", "second pulse, ms", (kMark + 1.0) * kMs, starts.at(1) * kMs, kSampleMs,
                kBySample});
    bench.Defaults();
}

void CutWords(Bench& bench, Report& report)
{
    report.Text("**AC words are cut towards zero.** Every AC value is too small in magnitude by half a count "
                "(0.078 uV) on "
                "average and by less than a whole one (0.156 uV) at most. Signals that are symmetrical about "
                "zero keep their "
                "mean; the mean of one-sided signals is half a count low. Around zero the words stand still "
                "for up to two "
                "counts, where rounding would give one. Measured: the mean over one period of the "
                "exponential decay while it is "
                "above one count.");
    constexpr double kDecayS = 0.05;
    Must(ZEKASetAmplitude(1.0), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(5.0), "ZEKASetFrequency");
    const auto ac = Ac(bench.Play(6, 0.4));
    const std::size_t period = 8000;
    double sum = 0.0;
    double whole = 0.0;
    for (std::size_t n = 0; n < period; ++n) {
        sum += ac[n];
        whole += std::exp(-static_cast<double>(n) * kSampleS / kDecayS);
    }
    const double bias = (sum - whole) / static_cast<double>(period) * kMs;
    report.Add({"6 exponential decay, 1 mV, 5 Hz", "mean, uV off", -kAcCountMv / 2.0 * kMs, bias,
                0.1 * kAcCountMv * kMs, "a tenth of a count"});
    bench.Defaults();
}

void DcZero(Bench& bench, Report& report)
{
    report.Text("**0 mV on the DC channel is word 32768, which is 0.01526 mV.** The word runs from 0 for "
                "-1000 mV to 65535 "
                "for +1000 mV, so zero lies between two words and takes the upper one.");
    const auto dc = Dc(bench.Play(11, 0.1));
    report.Add({"DC channel at rest", "DC, mV", kDcCountMv / 2.0, Highest(dc), 1e-6, kExact});
}

/// Does not measure, because 24 h would have to be played: repeats the library's own addition as often.
void Clock(Report& report, Extent extent)
{
    report.Text(
        "**The signal's clock drifts a little.** It is a sum: every sample adds 1/40000 s, in double "
        "precision, "
        "which rounds every time. The instrument's samples stay exactly 40000 per second; what drifts is the "
        "place of the signal on them. A stream that is stopped by selecting function 0 and started again "
        "begins "
        "at 0. Computed (the same sum, not measured): how many samples the clock is ahead of 1/40000 s times "
        "their number.");
    report.Head({"after", "clock ahead, samples", "relative", "within 1 sample a minute"});
    const std::uint64_t hours = extent == Extent::kQuick ? 1 : 24;
    constexpr std::uint64_t kPerHour = 40000ULL * 3600ULL;
    double clock = 0.0;
    for (std::uint64_t n = 1; n <= hours * kPerHour; ++n) {
        clock += 1.0 / 40000;
        if (n % kPerHour != 0)
            continue;
        const std::uint64_t hour = n / kPerHour;
        if (hour != 1 && hour != 4 && hour != 8 && hour != 24)
            continue;
        const double seconds = 3600.0 * static_cast<double>(hour);
        const double ahead = (clock - seconds) * kSampleRate;
        report.Row({fmt::format("{} h", hour), fmt::format("{:.2f}", ahead),
                    fmt::format("{:.1e}", (clock - seconds) / seconds)},
                   std::abs(ahead) <= 60.0 * static_cast<double>(hour));
    }
}

void WithoutFigures(Report& report)
{
    report.Text(
        "**2 pi is 6.2831853.** The sine and all other sines are computed with this value, 7.2e-9 too small. "
        "The period is not: a sine of 1 mV peak to peak ends its period 3.6 pV away from zero and begins the "
        "next "
        "at zero. That is 2e-5 of a count.");
    report.Text("**The second pacing pulse stands before the first.** In pulse modes 1 and 2 it comes 150 or "
                "250 ms before "
                "the place of the first pulse, that is 850 or 750 ms behind it at 60 per minute; see the "
                "figures of the "
                "pulse modes above.");
    report.Text(
        "**The staircase of function 15 takes its steps two samples (0.05 ms) ahead of the half seconds**, "
        "and the "
        "first one as the ramp begins at 20 s: DC and AC together jump from -300 to -299.5 mV there, rise to "
        "300.5 mV at 620 s, fall to -299.5 mV at 1220 s and jump to -300 mV. The sample of a step has the "
        "new DC "
        "level and still the end of the AC ramp: for 0.025 ms the sum is 0.5 mV beyond.");
    report.Text("**A sweep of the sine begins 17.5 ms late and leaves the output on.** Its first burst is a "
                "plain sine of the "
                "frequency set before; set the start frequency first if that matters. When a sweep has ended "
                "by itself, "
                "the library sends nothing more, but the instrument has not been told: select function 0 to "
                "switch its "
                "output off.");
    report.Text("**Periods begin on samples.** A waveform whose period is no whole number of samples begins "
                "each period on the "
                "first sample behind its mark, and the clock's rounding can put an edge one sample off also "
                "where the "
                "period is a whole number (the intervals of 99.975 ms above). Single intervals are up to one "
                "sample too "
                "long or too short, their mean is not.");
    report.Text(
        "**An ECG beat that is shorter than its waves is cut where it ends.** Function 8 with its start-up "
        "timing needs 510 ms for a beat: above 117 per minute the end of the T wave is missing, above 230 "
        "the end "
        "of the QRS, and from 294 on there is no R wave at all. Function 7 gives up its ST stretch and then "
        "its T "
        "wave instead.");
}

} // namespace

void Consequences(Bench& bench, Report& report, Extent extent)
{
    report.Heading("What can surprise at the bench");
    ChangesAheadOfTheBoundary(bench, report);
    SineFollowsAtOnce(bench, report);
    EarlyFirstPulse(bench, report);
    CutWords(bench, report);
    DcZero(bench, report);
    WithoutFigures(report);
    Clock(report, extent);
}

} // namespace zeka::accuracy
