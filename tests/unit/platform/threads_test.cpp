// threads_test.cpp - threads, descriptors and the periodic timers.
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

#include "platform/global_objects.h"
#include "platform/scoped_fd.h"
#include "sleeper.h"

using namespace zeka::test;

namespace {

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST(CreateThread, RunsTheFunctionAndKnowsItsIdBeforeItRuns)
{
    struct Shared {
        unsigned long id = 0;
        bool saw_own_id = false;
    } shared;
    const auto body = [](void* arg) -> void* {
        auto& mine = *static_cast<Shared*>(arg);
        mine.saw_own_id = mine.id == pthread_self();
        return arg;
    };
    ASSERT_EQ(CreateThread(&shared.id, body, &shared), 1);
    CloseThread(shared.id); // releases nothing: the thread can still be joined
    void* result = nullptr;
    ASSERT_EQ(pthread_join(shared.id, &result), 0);
    EXPECT_EQ(result, &shared);
    EXPECT_TRUE(shared.saw_own_id);
}

TEST(CloseHandle, ClosesADescriptorOnceAndNothingElse)
{
    const int fd = eventfd(0, EFD_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(CloseHandle(-1), 0);
    EXPECT_EQ(CloseHandle((int64_t{1} << 32) + fd), 0) << "its low half is an open descriptor";
    EXPECT_TRUE(IsOpen(fd));

    EXPECT_EQ(CloseHandle(fd), 1);
    EXPECT_FALSE(IsOpen(fd));
    EXPECT_EQ(CloseHandle(fd), 0);
}

TEST(ScopedFd, HasOneOwnerAndKeepsTheErrorOfTheCallThatFailed)
{
    const int fd = eventfd(0, EFD_CLOEXEC);
    {
        zeka::ScopedFd first(fd);
        zeka::ScopedFd second(std::move(first));
        EXPECT_FALSE(first.IsOpen()); // NOLINT(bugprone-use-after-move): that it is empty is what is tested
        first = std::move(second);
        EXPECT_EQ(first.Get(), fd);
        EXPECT_TRUE(IsOpen(fd));
        errno = EEXIST;
    }
    EXPECT_EQ(errno, EEXIST);
    EXPECT_FALSE(IsOpen(fd));

    const int released = zeka::ScopedFd(eventfd(0, EFD_CLOEXEC)).Release();
    EXPECT_TRUE(IsOpen(released));
    close(released);
}

// --- timers

unsigned First() { return static_cast<unsigned>(SIGRTMIN); }
unsigned Second() { return static_cast<unsigned>(SIGRTMIN) + 1; }
bool Raised(CEvent& event) { return event.WaitTimeout(0) == 0; }

TEST(SignalTimer, RaisesTheEventOfItsSignalAgainAndAgainUntilItIsDeleted)
{
    constexpr unsigned kPeriodMs = 30;
    unsigned signo = Second();
    const auto start = Clock::now();
    void* timer = CreateNewTimer(kPeriodMs, signo);
    ASSERT_NE(timer, nullptr);
    for (int expiry = 1; expiry <= 3; ++expiry) {
        EXPECT_TRUE(Eventually([] { return Raised(g_hSigTimer2Event); }));
        EXPECT_GE(Clock::now() - start, expiry * milliseconds(kPeriodMs)) << "never early";
    }
    EXPECT_FALSE(Raised(g_hSigTimer1Event)) << "the other signal's event";

    void* const before = timer;
    DeleteTimer(0, timer);
    EXPECT_EQ(timer, before) << "the handle keeps its value";
    (void)Raised(g_hSigTimer2Event); // one that came before the deletion
    SleepEx(5 * kPeriodMs);
    EXPECT_FALSE(Raised(g_hSigTimer2Event));
}

TEST(SignalTimer, CollapsesExpiriesBetweenTwoLooks)
{
    unsigned signo = First();
    void* timer = CreateNewTimer(5, signo);
    ASSERT_NE(timer, nullptr);
    SleepEx(100);
    DeleteTimer(0, timer);
    EXPECT_TRUE(Raised(g_hSigTimer1Event));
    EXPECT_FALSE(Raised(g_hSigTimer1Event));
}

itimerspec TimingOf(unsigned ms)
{
    unsigned signo = First();
    void* timer = CreateNewTimer(ms, signo);
    EXPECT_NE(timer, nullptr);
    itimerspec timing{};
    EXPECT_EQ(timer_gettime(timer, &timing), 0);
    DeleteTimer(0, timer);
    return timing;
}

TEST(SignalTimer, IsArmedForItsPeriodAndNotAtAllForZero)
{
    const itimerspec long_period = TimingOf(2500);
    EXPECT_EQ(long_period.it_interval.tv_sec, 2);
    EXPECT_EQ(long_period.it_interval.tv_nsec, 500'000'000);
    EXPECT_LE(long_period.it_value.tv_sec, 2) << "the first expiry comes one period after the call";

    const itimerspec longest = TimingOf(0xFFFFFFFF);
    EXPECT_EQ(longest.it_interval.tv_sec, 4'294'967);
    EXPECT_EQ(longest.it_interval.tv_nsec, 295'000'000);

    const itimerspec never = TimingOf(0);
    EXPECT_EQ(never.it_value.tv_sec, 0);
    EXPECT_EQ(never.it_value.tv_nsec, 0);
}

TEST(SignalTimer, InterruptsACallThatWaitsInTheSystem)
{
    zeka::ScopedFd never(eventfd(0, EFD_CLOEXEC));
    unsigned signo = First();
    void* timer = CreateNewTimer(30, signo);
    ASSERT_NE(timer, nullptr);
    alarm(20); // ends a test whose read is restarted for ever
    std::uint64_t count = 0;
    EXPECT_EQ(read(never.Get(), &count, sizeof count), -1);
    EXPECT_EQ(errno, EINTR);
    alarm(0);
    DeleteTimer(0, timer);
}

std::atomic<int> own_signals = 0;

TEST(SignalTimer, LeavesTheHandlerOfAnyOtherSignalToTheCaller)
{
    struct sigaction action {};
    action.sa_handler = [](int) { ++own_signals; };
    sigemptyset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR2, &action, nullptr), 0);

    unsigned signo = SIGUSR2;
    void* timer = CreateNewTimer(5, signo);
    ASSERT_NE(timer, nullptr);
    EXPECT_TRUE(Eventually([] { return own_signals > 1; }));
    DeleteTimer(0, timer);
    EXPECT_FALSE(Raised(g_hSigTimer1Event));
    EXPECT_FALSE(Raised(g_hSigTimer2Event));
}

TEST(SignalTimer, IsNullForASignalThatDoesNotExistAndNullIsDeletedWithoutHarm)
{
    for (unsigned bad : {100'000u, 0xFFFFFFFFu}) {
        unsigned signo = bad;
        void* timer = CreateNewTimer(10, signo);
        EXPECT_EQ(timer, nullptr);
        DeleteTimer(0, timer);
    }
}

} // namespace
