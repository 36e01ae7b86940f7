// parameters_test.cpp - every setter of the main signal: what it accepts, refuses and leaves as it was.
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "signal/state.h"
#include "support/scripted_peer.h"
#include "zeka/zeka.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Family {
    std::string name;
    int (*set)(double);
    double (*get)();
    double low, high;
    double start;
};

const Family kFamilies[] = {
    {"Amplitude", ZEKASetAmplitude, ZEKAGetAmplitude, -10.0, 10.0, 1.0},
    {"Frequency", ZEKASetFrequency, ZEKAGetFrequency, 0.017, 500.0, 1.0},
    {"PulseWidth", ZEKASetPulseWidth, ZEKAGetPulseWidth, 1.0, 300.0, 100.0},
    {"QrsDuration", ZEKASetQRSDuration, ZEKAGetQRSDuration, 5.0, 200.0, 100.0},
    {"TWave", ZEKASetTWave, ZEKAGetTWave, 0.0, 5.0, 0.2},
    {"PDuration", ZEKASetPDuration, ZEKAGetPDuration, 50.0, 100.0, 100.0},
    {"PrInterval", ZEKASetPRInterval, ZEKAGetPRInterval, 0.0, 200.0, 160.0},
    {"QtInterval", ZEKASetQTInterval, ZEKAGetQTInterval, 100.0, 900.0, 350.0},
    {"PWave", ZEKASetPWave, ZEKAGetPWave, 0.0, 2.0, 0.2},
    {"StDeviation", ZEKASetSTDeviation, ZEKAGetSTDeviation, -2.0, 2.0, 0.0},
    {"StSegment", ZEKASetSTSegment, ZEKAGetSTSegment, 100.0, 900.0, 70.0},
    {"TDuration", ZEKASetTDuration, ZEKAGetTDuration, 100.0, 900.0, 180.0},
};

class Parameter : public testing::TestWithParam<Family> {};

TEST_P(Parameter, StoresOnlyWhatLiesInTheRange)
{
    const zeka::test::AskingPeer device;
    const Family& family = GetParam();
    EXPECT_EQ(family.get(), family.start);
    for (const double bound : {family.low, family.high}) {
        EXPECT_EQ(family.set(bound), 0);
        EXPECT_EQ(family.get(), bound);
    }
    const double outside[] = {std::nextafter(family.low, -kInfinity), std::nextafter(family.high, kInfinity),
                              kNaN, kInfinity, -kInfinity};
    for (const double value : outside) {
        EXPECT_EQ(family.set(value), -2) << value;
        EXPECT_EQ(family.get(), family.high) << value;
    }
}

TEST_P(Parameter, IsLeftAloneWithoutADevice)
{
    EXPECT_EQ(GetParam().set(GetParam().high), -1);
    EXPECT_EQ(GetParam().set(kNaN), -1);
    EXPECT_EQ(GetParam().get(), GetParam().start);
}

INSTANTIATE_TEST_SUITE_P(All, Parameter, testing::ValuesIn(kFamilies),
                         [](const testing::TestParamInfo<Family>& family) { return family.param.name; });

class Conflicts : public testing::Test {
protected:
    zeka::test::AskingPeer device_;
};

TEST_F(Conflicts, PulsesTakeNoMoreThanFiveHertz)
{
    for (const int function : {4, 5}) {
        g_MainOutput = function;
        g_bECGGoing = true;
        EXPECT_EQ(ZEKASetFrequency(5.0), 0);
        EXPECT_EQ(ZEKASetFrequency(5.5), -2);
        EXPECT_EQ(ZEKAGetFrequency(), 5.0);
    }
    g_MainOutput = 6; // accepted, and capped when the change is applied
    EXPECT_EQ(ZEKASetFrequency(5.5), 0);
    EXPECT_EQ(ZEKAGetFrequency(), 5.5);
}

TEST_F(Conflicts, SweepAndOverloadTestHoldTheFrequency)
{
    s_FreqScanOn = true;
    g_BaseLineOverload = 2;
    EXPECT_EQ(ZEKASetFrequency(2.0), -3); // the sweep is looked at first
    EXPECT_EQ(ZEKASetFrequency(501.0), -2);
    s_FreqScanOn = false;
    EXPECT_EQ(ZEKASetFrequency(2.0), -4);
    EXPECT_EQ(ZEKASetAmplitude(2.0), -3);
    EXPECT_EQ(ZEKASetAmplitude(10.5), -2);
    EXPECT_EQ(ZEKAGetFrequency(), 1.0);
    EXPECT_EQ(ZEKAGetAmplitude(), 1.0);
}

TEST_F(Conflicts, PrIntervalCarriesThePDurationAlong)
{
    EXPECT_EQ(ZEKASetPRInterval(40.0), 0);
    EXPECT_EQ(ZEKAGetPDuration(), 40.0); // below what its own setter takes
    EXPECT_EQ(ZEKASetPRInterval(50.0), 0);
    EXPECT_EQ(ZEKAGetPDuration(), 50.0);
    EXPECT_EQ(ZEKASetPDuration(80.0), 0); // may outlast the PR interval
    EXPECT_EQ(ZEKASetPRInterval(60.0), 0);
    EXPECT_EQ(ZEKAGetPDuration(), 80.0);
    EXPECT_EQ(ZEKASetPRInterval(0.0), 0);
    EXPECT_EQ(ZEKAGetPDuration(), 0.0);
}

TEST_F(Conflicts, DcOffsetChecksChannelAndRangeBeforeItTouchesAnything)
{
    EXPECT_EQ(ZEKASetDCOffset(0, 1000), 0);
    EXPECT_EQ(ZEKASetDCOffset(3, -1000), 0);
    for (const int mV : {1001, -1001, std::numeric_limits<int>::min()})
        EXPECT_EQ(ZEKASetDCOffset(0, mV), -2);
    for (const int channel : {-1, 4, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(ZEKASetDCOffset(channel, 5), -2);
        EXPECT_EQ(ZEKASetDCOffsetVariableMode(channel, false), -2);
    }
    EXPECT_EQ(ZEKAGetDCOffset(), -1000);
    EXPECT_TRUE(ZEKAGetDCOffsetVariableMode());
}

TEST_F(Conflicts, VariableModeRemembersTheLastChannel)
{
    EXPECT_EQ(ZEKASetDCOffsetVariableMode(2, false), 0);
    EXPECT_FALSE(ZEKAGetDCOffsetVariableMode());
    EXPECT_TRUE(g_bTestVariableDC[0] && g_bTestVariableDC[1] && g_bTestVariableDC[3]);
    EXPECT_FALSE(g_bTestVariableDC[2]);
    EXPECT_EQ(SetDCOffsetCommonMode(true), 0);
    EXPECT_TRUE(GetDCOffsetCommonMode());
}

TEST_F(Conflicts, SettersGiveUpWhenTheInstrumentStopsAsking)
{
    g_bECGGoing = true;
    g_MainOutput = 1;
    g_hProcessRequestEvent.ResetEvent();
    EXPECT_EQ(ZEKASetAmplitude(2.0), -1);
    EXPECT_EQ(ZEKAGetAmplitude(), 1.0);
}

} // namespace
