// bounded_call.h (link) - open() and close() of a serial node within a time limit.
// The ACM driver of the kernel lets close() wait 30 s for output that the instrument does not take, and every
// open() of that node waits as long. Only a signal to the waiting thread ends the wait early.
#pragma once

#include <csignal>
#include <ctime>

#include "platform/cancellation.h"

namespace zeka {

/// While one lives, interrupts a system call in which the calling thread sleeps: after limit_ms and from then
/// on every 20 ms, by a timer that signals this thread alone. Takes a real-time signal that the process does
/// not use otherwise. The destructor restores the action of the signal and the mask of the thread.
class BoundedCall {
public:
    explicit BoundedCall(unsigned limit_ms) noexcept;
    ~BoundedCall();
    BoundedCall(const BoundedCall&) = delete;
    BoundedCall& operator=(const BoundedCall&) = delete;

private:
    NoCancel whole_; // first member: a cancellation waits until timer and signal are restored
    int signal_ = 0; // 0: no free signal or no timer, the call is not bounded
    timer_t timer_{};
    struct sigaction former_action_ {};
    sigset_t former_mask_{};
};

/// Opens a serial node without waiting for a carrier, within limit_ms; -1 on failure. Retries while the time
/// lasts when the node refuses with ENXIO or ENODEV, as one that has just appeared may for some milliseconds.
[[nodiscard]] int OpenNode(const char* path, unsigned limit_ms) noexcept;

/// Closes a descriptor within limit_ms. Drops the output that the instrument has not taken.
void CloseNode(int fd, unsigned limit_ms) noexcept;

} // namespace zeka
