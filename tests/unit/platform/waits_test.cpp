// waits_test.cpp - waiting on one event and on the first of several; how long waits last, also in a storm of
// signals.
#include <sys/time.h>

#include <gtest/gtest.h>

#include <array>
#include <climits>

#include "platform/deadline.h"
#include "sleeper.h"
#include "zeka/platform.hpp"

using namespace zeka::test;

namespace {

constexpr unsigned kNotFound = 110;
constexpr unsigned kNoLimit = 0xFFFFFFFF;

// An event of the application's own: the waits know nothing but the four operations.
class RecordingEvent : public CEvent {
public:
    void SetEvent() override {}
    void ResetEvent() override {}
    void Wait() override {}
    unsigned int WaitTimeout(unsigned int ms) override
    {
        asked = ms;
        ++looks;
        return answer;
    }
    unsigned asked = 0;
    unsigned answer = 0;
    int looks = 0;
};

TEST(WaitForSingleObject, HandsTimeAndResultThroughUnchanged)
{
    RecordingEvent event;
    event.answer = 7;
    EXPECT_EQ(WaitForSingleObject(&event, kNoLimit), 7u) << "no value means for ever";
    EXPECT_EQ(event.asked, kNoLimit);
}

TEST(WaitForMultipleObjects, FindsTheLowestAndLeavesTheOthersAlone)
{
    CAutoResetEvent none(false);
    CAutoResetEvent first(true);
    CAutoResetEvent second(true);
    std::array<CEvent*, 3> events{&none, &first, &second};
    EXPECT_EQ(WaitForMultipleObjects(3, events.data(), 0, kNoLimit), 1u);
    EXPECT_EQ(WaitForMultipleObjects(3, events.data(), 0, 0), 2u) << "the first one's signal was taken";
    EXPECT_EQ(WaitForMultipleObjects(3, events.data(), 0, 0), kNotFound);
}

TEST(WaitForMultipleObjects, RefusesToWaitForAllAndTouchesNothing)
{
    CAutoResetEvent first(true);
    CAutoResetEvent second(true);
    std::array<CEvent*, 2> events{&first, &second};
    EXPECT_EQ(WaitForMultipleObjects(2, events.data(), 1, kNoLimit), kNotFound);
    EXPECT_EQ(first.WaitTimeout(0), 0u);
    EXPECT_EQ(second.WaitTimeout(0), 0u);
}

TEST(WaitForMultipleObjects, LooksOnceWithoutTimeAndLastsAsLongAsAskedWithoutEvents)
{
    RecordingEvent event;
    event.answer = kNotFound;
    std::array<CEvent*, 1> events{&event};
    EXPECT_EQ(WaitForMultipleObjects(1, events.data(), 0, 0), kNotFound);
    EXPECT_GE(event.looks, 1);
    EXPECT_LE(event.looks, 2) << "a second look only where the clock has not moved since the first";

    const auto start = Clock::now();
    EXPECT_EQ(WaitForMultipleObjects(0, nullptr, 0, 40), kNotFound);
    EXPECT_GT(Clock::now() - start, milliseconds(40));
}

TEST(WaitForMultipleObjects, SeesWhatASignalHandlerRaisesWhileItWaits)
{
    CAutoResetEvent timer_event(false);
    CManualResetEvent other(false);
    std::array<CEvent*, 2> events{&other, &timer_event};
    unsigned result = kNotFound;
    Sleeper waiter([&] { result = WaitForMultipleObjects(2, events.data(), 0, kNoLimit); });
    ASSERT_TRUE(waiter.FallsAsleep());
    timer_event.RaiseFromSignalHandler();
    waiter.Join();
    EXPECT_EQ(result, 1u);
}

// --- the length of waits

std::atomic<int> storm_signals = 0;

// SIGALRM a thousand times a second, without SA_RESTART, for as long as it lives.
class SignalStorm {
public:
    SignalStorm()
    {
        struct sigaction action {};
        action.sa_handler = [](int) { ++storm_signals; };
        sigemptyset(&action.sa_mask);
        sigaction(SIGALRM, &action, &before_);
        Arm(1000);
    }
    ~SignalStorm()
    {
        Arm(0);
        sigaction(SIGALRM, &before_, nullptr);
    }

private:
    static void Arm(suseconds_t period_us)
    {
        const itimerval timing{{0, period_us}, {0, period_us}};
        setitimer(ITIMER_REAL, &timing, nullptr);
    }
    struct sigaction before_ {};
};

struct Wait {
    const char* name;
    void (*run)(unsigned ms);
};

class WaitInASignalStorm : public testing::TestWithParam<Wait> {};

// The upper bound is far away on purpose: it tells a wait that starts afresh after every signal (which would
// take for ever, or several times as long) from one that a busy machine held up.
TEST_P(WaitInASignalStorm, KeepsItsLength)
{
    constexpr unsigned kMs = 300;
    const SignalStorm storm;
    [[maybe_unused]] const int signals_before = storm_signals;
    const auto start = Clock::now();
    GetParam().run(kMs);
    const auto took = Clock::now() - start;
    EXPECT_GE(took, milliseconds(kMs));
    EXPECT_LT(took, milliseconds(20 * kMs));
#ifndef __SANITIZE_THREAD__ // its runtime keeps handlers back while a call that it does not know sleeps
    EXPECT_GT(storm_signals - signals_before, 20) << "there was no storm";
#endif
}

INSTANTIATE_TEST_SUITE_P(
    Of, WaitInASignalStorm,
    testing::Values(Wait{"SleepEx", [](unsigned ms) { SleepEx(ms); }},
                    Wait{"SleepUntil", [](unsigned ms) { zeka::SleepUntil(zeka::Deadline::InMs(ms)); }},
                    Wait{"AutoResetEvent",
                         [](unsigned ms) { EXPECT_EQ(CAutoResetEvent(false).WaitTimeout(ms), kNotFound); }},
                    Wait{"ManualResetEvent",
                         [](unsigned ms) { EXPECT_EQ(CManualResetEvent(false).WaitTimeout(ms), kNotFound); }},
                    Wait{"SeveralEvents",
                         [](unsigned ms) {
                             EXPECT_EQ(WaitForMultipleObjects(0, nullptr, 0, ms), kNotFound);
                         }}),
    [](const auto& row) { return row.param.name; });

TEST(Deadline, IsCutIntoWholeSecondsAndNanosecondsBelowOne)
{
    using namespace std::chrono_literals;
    const auto at = [](auto since) {
        return zeka::Deadline(zeka::Deadline::Clock::time_point(since)).ToTimespec();
    };
    const timespec carried = at(5s + 600'000'000ns + 1500ms); // 7.1 s: the nanoseconds alone would be 1.1e9
    EXPECT_EQ(carried.tv_sec, 7);
    EXPECT_EQ(carried.tv_nsec, 100'000'000);
    const timespec whole = at(2s);
    EXPECT_EQ(whole.tv_sec, 2);
    EXPECT_EQ(whole.tv_nsec, 0);
}

TEST(Deadline, ReportsWhatIsLeftForPollWithoutRoundingItAway)
{
    EXPECT_TRUE(zeka::Deadline::InMs(0).Expired());
    EXPECT_EQ(zeka::Deadline::InMs(0).RemainingMsCeil(), 0);
    EXPECT_EQ(zeka::Deadline::InMs(0).Remaining().count(), 0);
    EXPECT_EQ(zeka::Deadline::InMs(kNoLimit).RemainingMsCeil(), INT_MAX)
        << "49 days are more than poll can say";

    // Whenever poll would be told not to wait, the deadline has passed: else a loop around poll would spin.
    const auto soon = zeka::Deadline::In(std::chrono::microseconds(1500));
    int left = soon.RemainingMsCeil();
    EXPECT_LE(left, 2);
    while (left != 0)
        left = soon.RemainingMsCeil();
    EXPECT_TRUE(soon.Expired());
}

} // namespace
