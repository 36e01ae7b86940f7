// timer_faults_test.cpp - a timer that cannot be armed. A program of its own: it stands in for the C
// library's timer_settime, which no argument that the library can pass makes fail.
#include <gtest/gtest.h>

#include <cerrno>

#include "zeka/platform.hpp"

namespace {
int arming_attempts = 0;
timer_t refused = nullptr;
} // namespace

extern "C" int timer_settime(timer_t timer, int, const itimerspec*, itimerspec*) noexcept
{
    ++arming_attempts;
    refused = timer;
    errno = EINVAL;
    return -1;
}

TEST(SignalTimer, ThatCannotBeArmedIsDeletedAndReportedAsNull)
{
    unsigned signo = static_cast<unsigned>(SIGRTMIN);
    EXPECT_EQ(CreateNewTimer(10, signo), nullptr);
    ASSERT_EQ(arming_attempts, 1);
    EXPECT_EQ(timer_getoverrun(refused), -1) << "the kernel still knows the timer";
    EXPECT_EQ(timer_getoverrun(nullptr), -1)
        << "nor may the one numbered 0 be left, whose handle looks like none";
}
