// cancellation.h (platform) - pthread_cancel and the library. A thread that is cancelled is unwound where it
// waits. In the middle of an exchange that would leave half a reply on the wire, in a function that may not
// throw it would end the process. So a thread cannot be cancelled while it holds g_CriticalSection (the lock
// itself sees to that) or while a NoCancel lives; a request for it takes effect behind. Waits that hold
// nothing, SleepEx and the events' own, can be cancelled at any moment.
#pragma once

#include <pthread.h>

namespace zeka {

/// While one lives, a cancellation of this thread is put off. For calls that wait without g_CriticalSection.
class NoCancel {
public:
    NoCancel() noexcept { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former_); }
    ~NoCancel() { ::pthread_setcancelstate(former_, nullptr); }
    NoCancel(const NoCancel&) = delete;
    NoCancel& operator=(const NoCancel&) = delete;

private:
    int former_ = PTHREAD_CANCEL_ENABLE;
};

/// While one lives, this thread can be cancelled as its owner chose, although it holds g_CriticalSection: the
/// code of the application that a callback runs. What the callback chooses anew holds from then on.
class CancelStateOfOwner {
public:
    CancelStateOfOwner() noexcept;
    ~CancelStateOfOwner();
    CancelStateOfOwner(const CancelStateOfOwner&) = delete;
    CancelStateOfOwner& operator=(const CancelStateOfOwner&) = delete;
};

} // namespace zeka
