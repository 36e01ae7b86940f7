// events_test.cpp - what setting, resetting and waiting mean for the two kinds of event.
#include <gtest/gtest.h>

#include <optional>
#include <type_traits>

#include "sleeper.h"
#include "zeka/platform.hpp"

using namespace zeka::test;

namespace {

constexpr unsigned kNow = 0;
constexpr unsigned kFound = 0;
constexpr unsigned kNotFound = 110;

// A global event must survive a thread that still waits on it while the process exits.
static_assert(std::is_trivially_destructible_v<CAutoResetEvent>);
static_assert(std::is_trivially_destructible_v<CManualResetEvent>);
static_assert(std::is_trivially_destructible_v<CSimpleCriticalSection>);
static_assert(std::is_abstract_v<CEvent>);

TEST(AutoResetEvent, StartsAsItWasToldAndALookTakesTheSignal)
{
    CAutoResetEvent signalled(true);
    EXPECT_EQ(signalled.WaitTimeout(kNow), kFound);
    EXPECT_EQ(signalled.WaitTimeout(kNow), kNotFound);

    CAutoResetEvent clear(false);
    EXPECT_EQ(clear.WaitTimeout(kNow), kNotFound);
}

TEST(AutoResetEvent, SignalsDoNotCountUp)
{
    CAutoResetEvent event(false);
    event.SetEvent();
    event.SetEvent();
    EXPECT_EQ(event.WaitTimeout(50), kFound);

    const auto start = Clock::now();
    EXPECT_EQ(event.WaitTimeout(50), kNotFound);
    EXPECT_GE(Clock::now() - start, milliseconds(50));
}

TEST(AutoResetEvent, AWaitTakesTheSignalAndAResetTakesItAway)
{
    CAutoResetEvent event(true);
    event.Wait();
    EXPECT_EQ(event.WaitTimeout(kNow), kNotFound);

    event.SetEvent();
    event.ResetEvent();
    EXPECT_EQ(event.WaitTimeout(1), kNotFound);
}

TEST(AutoResetEvent, OneSetReleasesOneOfTwoWaiters)
{
    CAutoResetEvent event(false);
    Sleeper first([&] { event.Wait(); });
    Sleeper second([&] { event.Wait(); });
    ASSERT_TRUE(first.FallsAsleep());
    ASSERT_TRUE(second.FallsAsleep());

    event.SetEvent();
    EXPECT_TRUE(Eventually([&] { return first.Done() || second.Done(); }));
    std::this_thread::sleep_for(milliseconds(50)); // time for a second release, which would be a fault
    EXPECT_NE(first.Done(), second.Done());
    EXPECT_EQ(event.WaitTimeout(kNow), kNotFound) << "the released waiter took the signal";

    event.SetEvent();
    first.Join();
    second.Join();
}

TEST(AutoResetEvent, WhatASignalHandlerRaisesIsFoundByALookButWakesNobody)
{
    CAutoResetEvent event(false);
    unsigned result = kFound;
    Sleeper waiter([&] { result = event.WaitTimeout(300); });
    ASSERT_TRUE(waiter.FallsAsleep());
    event.RaiseFromSignalHandler();
    waiter.Join();
    EXPECT_EQ(result, kNotFound);
    EXPECT_EQ(event.WaitTimeout(kNow), kFound) << "the flag stays raised for the next look";
    EXPECT_EQ(event.WaitTimeout(kNow), kNotFound);
}

// The producer sets, the consumer answers, a hundred thousand times: a signal that got lost between the
// waiter's look and its sleep, or a stale one that was found twice, would stop the exchange or put it out of
// step.
TEST(AutoResetEvent, NoSignalIsLostBetweenTwoThreadsThatAnswerEachOther)
{
    constexpr int kRounds = 20'000;
    CAutoResetEvent ping(false);
    CAutoResetEvent pong(false);
    int turn = 0; // handed to and fro by the two events alone
    bool in_step = true;
    Sleeper partner([&] {
        for (int i = 0; i < kRounds && ping.WaitTimeout(20'000) == kFound; ++i) {
            in_step = in_step && turn == 2 * i + 1;
            ++turn;
            pong.SetEvent();
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        ++turn;
        ping.SetEvent();
        ASSERT_EQ(pong.WaitTimeout(20'000), kFound) << "in round " << i;
    }
    partner.Join();
    EXPECT_TRUE(in_step);
    EXPECT_EQ(turn, 2 * kRounds);
}

TEST(ManualResetEvent, OneSetReleasesAllAndStaysUntilReset)
{
    CManualResetEvent event(false);
    Sleeper first([&] { event.Wait(); });
    Sleeper second([&] { EXPECT_EQ(event.WaitTimeout(60'000), kFound); });
    ASSERT_TRUE(first.FallsAsleep());
    ASSERT_TRUE(second.FallsAsleep());

    event.SetEvent();
    first.Join();
    second.Join();
    EXPECT_EQ(event.WaitTimeout(kNow), kFound);
    EXPECT_EQ(event.WaitTimeout(kNow), kFound);
    event.Wait();

    event.ResetEvent();
    EXPECT_EQ(event.WaitTimeout(kNow), kNotFound);
    EXPECT_EQ(event.WaitTimeout(1), kNotFound);
}

TEST(CriticalSection, MayBeTakenAgainByItsHolderAndByOthersOnlyAfterTheLastRelease)
{
    CSimpleCriticalSection section;
    std::optional<CAutoCriticalSection> outer(std::in_place, section);
    std::optional<CAutoCriticalSection> inner(std::in_place, section);

    Sleeper other([&] { const CAutoCriticalSection lock(section); });
    ASSERT_TRUE(other.FallsAsleep());
    inner.reset();
    std::this_thread::sleep_for(milliseconds(30));
    EXPECT_FALSE(other.Done());
    outer.reset();
    other.Join();
}

TEST(CriticalSection, GoesToWhoWaitsAndNotBackToWhoReleasedIt)
{
    CSimpleCriticalSection section;
    std::optional<CAutoCriticalSection> holder(std::in_place, section);
    int turns = 0;
    Sleeper other([&] {
        const CAutoCriticalSection lock(section);
        ++turns;
    });
    ASSERT_TRUE(other.FallsAsleep());
    holder.reset();
    {
        const CAutoCriticalSection again(section);
        EXPECT_EQ(turns, 1);
    }
    other.Join();
}

} // namespace
