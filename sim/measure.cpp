// measure.cpp - finds levels, crossings and pulses in samples. All crossings are interpolated between
// samples. A hysteresis of a tenth of the swing makes noise on a slow edge count once.
#include "sim/measure.h"

#include <algorithm>
#include <cmath>

namespace zeka::sim {
namespace {

constexpr double kHysteresis = 0.1; // of the swing, either side of the level

struct Crossing {
    double at; // in samples
    bool rising;
};

/// Crossings of `level` that continue to `level` plus or minus `margin`. The first one is where the signal,
/// after it was clearly on one side, is clearly on the other.
std::vector<Crossing> Crossings(std::span<const double> x, double level, double margin)
{
    std::vector<Crossing> found;
    int side = 0;
    double last_passage = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (i > 0 && (x[i - 1] < level) != (x[i] < level))
            last_passage = static_cast<double>(i) - (x[i] - level) / (x[i] - x[i - 1]);
        const int now = x[i] >= level + margin ? 1 : x[i] <= level - margin ? -1 : 0;
        if (now == 0 || now == side)
            continue;
        if (side != 0)
            found.push_back({last_passage, now > 0});
        side = now;
    }
    return found;
}

void MeasureLevels(std::span<const double> x, ChannelReport& report)
{
    const auto [low, high] = std::ranges::minmax(x);
    report.minimum = low;
    report.maximum = high;
    report.peak_to_peak = high - low;
    double sum = 0.0;
    double squares = 0.0;
    for (const double value : x) {
        sum += value;
        squares += value * value;
    }
    report.mean = sum / static_cast<double>(x.size());
    report.rms = std::sqrt(squares / static_cast<double>(x.size()));
}

void MeasureFrequency(std::span<const double> x, double sample_rate, ChannelReport& report)
{
    const double middle = (report.minimum + report.maximum) / 2.0;
    std::vector<Crossing> rising = Crossings(x, middle, report.peak_to_peak * kHysteresis);
    std::erase_if(rising, [](const Crossing& crossing) { return !crossing.rising; });
    if (rising.size() < 2)
        return;
    report.periods = rising.size() - 1;
    report.frequency_hz =
        static_cast<double>(report.periods) * sample_rate / (rising.back().at - rising.front().at);
}

double Median(std::span<const double> x)
{
    std::vector<double> copy(x.begin(), x.end());
    const auto middle = copy.begin() + static_cast<std::ptrdiff_t>(copy.size() / 2);
    std::nth_element(copy.begin(), middle, copy.end());
    return *middle;
}

void MeasurePulses(std::span<const double> x, double sample_rate, ChannelReport& report)
{
    const double rest = Median(x);
    const bool up = report.maximum - rest >= rest - report.minimum;
    const double height = up ? report.maximum - rest : report.minimum - rest;
    report.pulse_height = height;
    std::optional<double> start;
    for (const Crossing& crossing : Crossings(x, rest + height / 2.0, std::abs(height) * kHysteresis)) {
        if (crossing.rising == up) {
            start = crossing.at;
            report.pulse_start_s.push_back(crossing.at / sample_rate);
        } else if (start) {
            ++report.pulses;
            report.pulse_width_ms.push_back((crossing.at - *start) / sample_rate * 1000.0);
        }
    }
    if (const std::size_t starts = report.pulse_start_s.size(); starts >= 2)
        report.pulses_per_minute = 60.0 * static_cast<double>(starts - 1) /
                                   (report.pulse_start_s.back() - report.pulse_start_s.front());
}

// Takes the highest point of every excursion above 60 % of the way from the resting level to the maximum.
void FindRPeaks(std::span<const double> x, const MeasureOptions& options, Report& report)
{
    constexpr double kThreshold = 0.6;
    if (!(report.ac.peak_to_peak > 0.0))
        return;
    const double rest = Median(x);
    const double height = report.ac.maximum - rest;
    std::optional<std::size_t> begin;
    for (const Crossing& crossing : Crossings(x, rest + kThreshold * height, kHysteresis * height)) {
        const auto at = static_cast<std::size_t>(crossing.at);
        if (crossing.rising) {
            begin = at;
        } else if (begin) {
            const auto first = x.begin() + static_cast<std::ptrdiff_t>(*begin);
            const auto last = x.begin() + static_cast<std::ptrdiff_t>(std::min(at + 1, x.size()));
            const double peak =
                static_cast<double>(std::max_element(first, last) - x.begin()) / options.sample_rate;
            if (report.r_peak_s.empty() || peak - report.r_peak_s.back() >= options.r_peak_refractory_s)
                report.r_peak_s.push_back(peak);
        }
    }
    if (const std::size_t count = report.r_peak_s.size(); count >= 2)
        report.r_peaks_per_minute =
            60.0 * static_cast<double>(count - 1) / (report.r_peak_s.back() - report.r_peak_s.front());
}

} // namespace

double AcMillivolts(std::int16_t word, double attenuation) { return word / kCountsPerMv * attenuation; }

double DcMillivolts(std::uint16_t word)
{
    constexpr double kFullScale = 65535.0;
    return word / kFullScale * 2000.0 - 1000.0;
}

std::vector<double> AcMillivolts(std::span<const Sample> window, double attenuation)
{
    std::vector<double> values(window.size());
    std::ranges::transform(window, values.begin(),
                           [=](const Sample& sample) { return AcMillivolts(sample.ac, attenuation); });
    return values;
}

std::vector<double> DcMillivolts(std::span<const Sample> window)
{
    std::vector<double> values(window.size());
    std::ranges::transform(window, values.begin(),
                           [](const Sample& sample) { return DcMillivolts(sample.dc); });
    return values;
}

ChannelReport MeasureChannel(std::span<const double> millivolts, double sample_rate)
{
    ChannelReport report;
    if (millivolts.empty())
        return report;
    MeasureLevels(millivolts, report);
    if (report.peak_to_peak > 0.0) {
        MeasureFrequency(millivolts, sample_rate, report);
        MeasurePulses(millivolts, sample_rate, report);
    }
    return report;
}

Report Measure(std::span<const Sample> window, const MeasureOptions& options)
{
    Report report;
    report.samples = window.size();
    report.seconds = static_cast<double>(window.size()) / options.sample_rate;
    const std::vector<double> ac = AcMillivolts(window, options.attenuation);
    report.ac = MeasureChannel(ac, options.sample_rate);
    report.dc = MeasureChannel(DcMillivolts(window), options.sample_rate);
    FindRPeaks(ac, options, report);
    return report;
}

} // namespace zeka::sim
