// distortion.cpp - total harmonic distortion and spurious level of the sine, beside those of
// an ideal sine in the same words.
#include "tools/accuracy/sections.h"
#include "tools/accuracy/spectrum.h"

#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kSeconds = 10.0; // a whole number of periods for every frequency below

/// The sine in 16-bit words at 40000 samples/s, each cut towards zero.
std::vector<double> FlawlessSine(double amplitude_mv, double hz, std::size_t samples)
{
    std::vector<double> ac(samples);
    const auto period = static_cast<std::size_t>(std::lround(kSampleRate / hz)); // whole for all frequencies
    for (std::size_t n = 0; n < samples; ++n) {
        const double turn = static_cast<double>(n % period) / static_cast<double>(period);
        ac[n] = std::trunc(amplitude_mv / 2.0 / kAcCountMv * std::sin(2.0 * std::numbers::pi * turn)) *
                kAcCountMv;
    }
    return ac;
}

void SineAt(Bench& bench, Report& report, double amplitude_mv, double hz, double seconds)
{
    constexpr double kDecibel = 0.1;
    Must(ZEKASetAmplitude(amplitude_mv), "ZEKASetAmplitude");
    Must(ZEKASetFrequency(hz), "ZEKASetFrequency");
    const auto ac = Ac(bench.Play(1, seconds));
    const auto periods = static_cast<std::size_t>(std::lround(hz * seconds));
    const Purity measured = PurityOf(ac, periods);
    const Purity limit = PurityOf(FlawlessSine(amplitude_mv, hz, ac.size()), periods);
    report.Row({fmt::format("{:g} mV", amplitude_mv), fmt::format("{:g}", hz),
                fmt::format("{:.1f}", measured.thd_db),
                fmt::format("{:.5f}", 100.0 * std::pow(10.0, measured.thd_db / 20.0)),
                fmt::format("{:.1f}", limit.thd_db), fmt::format("{:.1f}", measured.spurious_db),
                fmt::format("{:.1f}", limit.spurious_db), fmt::format("{:.1f}", measured.rest_db),
                fmt::format("{:.1f}", limit.rest_db)},
               measured.thd_db <= limit.thd_db + kDecibel &&
                   measured.spurious_db <= limit.spurious_db + kDecibel &&
                   measured.rest_db <= limit.rest_db + kDecibel);
}

} // namespace

void Distortion(Bench& bench, Report& report, Extent extent)
{
    report.Heading("Distortion of the sine");
    report.Text("Over exactly 10 s, hence whole periods, so that the transform needs no window. THD: "
                "harmonics 2 to 10 "
                "together. Spurious: the largest component besides the fundamental, 0.1 Hz to 20 kHz. THD+N: "
                "everything "
                "besides the fundamental. All against the fundamental, DC left out. The limits are those of "
                "a flawless sine "
                "(computed in full precision for sample n at n/40000 s) that is cut towards zero into the "
                "same words, and a "
                "figure is at its limit when it is within 0.1 dB. The 10 mV sine uses 32000 of the 32767 "
                "counts. At a few "
                "hundred hertz a period has few samples and repeats exactly, so the error of the words falls "
                "onto the "
                "harmonics.");
    report.Head({"peak to peak", "Hz", "THD, dB", "THD, %", "limit, dB", "spurious, dB", "limit, dB",
                 "THD+N, dB", "limit, dB", "at it"});
    if (extent == Extent::kQuick) {
        SineAt(bench, report, 10.0, 40.0, 1.0);
        return;
    }
    for (const double amplitude : {10.0, 1.0})
        for (const double hz : {1.0, 10.0, 40.0, 100.0, 500.0})
            SineAt(bench, report, amplitude, hz, kSeconds);
    bench.Defaults();
}

} // namespace zeka::accuracy
