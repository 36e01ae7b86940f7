// bounded_call.h (link) - open() and close() of a serial node that cannot take longer than we allow.
// The kernel's ACM driver lets close() wait 30 s for output that the instrument does not take, and lets every
// open() of that node wait as long. Only a signal to the waiting thread ends that early.
#pragma once

#include <csignal>
#include <ctime>

#include "platform/cancellation.h"

namespace zeka {

/// While one lives, a system call in which the calling thread sleeps is interrupted after limit_ms and from
/// then on every 20 ms, by a timer that signals this thread alone. The signal is a real-time one that the
/// process does not use otherwise; its action and the thread's mask are put back afterwards.
class BoundedCall {
public:
    explicit BoundedCall(unsigned limit_ms) noexcept;
    ~BoundedCall();
    BoundedCall(const BoundedCall&) = delete;
    BoundedCall& operator=(const BoundedCall&) = delete;

private:
    NoCancel whole_; // first: the timer and the signal are put back in any case
    int signal_ = 0; // 0: no free signal or no timer, the call is not bounded
    timer_t timer_{};
    struct sigaction former_action_ {};
    sigset_t former_mask_{};
};

/// Opens a serial node without waiting for a carrier, within limit_ms; -1 on failure. A node that has just
/// appeared may refuse for some milliseconds (ENXIO, ENODEV): it is tried again while the time lasts.
[[nodiscard]] int OpenNode(const char* path, unsigned limit_ms) noexcept;

/// Closes a descriptor within limit_ms; what the instrument has not taken is dropped.
void CloseNode(int fd, unsigned limit_ms) noexcept;

} // namespace zeka
