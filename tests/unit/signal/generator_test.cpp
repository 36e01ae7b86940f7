// generator_test.cpp - the voltage of every function but the ECGs at telling instants; the ECGs' limits.
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "signal/apply.h"
#include "signal/functions.h"
#include "signal/generator.h"
#include "signal/tables/tables.h"
#include "zeka/zeka.h"

namespace {

/// A function as it is after its change: 2 mV, 1 Hz unless a test says otherwise.
class Generator : public testing::Test {
protected:
    Generator()
    {
        g_bECGGoing = true;
        g_Amplitude = 2.0;
    }
    static void Select(int function)
    {
        g_MainOutput = function;
        _Change();
    }
};

TEST_F(Generator, PeriodicFunctionsReachTheirCorners)
{
    Select(1);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.25), 1.0, 1e-8);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.125), std::sqrt(0.5), 1e-7);

    g_F = 4.0;
    Select(2);
    EXPECT_EQ(_GetMainFunctionVoltage(0.0), 0.0);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.25 * 0.25), 1.0, 1e-12);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.50 * 0.25), 0.0, 1e-12);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.75 * 0.25), -1.0, 1e-12);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.875 * 0.25), -0.5, 1e-12);

    Select(3);
    EXPECT_EQ(_GetMainFunctionVoltage(0.0), 1.0);
    EXPECT_EQ(_GetMainFunctionVoltage(std::nextafter(0.125, 0.0)), 1.0);
    EXPECT_EQ(_GetMainFunctionVoltage(0.125), -1.0);
}

TEST_F(Generator, PulsesAreAsHighAsTheAmplitudeAndAsLongAsTheirWidth)
{
    g_PulseWidth = 125.0;
    Select(4);
    EXPECT_EQ(_GetMainFunctionVoltage(0.0), 2.0);
    EXPECT_EQ(_GetMainFunctionVoltage(std::nextafter(0.125, 0.0)), 2.0);
    EXPECT_EQ(_GetMainFunctionVoltage(0.125), 0.0);

    Select(5);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.0625), 2.0, 1e-12);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.03125), 1.0, 1e-12);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.09375), 1.0, 1e-12);
    EXPECT_EQ(_GetMainFunctionVoltage(0.125), 0.0);

    g_PA = 3.0; // while pacing the triangle makes room for the pacing pulse
    Select(5);
    EXPECT_EQ(_GetMainFunctionVoltage(0.0099), 0.0);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.01 + 0.0625), 2.0, 1e-12);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.01 + 0.124), 2.0 - 2.0 * (0.124 - 0.0625) / 0.0625, 1e-10);
}

TEST_F(Generator, ExponentialsDecayWithAFiftiethOfASecond)
{
    Select(6);
    EXPECT_EQ(_GetMainFunctionVoltage(0.0), 2.0);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.05), 2.0 / std::exp(1.0), 1e-15);
    Select(13);
    EXPECT_EQ(_GetMainFunctionVoltage(0.0), 1.0);
    EXPECT_NEAR(_GetMainFunctionVoltage(std::nextafter(0.5, 0.0)), std::exp(-10.0), 1e-15);
    EXPECT_EQ(_GetMainFunctionVoltage(0.5), -1.0);
}

TEST_F(Generator, AddedSineRunsOnTheStreamsClockAndIsLimited)
{
    g_DynamicRangeTest = true;
    g_ADynamicRange = 1.0;
    g_FDynamicRange = 10.0;
    Select(3);
    g_fOutputTime = 7.025; // a quarter period of the sine; t is somewhere else
    EXPECT_NEAR(_GetMainFunctionVoltage(0.1), 1.0 + 0.5, 1e-6);
    EXPECT_NEAR(_GetMainFunctionVoltage(0.6), -1.0 + 0.5, 1e-6);
    s_A = 4.9; // more than the headroom would leave
    EXPECT_EQ(_GetMainFunctionVoltage(0.1), 5.0);
    g_fOutputTime = 7.075;
    EXPECT_EQ(_GetMainFunctionVoltage(0.6), -5.0);
    Select(1); // the sine takes no part in the test
    EXPECT_EQ(_GetMainFunctionVoltage(0.0), 0.0);
}

TEST_F(Generator, StandardWaveformsAreHeldBetweenTheirSamples)
{
    g_nSpecialWaveform = 5;
    Select(9);
    EXPECT_EQ(_GetMainFunctionVoltage(100.5 / 720.0), IEC227W[5 * 66000 + 100] / 1000.0);
    EXPECT_EQ(_GetMainFunctionVoltage(-1e-17),
              IEC227W[5 * 66000] / 1000.0); // rounding at the start of a period
    EXPECT_NE(IEC227W[5 * 66000], 0);
    Select(10);
    EXPECT_EQ(_GetMainFunctionVoltage(0.0679), IEC251W[5 * 1000 + 67] / 1000.0);
    g_nANE20000ChannelNumber = 4;
    Select(17);
    EXPECT_EQ(_GetMainFunctionVoltage(0.2999), ANE20000[4 * 1000 + 299] / 1000.0);
    EXPECT_EQ(SetSpecialWave247(1), 0);
    Select(16);
    EXPECT_EQ(_GetMainFunctionVoltage(0.8 + 0.0534), 0.875); // second beat of the pattern: sample 853
    g_nSpecialWaveform = 1000;                               // outside every table
    for (const int function : {9, 10, 16}) {
        Select(function);
        EXPECT_EQ(_GetMainFunctionVoltage(0.5), 0.0) << function;
    }
}

TEST_F(Generator, NoiseRidesOnTheAneWaveformWithHalfItsAmplitude)
{
    g_MainsNoiseAmp = 0.4;
    struct Case {
        int type;
        double hz;
    };
    for (const Case& c : {Case{1, 50.0}, Case{2, 60.0}, Case{-5, 60.0}}) {
        g_MainNoise = c.type;
        Select(17);
        g_fOutputTime = 3.0 + 0.25 / c.hz;
        EXPECT_NEAR(_GetMainFunctionVoltage(0.0), 0.2, 1e-7) << c.type; // the waveform starts at 0
    }
    g_MainNoise = 3;
    Select(17);
    double low = 1.0, high = -1.0;
    for (int i = 0; i < 2000; ++i) {
        const double v = _GetMainFunctionVoltage(0.0);
        low = std::min(low, v);
        high = std::max(high, v);
    }
    EXPECT_TRUE(low >= -0.2 && low < -0.19) << low;
    EXPECT_TRUE(high <= 0.2 && high > 0.19) << high;
}

TEST_F(Generator, RecordingIsHeldScaledAndNeverReadOutside)
{
    for (const int function : {14, 18}) {
        ECGFile = nullptr;
        Select(function);
        EXPECT_EQ(_GetMainFunctionVoltage(0.3), 0.0);
        std::vector<double> samples{0.5, -1.5, 2.5};
        ECGFile = samples.data();
        ECGFileSize = 3;
        ECGFileFreq = 100.0;
        ECGFileUnitMV = true;
        Select(function);
        EXPECT_EQ(_GetMainFunctionVoltage(0.0199), -1.5);
        EXPECT_EQ(_GetMainFunctionVoltage(0.03), 2.5); // rounding at the very end of the period
        EXPECT_EQ(_GetMainFunctionVoltage(-1e-18), 0.5);
        ECGFileUnitMV = false;
        EXPECT_EQ(_GetMainFunctionVoltage(0.0), 0.5 / 1000.0);
        ECGFileSize = -7; // what a rejected line leaves behind
        EXPECT_EQ(_GetMainFunctionVoltage(0.0), 0.0);
        ECGFile = nullptr;
    }
}

TEST_F(Generator, InputRangeRampFollowsTheStreamsClock)
{
    Select(15);
    EXPECT_EQ(s_InputDynamicRangeDC, -300.0);
    g_fOutputTime = 19.999;
    EXPECT_EQ(_GetMainFunctionVoltage(0.5), 0.0);
    g_fOutputTime = 20.0;
    EXPECT_EQ(_GetMainFunctionVoltage(0.5), 1.0 / 40000.0);
    g_fOutputTime = 620.0;
    EXPECT_EQ(_GetMainFunctionVoltage(0.5), 2.0 / 40000.0);
    g_fOutputTime = 620.1;
    EXPECT_EQ(_GetMainFunctionVoltage(0.5), 1.0 / 40000.0);
    g_fOutputTime = 1220.0;
    EXPECT_EQ(_GetMainFunctionVoltage(0.5), 0.0);
}

TEST_F(Generator, UnknownFunctionsAreSilent)
{
    Select(1); // with working values that any other function would turn into a voltage
    for (const int function : {-1, 19, 1 << 30}) {
        g_MainOutput = function;
        EXPECT_EQ(_GetMainFunctionVoltage(0.3), 0.0) << function;
    }
}

TEST(Ecg, StaysANumberWithinTheLimitsForAllSettings)
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
        g_bECGGoing = true;
        g_MainOutput = 7 + round % 2;
        _Change();
        for (g_fOutputTime = 0.0; g_fOutputTime < 70.0; g_fOutputTime += between(0.0, 0.5)) {
            const double v = _GetMainFunctionVoltage(std::fmod(g_fOutputTime, g_fTimePeriod));
            ASSERT_TRUE(std::fabs(v) <= 5.0) << "round " << round << ", " << g_fOutputTime << " s: " << v;
        }
    }
}

// A row without a shape would play 0.0, and a shape without a row would be played at the wrong caps.
TEST_F(Generator, RowsAndShapesBelongTogether)
{
    double samples[] = {1.0, -1.0};
    ECGFile = samples;
    ECGFileSize = 2;
    ECGFileFreq = 4.0;
    ECGFileUnitMV = true;
    EXPECT_EQ(SetSpecialWave247(0), 0);
    for (const zeka::OutputFunction& row : zeka::kOutputFunctions) {
        g_bECGGoing = true;
        g_MainOutput = 1;
        _Change();
        g_MainOutput = row.number == 0 ? 1 : row.number;
        _Change();
        g_MainOutput = row.number;
        g_fOutputTime = 30.0; // on the stairs
        bool silent = true;
        for (double t = 0.0; t < g_fTimePeriod && t < 1.0; t += 0.001)
            silent = silent && _GetMainFunctionVoltage(t) == 0.0;
        EXPECT_EQ(silent, row.kind == zeka::Kind::kSilent) << row.name;
    }
}

} // namespace
