// staircase_test.cpp - the DC staircase of function 15 over its twenty minutes.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "signal/pacing.h"
#include "signal/state.h"
#include "zeka/zeka.h"

namespace {

constexpr double kStep = 1.0 / 40000;

std::vector<int> offsets;

double StairsAt(double time)
{
    g_fOutputTime = time;
    double overshoot = 0.0;
    return _GetPacingV5(overshoot);
}

TEST(DcStaircase, ClimbsAndDescendsOverItsWholeTime)
{
    RegisterSyncDCOffsetCB([](int mV) { offsets.push_back(mV); });
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
