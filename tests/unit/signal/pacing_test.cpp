// pacing_test.cpp - where pulses stand, what they look like, and what the settings accept.
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "signal/pacing.h"
#include "signal/state.h"
#include "support/scripted_peer.h"

namespace {

constexpr double kStep = 1.0 / 40000;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Sample {
    double dc, overshoot;
};

Sample Next()
{
    double overshoot = 0.0;
    const double dc = _GetPacingV5(overshoot);
    g_fOutputTime += kStep;
    return {dc, overshoot};
}

/// Indices at which a pulse begins within the next `count` samples.
std::vector<int> PulseStarts(int count)
{
    std::vector<int> starts;
    bool inside = false;
    for (int n = 0; n < count; ++n) {
        const bool pulse = Next().dc != 0.0;
        if (pulse && !inside)
            starts.push_back(n);
        inside = pulse;
    }
    return starts;
}

/// Free-running pacing on the sine, once a second unless changed afterwards.
void SwitchOn(double mV)
{
    g_MainOutput = 1;
    g_fTimePeriod = 1.0;
    g_PA = mV;
    zeka::DerivePacing();
}

/// The sample at `seconds` of stream time.
int SampleAt(double seconds) { return static_cast<int>(std::lround(seconds / kStep)); }

TEST(PacingPulse, OpensTwentyMillisecondsBeforeEachPeriodAndHasItsWidth)
{
    SwitchOn(5.0);
    const int first = SampleAt(0.98);
    for (int n = 0; n < 2 * 40000; ++n) {
        const int since = n - (n < 40000 ? first : SampleAt(1.98));
        const Sample sample = Next();
        ASSERT_EQ(sample.dc, since >= 0 && since < 80 ? 5.0 : 0.0) << n;
        ASSERT_EQ(sample.overshoot, 0.0) << n;
    }
}

TEST(PacingPulse, DroopsAndOvershootsAgainstItsOwnSign)
{
    for (const double height : {5.0, -5.0}) {
        g_fOutputTime = 0.0;
        g_PacingOvershootTC = 10;
        g_POA = 1.0;
        SwitchOn(height);
        const double sign = height > 0 ? -1.0 : 1.0;
        for (int n = 0; n < SampleAt(0.98); ++n)
            ASSERT_EQ(Next().dc, 0.0);
        EXPECT_EQ(Next().dc, height); // the first sample is the pulse itself
        for (int n = 2; n <= 80; ++n)
            ASSERT_NEAR(Next().dc, height + sign * (1 - std::exp(-n / 80.0)), 1e-12);
        for (int n = 0; n < 4000; ++n) {
            const Sample after = Next();
            ASSERT_EQ(after.dc, 0.0);
            ASSERT_NEAR(after.overshoot, sign * std::exp(-n / 400.0), 1e-12);
        }
    }
}

TEST(PacingPulse, SecondPulseStandsWhereTheShiftedClockPutsIt)
{
    struct Case {
        int mode;
        double before_period; // s from the second pulse's mark to the end of the period
    };
    for (const Case& c : {Case{1, 0.17}, Case{2, 0.27}, Case{5, 0.0}}) {
        g_fOutputTime = 0.0;
        g_PacingPulse = c.mode;
        SwitchOn(1.0);
        std::vector<int> expected{SampleAt(0.98)};
        if (c.before_period > 0.0)
            expected.insert(expected.begin(), SampleAt(1.0 - c.before_period));
        EXPECT_EQ(PulseStarts(40000), expected) << "mode " << c.mode;
    }
}

TEST(PacingPulse, LeadsTheQrsOfTheAdjustableEcg)
{
    SwitchOn(1.0);
    g_MainOutput = 8;
    s_Cus_t2 = 0.16;
    // Ahead of the stream's first mark the clock runs below zero and its distance to the mark counts from
    // both sides: the first pulse comes on the first sample within 105 us, the later ones at their marks.
    EXPECT_EQ(PulseStarts(60000), (std::vector<int>{SampleAt(0.13) - 4, SampleAt(1.13)}));
}

TEST(PacingPulse, AChangeAtTheMarkNeitherRepeatsThePulseNorKeepsItsOvershoot)
{
    g_PacingOvershootTC = 10;
    g_POA = 1.0;
    g_PacingDuration = 0.1; // 4 samples; the fifth is still at the mark
    SwitchOn(5.0);
    for (int n = 0; n < SampleAt(0.98) + 4; ++n)
        (void)Next();
    zeka::DerivePacing();
    for (int n = 0; n < 30000; ++n) {
        const Sample sample = Next();
        ASSERT_EQ(sample.dc, 0.0) << n;
        ASSERT_EQ(sample.overshoot, 0.0) << n;
    }
}

TEST(PacingClock, FollowsTheFunctionOnlyFromTenToThreeHundredSixtyPerMinute)
{
    struct Case {
        double period;
        bool synchronised;
        double expected;
    };
    for (const Case& c : {Case{1.0, true, 1.0}, Case{1.0, false, 0.5}, Case{6.0, true, 6.0},
                          Case{1.0 / 6.0, true, 1.0 / 6.0}, Case{10.0, true, 0.5}, Case{0.002, true, 0.5}}) {
        g_PacingRate = 120;
        g_PA = 1.0;
        g_fTimePeriod = c.period;
        g_pacingSynchronized = c.synchronised;
        zeka::DerivePacing();
        EXPECT_EQ(s_pp, c.expected) << c.period;
    }
}

TEST(PacingOff, LeavesTheDcChannelToOffsetAndOverload)
{
    g_DCSetting = -120;
    zeka::DerivePacing();
    EXPECT_EQ(Next().dc, -120.0);
    g_BaseLineOverload = 2;
    EXPECT_EQ(Next().dc, -500.0);
    g_PA = 1.0;
    g_fTimePeriod = 1.0;
    zeka::DerivePacing();
    EXPECT_EQ(Next().dc, 0.0) << "pacing goes before the overload";
}

/// The pacing of one sample with nothing kept and nothing skipped.
class PlainPacing {
public:
    Sample At(double time)
    {
        const double offset = g_MainOutput == 8 ? g_Pacing_leading - s_Cus_t2 : g_Pacing_leading - 0.01;
        Examine(time + offset, latch_[0]);
        if (g_PacingPulse == 1)
            Examine(time + (offset + 0.15), latch_[1]);
        else if (g_PacingPulse == 2)
            Examine(time + (offset + 0.25), latch_[2]);
        const int length = static_cast<int>(0.5 + 40000 * g_PacingDuration / 1000.0);
        const double sign = g_PA > 0 ? -1 : 1;
        if (length - counter_ > 0) {
            raised_ = true;
            ++counter_;
            double droop = 0;
            if (s_OTC != 0 && counter_ > 1)
                droop = sign * std::fabs(g_POA) * (1 - std::exp(-static_cast<double>(counter_) / length));
            return {g_PA + droop, 0.0};
        }
        if (s_OTC == 0 || !raised_)
            return {0.0, 0.0};
        const double e = std::exp((length - counter_) / (s_OTC * 40000));
        ++counter_;
        return {0.0, 0.0 + sign * std::fabs(g_POA) * e};
    }

    void Changed()
    {
        counter_ = 1000;
        raised_ = false;
    }

private:
    void Examine(double t, bool& latch)
    {
        const int k = static_cast<int>(t / s_pp + 0.000001);
        const double d = t - k * s_pp;
        if (latch)
            latch = !(d > 0.01);
        else if (std::fabs(d) < 0.000105) {
            counter_ = 0;
            latch = true;
        }
    }

    bool latch_[3] = {};
    int counter_ = 1000;
    bool raised_ = false;
};

TEST(PacingShortcuts, GiveTheSameDoublesAsThePlainFormulas)
{
    std::mt19937 random(20240611);
    const auto pick = [&random](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    PlainPacing plain;
    int pulses = 0, together = 0;
    for (int round = 0; round < 120; ++round) {
        // Settings act at once, the derived clock at the change behind them; some rounds go without a change.
        g_MainOutput = random() % 2 == 0 ? 8 : 7;
        s_Cus_t2 = pick(0.0, 0.2);
        g_PacingPulse = static_cast<int>(random() % 4);
        if (random() % 2 == 0)
            g_PacingDuration = pick(0.1, 3.0);
        g_POA = random() % 8 == 0 ? 0.0 : pick(0.0, 5.0);
        if (round == 0 || random() % 4 != 0) {
            g_PA = pick(-700.0, 700.0);
            g_PacingOvershootTC = random() % 3 == 0 ? 0 : static_cast<unsigned>(random() % 101);
            g_PacingRate = 10 + static_cast<unsigned>(random() % 351);
            g_pacingSynchronized = random() % 2 == 0;
            g_fTimePeriod = pick(0.1, 2.0);
            zeka::DerivePacing();
            plain.Changed();
        }
        if (random() % 5 == 0)
            g_fOutputTime = random() % 2 == 0 ? 0.0 : pick(0.0, 100000.0);
        const int samples = 2000 + static_cast<int>(random() % 60000);
        for (int n = 0; n < samples;) {
            // one by one, or as many at once as are certain to be quiet
            std::vector<double> dc(1), overshoot(1);
            const int quiet = random() % 2 == 0 ? zeka::QuietPacingSamples(700) : 0;
            if (quiet > 0) {
                dc.resize(static_cast<std::size_t>(quiet));
                overshoot.resize(dc.size());
                zeka::QuietPacing(dc, overshoot);
                together += quiet;
            } else {
                dc[0] = _GetPacingV5(overshoot[0]);
            }
            for (std::size_t i = 0; i < dc.size(); ++i, ++n) {
                const Sample expected = plain.At(g_fOutputTime);
                g_fOutputTime += kStep;
                ASSERT_EQ(dc[i], expected.dc) << "round " << round << " sample " << n;
                ASSERT_EQ(overshoot[i], expected.overshoot) << "round " << round << " sample " << n;
                ASSERT_EQ(std::signbit(overshoot[i]), std::signbit(expected.overshoot));
            }
            pulses += s_PacingIndicationNeeded ? 1 : 0;
            s_PacingIndicationNeeded = false;
        }
    }
    EXPECT_GT(pulses, 100);
    EXPECT_GT(together, 1000000);
}

// --- settings

struct RangeCase {
    std::string name;
    int (*set)(double);
    double (*get)();
    double value;
    int result;
};

class PacingSetting : public testing::TestWithParam<RangeCase> {};

TEST_P(PacingSetting, StoresOnlyWhatLiesInTheRange)
{
    const zeka::test::ScriptedPeer device;
    const double before = GetParam().get();
    EXPECT_EQ(GetParam().set(GetParam().value), GetParam().result);
    EXPECT_EQ(GetParam().get(), GetParam().result == 0 ? GetParam().value : before);
}

int SetRate(double ppm) { return ZEKASetPacingRate(static_cast<unsigned>(ppm)); }
double GetRate() { return ZEKAGetPacingRate(); }
int SetTimeConstant(double ms) { return ZEKASetOvershootTimeConstant(static_cast<unsigned>(ms)); }
double GetTimeConstant() { return ZEKAGetOvershootTimeConstant(); }

INSTANTIATE_TEST_SUITE_P(
    Bounds, PacingSetting,
    testing::Values(
        RangeCase{"AmplitudeHighest", ZEKASetPacingAmplitude, ZEKAGetPacingAmplitude, 700.0, 0},
        RangeCase{"AmplitudeLowest", ZEKASetPacingAmplitude, ZEKAGetPacingAmplitude, -700.0, 0},
        RangeCase{"AmplitudeAbove", ZEKASetPacingAmplitude, ZEKAGetPacingAmplitude, 700.01, -2},
        RangeCase{"AmplitudeNaN", ZEKASetPacingAmplitude, ZEKAGetPacingAmplitude, kNaN, -2},
        RangeCase{"DurationLowest", ZEKASetPacingDuration, ZEKAGetPacingDuration, 0.1, 0},
        RangeCase{"DurationBelow", ZEKASetPacingDuration, ZEKAGetPacingDuration, 0.09, -2},
        RangeCase{"DurationHighest", ZEKASetPacingDuration, ZEKAGetPacingDuration, 3.0, 0},
        RangeCase{"RateLowest", SetRate, GetRate, 10, 0}, RangeCase{"RateBelow", SetRate, GetRate, 9, -2},
        RangeCase{"RateHighest", SetRate, GetRate, 360, 0}, RangeCase{"RateAbove", SetRate, GetRate, 361, -2},
        RangeCase{"TimeConstantHighest", SetTimeConstant, GetTimeConstant, 100, 0},
        RangeCase{"TimeConstantAbove", SetTimeConstant, GetTimeConstant, 101, -2},
        RangeCase{"OvershootHighest", ZEKASetOvershootAmplitude, ZEKAGetOvershootAmplitude, 5.0, 0},
        RangeCase{"OvershootAbove", ZEKASetOvershootAmplitude, ZEKAGetOvershootAmplitude, 5.01, -2},
        RangeCase{"OvershootNaN", ZEKASetOvershootAmplitude, ZEKAGetOvershootAmplitude, kNaN, -2}),
    [](const auto& setting) { return setting.param.name; });

TEST(PacingSettings, RefuseEverythingWithoutADevice)
{
    EXPECT_EQ(ZEKASetPacingAmplitude(5.0), -1);
    EXPECT_EQ(ZEKASetPacingDuration(9.0), -1) << "the device is looked for before the range";
    EXPECT_EQ(ZEKASetPacingRate(120), -1);
    EXPECT_EQ(ZEKASetPacingPulseMode(1), -1);
    EXPECT_EQ(ZEKASetPacingRateSynchronized(), -1);
    EXPECT_EQ(ZEKAGetPacingAmplitude(), 0.0);
    EXPECT_EQ(ZEKAGetPacingRate(), 60u);
    EXPECT_EQ(ZEKAGetPacingPulseMode(), 0);
}

TEST(PacingSettings, AnAmplitudeSwitchesVariableDcOnAndDropsTheOvershootsSign)
{
    const zeka::test::ScriptedPeer device;
    for (bool& channel : g_bTestVariableDC)
        channel = false;
    EXPECT_EQ(ZEKASetPacingAmplitude(0.0), 0);
    EXPECT_FALSE(g_bTestVariableDC[0]) << "switching pacing off leaves the DC mode alone";
    EXPECT_EQ(ZEKASetPacingAmplitude(-2.0), 0);
    for (const bool channel : g_bTestVariableDC)
        EXPECT_TRUE(channel);
    EXPECT_EQ(ZEKASetOvershootAmplitude(-3.0), 0);
    EXPECT_EQ(ZEKAGetOvershootAmplitude(), 3.0);
}

TEST(PacingSettings, SynchronisationNeedsAHeartRateAndWaitsForAnotherChange)
{
    const zeka::test::ScriptedPeer device;
    g_PA = 1.0;
    EXPECT_EQ(ZEKASetPacingRate(120), 0);
    EXPECT_FALSE(g_pacingSynchronized);
    g_F = 6.01;
    EXPECT_EQ(ZEKASetPacingRateSynchronized(), -2);
    EXPECT_FALSE(g_pacingSynchronized);

    g_F = 0.5;
    g_MainOutput = 1;
    g_bECGGoing = true;
    g_hProcessRequestEvent.SetEvent();
    EXPECT_EQ(ZEKASetPacingRateSynchronized(), 0);
    EXPECT_TRUE(g_pacingSynchronized);
    EXPECT_FALSE(s_ChangeOnNextCycle);
    EXPECT_EQ(ZEKASetPacingPulseMode(7), 0);
    EXPECT_TRUE(s_ChangeOnNextCycle);
}

} // namespace
