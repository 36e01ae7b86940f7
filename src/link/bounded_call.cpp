// bounded_call.cpp (link) - open() and close() that end in time, whatever the driver waits for.
#include "link/bounded_call.h"

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/deadline.h"
#include "platform/renewed_in_child.h"
#include "zeka/platform.hpp"

namespace zeka {
namespace {

constexpr long kRepeatNs = 20'000'000; // repeated in case the first signal came before the thread slept
constexpr unsigned kRetryPauseMs = 20;

// Lets one bounded call run at a time, because two would restore the signal action of each other. Held for at
// most the limit of one call (300 ms). A leaf: no lock is taken under it.
constinit std::mutex signal_lock;
const RenewedInChild in_child([] { std::construct_at(&signal_lock); });

void Ignore(int /*signal*/) {} // its delivery makes the sleeping system call return EINTR

// Finds a real-time signal that has no handler. Looks from the highest down, because
// applications seldom use those.
int FindFreeSignal(struct sigaction& former)
{
    for (int signal = SIGRTMAX; signal > SIGRTMIN + 1; --signal)
        if (::sigaction(signal, nullptr, &former) == 0 && (former.sa_flags & SA_SIGINFO) == 0 &&
            former.sa_handler == SIG_DFL)
            return signal;
    return ::sigaction(SIGRTMAX, nullptr, &former) == 0 ? SIGRTMAX : 0; // all are in use: borrows one
}

} // namespace

BoundedCall::BoundedCall(unsigned limit_ms) noexcept
{
    signal_lock.lock();
    const int signal = FindFreeSignal(former_action_);
    if (signal == 0)
        return;

    struct sigevent event {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = signal;
    event._sigev_un._tid = static_cast<pid_t>(::syscall(SYS_gettid)); // glibc 2.36 has no public name for it
    if (::timer_create(CLOCK_MONOTONIC, &event, &timer_) != 0)
        return;

    struct sigaction action {};
    action.sa_handler = Ignore; // no SA_RESTART
    ::sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
    sigset_t ours;
    ::sigemptyset(&ours);
    ::sigaddset(&ours, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &ours, &former_mask_);

    struct itimerspec times {};
    times.it_value.tv_sec = limit_ms / 1000;
    times.it_value.tv_nsec = static_cast<long>(limit_ms % 1000) * 1'000'000 + 1;
    times.it_interval.tv_nsec = kRepeatNs;
    ::timer_settime(timer_, 0, &times, nullptr);
    signal_ = signal;
}

BoundedCall::~BoundedCall()
{
    if (signal_ != 0) {
        // Deletes the timer first: a signal that is already due is delivered to this thread before
        // timer_delete() returns, while our action still stands. The default action would end the process.
        ::timer_delete(timer_);
        ::pthread_sigmask(SIG_SETMASK, &former_mask_, nullptr);
        struct sigaction present {};
        if (::sigaction(signal_, nullptr, &present) == 0 && present.sa_handler == Ignore)
            ::sigaction(signal_, &former_action_, nullptr); // leaves an action that was installed meanwhile
    }
    signal_lock.unlock();
}

int OpenNode(const char* path, unsigned limit_ms) noexcept
{
    const Deadline deadline = Deadline::InMs(limit_ms);
    const BoundedCall bounded(limit_ms);
    for (;;) {
        const int fd = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0 || deadline.Expired())
            return fd;
        if (errno == EINTR)
            continue; // one of the application's signals; ours comes only after the deadline
        if (errno != ENXIO && errno != ENODEV)
            return -1;
        SleepEx(kRetryPauseMs);
    }
}

void CloseNode(int fd, unsigned limit_ms) noexcept
{
    const BoundedCall bounded(limit_ms);
    (void)CloseHandle(fd); // an interrupted close has released the descriptor all the same
}

} // namespace zeka
