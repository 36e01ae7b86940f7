// step_test.cpp - when host and instrument are in step, as the books have it.
#include "device/step.h"

#include <gtest/gtest.h>

namespace {

using zeka::Step;

// A reply of 64 bytes that does not come, with so many pings unanswered before its command was written.
Step OverdueBehindPings(int pings)
{
    Step step;
    for (int i = 0; i < pings; ++i)
        step.PingWritten();
    step.ReplyMissing(64, false);
    return step;
}

TEST(StepBooks, AReplyThatDidNotComeIsSettledByAPingAskedForBehindIt)
{
    Step step = OverdueBehindPings(0);
    EXPECT_FALSE(step.IsProved());
    EXPECT_EQ(step.Overdue(), 64u);
    step.PingWritten();
    EXPECT_FALSE(step.IsProved());
    step.IdentityCame();
    EXPECT_TRUE(step.IsProved());
    EXPECT_EQ(step.Overdue(), 0u) << "it has passed, or never comes";
}

TEST(StepBooks, BytesThatAreCountedOffProveNothing)
{
    Step step = OverdueBehindPings(0);
    step.BytesCame(64);
    EXPECT_EQ(step.Overdue(), 0u);
    EXPECT_FALSE(step.IsProved()) << "they may have been another reply's";
}

TEST(StepBooks, AnEarlierPingProvesNothing)
{
    Step step = OverdueBehindPings(2);
    step.PingWritten();
    step.IdentityCame();
    step.IdentityCame();
    EXPECT_FALSE(step.IsProved());
    step.IdentityCame();
    EXPECT_TRUE(step.IsProved());
}

TEST(StepBooks, WhatComesBehindTheWholeOverdueReplyWasAskedForBehindIt)
{
    Step step = OverdueBehindPings(2);
    step.PingWritten();
    step.BytesCame(60);
    step.IdentityCame();
    EXPECT_FALSE(step.IsProved());
    step.BytesCame(4);
    step.IdentityCame();
    EXPECT_TRUE(step.IsProved());
}

TEST(StepBooks, AReplyThatCameOrBegunEndsTheWaitForEarlierPings)
{
    Step step;
    step.PingWritten();
    step.ReplyCame();
    step.ReplyMissing(64, false);
    step.PingWritten();
    step.IdentityCame();
    EXPECT_TRUE(step.IsProved());

    step.PingWritten();
    step.ReplyMissing(44, true);
    step.PingWritten();
    step.IdentityCame();
    EXPECT_TRUE(step.IsProved());
}

TEST(StepBooks, BytesThatNobodyOwesAndIdentitiesThatNobodyAskedForLoseTheStep)
{
    Step step;
    step.BytesCame(5);
    EXPECT_FALSE(step.IsProved());
    step.IdentityCame();
    EXPECT_FALSE(step.IsProved());
    step.PingWritten();
    step.IdentityCame();
    EXPECT_TRUE(step.IsProved());
    step.IdentityCame();
    EXPECT_FALSE(step.IsProved());
}

TEST(StepBooks, ANewConnectionKnowsNothingAndOwesNothing)
{
    Step step = OverdueBehindPings(3);
    step.BeginUnknown();
    EXPECT_TRUE(step.IsUnknown());
    EXPECT_EQ(step.Overdue(), 0u);
    step.PingWritten();
    step.IdentityCame();
    EXPECT_TRUE(step.IsProved());
    EXPECT_FALSE(step.IsUnknown());
}

} // namespace
