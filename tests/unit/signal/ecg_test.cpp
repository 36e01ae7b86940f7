// ecg_test.cpp - the synthetic ECG: time points, shape, what rides on it, and that nothing ever makes it lose
// its mind.
#include <cmath>
#include <gtest/gtest.h>
#include <random>

#include "signal/apply.h"
#include "signal/ecg.h"
#include "signal/generator.h"
#include "zeka/zeka.h"

namespace {

class Ecg : public testing::Test {
protected:
    Ecg() { g_bECGGoing = true; }
    static void Select(int function)
    {
        g_MainOutput = function;
        _Change();
    }
    static double At(double t) { return _GetMainFunctionVoltage(t); }
    static void ExpectFixedPoints(double t1, double t2, double t3, double t4, double t5)
    {
        EXPECT_NEAR(s_t1, t1, 1e-12);
        EXPECT_NEAR(s_t2, t2, 1e-12);
        EXPECT_NEAR(s_t3, t3, 1e-12);
        EXPECT_NEAR(s_t4, t4, 1e-12);
        EXPECT_NEAR(s_t5, t5, 1e-12);
    }
};

TEST_F(Ecg, TimePointsFollowFromTheParameters)
{
    Select(7);
    ExpectFixedPoints(0.05375, 0.10375, 0.11, 0.18, 0.36);
    EXPECT_NEAR(s_Cus_t1, 0.1, 1e-12);
    EXPECT_NEAR(s_Cus_t2, 0.16, 1e-12);
    EXPECT_NEAR(s_Cus_t3, 0.20375, 1e-12);
    EXPECT_NEAR(s_Cus_t4, 0.25375, 1e-12);
    EXPECT_NEAR(s_Cus_t5, 0.26, 1e-12);
    EXPECT_NEAR(s_Cus_t6, 0.33, 1e-12);
    EXPECT_NEAR(s_Cus_t7, 0.51, 1e-12);
}

TEST_F(Ecg, ShortBeatsGiveUpTheirParts)
{
    g_F = 3.0; // 333 ms: the flat stretch goes
    Select(7);
    ExpectFixedPoints(0.05375, 0.10375, 0.11, 0.11, 0.29);
    g_F = 1.0 / 0.27; // 270 ms: so does the end of the T wave, which then drops from a third of its height
    Select(7);
    ExpectFixedPoints(0.05375, 0.10375, 0.11, 0.11, 0.27);
    EXPECT_NEAR(At(0.27 - 1e-9), 0.2 * std::sin(6.2831853 * 0.16 / 0.36), 1e-7);
    g_F = 4.0; // 250 ms: no T wave at all
    Select(7);
    ExpectFixedPoints(0.05375, 0.10375, 0.11, 0.11, 0.11);
    g_F = 6.0;
    g_QRSDuration = 200.0; // longer than the beat
    Select(7);
    const double q = 1.0 / 6.0;
    ExpectFixedPoints(0.01 + 0.4375 * q, 0.01 + 0.9375 * q, 0.01 + q, 0.01 + q, 0.01 + q);
}

TEST_F(Ecg, FixedBeatHasItsCorners)
{
    g_Amplitude = 2.0;
    Select(7);
    EXPECT_EQ(At(0.0099), 0.0);
    EXPECT_NEAR(At(0.05375), 1.75, 1e-9);               // R
    EXPECT_NEAR(At(0.05375 + 0.05 * 0.875), 0.0, 1e-9); // crosses the line on the way down
    EXPECT_NEAR(At(0.10375 - 1e-9), -0.25, 1e-6);       // S
    EXPECT_NEAR(At(0.11 - 0.003125), -0.125, 1e-9);     // half of the way back
    EXPECT_EQ(At(0.15), 0.0);
    EXPECT_NEAR(At(0.27), 0.2, 1e-8); // T is not scaled by the amplitude
    EXPECT_EQ(At(0.36 + 1e-9), 0.0);
    g_Amplitude = 8.0; // held at 5
    Select(7);
    EXPECT_NEAR(At(0.05375), 4.375, 1e-9);
}

TEST_F(Ecg, AdjustableBeatHasItsCorners)
{
    g_CusST = 0.1;
    Select(8);
    EXPECT_NEAR(At(0.05), 0.2, 1e-8); // P
    EXPECT_EQ(At(0.13), 0.0);
    EXPECT_NEAR(At(0.20375), 0.875, 1e-9);
    EXPECT_NEAR(At(0.25375 + 0.003125), (0.1 - 0.125) / 2, 1e-9); // half of the way from S to the ST level
    EXPECT_EQ(At(0.3), 0.1);
    const double early = 0.33 + 0.045; // an eighth of the T wave's sine: still on the ST level
    EXPECT_NEAR(At(early), 0.1 + 0.1 * std::sin(6.2831853 / 8), 1e-8);
    const double late = 0.33 + 0.135; // the last 90 ms fall to the line, not to the ST level
    EXPECT_NEAR(At(late), 0.2 * std::sin(6.2831853 * 3 / 8), 1e-8);
    EXPECT_EQ(At(0.52), 0.0);
}

TEST_F(Ecg, PWaveIsDrawnToItsEndEvenIntoTheQrs)
{
    g_PDuration = 100.0;
    g_PRInterval = 80.0;
    Select(8);
    EXPECT_NEAR(At(0.09), 0.2 * std::sin(6.2831853 * 0.09 / 0.2), 1e-12);
    EXPECT_NEAR(At(0.1), 0.875 * 0.02 / 0.04375, 1e-9); // where the rising line has got to
    g_PDuration = g_PRInterval = 0.0;
    Select(8);
    EXPECT_EQ(At(-1e-18), 0.0);
    EXPECT_EQ(At(0.0), 0.0);
}

TEST_F(Ecg, IntervalsOfNegativeLengthAreNotDrawn)
{
    g_QTInterval = 100.0;
    g_QRSDuration = 200.0;
    g_CusST = 0.5;
    Select(8);
    for (double t = 0.16 + 0.2 + 1e-9; t < 1.0; t += 0.001)
        EXPECT_EQ(At(t), 0.0) << t;
}

TEST_F(Ecg, NoiseAndDriftRideOnItWithinTheLimit)
{
    g_Amplitude = 5.0;
    g_MainNoise = 1;
    g_MainsNoiseAmp = 1.0;
    Select(7);
    g_fOutputTime = 4.005; // a quarter of a 50 Hz period
    EXPECT_NEAR(At(0.0), 0.5, 1e-6);
    g_MainNoise = 0;
    g_AAMIDriftTest = true; // 4 mV peak to peak, 10 s
    Select(7);
    const struct {
        double time, mV;
    } triangle[] = {{1.25, 1.0}, {2.5, 2.0}, {5.0, 0.0}, {7.5, -2.0}, {8.75, -1.0}, {30.0, 0.0}, {32.5, 2.0}};
    for (const auto& [time, mV] : triangle) {
        g_fOutputTime = time;
        EXPECT_NEAR(At(0.0), mV, 1e-9) << time;
    }
    g_fOutputTime = 2.5;
    EXPECT_EQ(At(0.05375), 5.0); // 4.375 + 2
    g_fVoltageRange = 3.0;
    EXPECT_EQ(At(0.05375), 3.0);
}

TEST_F(Ecg, ReservedComplexesAreFlat)
{
    g_MainNoise = 1;
    g_AAMIDriftTest = true;
    g_BaseLineOverload = 0;
    for (const int function : {11, 12}) {
        Select(function);
        g_fOutputTime = 2.505;
        EXPECT_EQ(At(0.05), 0.0);
    }
}

TEST_F(Ecg, BreathingMovesHeightAndBaseline)
{
    Select(7);
    s_OneRespireS = 4.0;
    s_InhaleS = s_ExhaleS = 2.0;
    s_AmpModV = 0.5;
    s_BaselineModV = 0.25;
    g_fOutputTime = 9.0; // a quarter into a breath: r = 1
    EXPECT_NEAR(At(0.05375), 0.875 * 1.5 + 0.25, 1e-7);
    g_fOutputTime = 11.0; // r = -1
    EXPECT_NEAR(At(0.05375), 0.875 * 0.5 - 0.25, 1e-7);
    s_OneApneaS = 30.0;
    g_fOutputTime = 33.0;
    EXPECT_NEAR(At(0.05375), 0.875, 1e-12);
}

TEST_F(Ecg, BeatClockTakesItsLengthFromTheBreathAtTheBeatsStart)
{
    Select(7);
    s_OneRespireS = 4.0;
    s_InhaleS = s_ExhaleS = 2.0;
    s_FreqModHz = 0.5;
    s_FreqModPreEndT = 0.0;
    s_FreqModEndT = 1.0; // r is 1 there
    g_fOutputTime = 1.0;
    (void)At(0.0);
    EXPECT_EQ(s_FreqModEndT, 1.0); // not past it yet
    g_fOutputTime = 1.06;
    EXPECT_NEAR(At(0.9), 0.875 * (1.0 - (0.06 - 0.05375) / 0.05 / 0.875),
                1e-9); // its own time, not the period's
    EXPECT_EQ(s_FreqModPreEndT, 1.0);
    EXPECT_NEAR(s_FreqModEndT, 1.0 + 1.0 / 1.5, 1e-7);
}

TEST_F(Ecg, StaysANumberWithinTheLimitsForAllSettings)
{
    std::mt19937 random(227);
    const auto between = [&](double low, double high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    const auto one_of = [&](std::initializer_list<double> values) {
        return *(values.begin() + random() % values.size());
    };
    for (int round = 0; round < 300; ++round) {
        g_F = between(0.017, 6.0);
        g_Amplitude = between(-10.0, 10.0);
        g_QRSDuration = one_of({5.0, 200.0, between(5.0, 200.0)});
        g_PRInterval = one_of({0.0, 200.0, between(0.0, 200.0)});
        g_PDuration = one_of({g_PRInterval, 50.0, 100.0});
        g_QTInterval = one_of({100.0, 900.0, between(100.0, 900.0)});
        g_CusST = one_of({0.0, between(-2.0, 2.0)});
        g_MainNoise = static_cast<int>(random() % 5);
        g_AAMIDriftTest = random() % 2 != 0;
        s_OneRespireS = one_of({0.25, 4.0, HUGE_VAL});
        s_InhaleS = one_of({0.1, std::nan("")});
        s_ExhaleS = one_of({0.15, std::nan("")});
        s_OneApneaS = one_of({0.0, 10.0, 1e9});
        s_AmpModV = one_of({0.0, between(-5.0, 5.0)});
        s_BaselineModV = one_of({0.0, between(-5.0, 5.0)});
        s_FreqModHz = one_of({0.0, -g_F, g_F, 2.5 * g_F, -3.0 * g_F});
        s_FreqModPreEndT = s_FreqModEndT = 0.0;
        Select(7 + round % 2);
        for (g_fOutputTime = 0.0; g_fOutputTime < 70.0; g_fOutputTime += between(0.0, 0.5)) {
            const double v = At(std::fmod(g_fOutputTime, g_fTimePeriod));
            ASSERT_TRUE(std::fabs(v) <= 5.0) << "round " << round << ", " << g_fOutputTime << " s: " << v;
        }
    }
}

} // namespace
