// burst_test.cpp - words of bursts where no setter leads: a fixed DC code, values that no loader lets through.
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "signal/apply.h"
#include "stream/burst.h"
#include "stream/sample_stream.h"
#include "stream/scaling.h"
#include "unit/stream/burst_words.h"
#include "zeka/zeka.h"

namespace {

using zeka::test::AcWordOf;
using BurstBytes = std::array<std::uint8_t, zeka::kBurstBytes>;
using zeka::test::DcWord;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Scaling, DcCodesAreOffsetBinaryOverOneVoltEitherWay)
{
    EXPECT_EQ(ECG_DC_VoltageToDAC(-1000.0), 0);
    EXPECT_EQ(ECG_DC_VoltageToDAC(-1e300), 0);
    EXPECT_EQ(ECG_DC_VoltageToDAC(0.0), 32768);
    EXPECT_EQ(ECG_DC_VoltageToDAC(1000.0), 65535);
    EXPECT_EQ(ECG_DC_VoltageToDAC(HUGE_VAL), 65535);
    EXPECT_EQ(ECG_DC_VoltageToDAC(-500.0), 16384); // 16383.75 + 0.5
    EXPECT_EQ(ECG_DC_VoltageToDAC(kNaN), 32768);
}

TEST(Scaling, AcWordIsCutTowardZeroAndHeldAtTheEnds)
{
    EXPECT_EQ(zeka::AcWord(6399.99), 6399);
    EXPECT_EQ(zeka::AcWord(-6399.99), -6399);
    EXPECT_EQ(zeka::AcWord(1e18), 32767);
    EXPECT_EQ(zeka::AcWord(-HUGE_VAL), -32768);
    EXPECT_EQ(zeka::AcWord(kNaN), 0);
}

/// In the middle of a stream, without an instrument: bursts are built, not sent.
class BurstOf : public testing::Test {
protected:
    BurstOf() { g_bECGGoing = true; }
    static void Select(int function)
    {
        g_MainOutput = function;
        _Change();
    }
    BurstBytes Next()
    {
        BurstBytes burst{};
        zeka::BuildBurst(burst);
        return burst;
    }
};

TEST_F(BurstOf, FixedDcCodeGoesBeforeEveryVoltage)
{
    g_DCSetting = 300;
    g_nDcDACValue = 1234;
    Select(2);
    EXPECT_EQ(DcWord(Next(), 699), 1234);
    g_nDcDACValue = 0x12345; // the low 16 bits
    EXPECT_EQ(DcWord(Next(), 0), 0x2345);
    g_nDcDACValue = 0;
    EXPECT_EQ(DcWord(Next(), 0), 0);
}

TEST_F(BurstOf, NoValueOfARecordingReachesAWordUnchecked)
{
    std::vector<double> hostile{kNaN, HUGE_VAL, -HUGE_VAL, 1e300};
    ECGFile = g_DcRawData = hostile.data();
    ECGFileSize = zeka::dc_raw_size = 4;
    ECGFileFreq = 1000.0;
    ECGFileUnitMV = true;
    Select(18);
    const BurstBytes burst = Next();
    const int expected_ac[] = {0, 32767, -32768, 32767};
    const int expected_dc[] = {32768, 65535, 0, 65535};
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(AcWordOf(burst, 40 * k + 20), expected_ac[k]);
        EXPECT_EQ(DcWord(burst, 40 * k + 20), expected_dc[k]);
    }
    ECGFile = g_DcRawData = nullptr;
    const BurstBytes silence = Next();
    EXPECT_EQ(AcWordOf(silence, 33), 0);
    EXPECT_EQ(DcWord(silence, 33), 32768);
}

// Callbacks are plain functions: what they saw is kept here.
std::vector<std::pair<double, double>> shown;
std::vector<std::pair<double, double>> drawn;

} // namespace
