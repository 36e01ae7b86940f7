// roads_test.cpp - the fast road sends what the plain one defines, byte for byte, and leaves the same state
// behind: two minutes of every function, then some hundreds of random settings with changes in mid-stream.
#include <cmath>
#include <csignal>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "signal/functions.h"
#include "unit/stream/roads.h"
#include "zeka/zeka.h"

namespace {

using zeka::test::callbacks_heard;
using zeka::test::DifferenceOfRoads;

constexpr int kTwoMinutes = 6860; // bursts
constexpr auto kNoStep = [](int) {};

std::vector<double> recording;
std::vector<double> recording_dc;

void LoadRecording(int samples, double rate_hz, bool in_mv = true)
{
    recording.resize(static_cast<std::size_t>(samples));
    recording_dc.resize(static_cast<std::size_t>(samples));
    for (std::size_t i = 0; i < recording.size(); ++i) {
        recording[i] = 2.0 * std::sin(0.013 * static_cast<double>(i));
        recording_dc[i] = 900.0 * std::cos(0.007 * static_cast<double>(i));
    }
    ECGFile = recording.data();
    g_DcRawData = recording_dc.data();
    ECGFileSize = samples;
    zeka::dc_raw_size = samples;
    ECGFileFreq = rate_hz;
    ECGFileUnitMV = in_mv;
}

void Breathe()
{
    s_OneRespireS = 4.0;
    s_InhaleS = 1.5;
    s_ExhaleS = 2.5;
    s_AmpModV = 0.3;
    s_BaselineModV = 0.4;
}

void PaceWithOvershoot(int mode)
{
    g_PA = 5.0;
    g_PacingPulse = mode;
    g_PacingOvershootTC = 50;
    g_POA = 1.0;
}

void CountCallbacks()
{
    ZEKARegisterSignalOutputCallback(
        [](double s, double mV) { callbacks_heard += 1 + (s > 0.5) + 2 * (mV > 0.1); });
    ZEKARegisterPacingOutputCallback([](double, double mV) { callbacks_heard += mV > 0.0 ? 1000 : 100; });
}

struct Signal {
    const char* name;
    int function;
    void (*modify)();
};

const Signal kSignals[] = {
    {"Sine", 1, [] { g_F = 7.3; }},
    {"FastSine", 1, [] { g_F = 500.0; }},
    {"OverloadedSine", 1,
     [] {
         g_F = 50.0;
         g_Amplitude = 1000.0;
         g_BaseLineOverload = 1;
     }},
    {"Triangle", 2, [] { g_F = 37.0; }},
    {"TriangleOfTheDynamicRangeTest", 2, [] { g_DynamicRangeTest = true; }},
    {"Square", 3, [] { g_F = 0.9; }},
    {"FastSquare", 3, [] { g_F = 499.7; }},
    {"SquareOfTheDynamicRangeTest", 3,
     [] {
         g_DynamicRangeTest = true;
         g_Amplitude = 9.5;
     }},
    {"RectangularPulse", 4, [] { g_F = 4.9; }},
    {"TriangularPulse", 5, [] { g_F = 3.1; }},
    {"PacedTriangularPulse", 5, [] { PaceWithOvershoot(0); }},
    {"Exponential", 6, [] { g_F = 1.7; }},
    {"FixedEcg", 7, [] { g_F = 1.2; }},
    {"FastestFixedEcg", 7,
     [] {
         g_F = 6.0;
         g_QRSDuration = 200.0;
     }},
    {"AdjustableEcg", 8,
     [] {
         g_F = 1.3;
         g_CusST = 0.2;
     }},
    {"AdjustableEcgWithOverlaps", 8,
     [] {
         g_PRInterval = 60.0;
         g_QTInterval = 100.0;
         g_QRSDuration = 200.0;
     }},
    {"PacedEcg", 8, [] { PaceWithOvershoot(1); }},
    {"FreelyPacedEcg", 7,
     [] {
         PaceWithOvershoot(2);
         g_pacingSynchronized = false;
         g_PacingRate = 83;
     }},
    {"SlowlyPacedEcg", 7,
     [] {
         g_PA = -300.0;
         g_F = 0.02;
         g_PacingRate = 10;
     }},
    {"BreathingEcgWithDriftAndMains", 7,
     [] {
         Breathe();
         g_AAMIDriftTest = true;
         g_MainNoise = 2;
         g_Amplitude = 4.5;
     }},
    {"EcgWithBreathingRateAndApnea", 8,
     [] {
         Breathe();
         s_OneApneaS = 12.0;
         s_FreqModHz = 0.3;
         s_FreqModEndT = 1.0;
     }},
    {"EcgOfAHeartThatStops", 7,
     [] {
         Breathe();
         s_FreqModHz = -1.0;
         s_FreqModEndT = 1.0;
     }},
    {"NoisyEcg", 7, [] { g_MainNoise = 3; }},
    {"AttenuatedEcg", 8,
     [] {
         g_RespirationEnabled = true;
         g_nRespirationResistance = 1500;
     }},
    {"Wave227", 9, [] { (void)SetSpecialWave227(4); }},
    {"Wave251", 10, [] { (void)SetSpecialWave251(9); }},
    {"Reserved", 12, [] { g_nDcDACValue = 4321; }},
    {"BiphasicExponential", 13, [] {}},
    {"File", 14, [] { LoadRecording(3333, 360.0); }},
    {"FastFile", 14, [] { LoadRecording(100000, 40000.0, false); }},
    {"FileNotLoaded", 14, [] {}},
    {"Pattern247", 16, [] { (void)SetSpecialWave247(1); }},
    {"NoisyAne20000", 17, [] { g_MainNoise = 3; }},
    {"RawData", 18, [] { LoadRecording(9000, 977.0); }},
    {"RawDataNotLoaded", 18, [] {}},
    {"Unknown", 19, [] { g_PA = 3.0; }},
    {"SeenEcg", 8,
     [] {
         CountCallbacks();
         PaceWithOvershoot(1);
     }},
    {"SineSweep", 1,
     [] {
         g_F = 0.67;
         s_Fd = 149.33 / 120.0 / 40000.0;
         s_FreqScanOn = g_FreqScan1 = true;
     }},
    {"EcgSweep", 7,
     [] {
         g_F = 0.05;
         s_Fd = (0.5 - 0.05) / 30.0 / 40000.0;
         s_FreqScanOn = g_FreqScan3 = true;
         g_MainNoise = 1;
     }},
    {"OverloadedSweep", 1,
     [] {
         g_F = 10.0;
         s_Fd = 1e-4;
         s_FreqScanOn = g_FreqScan1 = true;
         g_BaseLineOverload = 1;
     }},
    {"PacedSweep", 1,
     [] {
         g_F = 2.0;
         s_Fd = 1e-6;
         s_FreqScanOn = g_FreqScan1 = true;
         PaceWithOvershoot(2);
     }},
};

class TwoMinutes : public testing::TestWithParam<Signal> {};

TEST_P(TwoMinutes, AreTheSameOnBothRoads)
{
    const auto prepare = [] {
        g_MainOutput = GetParam().function;
        GetParam().modify();
    };
    EXPECT_EQ(DifferenceOfRoads(kTwoMinutes, prepare, kNoStep), "");
}

INSTANTIATE_TEST_SUITE_P(Of, TwoMinutes, testing::ValuesIn(kSignals),
                         [](const testing::TestParamInfo<Signal>& signal) { return signal.param.name; });

// Also those that nobody has listed above.
TEST(Roads, AgreeOnEveryFunction)
{
    for (const zeka::OutputFunction& row : zeka::kOutputFunctions) {
        const auto prepare = [&row] {
            LoadRecording(3333, 360.0);
            g_MainOutput = row.number;
            g_F = 4.3;
        };
        EXPECT_EQ(row.number == 0 ? "" : DifferenceOfRoads(300, prepare, kNoStep), "") << row.name;
    }
}

TEST(Roads, AgreeOnTheWholeStaircase)
{
    const auto prepare = [] {
        g_MainOutput = 15;
        RegisterSyncDCOffsetCB([](int mV) { callbacks_heard += 7 + mV; });
    };
    const auto skip = [](int n) {
        if (n == 2200) // from 38.5 s to just before the turn, and from behind it to just before the end
            g_fOutputTime = 619.2;
        if (n == 2400)
            g_fOutputTime = 1218.0;
    };
    EXPECT_EQ(DifferenceOfRoads(2700, prepare, skip), "");
}

TEST(Roads, AgreeLateInAStream)
{
    for (const double start : {std::exp2(17) - 0.1, 3e6, std::exp2(31), 1e12}) {
        for (const int function : {1, 2, 7, 9, 17}) {
            const auto prepare = [=] {
                g_MainOutput = function;
                g_fOutputTime = start;
                g_fOutputTimeGraph = start + 0.3;
                PaceWithOvershoot(1);
            };
            EXPECT_EQ(DifferenceOfRoads(120, prepare, kNoStep), "") << start << " s, function " << function;
        }
    }
}

TEST(Roads, AgreeWhateverTheSampleRate)
{
    for (const int rate :
         {32768, 44100, 1000, 50}) { // 1 / 32768 s is exact, the others round in their own places
        const auto prepare = [rate] {
            g_nSampleRate = rate;
            g_MainOutput = 7;
            g_F = 1.1;
        };
        EXPECT_EQ(DifferenceOfRoads(60, prepare, kNoStep), "") << rate;
    }
}

TEST(Roads, AgreeWhenPlaybackEnds)
{
    for (const int function : {9, 10, 14, 17, 18}) {
        const auto prepare = [function] {
            LoadRecording(400, 250.0);
            SetStandardWaveformLoop(false);
            ZEKAEnableLoop(false);
            CountCallbacks();
            g_MainOutput = function;
            g_nSpecialWaveform = 3;
        };
        const auto skip = [function](int n) {
            if (n == 5 && function == 9)
                g_fOutputTime = 47.8;
        };
        EXPECT_EQ(DifferenceOfRoads(100, prepare, skip), "") << function;
    }
}

TEST(Roads, AgreeWhileRecording)
{
    static std::vector<double> ac(2000), dc(2000);
    const auto prepare = [] {
        g_MainOutput = 7;
        s_AcBuffer = ac.data();
        s_DcBuffer = dc.data();
        s_RecordLength = 2000;
    };
    const auto start = [](int n) { s_EnableRecord = n >= 2; };
    EXPECT_EQ(DifferenceOfRoads(8, prepare, start), "");
    EXPECT_EQ(s_RecordIndex, 2000);
}

// A callback may turn everything over in the middle of a burst.
TEST(Roads, AgreeWhenACallbackChangesTheSignal)
{
    const auto prepare = [] {
        ZEKARegisterSignalOutputCallback([](double, double mV) {
            ++callbacks_heard;
            if (callbacks_heard % 13 == 0) {
                g_QRSDuration = 20.0 + callbacks_heard % 170;
                _Change();
            }
            if (callbacks_heard % 97 == 0) {
                g_Amplitude = 1.0 + mV * 0.1 + callbacks_heard % 5;
                _ChangeRequested();
            }
            if (callbacks_heard % 501 == 0) {
                g_MainOutput = 1 + callbacks_heard % 8;
                _ChangeRequested();
            }
            if (callbacks_heard == 3000)
                ZEKARegisterSignalOutputCallback(nullptr);
        });
        g_MainOutput = 7;
        g_F = 5.0;
    };
    EXPECT_EQ(DifferenceOfRoads(90, prepare, kNoStep), "");
}

/// A random state that setters can reach, changed a few times on the way.
class RandomSettings {
public:
    explicit RandomSettings(unsigned seed) : random_(seed) {}

    void Prepare()
    {
        LoadRecording(static_cast<int>(Between(1.0, 5000.0)), OneOf({100.0, 360.0, 4999.0, 5001.0, 40000.0}));
        g_MainOutput = static_cast<int>(random_() % 20);
        Turn();
        g_pacingSynchronized = Chance(0.5);
        g_AAMIDriftTest = Chance(0.2);
        g_nDcDACValue = Chance(0.1) ? 1234 : -1;
        g_BaseLineOverload = Chance(0.1) ? 2 : 0;
        s_freqDivider = Chance(0.8) ? 10 : 1 + static_cast<int>(random_() % 30);
        uiCounter = static_cast<int>(random_() % 10);
        g_fOutputTime = g_fOutputTimeGraph = Chance(0.5) ? 0.0 : Between(0.0, 4000.0);
        if (Chance(0.3))
            Modulate();
        if (Chance(0.3))
            CountCallbacks();
        if (g_MainOutput == 16)
            (void)SetSpecialWave247(static_cast<int>(random_() % 4));
        if (Chance(0.1)) {
            s_FreqScanOn = true;
            s_Fd = Between(-1e-5, 1e-3);
        }
    }

    /// New parameters, as a setter would store them.
    void Turn()
    {
        g_F = Chance(0.5) ? Between(0.017, 6.0) : Between(0.5, 500.0);
        g_Amplitude = Between(-10.0, 10.0);
        g_PulseWidth = Between(1.0, 300.0);
        g_QRSDuration = Between(5.0, 200.0);
        g_PRInterval = Between(0.0, 200.0);
        g_PDuration = g_PRInterval < 50.0 ? g_PRInterval : Between(50.0, 100.0);
        g_QTInterval = Between(100.0, 900.0);
        g_CusST = Chance(0.5) ? 0.0 : Between(-2.0, 2.0);
        g_PA = Chance(0.5) ? 0.0 : Between(-700.0, 700.0);
        g_PacingDuration = Between(0.1, 3.0);
        g_PacingRate = 10 + static_cast<unsigned>(random_() % 351);
        g_PacingPulse = static_cast<int>(random_() % 4);
        g_PacingOvershootTC = Chance(0.5) ? 0 : static_cast<unsigned>(random_() % 101);
        g_POA = Between(0.0, 5.0);
        g_MainNoise = Chance(0.7) ? 0 : static_cast<int>(random_() % 5);
        g_DynamicRangeTest = Chance(0.2);
        g_DCSetting = static_cast<int>(random_() % 2001) - 1000;
        g_nSpecialWaveform = static_cast<int>(random_() % 18) - 1;
        g_nANE20000ChannelNumber = static_cast<int>(random_() % 9);
    }

    void Step(int n)
    {
        if (n == 0 || !Chance(0.1))
            return;
        Turn();
        if (Chance(0.5))
            _Change();
        else
            _ChangeRequested();
    }

private:
    void Modulate()
    {
        Breathe();
        if (Chance(0.3)) { // what strange arguments make of a breath
            s_OneRespireS = OneOf({0.0, -3.0, 0.05, HUGE_VAL});
            s_InhaleS = OneOf({0.0, 1.0, -1.0, std::nan("")});
            s_ExhaleS = OneOf({0.0, 2.0, -2.0, std::nan("")});
        }
        s_OneApneaS = Chance(0.3) ? 20.0 : 0.0;
        s_AmpModV = Chance(0.5) ? 0.0 : Between(-2.0, 2.0);
        s_FreqModHz = Chance(0.5) ? 0.0 : Between(-1.5, 1.5);
        s_FreqModPreEndT = s_FreqModEndT = g_fOutputTime + Between(0.0, 0.1);
        g_RespirationEnabled = Chance(0.5);
        g_nRespirationResistance = 500 * (1 + static_cast<int>(random_() % 6));
    }

    double Between(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }
    double OneOf(std::initializer_list<double> values)
    {
        return *(values.begin() + random_() % values.size());
    }
    bool Chance(double p) { return Between(0.0, 1.0) < p; }

    std::mt19937 random_;
};

class RandomRoads : public testing::TestWithParam<unsigned> {};

TEST_P(RandomRoads, Agree)
{
    std::signal(SIGPIPE, SIG_IGN);
    for (unsigned k = 0; k < 50; ++k) {
        RandomSettings settings(GetParam() * 50 + k);
        const std::string difference = DifferenceOfRoads(
            120, [&] { settings.Prepare(); }, [&](int n) { settings.Step(n); });
        ASSERT_EQ(difference, "") << "seed " << GetParam() * 50 + k << ", function " << g_MainOutput;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomRoads, testing::Range(0u, 8u));

} // namespace
