// test_modes_test.cpp - sweeps, dynamic range, noise, drift, overload and the DC staircase.
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "signal/apply.h"
#include "signal/pacing.h"
#include "signal/test_modes.h"
#include "stream/sample_stream.h"
#include "support/scripted_peer.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kStep = 1.0 / 40000;

std::vector<double> frequencies;
std::vector<int> functions, states, offsets;

void HearFrequency(double hz) { frequencies.push_back(hz); }
void HearFunction(int function) { functions.push_back(function); }
void HearState(int state) { states.push_back(state); }
void HearOffset(int mV) { offsets.push_back(mV); }

void Listen()
{
    ZEKARegisterFrequencyCallback(HearFrequency);
    ZEKARegisterOutputFunctionCallback(HearFunction);
    RegisterBaselineResetCB(HearState);
    RegisterSyncDCOffsetCB(HearOffset);
}

/// What the poll thread does for each request.
void AnswerOneRequest()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    g_hProcessRequestEvent.SetEvent();
    _SendNextPacket();
}

int BurstsUntilTheEnd(int limit)
{
    int bursts = 0;
    while (g_bECGGoing && bursts < limit) {
        AnswerOneRequest();
        ++bursts;
    }
    return bursts;
}

TEST(SineSweep, RunsLinearlyFromStartToStopAndEndsTheOutput)
{
    const zeka::test::ScriptedPeer device;
    Listen();
    g_hProcessRequestEvent.SetEvent();
    ASSERT_EQ(ZEKASetFrequencyScan(true, 10, 1.0, 11.0), 0);
    EXPECT_TRUE(ZEKAGetFrequencyScan());
    EXPECT_TRUE(GetFreqScanECG()) << "true for either sweep";
    EXPECT_EQ(ZEKASetFrequency(5.0), -3);

    // 10 s of 17.5 ms bursts, looked at behind each burst
    EXPECT_EQ(BurstsUntilTheEnd(1000), 572);
    EXPECT_EQ(functions, (std::vector<int>{1, 0}));
    ASSERT_EQ(frequencies.size(), 573u);
    for (std::size_t burst = 0; burst < 572; ++burst)
        ASSERT_NEAR(frequencies[burst], 1.0 + 0.0175 * static_cast<double>(burst + 1), 1e-8);
    EXPECT_EQ(frequencies.back(), -1.0);
    EXPECT_FALSE(ZEKAGetFrequencyScan());
    EXPECT_FALSE(GetFreqScanECG());
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
}

TEST(SineSweep, DownwardsEndsAfterItsFirstBurst)
{
    const zeka::test::ScriptedPeer device;
    Listen();
    g_hProcessRequestEvent.SetEvent();
    ASSERT_EQ(ZEKASetFrequencyScan(true, 10, 100.0, 10.0), 0);
    EXPECT_EQ(BurstsUntilTheEnd(10), 1);
    EXPECT_EQ(frequencies.back(), -1.0);
}

TEST(SineSweep, EndsInTheBurstThatStartsAStreamToo)
{
    // That burst is built by the setter's thread before the instrument has asked for anything.
    const zeka::test::ScriptedPeer device;
    g_MainOutput = 1;
    g_bECGGoing = true;
    g_FreqScan1 = true;
    s_FreqScanOn = true;
    g_F = g_Ffinal;
    _UpdateFreqScanIfRequired();
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_FALSE(GetFreqScanECG());
}

TEST(SineSweep, RefusalLeavesTheSineSelectedAndTheSettingsAlone)
{
    EXPECT_EQ(ZEKASetFrequencyScan(true, 30, 0.67, 150.0), -1) << "no device";
    const zeka::test::ScriptedPeer device;
    struct Case {
        int seconds;
        double start, stop;
        int result;
    };
    for (const Case& c : {Case{9, 1.0, 10.0, -4}, Case{181, 1.0, 10.0, -4}, Case{30, 0.66, 10.0, -2},
                          Case{30, 500.1, 10.0, -2}, Case{9, 1.0, 500.1, -3}, Case{30, kNaN, 10.0, -2},
                          Case{30, 1.0, kNaN, -3}}) {
        g_hProcessRequestEvent.SetEvent();
        EXPECT_EQ(ZEKASetFrequencyScan(true, c.seconds, c.start, c.stop), c.result);
        EXPECT_EQ(ZEKAGetOutputFunction(), 1);
        EXPECT_FALSE(ZEKAGetFrequencyScan());
    }
    EXPECT_EQ(GetFreqScanSineStartFreq(), 0.67);
    EXPECT_EQ(GetFreqScanSineStopFreq(), 150.0);
    EXPECT_EQ(GetFreqScanSineDuration(), 30);

    ASSERT_EQ(ZEKASetFrequencyScan(false, 180, 0.67, 500.0), 0) << "the ends of all ranges";
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
    EXPECT_FALSE(ZEKAIsPlaying());
}

TEST(EcgSweep, TakesThirtySecondsAndKeepsTheSineSweepsDuration)
{
    EXPECT_EQ(SetFreqScanECG(true), -1);
    const zeka::test::ScriptedPeer device;
    Listen();
    g_Fduration = 77;
    ASSERT_EQ(SetFreqScanECG(true), 0);
    EXPECT_TRUE(GetFreqScanECG());
    EXPECT_FALSE(ZEKAGetFrequencyScan());
    EXPECT_EQ(GetFreqScanSineStartFreq(), 0.05);
    EXPECT_EQ(GetFreqScanSineStopFreq(), 0.5);
    // 30 s are 1714.3 bursts; the setter has sent the first of them
    EXPECT_EQ(BurstsUntilTheEnd(3000), 1714);
    EXPECT_EQ(frequencies.back(), -1.0);
    EXPECT_EQ(functions, (std::vector<int>{7, 0}));
    EXPECT_EQ(GetFreqScanSineDuration(), 77);
}

TEST(DynamicRangeTest, SelectsItsFunctionAndChecksBothRanges)
{
    EXPECT_EQ(ZEKASetDynamicRangeTest(true, true, 1.0, 40.0), -1);
    const zeka::test::ScriptedPeer device;
    g_hProcessRequestEvent.SetEvent();
    EXPECT_EQ(ZEKASetDynamicRangeTest(true, false, 10.5, 0.5), -2);
    EXPECT_EQ(ZEKASetDynamicRangeTest(true, false, kNaN, 40.0), -2);
    EXPECT_EQ(ZEKASetDynamicRangeTest(true, false, 2.0, 0.5), -3);
    EXPECT_EQ(ZEKASetDynamicRangeTest(true, false, 2.0, 60.1), -3);
    EXPECT_FALSE(ZEKAGetDynamicRangeTest());
    EXPECT_FALSE(ZEKAIsPlaying());

    EXPECT_EQ(ZEKASetDynamicRangeTest(true, false, 10.0, 60.0), 0);
    EXPECT_EQ(ZEKAGetOutputFunction(), 3);
    EXPECT_TRUE(ZEKAIsPlaying());
    EXPECT_EQ(ZEKASetDynamicRangeTest(true, true, 0.0, 1.0), 0);
    EXPECT_EQ(ZEKAGetOutputFunction(), 2);
    EXPECT_EQ(GetDynamicRangeTestAmp(), 0.0);
    EXPECT_EQ(GetDynamicRangeTestFreq(), 1.0);
    EXPECT_EQ(ZEKASetDynamicRangeTest(false, true, 1.0, 40.0), 0);
    EXPECT_FALSE(ZEKAIsPlaying());
}

TEST(NoiseAndDrift, StoreWhatLiesInTheirRanges)
{
    EXPECT_EQ(SetECG2_27_Noise(1, 1.0), -1);
    EXPECT_EQ(SetECG2_27_AAMIDriftTest(true), -1);
    EXPECT_EQ(SetECG2_27_AAMIDriftTestAmp(1.0), -1);
    EXPECT_EQ(SetECG2_27_AAMIDriftTestFreq(1.0), -1);
    const zeka::test::ScriptedPeer device;
    EXPECT_EQ(SetECG2_27_Noise(1, 0.005), -2);
    EXPECT_EQ(SetECG2_27_Noise(1, 5.1), -2);
    EXPECT_EQ(SetECG2_27_Noise(1, kNaN), -2);
    EXPECT_EQ(GetECG2_27_NoiseFreq(), 0);
    EXPECT_EQ(SetECG2_27_Noise(7, 0.2), 0);
    EXPECT_EQ(GetECG2_27_NoiseFreq(), 7);
    EXPECT_EQ(GetECG2_27_NoiseAmp(), 0.2);

    EXPECT_EQ(SetECG2_27_AAMIDriftTestFreq(0.04), -2);
    EXPECT_EQ(SetECG2_27_AAMIDriftTestFreq(kNaN), -2);
    EXPECT_EQ(SetECG2_27_AAMIDriftTestAmp(8.1), -2);
    EXPECT_EQ(SetECG2_27_AAMIDriftTestFreq(0.5), 0);
    EXPECT_EQ(g_AAMIDriftTestWaveLen, 2.0);
    EXPECT_EQ(g_AAMIDriftTestWaveLenQuad, 0.5);
    EXPECT_EQ(g_AAMIDriftTestWaveLenQuad3, 1.5);
    EXPECT_EQ(g_AAMIDriftTestSlope, 4.0);
    EXPECT_EQ(GetECG2_27_AAMIDriftTestFreq(), 0.5);
    EXPECT_EQ(SetECG2_27_AAMIDriftTestAmp(8.0), 0);
    EXPECT_EQ(g_AAMIDriftTestSlope, 8.0);

    g_MainOutput = 7;
    g_bECGGoing = true;
    EXPECT_EQ(SetECG2_27_AAMIDriftTestAmp(1.0), 0);
    EXPECT_FALSE(s_ChangeOnNextCycle) << "nothing to change while the test is off";
    EXPECT_EQ(SetECG2_27_AAMIDriftTest(true), 0);
    EXPECT_TRUE(s_ChangeOnNextCycle);
}

TEST(OverloadTest, SwitchesTheSignalAndLeavesASilentSine)
{
    EXPECT_EQ(SetBaselineResetTest(2), -1);
    const zeka::test::ScriptedPeer device;
    Listen();
    g_Amplitude = 3.0;
    g_F = 7.0;
    ASSERT_EQ(SetBaselineResetTest(2), 0);
    EXPECT_EQ(GetBaselineResetTest(), 2);
    EXPECT_EQ(ZEKAGetOutputFunction(), 1);
    EXPECT_EQ(ZEKAGetFrequency(), 60.0);
    EXPECT_EQ(ZEKAGetAmplitude(), 1000.0);
    g_hProcessRequestEvent.SetEvent();
    EXPECT_EQ(ZEKASetAmplitude(1.0), -3);

    ASSERT_EQ(SetBaselineResetTest(2), 0);
    ASSERT_EQ(SetBaselineResetTest(4), 0);
    ASSERT_EQ(SetBaselineResetTest(9), 0);
    EXPECT_EQ(ZEKAGetFrequency(), 100.0) << "a state without a frequency of its own keeps it";
    EXPECT_EQ(states, (std::vector<int>{2, 4, 9}));
    EXPECT_EQ(frequencies, (std::vector<double>{60.0, 100.0, 100.0}));

    RegisterBaselineResetCB([](int state) {
        EXPECT_EQ(state, 0);
        EXPECT_EQ(ZEKAGetAmplitude(), 3.0) << "what was set before the first state, not the last one";
        EXPECT_EQ(ZEKAGetFrequency(), 7.0);
    });
    ASSERT_EQ(SetBaselineResetTest(0), 0);
    EXPECT_EQ(ZEKAGetFrequency(), 1.0);
    EXPECT_EQ(ZEKAGetAmplitude(), 0.0);
    EXPECT_EQ(ZEKAGetOutputFunction(), 1);
}

TEST(OverloadTest, EndsWithTheStream)
{
    const zeka::test::ScriptedPeer device;
    Listen();
    ASSERT_EQ(SetBaselineResetTest(1), 0);
    ASSERT_TRUE(ZEKAIsPlaying());
    g_hProcessRequestEvent.SetEvent();
    ASSERT_EQ(ZEKASetOutputFunction(0), 0);
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_EQ(GetBaselineResetTest(), 0);
    EXPECT_EQ(states, (std::vector<int>{1, 0}));
}

// --- DC staircase of function 15

double StairsAt(double time)
{
    g_fOutputTime = time;
    double overshoot = 0.0;
    return _GetPacingV5(overshoot);
}

TEST(DcStaircase, ClimbsAndDescendsOverItsWholeTime)
{
    Listen();
    g_MainOutput = 15;
    s_InputDynamicRangeDC = -300.0;
    double time = 0.0, dc = StairsAt(0.0);
    for (long n = 1; n < 1221L * 40000; ++n) {
        time += kStep;
        const double before = dc;
        dc = StairsAt(time);
        if (dc == before)
            continue;
        const double from_mark = std::fabs(time * 2.0 - std::round(time * 2.0)) / 2.0;
        ASSERT_LT(from_mark, 0.000051) << time;
        if (time < 1219.99) {
            ASSERT_EQ(dc - before, time < 620.25 ? 0.5 : -0.5) << time;
        }
    }
    EXPECT_EQ(dc, -300.0);
    // 12 calls at the start and 12 at the end; the marks 20.0 .. 620.0 up and 620.5 .. 1220.0 down
    ASSERT_EQ(offsets.size(), 12u + 1201u + 1200u + 12u);
    for (std::size_t call = 0; call < 12; ++call) {
        EXPECT_EQ(offsets[call], -300);
        EXPECT_EQ(offsets[offsets.size() - 1 - call], -300);
    }
    for (int mark = 0; mark <= 1200; ++mark)
        ASSERT_EQ(offsets[12 + static_cast<std::size_t>(mark)], static_cast<int>(-299.5 + 0.5 * mark))
            << mark;
    for (int mark = 1; mark <= 1200; ++mark)
        ASSERT_EQ(offsets[1212 + static_cast<std::size_t>(mark)], static_cast<int>(300.5 - 0.5 * mark))
            << mark;
}

TEST(DcStaircase, StepsOnceAtAMarkInEveryStream)
{
    g_MainOutput = 15;
    s_InputDynamicRangeDC = -300.0;
    s_InputDynamicRangeAC = 0.4;
    EXPECT_EQ(StairsAt(20.0), -299.5);
    EXPECT_EQ(s_InputDynamicRangeAC, 0.0);
    s_InputDynamicRangeAC = 0.1;
    EXPECT_EQ(StairsAt(20.0 + kStep), -299.5);
    EXPECT_EQ(s_InputDynamicRangeAC, 0.1) << "the mark's later samples do not start the ramp over";
    EXPECT_EQ(StairsAt(20.25), -299.5);

    // stopped on a mark, started again, and on the same mark
    EXPECT_EQ(StairsAt(20.5), -299.0);
    EXPECT_EQ(StairsAt(0.0), -300.0);
    s_InputDynamicRangeDC = -300.0;
    EXPECT_EQ(StairsAt(20.5), -299.5);
    // the same without the function playing in between
    s_InputDynamicRangeDC = -300.0;
    EXPECT_EQ(StairsAt(20.5), -299.5);
}

} // namespace
