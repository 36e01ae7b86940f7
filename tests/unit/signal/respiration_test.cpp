// respiration_test.cpp - the breathing curve, the respiration command on the wire and the apnea cycle.
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "signal/respiration.h"
#include "signal/state.h"
#include "support/scripted_peer.h"

namespace {

using Command = zeka::test::ScriptedPeer::Message;

double BreathAt(double time)
{
    g_fOutputTime = time;
    return _solveRespireV();
}

TEST(BreathingCurve, InspirationAndExpirationStandAsOneToRatio)
{
    const zeka::test::ScriptedPeer device;
    ASSERT_EQ(SetRespireAlgorithmParam(20, 2, 0, 10, 5, 0), 1);
    EXPECT_DOUBLE_EQ(s_BaselineModV, 0.1);
    EXPECT_DOUBLE_EQ(s_AmpModV, 0.05);
    for (const double breath : {0.0, 3.0, 42 * 3.0}) {
        EXPECT_NEAR(BreathAt(breath + 0.5), 1.0, 1e-9);
        EXPECT_NEAR(BreathAt(breath + 1.0), 0.0, 1e-7);
        EXPECT_NEAR(BreathAt(breath + 2.0), -1.0, 1e-9);
        EXPECT_NEAR(BreathAt(breath + 1.25), -std::sin(0.125 * 3.14159265), 1e-7);
    }
}

TEST(BreathingCurve, ApneaEndsEveryMinuteAndTheNextOneStartsABreath)
{
    const zeka::test::ScriptedPeer device;
    ASSERT_EQ(SetRespireAlgorithmParam(8, 1, 12, 0, 0, 0),
              1); // breaths of 7.5 s: the apnea cuts into the seventh
    for (const double minute : {0.0, 60.0, 600.0}) {
        EXPECT_GT(BreathAt(minute + 47.999), 0.5);
        EXPECT_EQ(BreathAt(minute + 48.0), 0.0);
        EXPECT_EQ(BreathAt(minute + 59.999), 0.0);
        EXPECT_NEAR(BreathAt(minute + 1.875), 1.0, 1e-9);
    }
    ASSERT_EQ(SetRespireAlgorithmParam(8, 1, -5, 0, 0, 0), 1);
    EXPECT_NE(BreathAt(59.0), 0.0) << "negative apnea is none";
}

TEST(BreathingCurve, StaysFlatWhereThereIsNoBreath)
{
    const zeka::test::ScriptedPeer device;
    EXPECT_EQ(BreathAt(0.0), 0.0) << "before anything was set";
    struct Case {
        int breaths, ratio;
    };
    for (const Case& c : {Case{0, 2}, Case{20, 0}, Case{20, -1}, Case{0, 0}, Case{0, -1}})
        for (const int apnea : {0, 10}) {
            ASSERT_EQ(SetRespireAlgorithmParam(c.breaths, c.ratio, apnea, 100, 100, 100), 1);
            for (const double time : {0.0, 0.1, 1.0, 7.3, 59.9, 12345.6})
                EXPECT_EQ(BreathAt(time), 0.0) << c.breaths << " " << c.ratio << " " << time;
        }
}

TEST(BreathingCurve, LiesBetweenMinusOneAndOneForAnyArguments)
{
    const zeka::test::ScriptedPeer device;
    std::mt19937 random(7);
    constexpr std::array<int, 8> kEnds{
        0, 1, -1, 2, -2, 60, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
    const auto any = [&] {
        return random() % 2 == 0 ? kEnds[random() % kEnds.size()] : static_cast<int>(random());
    };
    for (int round = 0; round < 3000; ++round) {
        ASSERT_EQ(SetRespireAlgorithmParam(any(), any(), any(), any(), any(), any()), 1);
        for (const double time : {0.0, 2.5e-5, 0.7, 59.9999, 3600.25, 1e7}) {
            const double r = BreathAt(time);
            ASSERT_TRUE(r >= -1.0 && r <= 1.0) << r;
        }
        ASSERT_TRUE(std::isfinite(s_BaselineModV) && std::isfinite(s_AmpModV) && std::isfinite(s_FreqModHz));
    }
}

TEST(BreathingCurve, RateModulationBeginsWithTheNextPeriod)
{
    EXPECT_EQ(SetRespireAlgorithmParam(20, 2, 0, 1, 1, 10), 0) << "no device";
    const zeka::test::ScriptedPeer device;
    g_F = 2.0;
    g_fOutputTime = 12.25;
    g_fTimePeriod = 0.5;
    ASSERT_EQ(SetRespireAlgorithmParam(20, 2, 0, 0, 0, 10), 1);
    EXPECT_DOUBLE_EQ(s_FreqModHz, 0.2);
    EXPECT_EQ(s_FreqModPreEndT, 12.25);
    EXPECT_EQ(s_FreqModEndT, 12.75);
    ASSERT_EQ(SetRespireAlgorithmParam(20, 2, 0, 0, 0, 0), 1);
    EXPECT_EQ(s_FreqModHz, 0.0);
    EXPECT_EQ(s_FreqModEndT, 12.75);
}

// --- the instrument's own respiration

TEST(RespirationCommand, CarriesTheCodesAndStoresThemOnceConfirmed)
{
    zeka::test::ScriptedPeer device;
    EXPECT_EQ(SetRespiration(2, 20, 1, 3, 10), 1);
    const Command expected{0xEA, 0xFF, 0x01, 0, 0, 0, 0, 0, 0x14, 0x02, 0x01, 0x03, 0x00, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(device.Requests(0xEA), std::vector<Command>{expected});
    EXPECT_EQ(g_nRespirationResistance, 2000);
    EXPECT_EQ(g_nRespirationApneaTime, 10);

    device.AnswerWith(0xFE);
    EXPECT_EQ(SetRespiration(1, 300, 1, 0, 20), 0);
    EXPECT_EQ(device.Requests(0xEA).back()[8], 0x2C) << "the low 8 bits of 300";
    EXPECT_EQ(g_nRespirationResistance, 2000);
    EXPECT_EQ(g_nRespirationApneaTime, 10);
    EXPECT_EQ(SetApnea(true), 0);
    EXPECT_FALSE(g_bRespirationApneaEnabled);

    device.AnswerWith(0xFF);
    EXPECT_EQ(SetApnea(true), 1);
    Command with_apnea = expected;
    with_apnea[12] = 0x01;
    EXPECT_EQ(device.Requests(0xEA).back(), with_apnea) << "the codes confirmed last, not those refused";
    EXPECT_TRUE(g_bRespirationApneaEnabled);
}

TEST(RespirationCommand, WaitsForTheRequestWhileAFunctionStreams)
{
    zeka::test::ScriptedPeer device;
    g_MainOutput = 7;
    g_bECGGoing = true;
    std::thread poll([] {
        ::usleep(20000);
        g_hProcessRequestEvent.SetEvent();
    });
    EXPECT_EQ(SetRespiration(1, 1, 1, 0, 0), 1);
    EXPECT_EQ(g_hProcessRequestEvent.WaitTimeout(0), 0u)
        << "the command went out before the instrument asked";
    poll.join();
    // The apnea cycle belongs to a burst and must not wait for another request.
    g_hProcessRequestEvent.ResetEvent();
    g_nRespirationApneaTime = 10;
    EnableApneaByTime(55);
    EXPECT_EQ(device.Requests(0xEA).size(), 2u);
    EXPECT_EQ(g_hProcessRequestEvent.WaitTimeout(0), 110u);
}

TEST(ApneaCycle, SwitchesOncePerEdge)
{
    zeka::test::ScriptedPeer device;
    const auto seconds_on = [](int apnea_s) {
        g_nRespirationApneaTime = apnea_s;
        std::vector<int> on;
        for (int second = 0; second < 120; ++second) {
            EnableApneaByTime(second);
            if (g_bRespirationApneaEnabled)
                on.push_back(second);
        }
        EnableApneaByTime(120);
        return on;
    };
    const std::vector<int> nine_of_each_minute{51,  52,  53,  54,  55,  56,  57,  58,  59,
                                               111, 112, 113, 114, 115, 116, 117, 118, 119};
    EXPECT_EQ(seconds_on(10), nine_of_each_minute);
    EXPECT_EQ(device.Requests(0xEA).size(), 4u);
    EXPECT_TRUE(seconds_on(0).empty());
    EXPECT_EQ(seconds_on(60).size(), 118u) << "all but seconds 0 and 60";
    EXPECT_TRUE(seconds_on(std::numeric_limits<int>::min()).empty());
}

TEST(ApneaCycle, DoesNotRepeatACommandThatFailed)
{
    zeka::test::ScriptedPeer device;
    device.AnswerWith(0x00);
    g_nRespirationApneaTime = 10;
    for (int burst = 0; burst < 20; ++burst)
        EnableApneaByTime(51);
    EXPECT_EQ(device.Requests(0xEA).size(), 1u);
    EXPECT_TRUE(g_bRespirationApneaEnabled);
}

TEST(RespirationSwitch, OffForgetsEverythingEvenWithoutADevice)
{
    {
        const zeka::test::ScriptedPeer device;
        ASSERT_EQ(EnableRespiration(true), 1);
        ASSERT_EQ(SetRespiration(2, 20, 1, 3, 10), 1);
        ASSERT_EQ(SetRespireAlgorithmParam(20, 2, 0, 10, 5, 7), 1);
    }
    g_bRespirationApneaEnabled = true;
    EXPECT_EQ(EnableRespiration(false), 0);
    EXPECT_FALSE(g_RespirationEnabled);
    EXPECT_EQ(g_nRespirationResistance, 0);
    EXPECT_EQ(g_nRespirationApneaTime, 0);
    EXPECT_EQ(
        g_nRespirationFrequency + g_nRespirationVariation + g_nRespirationRatio + g_nRespirationBaseline, 0);
    EXPECT_EQ(s_BaselineModV, 0.0);
    EXPECT_EQ(s_AmpModV, 0.0);
    EXPECT_EQ(s_FreqModHz, 0.0);
    EXPECT_TRUE(g_bRespirationApneaEnabled) << "what the instrument was told last still holds";
    EXPECT_EQ(SetRespiration(1, 1, 1, 1, 1), 0);
    EXPECT_EQ(SetApnea(true), 0);
    EXPECT_EQ(EnableExternalRespireModule(true), 1);
    EXPECT_FALSE(g_ExternalRespireModule);
    const zeka::test::ScriptedPeer device;
    EXPECT_EQ(EnableExternalRespireModule(true), 0);
    EXPECT_TRUE(g_ExternalRespireModule);
}

} // namespace
