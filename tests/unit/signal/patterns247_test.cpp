// patterns247_test.cpp - the synthesised IEC 60601-2-47 patterns: beat, triangles and RR intervals.
#include "signal/tables/patterns247.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace {
using zeka::pattern247::kBeatSamples;
using Beat = std::array<double, kBeatSamples>;

Beat TheBeat()
{
    Beat beat;
    zeka::FillBeat227(beat);
    return beat;
}

std::vector<double> Pattern(int pattern)
{
    std::vector<double> samples(zeka::pattern247::Samples(pattern), -1.0); // nothing of this may remain
    zeka::FillPattern247(pattern, samples);
    return samples;
}

/// Where beats begin: 0.875 mV is reached once in a beat, 53 ms after its start.
std::vector<std::size_t> BeatStarts(const std::vector<double>& samples)
{
    std::vector<std::size_t> starts;
    for (std::size_t k = 53; k < samples.size(); ++k)
        if (samples[k] == 0.875)
            starts.push_back(k - 53);
    return starts;
}

TEST(Beat227, TurnsAtItsCorners)
{
    const Beat beat = TheBeat();
    EXPECT_EQ(beat[0], 0.0);
    EXPECT_EQ(beat[10], 0.0);
    EXPECT_EQ(beat[11], 0.875 * 1 / 43);
    EXPECT_EQ(beat[52], 0.875 * 42 / 43);
    EXPECT_EQ(beat[53], 0.875);
    EXPECT_EQ(beat[102], 0.875 - 49 / 50.0);
    EXPECT_EQ(beat[103], -0.125);
    EXPECT_EQ(beat[109], 0.125 * 6 / 7 - 0.125);
    EXPECT_EQ(std::count(beat.begin() + 110, beat.begin() + 181, 0.0), 71);
    EXPECT_NEAR(beat[270], 0.2, 1e-9); // top of T, a quarter of the sine's period after 180 ms
    EXPECT_NEAR(beat[359], 0.2 * std::sin(3.14159265 * 179 / 180), 1e-8);
}

TEST(Pattern247, ZeroIsATriangleEverySecond)
{
    const std::vector<double> samples = Pattern(0);
    ASSERT_EQ(samples.size(), 60000u);
    for (std::size_t second = 0; second < 60; ++second)
        for (std::size_t k = 0; k < 1000; ++k) // 50 ms up to 1 mV, 50 ms down
            ASSERT_NEAR(samples[second * 1000 + k],
                        std::max(0.0, 1.0 - std::abs(static_cast<double>(k) - 50.0) / 50.0), 1e-15);
    EXPECT_EQ(samples[25], 0.5);
    EXPECT_EQ(samples[50], 1.0);
    EXPECT_EQ(samples[75], 0.5);
    EXPECT_EQ(samples[100], 0.0);
    EXPECT_EQ(samples[1025], 0.5);
}

TEST(Pattern247, OneStartsItsThirdBeatByTheModulationAtTheSecond)
{
    const std::vector<std::size_t> starts = BeatStarts(Pattern(1));
    ASSERT_GE(starts.size(), 3u);
    EXPECT_EQ(starts[0], 0u);
    EXPECT_EQ(starts[1], 800u);  // sin(0): the mean interval
    EXPECT_EQ(starts[2], 1633u); // 800 + 800 + 35 * sin(2 pi * 0.25 * 0.8) = 1633.29
}

struct RhythmCase {
    int pattern;
    double mean_ms, depth_ms, hz;
};

class Pattern247Rhythm : public testing::TestWithParam<RhythmCase> {};

TEST_P(Pattern247Rhythm, SwingsAroundItsMeanAndIsSilentBetweenBeats)
{
    const RhythmCase& c = GetParam();
    std::vector<double> samples = Pattern(c.pattern);
    const std::vector<std::size_t> starts = BeatStarts(samples);
    ASSERT_GT(starts.size(), 10u);
    double shortest = 1e9;
    double longest = 0;
    for (std::size_t n = 0; n + 1 < starts.size(); ++n) {
        const auto rr = static_cast<double>(starts[n + 1] - starts[n]);
        const double phase = 2 * 3.141592653589793 * c.hz * static_cast<double>(starts[n]) / 1000;
        ASSERT_NEAR(rr, c.mean_ms + c.depth_ms * std::sin(phase) - 0.5, 0.501)
            << "beat " << n; // cut to whole ms
        shortest = std::min(shortest, rr);
        longest = std::max(longest, rr);
    }
    EXPECT_NEAR(shortest, c.mean_ms - c.depth_ms, 0.15 * c.depth_ms + 1); // the swing is used to its ends
    EXPECT_NEAR(longest, c.mean_ms + c.depth_ms, 0.15 * c.depth_ms + 1);

    const Beat beat = TheBeat();
    for (const std::size_t start : starts) {
        const std::size_t length = std::min(kBeatSamples, samples.size() - start);
        ASSERT_TRUE(std::equal(beat.begin(), beat.begin() + static_cast<std::ptrdiff_t>(length),
                               samples.begin() + static_cast<std::ptrdiff_t>(start)));
        std::fill_n(samples.begin() + static_cast<std::ptrdiff_t>(start), length, 0.0);
    }
    const auto last_ms = static_cast<double>(samples.size() - starts.back());
    EXPECT_LE(last_ms, c.mean_ms + c.depth_ms + 53); // a beat cut off before its peak may hide at the end
    EXPECT_LE(samples.end() - std::ranges::find_if(samples, [](double x) { return x != 0.0; }), 53);
}

INSTANTIATE_TEST_SUITE_P(Patterns, Pattern247Rhythm,
                         testing::Values(RhythmCase{1, 800, 35, 0.25}, RhythmCase{2, 1000, 70, 0.1},
                                         RhythmCase{3, 3000, 280, 0.033333},
                                         RhythmCase{4, 1500, 140, 0.000278}),
                         [](const auto& given) { return "Number" + std::to_string(given.param.pattern); });

TEST(Pattern247, AShortBufferHoldsTheStartOfThePattern)
{
    const std::vector<double> whole = Pattern(2);
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{100}, std::size_t{1100}}) {
        std::vector<double> start(length, -1.0);
        zeka::FillPattern247(2, start); // 1100 ends inside the second beat
        EXPECT_TRUE(std::equal(start.begin(), start.end(), whole.begin())) << length;
    }
}

TEST(Pattern247, AnUnknownNumberIsSilence)
{
    for (const int pattern : {-1, 5, 2147483647}) {
        std::vector<double> samples(2000, -1.0);
        zeka::FillPattern247(pattern, samples);
        EXPECT_EQ(std::ranges::count(samples, 0.0), 2000) << pattern;
    }
}
} // namespace
