// cancellation.h (platform) - pthread_cancel and the library. A cancelled thread is unwound where it waits.
// In the middle of an exchange that would leave half a reply on the wire; in a function that may not throw it
// would end the process. So a cancellation is put off while the thread holds g_CriticalSection (the lock
// itself sees to that) or a NoCancel lives, and takes effect afterwards. Waits that hold nothing (SleepEx and
// those of the events) can be cancelled at any moment.
#pragma once

#include <pthread.h>

namespace zeka {

/// Puts off a cancellation of this thread while it lives. For calls that wait without g_CriticalSection.
class NoCancel {
public:
    NoCancel() noexcept { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former_); }
    ~NoCancel() { ::pthread_setcancelstate(former_, nullptr); }
    NoCancel(const NoCancel&) = delete;
    NoCancel& operator=(const NoCancel&) = delete;

private:
    int former_ = PTHREAD_CANCEL_ENABLE;
};

/// Restores the cancellation state that the thread chose, although it holds g_CriticalSection. Lives around a
/// callback into the application. A state that the callback sets stays in force afterwards.
class CancelStateOfOwner {
public:
    CancelStateOfOwner() noexcept;
    ~CancelStateOfOwner();
    CancelStateOfOwner(const CancelStateOfOwner&) = delete;
    CancelStateOfOwner& operator=(const CancelStateOfOwner&) = delete;
};

} // namespace zeka
