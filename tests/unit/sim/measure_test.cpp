// measure_test.cpp - signals of known shape through the instrument's own measurements.
#include "sim/measure.h"

#include "sim/instrument.h"

#include <cmath>
#include <gmock/gmock.h>
#include <numbers>

namespace zeka::test {
namespace {

constexpr double kRate = 40000.0;

std::vector<double> Signal(double seconds, const std::function<double(double)>& at)
{
    std::vector<double> x(static_cast<std::size_t>(seconds * kRate));
    for (std::size_t i = 0; i < x.size(); ++i)
        x[i] = at(static_cast<double>(i) / kRate);
    return x;
}

TEST(Measurement, TurnsWordsBackIntoMillivolts)
{
    EXPECT_DOUBLE_EQ(sim::AcMillivolts(std::int16_t{6400}), 1.0);
    EXPECT_DOUBLE_EQ(sim::AcMillivolts(std::int16_t{-32768}), -5.12);
    EXPECT_NEAR(sim::AcMillivolts(std::int16_t{817}, 7.827), 1.0, 7.827 / 6400);
    EXPECT_DOUBLE_EQ(sim::DcMillivolts(0), -1000.0);
    EXPECT_DOUBLE_EQ(sim::DcMillivolts(65535), 1000.0);
    EXPECT_NEAR(sim::DcMillivolts(32768), 0.0, 2000.0 / 65535 / 2 + 1e-9);
}

TEST(Measurement, ReadsASine)
{
    for (const double hertz : {0.7, 1.0, 10.0, 59.94}) {
        const auto x = Signal(
            5.0, [=](double t) { return 0.25 + 0.5 * std::sin(2.0 * std::numbers::pi * hertz * t + 0.3); });
        const sim::ChannelReport report = sim::MeasureChannel(x, kRate);
        ASSERT_TRUE(report.frequency_hz) << hertz;
        EXPECT_NEAR(*report.frequency_hz, hertz, hertz * 1e-5);
        EXPECT_NEAR(report.peak_to_peak, 1.0, 1e-4);
        if (hertz * 5.0 == std::floor(hertz * 5.0)) { // over whole periods
            EXPECT_NEAR(report.mean, 0.25, 1e-6);
            EXPECT_NEAR(report.rms, std::sqrt(0.25 * 0.25 + 0.125), 1e-6);
        }
    }
}

TEST(Measurement, IsNotFooledByNoiseOnASlowEdge)
{
    unsigned state = 1;
    const auto noise = [&state] {
        state = state * 1664525U + 1013904223U;
        return (state >> 8) / double(1U << 24) * 0.1 - 0.05;
    };
    const auto x =
        Signal(4.0, [&](double t) { return std::sin(2.0 * std::numbers::pi * t - 0.5) + noise(); });
    const sim::ChannelReport report = sim::MeasureChannel(x, kRate);
    EXPECT_EQ(report.periods, 3u);
    EXPECT_NEAR(report.frequency_hz.value(), 1.0, 0.02);
}

TEST(Measurement, CountsPulsesOfBothPolarities)
{
    for (const double height : {700.0, -2.0}) {
        std::vector<double> x(124000, 10.0); // 3.1 s, a pulse of 80 samples every second, the first at 0.5 s
        for (std::size_t i = 0; i < x.size(); ++i)
            if ((i + 20000) % 40000 < 80)
                x[i] += height;
        const sim::ChannelReport report = sim::MeasureChannel(x, kRate);
        EXPECT_EQ(report.pulses, 3u);
        EXPECT_THAT(report.pulse_width_ms, testing::Each(testing::DoubleNear(2.0, 1e-6)));
        EXPECT_NEAR(report.pulse_height.value(), height, 1e-9);
        EXPECT_NEAR(report.pulses_per_minute.value(), 60.0, 1e-6);
    }
}

TEST(Measurement, FindsNothingInAFlatLine)
{
    const std::vector<sim::Sample> flat(1000, sim::Sample{32768, 0});
    const sim::Report report = sim::Measure(flat);
    EXPECT_FALSE(report.ac.frequency_hz);
    EXPECT_EQ(report.ac.pulses, 0u);
    EXPECT_FALSE(report.r_peaks_per_minute);
    EXPECT_EQ(sim::Measure({}).samples, 0u);
}

TEST(Measurement, FindsRPeaksAndNotTWaves)
{
    const auto bump = [](double t, double at, double height, double width) {
        return height * std::exp(-(t - at) * (t - at) / (2.0 * width * width));
    };
    std::vector<sim::Sample> window;
    for (int i = 0; i < 40000 * 5; ++i) {
        const double t = std::fmod(i / kRate, 60.0 / 72);
        const double mv = bump(t, 0.3, 1.0, 0.01) + bump(t, 0.6, 0.4, 0.04) - bump(t, 0.34, 0.3, 0.01);
        window.push_back({32768, static_cast<std::int16_t>(mv * 6400)});
    }
    const sim::Report report = sim::Measure(window);
    EXPECT_EQ(report.r_peak_s.size(), 6u);
    EXPECT_NEAR(report.r_peaks_per_minute.value(), 72.0, 0.01);
}

TEST(Measurement, TakesPercentilesByRank)
{
    EXPECT_EQ(sim::Percentile({5, 1, 4, 2, 3}, 50), 3);
    EXPECT_EQ(sim::Percentile({5, 1, 4, 2, 3}, 99), 5);
    EXPECT_EQ(sim::Percentile({5, 1, 4, 2, 3}, 0), 1);
    EXPECT_TRUE(std::isnan(sim::Percentile({}, 50)));
}

} // namespace
} // namespace zeka::test
