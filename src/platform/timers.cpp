// timers.cpp - periodic timers whose expiry is a real-time signal that raises an event.
// The signal goes to the process, so its handler runs on any thread. The handler cannot take the mutex of
// the event: it raises the flag and wakes no thread, so the two timer events must be polled. A blocking
// call elsewhere may return EINTR.
#include "platform/global_objects.h"

static void onSigTimer1Timer(int, siginfo_t*, void*) { g_hSigTimer1Event.RaiseFromSignalHandler(); }
static void onSigTimer2Timer(int, siginfo_t*, void*) { g_hSigTimer2Event.RaiseFromSignalHandler(); }

static void TimerSetHandler(int signo, void (*handler)(int, siginfo_t*, void*))
{
    struct sigaction action {};
    action.sa_sigaction = handler;
    // No SA_RESTART: a program that waits in a system call may want to look at the event.
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(signo, &action, nullptr);
}

namespace {

timespec PeriodOf(unsigned int ms) noexcept
{
    constexpr unsigned int kMsPerSecond = 1000;
    constexpr long kNsPerMs = 1'000'000;
    timespec period{};
    period.tv_sec = static_cast<time_t>(ms / kMsPerSecond);
    period.tv_nsec = static_cast<long>(ms % kMsPerSecond) * kNsPerMs;
    return period;
}

// The kernel numbers the timers of a process from 0, and the C library returns number 0 as a null handle.
// Null means "no timer" here, so number 0 is exchanged for another timer.
timer_t CreateWithHandle(sigevent& notification) noexcept
{
    timer_t timer = nullptr;
    if (timer_create(CLOCK_REALTIME, &notification, &timer) != 0)
        return nullptr;
    if (timer != nullptr)
        return timer;

    const timer_t number_zero = timer;
    if (timer_create(CLOCK_REALTIME, &notification, &timer) != 0)
        timer = nullptr;
    timer_delete(number_zero);
    return timer;
}

void IgnoreOwn(int signo, void (*handler)(int, siginfo_t*, void*)) noexcept
{
    struct sigaction present {};
    if (sigaction(signo, nullptr, &present) != 0 || (present.sa_flags & SA_SIGINFO) == 0 ||
        present.sa_sigaction != handler)
        return;
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    sigaction(signo, &ignored, nullptr);
}

} // namespace

// Does not restore the former action: it is usually the default one, and the next expiry of a timer that was
// not deleted would end the process. Ignoring also drops a pending signal.
void zeka::IgnoreTimerSignals() noexcept
{
    IgnoreOwn(SIGRTMIN, onSigTimer1Timer);
    IgnoreOwn(SIGRTMIN + 1, onSigTimer2Timer);
}

timer_t CreateNewTimer(unsigned int ms, unsigned int& signo)
{
    // SIGRTMIN is no constant: the C library reserves some real-time signals for itself at run time.
    const int number = static_cast<int>(signo);
    if (number == SIGRTMIN)
        TimerSetHandler(number, onSigTimer1Timer);
    else if (number == SIGRTMIN + 1)
        TimerSetHandler(number, onSigTimer2Timer);

    sigevent notification{};
    notification.sigev_notify = SIGEV_SIGNAL;
    notification.sigev_signo = number;
    const timer_t timer = CreateWithHandle(notification);
    if (timer == nullptr)
        return nullptr;

    itimerspec timing{};
    timing.it_value = PeriodOf(ms); // 0 leaves the timer unarmed
    timing.it_interval = timing.it_value;
    if (timer_settime(timer, 0, &timing, nullptr) != 0) {
        timer_delete(timer); // no caller knows its handle
        return nullptr;
    }
    return timer;
}

void DeleteTimer(unsigned int, void*& timer)
{
    if (timer != nullptr)
        timer_delete(timer);
}
