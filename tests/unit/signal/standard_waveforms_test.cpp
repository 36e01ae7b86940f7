// standard_waveforms_test.cpp - selection, lookup and the arrays that are built once.
#include <algorithm>
#include <array>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "signal/standard_waveforms.h"
#include "signal/tables/tables.h"
#include "zeka/zeka.h"

namespace {

TEST(StandardWaveforms, ShareOneSelectionAndRefuseOnlyALead)
{
    EXPECT_EQ(SetSpecialWave251(3), 0);
    EXPECT_EQ(GetSpecialWave227(), 3);
    EXPECT_EQ(SetSpecialWave227(-7), 0);
    EXPECT_EQ(GetSpecialWave247(), -7);
    EXPECT_EQ(SetANE20000Lead(8), 0);
    EXPECT_EQ(SetANE20000Lead(9), -1);
    EXPECT_EQ(SetANE20000Lead(-1), -1);
    EXPECT_EQ(GetANE20000Lead(), 8);
}

TEST(StandardWaveforms, ArraysTellLengthAndRate)
{
    unsigned length = 1, rate = 1;
    const int* samples = GetSpecialWave227Array(0, &length, &rate);
    ASSERT_NE(samples, nullptr);
    EXPECT_EQ(length, 43081u);
    EXPECT_EQ(rate, 720u);
    EXPECT_EQ(samples[0], 185);
    EXPECT_EQ(GetSpecialWave227Array(9, &length, &rate), samples + 9 * 66000);
    EXPECT_EQ(length, 65237u);

    samples = GetSpecialWave251Array(5, &length, &rate);
    ASSERT_NE(samples, nullptr);
    EXPECT_EQ(length, 1000u);
    EXPECT_EQ(rate, 1000u);
    EXPECT_EQ(*std::min_element(samples, samples + length), -5000);
    EXPECT_EQ(*std::max_element(samples, samples + length), 5000);
}

TEST(StandardWaveforms, NumbersOutsideTheTablesAreNothingAndSilence)
{
    for (const int index : {-1, 5, 10, 16, 2147483647, -2147483647 - 1}) {
        SetSpecialWave227(index);
        unsigned length = 7, rate = 7;
        if (index != 5) {
            EXPECT_EQ(GetSpecialWave227Array(index, &length, &rate), nullptr);
            EXPECT_EQ(length, 0u);
            EXPECT_EQ(zeka::Wave227At(0.5), 0.0);
            EXPECT_EQ(zeka::Wave227Period(1.25), 1.25);
        }
        length = 7;
        EXPECT_EQ(GetSpecialWave247Array(index, &length, &rate), nullptr);
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(getIEC47RawArray(index), nullptr);
        EXPECT_EQ(getArray(index), nullptr);
        EXPECT_EQ(zeka::Wave247At(0.025), 0.0);
    }
    unsigned length = 7, rate = 7;
    EXPECT_EQ(GetSpecialWave251Array(16, &length, &rate), nullptr);
    EXPECT_EQ(length, 0u);
    SetSpecialWave251(16);
    EXPECT_EQ(zeka::Wave251At(0.5), 0.0);
}

TEST(StandardWaveforms, LookupTruncatesTheTimeAndNeverLeavesTheTable)
{
    SetSpecialWave227(9);
    EXPECT_EQ(zeka::Wave227At(1.0), IEC227W[9 * 66000 + 720] / 1000.0);
    EXPECT_EQ(zeka::Wave227At(1.0 - 1e-9), IEC227W[9 * 66000 + 719] / 1000.0);
    EXPECT_EQ(zeka::Wave227Period(0.0), 65237 / 720.0);
    SetSpecialWave251(2);
    EXPECT_EQ(zeka::Wave251At(0.9999), IEC251W[2999] / 1000.0);
    EXPECT_EQ(zeka::Wave251At(1.5), IEC251W[3500] / 1000.0)
        << "an older, longer period runs on behind the waveform";
    SetSpecialWave251(15);
    SetANE20000Lead(8);
    for (const double behind : {1.0, 6.6, 60.0, 1e18}) {
        EXPECT_EQ(zeka::Wave251At(behind), 0.0);
        EXPECT_EQ(zeka::Ane20000At(behind), 0.0);
    }
    EXPECT_EQ(zeka::Ane20000At(0.3), ANE20000[8300] / 1000.0);
}

TEST(Patterns247, AreBuiltAheadOfPlayingAndNeverWhilePlaying)
{
    SetSpecialWave227(0);
    EXPECT_EQ(zeka::Wave247At(0.025), 0.0) << "nobody has built it";
    EXPECT_EQ(pattern1, nullptr);
    zeka::PreparePattern247();
    EXPECT_EQ(zeka::Wave247At(0.025), 0.5);
    EXPECT_EQ(zeka::Wave247At(0.075), 0.5);
    EXPECT_EQ(zeka::Wave247At(1.025), 0.5);
    EXPECT_EQ(zeka::Wave247At(0.1), 0.0);

    SetSpecialWave247(4);
    EXPECT_EQ(zeka::Wave247At(0.053), 0.875);
    EXPECT_EQ(zeka::Wave247At(3600.0), 0.0) << "behind the hour";
    // While function 16 plays, any of the three setters prepares what it selects.
    g_MainOutput = 16;
    g_bECGGoing = true;
    SetSpecialWave251(1);
    EXPECT_EQ(zeka::Wave247At(0.853), 0.875) << "second beat at 800 ms";
}

TEST(Patterns247, AreTheSameArrayForEveryThreadAndACopyForTheCaller)
{
    std::array<double*, 8> seen{};
    std::vector<std::thread> threads;
    for (double*& place : seen)
        threads.emplace_back([&place] {
            unsigned length = 0, rate = 0;
            place = GetSpecialWave247Array(4, &length, &rate);
            // complete for everyone who gets it: some 2400 beats, the last within the last seconds
            if (length != 3600000u || rate != 1000u || std::count(place, place + length, 0.875) < 2000 ||
                *std::max_element(place + length - 4000, place + length) != 0.875)
                place = nullptr;
        });
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_NE(seen[0], nullptr);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), seen[0]), 8);
    EXPECT_EQ(getIEC47RawArray(4), seen[0]);

    const std::unique_ptr<double[]> copy(getArray(2));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy.get(), getIEC47RawArray(2));
    EXPECT_TRUE(std::equal(copy.get(), copy.get() + 60000, getIEC47RawArray(2)));
}

TEST(Patterns247, BeatAndParametersAreReadable)
{
    const double* beat = getECG227Array();
    EXPECT_EQ(beat, getECG227Array());
    EXPECT_EQ(beat[53], 0.875);
    EXPECT_EQ(beat[103], -0.125);
    EXPECT_NEAR(beat[270], 0.2, 1e-12);
    EXPECT_EQ(getRRavgArray()[3], 3.0);
    EXPECT_EQ(getRRdevArray()[4], 0.14);
    EXPECT_EQ(getHRVfreqArray()[1], 0.25);
}

} // namespace
