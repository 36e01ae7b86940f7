// signal_storm.h - sends the process a thousand signals a second. Their handler does nothing, and
// interrupted calls are not restarted.
#pragma once

#include <csignal>
#include <ctime>

namespace zeka::test {

class SignalStorm {
public:
    SignalStorm()
    {
        struct sigaction ignore {};
        ignore.sa_handler = [](int) {};
        ::sigaction(SIGUSR1, &ignore, nullptr);
        struct sigevent event {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGUSR1;
        const itimerspec every_ms{{0, 1000000}, {0, 1000000}};
        running_ = ::timer_create(CLOCK_MONOTONIC, &event, &timer_) == 0 &&
                   ::timer_settime(timer_, 0, &every_ms, nullptr) == 0;
    }
    ~SignalStorm() { ::timer_delete(timer_); }
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

    [[nodiscard]] bool Running() const { return running_; }

private:
    timer_t timer_{};
    bool running_ = false;
};

} // namespace zeka::test
