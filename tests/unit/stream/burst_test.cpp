// burst_test.cpp - whole bursts against values worked out here: words, sequence, clocks, callbacks, end of
// playback.
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <utility>
#include <vector>

#include "signal/apply.h"
#include "stream/burst.h"
#include "stream/sample_stream.h"
#include "support/scripted_peer.h"
#include "unit/stream/burst_words.h"
#include "zeka/zeka.h"

namespace {

using zeka::test::AcWordOf;
using BurstBytes = zeka::test::ScriptedPeer::Burst;
using zeka::test::CountsOf;
using zeka::test::DcWord;
using zeka::test::kSamplesOfBurst;

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

TEST(Scaling, AttenuationFollowsTheBaselineImpedance)
{
    g_nRespirationResistance = 1000;
    EXPECT_EQ(GetAttenuation(), 1.0); // respiration is off
    g_RespirationEnabled = true;
    const std::pair<int, double> table[] = {{500, 2.873}, {1000, 7.827}, {1500, 13.134}, {2000, 17.92},
                                            {2500, 22.9}, {3000, 1.0},   {0, 1.0}};
    for (const auto& [ohms, factor] : table) {
        g_nRespirationResistance = ohms;
        EXPECT_EQ(GetAttenuation(), factor) << ohms;
    }
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

TEST_F(BurstOf, SineCarriesItsFormulaInEverySample)
{
    g_Amplitude = 3.0;
    g_F = 11.0;
    g_DCSetting = -250;
    Select(1);
    double clock = 0.0;
    for (int n = 0; n < 3; ++n) {
        const BurstBytes burst = Next();
        for (int i = 0; i < kSamplesOfBurst; ++i, clock += 1.0 / 40000.0) {
            const double t = clock - 1.0 / 11.0 * std::floor(clock / (1.0 / 11.0));
            ASSERT_EQ(AcWordOf(burst, i), CountsOf(1.5 * std::sin(11.0 * 6.2831853 * t))) << n << ' ' << i;
            ASSERT_EQ(DcWord(burst, i), 24576); // 0.5 + 750 / 2000 * 65535 = 24576.125
        }
    }
    EXPECT_EQ(g_fOutputTime, clock); // accumulated, not multiplied
    EXPECT_EQ(g_fOutputTimeGraph, clock);
}

TEST_F(BurstOf, PacketsCarryHeaderAndRunningNumber)
{
    g_nSequenceCheck = 65510;
    Select(4);
    const BurstBytes burst = Next();
    for (int packet = 0; packet < 50; ++packet) {
        const std::uint8_t* at = &burst[static_cast<std::size_t>(64 * packet)];
        const std::vector<int> header(at, at + 6);
        EXPECT_EQ(header, (std::vector<int>{1, 1, 0, 0, 0, 14}));
        EXPECT_EQ(zeka::test::SequenceOf(burst, packet), (65510 + packet) % 65536);
    }
    EXPECT_EQ(g_nSequenceCheck, 24);
}

TEST_F(BurstOf, AttenuationScalesAndTheEndsHold)
{
    g_Amplitude = 1.0;
    Select(4); // 1 mV pulse
    g_RespirationEnabled = true;
    g_nRespirationResistance = 1000;
    EXPECT_EQ(AcWordOf(Next(), 5), 817); // 6400 / 7.827 = 817.6
    g_RespirationEnabled = false;
    EXPECT_EQ(AcWordOf(Next(), 5), 6400);
    g_Amplitude = 6.0;
    Select(4);
    EXPECT_EQ(AcWordOf(Next(), 5), 32767);
    g_Amplitude = -6.0;
    Select(4);
    EXPECT_EQ(AcWordOf(Next(), 5), -32768);
}

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

TEST_F(BurstOf, OverloadMovesTheSineToTheDcChannel)
{
    g_F = 50.0;
    g_Amplitude = 1000.0;
    g_BaseLineOverload = 1;
    Select(1);
    const BurstBytes sine = Next();
    for (int i = 0; i < kSamplesOfBurst; ++i) {
        const double mV = 500.0 * std::sin(6.2831853 * i / 800.0);
        ASSERT_NEAR(DcWord(sine, i), 0.5 + (mV + 1000.0) / 2000.0 * 65535.0, 1.01) << i;
        ASSERT_EQ(AcWordOf(sine, i), 0);
    }
    g_Amplitude = 1.0;
    Select(3); // any other function keeps its channel; the DC channel shows the overload
    const BurstBytes square = Next();
    EXPECT_EQ(std::abs(AcWordOf(square, 10)), 3200);
    EXPECT_EQ(DcWord(square, 10), 16384);
}

TEST_F(BurstOf, RawDataCarriesItsOwnDcChannel)
{
    std::vector<double> ac, dc;
    for (int i = 0; i < 20; ++i) {
        ac.push_back(0.1 * i);
        dc.push_back(10.0 * i);
    }
    ECGFile = ac.data();
    g_DcRawData = dc.data();
    ECGFileSize = zeka::dc_raw_size = 20;
    ECGFileFreq = 1000.0;
    ECGFileUnitMV = true;
    g_DCSetting = 700;
    g_PA = 5.0; // no pacing here
    Select(18);
    const BurstBytes burst = Next();
    for (int i = 0; i < kSamplesOfBurst; ++i) {
        if (i % 40 == 0)
            continue; // on the edge between two samples of the file
        ASSERT_EQ(AcWordOf(burst, i), CountsOf(ac[static_cast<std::size_t>(i / 40)])) << i;
        ASSERT_EQ(DcWord(burst, i), ECG_DC_VoltageToDAC(dc[static_cast<std::size_t>(i / 40)])) << i;
    }
    zeka::dc_raw_size = 10; // a shorter DC channel that an earlier recording left
    EXPECT_EQ(DcWord(Next(), 60), ECG_DC_VoltageToDAC(90.0));
    g_DcRawData = nullptr;
    EXPECT_EQ(DcWord(Next(), 60), 32768);
    ECGFile = nullptr;
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

TEST_F(BurstOf, RecordingTakesCountsAndMillivoltsUntilItIsFull)
{
    std::vector<double> ac(800, -1.0), dc(800, -1.0);
    g_Amplitude = 2.0;
    g_DCSetting = 12;
    g_nDcDACValue = 5; // what is recorded is the voltage, not the code
    Select(4);
    s_AcBuffer = ac.data();
    s_DcBuffer = dc.data();
    s_RecordLength = 750;
    s_EnableRecord = true;
    Next();
    EXPECT_EQ(s_RecordIndex, 700);
    Next();
    EXPECT_EQ(s_RecordIndex, 750);
    EXPECT_EQ(ac[0], 12800.0);
    EXPECT_EQ(ac[749], 12800.0);
    EXPECT_EQ(dc[749], 12.0);
    EXPECT_EQ(ac[750], -1.0);
    s_EnableRecord = false;
}

// Callbacks are plain functions: what they saw is kept here.
std::vector<std::pair<double, double>> shown;
std::vector<std::pair<double, double>> drawn;

TEST_F(BurstOf, EveryTenthSampleIsShownAndTheDividerRunsOn)
{
    ZEKARegisterSignalOutputCallback([](double s, double mV) { shown.emplace_back(s, mV); });
    g_F = 2.0;
    Select(2); // 1 mV peak to peak at 2 Hz: 4 mV/s at first
    uiCounter = 3;
    Next();
    ASSERT_EQ(shown.size(), 70u);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const double time = static_cast<double>(10 * i + 7) / 40000.0;
        EXPECT_NEAR(shown[i].first, time, 1e-12);
        EXPECT_NEAR(shown[i].second, 4.0 * time, 1e-12);
    }
    EXPECT_EQ(uiCounter, 3);
}

TEST_F(BurstOf, PacingPulseIsDrawnAtTheNextShownSample)
{
    ZEKARegisterSignalOutputCallback([](double s, double mV) { shown.emplace_back(s, mV); });
    ZEKARegisterPacingOutputCallback([](double s, double mV) { drawn.emplace_back(s, mV); });
    g_PA = 7.0;
    g_PacingDuration = 2.5;
    Select(1);
    g_fOutputTime = g_fOutputTimeGraph = 0.97; // the pulse comes at 0.98, between two shown samples or on one
    Next();
    ASSERT_EQ(drawn.size(), 4u);
    const double t = drawn[0].first;
    EXPECT_TRUE(t >= 0.98 - 0.0002 && t < 0.98 + 0.00026) << t;
    EXPECT_EQ(drawn[0].second, 0.0);
    EXPECT_EQ(drawn[1], (std::pair{t, 7.0}));
    EXPECT_EQ(drawn[2], (std::pair{t + 0.0025, 7.0}));
    EXPECT_EQ(drawn[3], (std::pair{t + 0.0025, 0.0}));
    EXPECT_FALSE(s_PacingIndicationNeeded);
}

TEST_F(BurstOf, SweepKeepsThePhaseWhileTheFrequencyMoves)
{
    g_F = 10.0;
    Select(1);
    s_FreqScanOn = g_FreqScan1 = true;
    s_Fd = 0.05; // 2000 Hz/s
    double hz = 10.0, phase = 0.0;
    for (int n = 0; n < 5; ++n) {
        const BurstBytes burst = Next();
        for (int i = 0; i < kSamplesOfBurst; ++i) {
            ASSERT_NEAR(AcWordOf(burst, i), 3200.0 * std::sin(2.0 * M_PI * phase), 1.1) << n << ' ' << i;
            phase += hz / 40000.0; // the step is made with the old period
            phase -= std::floor(phase);
            hz += 0.05;
        }
    }
    EXPECT_NEAR(g_F, 10.0 + 3500 * 0.05, 1e-9);
    EXPECT_NEAR(g_fOutputTimeGraph, 3500.0 / 40000.0, 1e-12);
}

TEST(Playback, FileEndsAtTheRequestBehindItsEnd)
{
    zeka::test::AskingPeer device;
    ZEKARegisterSignalOutputCallback([](double s, double mV) {
        if (s < 0.0) {
            EXPECT_EQ(ZEKAGetOutputFunction(), 0); // switched off before the application hears of it
        }
        shown.emplace_back(s, mV);
    });
    std::vector<double> samples(20, 1.0);
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        ECGFile = samples.data();
        ECGFileSize = 20;
        ECGFileFreq = 1000.0; // 800 samples of the stream: one burst and a part of the second
        ECGFileUnitMV = true;
    }
    ZEKAEnableLoop(false);
    ASSERT_EQ(ZEKASetOutputFunction(14), 0);
    const CAutoCriticalSection lock(g_CriticalSection);
    _SendNextPacket();
    _SendNextPacket();
    _SendNextPacket(); // finds nothing selected: silence
    const auto bursts = device.Bursts(3);
    ASSERT_EQ(bursts.size(), 3u); // the request behind the end got none
    EXPECT_EQ(AcWordOf(bursts[0], 699), 6400);
    EXPECT_EQ(AcWordOf(bursts[1], 99), 6400);
    EXPECT_EQ(AcWordOf(bursts[1], 101), 0);
    EXPECT_EQ(AcWordOf(bursts[2], 0), 0);
    EXPECT_FALSE(ZEKAIsPlaying());
    std::size_t markers = 0;
    for (const auto& [s, mV] : shown)
        markers += s == -1.0 && mV == 0.0;
    EXPECT_EQ(markers, 1u);
    ECGFile = nullptr;
}

TEST(Playback, StandardWaveformEndsAtTheFirstSampleBehindItsEnd)
{
    zeka::test::AskingPeer device;
    SetStandardWaveformLoop(false);
    g_nSpecialWaveform = 3;
    ASSERT_EQ(ZEKASetOutputFunction(10), 0); // 1 s
    ZEKARegisterSignalOutputCallback([](double s, double mV) {
        if (s < 0.0) {
            EXPECT_EQ(ZEKAGetOutputFunction(), 10); // hears of it before the function goes
        }
        shown.emplace_back(s, mV);
    });
    const CAutoCriticalSection lock(g_CriticalSection);
    for (int n = 1; n < 58; ++n)
        _SendNextPacket();
    const auto bursts = device.Bursts(58);
    ASSERT_EQ(bursts.size(), 58u); // the burst in which it ended was completed and sent
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_EQ(ZEKAGetOutputFunction(), 0);
    // 40600 samples: those behind the end count from 0 again.
    EXPECT_NEAR(g_fOutputTime, 600.0 / 40000.0, 3.0 / 40000.0);
    std::size_t markers = 0;
    for (const auto& [s, mV] : shown)
        markers += s == -1.0 && mV == 0.0;
    EXPECT_EQ(markers, 1u);
}

TEST_F(BurstOf, SilentFilesDoNotBlockTheNextChange)
{
    Select(14); // nothing loaded
    Next();
    g_MainOutput = 3;
    _ChangeRequested();
    for (int n = 0; n < 60; ++n) {
        const BurstBytes burst = Next();
        for (int i = 0; i < kSamplesOfBurst; ++i)
            ASSERT_LE(std::abs(AcWordOf(burst, i)), 3200);
    }
    EXPECT_FALSE(s_ChangeOnNextCycle);
    EXPECT_TRUE(std::isfinite(g_fOutputTime));
}

} // namespace
