// respiration_test.cpp - arguments of any kind to the breathing curve, and whom the respiration command waits for.
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

double BreathAt(double time)
{
    g_fOutputTime = time;
    return _solveRespireV();
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

// --- the instrument's own respiration

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

} // namespace
