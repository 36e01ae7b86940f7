// apply_test.cpp - what the apply step derives, and the very sample at which a change is heard.
#include <array>
#include <cmath>
#include <gtest/gtest.h>

#include "signal/apply.h"
#include "signal/tables/tables.h"
#include "stream/burst.h"
#include "stream/sample_stream.h"
#include "support/scripted_peer.h"
#include "unit/stream/burst_words.h"
#include "zeka/zeka.h"

namespace {

using zeka::test::AcWordOf;
using BurstBytes = zeka::test::ScriptedPeer::Burst;

double heard_frequency = 0.0;

/// The step in the middle of a stream: nothing is sent, everything is derived.
class ApplyStep : public testing::Test {
protected:
    ApplyStep() { g_bECGGoing = true; }
    static void Select(int function)
    {
        g_MainOutput = function;
        _Change();
    }
};

TEST_F(ApplyStep, CapsTheFrequencyAndTellsTheApplication)
{
    ZEKARegisterFrequencyCallback([](double hz) { heard_frequency = hz; });
    g_F = 20.0;
    Select(1);
    EXPECT_EQ(heard_frequency, 0.0);
    EXPECT_EQ(g_fTimePeriod, 1.0 / 20.0);

    for (const int pulse : {4, 5, 6}) {
        g_F = 20.0;
        heard_frequency = 0.0;
        Select(pulse);
        EXPECT_EQ(ZEKAGetFrequency(), 5.0) << pulse;
        EXPECT_EQ(heard_frequency, 5.0) << pulse;
        EXPECT_EQ(g_fTimePeriod, 1.0 / 5.0) << pulse;
    }
    g_F = 6.5;
    Select(8);
    EXPECT_EQ(heard_frequency, 6.0);
}

TEST_F(ApplyStep, TakesTheAmplitudeAsHeightOnlyForTheEcgs)
{
    g_Amplitude = 8.0;
    Select(1);
    EXPECT_EQ(s_A, 4.0);
    Select(7);
    EXPECT_EQ(s_A, 5.0);
    EXPECT_EQ(ZEKAGetAmplitude(), 8.0);
    g_Amplitude = -8.0;
    Select(8);
    EXPECT_EQ(s_A, -5.0);
}

TEST_F(ApplyStep, LeavesHeadroomForTheAddedSine)
{
    g_DynamicRangeTest = true;
    g_Amplitude = 9.0;
    g_ADynamicRange = 2.0;
    Select(2);
    EXPECT_EQ(s_A, 4.0);
    EXPECT_EQ(ZEKAGetAmplitude(), 8.0);

    g_Amplitude = 8.0; // exactly at the limit: nothing to take away
    g_ADynamicRange = 2.0;
    Select(3);
    EXPECT_EQ(ZEKAGetAmplitude(), 8.0);
}

TEST_F(ApplyStep, BiphasicPulseForcesItsFrequencyAndWidth)
{
    g_F = 3.0;
    g_PulseWidth = 200.0;
    Select(13);
    EXPECT_EQ(ZEKAGetFrequency(), 1.0);
    EXPECT_EQ(ZEKAGetPulseWidth(), 50.0);
    EXPECT_EQ(g_fTimePeriod, 1.0);
}

TEST_F(ApplyStep, TakesThePeriodFromWhatIsPlayed)
{
    g_F = 4.0;
    g_nSpecialWaveform = 3;
    Select(9);
    EXPECT_DOUBLE_EQ(g_fTimePeriod, 34511.0 / 720.0);
    Select(10);
    EXPECT_EQ(g_fTimePeriod, 1.0);
    Select(16);
    EXPECT_EQ(g_fTimePeriod, 60.0);
    Select(17);
    EXPECT_EQ(g_fTimePeriod, 1.0);
    Select(12);
    EXPECT_EQ(g_fTimePeriod, 0.25);

    std::array<double, 3> samples{};
    ECGFile = samples.data();
    ECGFileSize = 3;
    ECGFileFreq = 500.0;
    Select(14);
    EXPECT_EQ(g_fTimePeriod, 3.0 / 500.0);
    ECGFile = nullptr;
}

TEST_F(ApplyStep, NeverMakesAPeriodThatIsNoTime)
{
    struct Case {
        int function, index, file_size;
        double file_rate;
    };
    const Case cases[] = {
        {14, 0, 0, 0.0}, {18, 0, -7, 250.0}, {14, 0, 100, 0.0}, {9, -1, 0, 0.0}, {9, 10, 0, 0.0}};
    for (const Case& c : cases) {
        g_nSpecialWaveform = c.index;
        ECGFileSize = c.file_size;
        ECGFileFreq = c.file_rate;
        Select(c.function);
        EXPECT_TRUE(std::isfinite(g_fTimePeriod) && g_fTimePeriod > 0.0) << c.function << ' ' << c.index;
    }
}

TEST_F(ApplyStep, KeepsTheRawDcChannelForRawDataOnly)
{
    g_bRawVariableDC = true;
    Select(18);
    EXPECT_TRUE(g_bRawVariableDC);
    Select(14);
    EXPECT_FALSE(g_bRawVariableDC);
}

TEST_F(ApplyStep, StopsTheStreamAtOnce)
{
    Select(1);
    g_fOutputTime = 12.5;
    g_fOutputTimeGraph = 13.5;
    s_FreqScanOn = g_FreqScan1 = g_FreqScan3 = true;
    g_RespirationEnabled = true;
    g_nDcDACValue = 77;
    g_hStopPlayEvent.ResetEvent();

    g_MainOutput = 0;
    _ChangeRequested(); // not deferred: nothing is selected any more

    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_EQ(g_fOutputTime, 0.0);
    EXPECT_EQ(g_fOutputTimeGraph, 0.0);
    EXPECT_FALSE(s_FreqScanOn || g_FreqScan1 || g_FreqScan3 || g_RespirationEnabled);
    EXPECT_EQ(g_nDcDACValue, -1);
    EXPECT_EQ(g_hStopPlayEvent.WaitTimeout(0), 0u);
}

TEST_F(ApplyStep, SetsTheVoltageRangeWithTheFirstChange)
{
    EXPECT_EQ(g_fVoltageRange, 0.0);
    EXPECT_EQ(g_fTimePeriod, 0.0);
    g_RangeV4Ch2On = 3.0;
    g_RangeV4Ch2Off = 2.0;
    g_bVariableDC = false;
    Select(1);
    EXPECT_EQ(g_fVoltageRange, 2.0);
    g_PA = 1.0;
    Select(1);
    EXPECT_EQ(g_fVoltageRange, 3.0);
    g_PA = -1.0; // only a positive pulse asks for the wider range
    Select(1);
    EXPECT_EQ(g_fVoltageRange, 2.0);
}

// A square wave tells in every single sample which amplitude it was made with.
TEST_F(ApplyStep, DeferredChangeLandsBehindTheFirstSampleWithinTheLastFourTenthsOfAMillisecond)
{
    Select(3); // 1 Hz, 1 mV peak to peak: -3200 counts in the second half
    double clock = 0.0;
    int landing = 0; // first sample made with the new amplitude
    while (!(1.0 - clock < 0.0004)) {
        clock += 1.0 / 40000.0;
        ++landing;
    }
    ++landing;
    EXPECT_NEAR(landing, 39985, 1); // some sixteen samples before the boundary

    int sample = 0;
    for (int burst = 0; burst < 58; ++burst) {
        BurstBytes bytes{};
        zeka::BuildBurst(bytes);
        if (burst == 20) {
            g_Amplitude = 2.0;
            _ChangeRequested();
        }
        for (int i = 0; i < zeka::test::kSamplesOfBurst; ++i, ++sample) {
            const int half = sample < 20000 || sample >= 40000 ? 1 : -1;
            if (sample % 20000 == 0)
                continue; // on the edge; the clock's rounding takes the side
            ASSERT_EQ(AcWordOf(bytes, i), half * (sample < landing ? 3200 : 6400)) << sample;
        }
    }
    EXPECT_FALSE(s_ChangeOnNextCycle);
}

TEST_F(ApplyStep, DeferredChangeOfASlowSignalLandsAtTheNextSample)
{
    g_F = 0.1;
    Select(3);
    BurstBytes bytes{};
    zeka::BuildBurst(bytes);
    g_Amplitude = 2.0;
    _ChangeRequested();
    zeka::BuildBurst(bytes);
    EXPECT_EQ(AcWordOf(bytes, 0), 3200); // the change follows the sample
    EXPECT_EQ(AcWordOf(bytes, 1), 6400);
}

class Stream : public testing::Test {
protected:
    zeka::test::AskingPeer device_;
};

TEST_F(Stream, StartsWithSequenceNumberZeroAndOneBurst)
{
    g_nSequenceCheck = 4711;
    g_fOutputTime = 0.0;
    s_ChangeOnNextCycle = true;
    ASSERT_EQ(ZEKASetOutputFunction(3), 0);
    EXPECT_TRUE(ZEKAIsPlaying());
    EXPECT_FALSE(s_ChangeOnNextCycle);
    const auto bursts = device_.Bursts(1);
    ASSERT_EQ(bursts.size(), 1u);
    for (int packet = 0; packet < 50; ++packet)
        EXPECT_EQ(zeka::test::SequenceOf(bursts[0], packet), packet);
    EXPECT_EQ(AcWordOf(bursts[0], 0), 3200);
}

TEST_F(Stream, AppliesAShapeAtOnceAndAnAmplitudeAtTheEndOfThePeriod)
{
    ASSERT_EQ(ZEKASetOutputFunction(8), 0);
    const double j_point = s_Cus_t5;
    ASSERT_EQ(ZEKASetQRSDuration(50.0), 0);
    EXPECT_NEAR(s_Cus_t5, j_point - 0.05, 1e-12);
    ASSERT_EQ(ZEKASetAmplitude(3.0), 0);
    EXPECT_EQ(s_A, 1.0);
    EXPECT_TRUE(s_ChangeOnNextCycle);
}

TEST_F(Stream, ForcesTheBiphasicPulseInTheMiddleOfAnotherSignal)
{
    g_F = 0.5;
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_EQ(ZEKASetOutputFunction(13), 0);
    EXPECT_EQ(g_fTimePeriod, 1.0);
    EXPECT_EQ(ZEKAGetPulseWidth(), 50.0);
    ASSERT_EQ(ZEKASetOutputFunction(99), 0); // stored as given: silence
    EXPECT_EQ(ZEKAGetOutputFunction(), 99);
}

TEST_F(Stream, StopAskedForInsideTheFirstBurstHolds)
{
    ZEKARegisterSignalOutputCallback([](double seconds, double) {
        if (seconds == 0.0) {
            EXPECT_EQ(ZEKASetOutputFunction(0), 0);
        }
    });
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_EQ(g_fOutputTime, 0.0);
}

TEST_F(Stream, ChangeAskedForInsideTheFirstBurstIsNotLost)
{
    g_F = 500.0; // the first burst holds eight ends of a period
    ZEKARegisterSignalOutputCallback([](double seconds, double) {
        if (seconds == 0.0) {
            EXPECT_EQ(ZEKASetAmplitude(4.0), 0);
        }
    });
    ASSERT_EQ(ZEKASetOutputFunction(3), 0);
    _SendNextPacket();
    const auto bursts = device_.Bursts(2);
    ASSERT_EQ(bursts.size(), 2u);
    EXPECT_EQ(std::abs(AcWordOf(bursts[0], 699)), 3200);
    EXPECT_EQ(std::abs(AcWordOf(bursts[1], 699)), 12800);
}

TEST_F(Stream, ResetRestoresTheDefaultsButNotTheWeightsAndTheOvershoot)
{
    ASSERT_EQ(ZEKASetFrequency(2.0), 0);
    ASSERT_EQ(ZEKASetAmplitude(2.0), 0);
    ASSERT_EQ(ZEKASetPulseWidth(20.0), 0);
    ASSERT_EQ(ZEKASetPRInterval(120.0), 0);
    ASSERT_EQ(ZEKASetPacingAmplitude(5.0), 0);
    ASSERT_EQ(ZEKASetPacingRate(90), 0);
    ASSERT_EQ(ZEKASetOvershootAmplitude(2.0), 0);
    ASSERT_EQ(ZEKASetSTSegment(200.0), 0);
    ASSERT_EQ(SetECG2_27_Noise(1, 0.3), 0);
    ASSERT_EQ(ZEKASetDCOffset(0, 20), 0);
    ASSERT_EQ(ZEKASetOutputFunction(7), 0);

    ZEKAReset();

    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_EQ(ZEKAGetFrequency(), 1.0);
    EXPECT_EQ(ZEKAGetAmplitude(), 1.0);
    EXPECT_EQ(ZEKAGetPulseWidth(), 100.0);
    EXPECT_EQ(ZEKAGetPRInterval(), 160.0);
    EXPECT_EQ(ZEKAGetPacingAmplitude(), 0.0);
    EXPECT_EQ(ZEKAGetPacingRate(), 60u);
    EXPECT_TRUE(g_pacingSynchronized);
    EXPECT_EQ(GetECG2_27_NoiseFreq(), 0);
    EXPECT_EQ(ZEKAGetDCOffset(), 0);
    EXPECT_FALSE(ZEKAGetDCOffsetVariableMode());
    EXPECT_EQ(ZEKAGetSTSegment(), 200.0);
    EXPECT_EQ(ZEKAGetOvershootAmplitude(), 2.0);
}

TEST(Reset, WithoutADeviceChangesNothingThatASetterWouldCheck)
{
    g_Amplitude = 3.0;
    g_PulseWidth = 30.0;
    ZEKAReset();
    EXPECT_EQ(ZEKAGetAmplitude(), 3.0);
    EXPECT_EQ(ZEKAGetPulseWidth(), 30.0);
}

} // namespace
