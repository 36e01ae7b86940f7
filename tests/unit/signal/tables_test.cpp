// tables_test.cpp - what a bench engineer relies on in the stored waveforms: length, range, start, shape.
#include "signal/tables/tables.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <span>
#include <string>

namespace {
std::span<const int> Waveform227(std::size_t i)
{
    return std::span(IEC227W).subspan(i * zeka::wave227::kSlots, zeka::wave227::kSlots);
}

std::span<const int> Waveform251(std::size_t i)
{
    return std::span(IEC251W).subspan(i * zeka::wave251::kSlots, zeka::wave251::kSlots);
}

std::span<const int> Lead(std::size_t i)
{
    return std::span(ANE20000).subspan(i * zeka::ane20000::kSlots, zeka::ane20000::kSlots);
}

struct Waveform227Case {
    std::size_t index, samples;
    double seconds;
    int first, low, high;
};

class Iec227 : public testing::TestWithParam<Waveform227Case> {};

TEST_P(Iec227, HasItsLengthStartAndRangeAndIsSilentBehind)
{
    const Waveform227Case& c = GetParam();
    EXPECT_EQ(zeka::wave227::kSamples[c.index], c.samples);
    EXPECT_EQ(IEC227WL[c.index], static_cast<double>(c.samples) / 720.0);
    EXPECT_NEAR(IEC227WL[c.index], c.seconds, 0.5e-6);

    const std::span<const int> played = Waveform227(c.index).first(c.samples);
    EXPECT_EQ(played.front(), c.first);
    EXPECT_EQ(std::ranges::min(played), c.low);
    EXPECT_EQ(std::ranges::max(played), c.high);
    const std::span<const int> rest = Waveform227(c.index).subspan(c.samples);
    EXPECT_EQ(std::ranges::count(rest, 0), std::ssize(rest));
}

INSTANTIATE_TEST_SUITE_P(Waveforms, Iec227,
                         testing::Values(Waveform227Case{0, 43081, 59.834722, 185, -531, 608},
                                         Waveform227Case{1, 43142, 59.919444, 192, -415, 1038},
                                         Waveform227Case{2, 43144, 59.922222, 208, -715, 515},
                                         Waveform227Case{3, 34511, 47.931944, 223, -338, 708},
                                         Waveform227Case{4, 65211, 90.570833, -100, -775, 750},
                                         Waveform227Case{5, 65214, 90.575, -150, -1550, 1050},
                                         Waveform227Case{6, 65207, 90.565278, -62, -388, 787},
                                         Waveform227Case{7, 65238, 90.608333, -463, -1512, 662},
                                         Waveform227Case{8, 65239, 90.609722, -875, -3025, 1325},
                                         Waveform227Case{9, 65237, 90.606944, -244, -756, 606}),
                         [](const auto& given) { return "Number" + std::to_string(given.param.index); });

struct RangeCase {
    int low, high;
};

TEST(Iec251, EveryWaveformStartsAtZeroAndHasItsRange)
{
    constexpr RangeCase kRanges[] = {{-500, 500},   {-1000, 1000}, {-1500, 1500}, {-2000, 2000},
                                     {-3000, 3000}, {-5000, 5000}, {-2000, 2000}, {0, 2000},
                                     {-200, 2000},  {0, 2000},     {-2000, 400},  {-2000, 400},
                                     {-2000, 400},  {-2000, 2000}, {-2000, 2000}, {-4000, 4000}};
    static_assert(std::size(kRanges) == zeka::wave251::kCount);
    for (std::size_t i = 0; i < std::size(kRanges); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Waveform251(i).front(), 0);
        EXPECT_EQ(std::ranges::min(Waveform251(i)), kRanges[i].low);
        EXPECT_EQ(std::ranges::max(Waveform251(i)), kRanges[i].high);
    }
}

TEST(Iec251, TheBiphasicQrsMirrorsItselfAroundItsMiddle)
{
    struct Case {
        std::size_t index, start, length;
    };
    // 100 ms in the amplitude family, 36 ms in the narrow one, 50 ms earlier at 120 beats per minute
    for (const Case& c : {Case{0, 179, 100}, Case{5, 179, 100}, Case{15, 179, 100}, Case{6, 129, 100},
                          Case{13, 179, 36}, Case{14, 129, 36}}) {
        SCOPED_TRACE(c.index);
        const std::span<const int> qrs = Waveform251(c.index).subspan(c.start, c.length + 1);
        for (std::size_t j = 0; j <= c.length; ++j)
            ASSERT_NEAR(qrs[j], -qrs[c.length - j], 1)
                << j; // pieces are cut toward zero from their own start
        EXPECT_EQ(qrs[c.length / 2], 0);
        EXPECT_EQ(Waveform251(c.index)[c.start + c.length + 5], 0); // isoelectric behind it
    }
}

TEST(Iec251, TheFastWaveformsCarryTwoEqualBeats)
{
    for (const std::size_t i : {std::size_t{6}, std::size_t{14}})
        EXPECT_TRUE(std::ranges::equal(Waveform251(i).first(500), Waveform251(i).last(500))) << i;
    EXPECT_FALSE(std::ranges::equal(Waveform251(3).first(500), Waveform251(3).last(500)));
}

TEST(Iec251, TheSingleWaveEndsAtTheStLevel)
{
    struct Case {
        std::size_t index;
        int peak, st;
    };
    for (const Case& c : {Case{7, 2000, 0}, Case{8, 2000, -200}, Case{9, 2000, 200}, Case{10, -2000, 0},
                          Case{11, -2000, -200}, Case{12, -2000, 200}}) {
        SCOPED_TRACE(c.index);
        const std::span<const int> wave = Waveform251(c.index);
        for (std::size_t k = 203; k <= 211; ++k) // plateau of 8 ms
            EXPECT_EQ(wave[k], c.peak);
        for (std::size_t k = 235; k <= 335; ++k) // 100 ms from the end of the QRS to the T wave
            EXPECT_EQ(wave[k], c.st);
        EXPECT_EQ(wave[435], 400); // top of T
        EXPECT_EQ(wave[59], 150);  // top of P
    }
}

TEST(Ane20000, EveryLeadStartsAtZeroAndHasItsRange)
{
    constexpr RangeCase kRanges[] = {{-197, 831},   {-215, 1180}, {-39, 397},   {-1204, 316}, {-1929, 819},
                                     {-1201, 1004}, {-639, 1781}, {-333, 1821}, {-186, 1506}};
    static_assert(std::size(kRanges) == zeka::ane20000::kLeads);
    for (std::size_t i = 0; i < std::size(kRanges); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(Lead(i).front(), 0);
        EXPECT_EQ(std::ranges::min(Lead(i)), kRanges[i].low);
        EXPECT_EQ(std::ranges::max(Lead(i)), kRanges[i].high);
    }
}

TEST(Ane20000, TheLimbLeadsAreThoseOfOneHeart)
{
    // III is II - I by the way the leads are wired. Each lead is known within about 3 uV.
    for (std::size_t k = 0; k < zeka::ane20000::kSlots; ++k)
        ASSERT_NEAR(Lead(2)[k], Lead(1)[k] - Lead(0)[k], 3 * 3) << "at " << k << " ms";
}
} // namespace
