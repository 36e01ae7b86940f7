// A recording from the application's memory, with its DC channel.
#include "recording_support.h"
#include "support/scripted_peer.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

using zeka::test::DcLoaded;
using zeka::test::ScriptedPeer;
using zeka::test::WhatIsLoaded;
using Values = std::vector<double>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

int Load(Values ac, Values dc, double frequency = 1000.0)
{
    RAW_WAVEFORM_DATA data{frequency, static_cast<int>(ac.size()), ac.data(), dc.data()};
    const int result = ZEKALoadRawData(&data);
    std::fill(ac.begin(), ac.end(),
              99.0); // copied: what the application does with its arrays is its own business
    return result;
}

TEST(RawData, BothChannelsAreCopiedAndLimited)
{
    EXPECT_EQ(Load({0.5, 5.1, -7.0, kNan, kInf}, {1.0, 1000.5, -1e9, kNan, -kInf}), 5);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{0.5, 5.0, -5.0, 0.0, 5.0}));
    EXPECT_EQ(DcLoaded(), (Values{1.0, 1000.0, -1000.0, 0.0, -1000.0}));
    EXPECT_EQ(WhatIsLoaded().rate, 1000.0);
    EXPECT_TRUE(WhatIsLoaded().millivolts);
    EXPECT_TRUE(g_bRawVariableDC);
    EXPECT_TRUE(g_bVariableDC);
}

TEST(RawData, WithoutDcTheVariableDcIsSwitchedOff)
{
    EXPECT_EQ(Load({0.5, 0.5}, {0.0, kNan}), 2);
    EXPECT_FALSE(g_bRawVariableDC);
    EXPECT_FALSE(g_bVariableDC);
}

TEST(RawData, ADcChannelSeenOnceIsNotForgottenByTheNextLoad)
{
    EXPECT_EQ(Load({0.5}, {-1.0}), 1);
    EXPECT_EQ(Load({0.5}, {0.0}), 1);
    EXPECT_TRUE(g_bRawVariableDC);
    EXPECT_TRUE(g_bVariableDC);
}

TEST(RawData, AFrequencyOutsideTheRangeIsReportedAndTheDataStays)
{
    EXPECT_EQ(Load({0.5}, {0.0}, 100.0), 1);
    EXPECT_EQ(Load({0.5}, {0.0}, 40000.0), 1);
    EXPECT_EQ(Load({1.5}, {0.0}, 50.0), -2);
    EXPECT_EQ(WhatIsLoaded().ac, Values{1.5});
    EXPECT_EQ(WhatIsLoaded().rate, 50.0);
    EXPECT_EQ(Load({2.5}, {0.0}, 40000.1), -2);
    EXPECT_EQ(Load({3.5}, {0.0}, kNan), -2);
    EXPECT_EQ(WhatIsLoaded().ac, Values{3.5});
    EXPECT_EQ(WhatIsLoaded().rate, 0.0) << "never not a number";
}

TEST(RawData, WhatCannotBeCopiedIsRefused)
{
    double value = 1.0;
    RAW_WAVEFORM_DATA no_ac{1000.0, 1, nullptr, &value};
    RAW_WAVEFORM_DATA no_dc{1000.0, 1, &value, nullptr};
    RAW_WAVEFORM_DATA negative{1000.0, -1, &value, &value};
    ASSERT_EQ(Load({0.5, 1.0}, {1.0, 2.0}), 2);
    EXPECT_EQ(ZEKALoadRawData(nullptr), -1);
    EXPECT_EQ(ZEKALoadRawData(&no_ac), -1);
    EXPECT_EQ(ZEKALoadRawData(&no_dc), -1);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{0.5, 1.0})) << "nothing was released yet";
    EXPECT_EQ(ZEKALoadRawData(&negative), -1);
    EXPECT_TRUE(WhatIsLoaded().empty) << "no memory for the copies: the former data is gone";
    EXPECT_TRUE(DcLoaded().empty());
}

TEST(RawData, AFileLoadedLaterKeepsTheDcChannel)
{
    ASSERT_EQ(Load({0.5, 0.5, 0.5}, {1.0, 2.0, 3.0}), 3);
    const zeka::test::TempFile file("250\n1\n1\n");
    ASSERT_EQ(LoadECGtxtSingle(file.Path().c_str()), 1);
    EXPECT_EQ(DcLoaded(), (Values{1.0, 2.0, 3.0}));
}

TEST(RawData, TheOutputStageIsSwitchedAlsoWhenTheFrequencyIsRefused)
{
    ScriptedPeer peer;
    EXPECT_EQ(Load({0.5}, {0.0}, 50.0), -2);
    // The control block is read, and written back with the state (no function selected) and the sample rate.
    const auto requests = peer.Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0], std::vector<std::uint8_t>(64, 0));
    ASSERT_EQ(requests[1].size(), 64u);
    EXPECT_EQ(requests[1][1], 0xFF);
    EXPECT_EQ(requests[1][2], 0x08);
    EXPECT_EQ(requests[1][5] << 8 | requests[1][6], 40000);
}

} // namespace
