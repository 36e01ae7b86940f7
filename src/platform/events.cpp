// events.cpp - events with automatic and with manual reset.
// Any thread calls any operation. Each takes the mutex of the event, and no other lock is taken under it. The
// classes have trivial destructors, so a global event outlives every thread at exit.
#include <cerrno>

#include <atomic>

#include "platform/deadline.h"
#include "zeka/platform.hpp"

namespace {

class Guard {
public:
    explicit Guard(pthread_mutex_t& mutex) noexcept : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Guard() { pthread_mutex_unlock(&mutex_); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    pthread_mutex_t& mutex_;
};

// Signal handlers also raise the flag of an auto-reset event, and cannot take the mutex. So the flag is read
// and cleared in one step: a signal between the two would be lost.
bool Take(bool& flag) noexcept { return std::atomic_ref(flag).exchange(false, std::memory_order_acq_rel); }
void Raise(bool& flag) noexcept { std::atomic_ref(flag).store(true, std::memory_order_release); }
static_assert(std::atomic_ref<bool>::is_always_lock_free, "a signal handler may raise the flag");

void InitialiseCondition(pthread_cond_t& condition)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    // Setting the time of day must not move a time-out.
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

void InitialiseMutex(pthread_mutex_t& mutex)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

constexpr unsigned int kSignalled = 0;
static_assert(ZEKA_WAIT_TIMEOUT == ETIMEDOUT);

} // namespace

CAutoResetEvent::CAutoResetEvent(bool signalled)
{
    InitialiseCondition(condition_);
    InitialiseMutex(mutex_);
    signalled_ = signalled;
}

void CAutoResetEvent::SetEvent()
{
    const Guard guard(mutex_);
    Raise(signalled_);
    pthread_cond_signal(&condition_);
}

void CAutoResetEvent::ResetEvent()
{
    const Guard guard(mutex_);
    (void)Take(signalled_);
}

void CAutoResetEvent::Wait()
{
    const Guard guard(mutex_);
    while (!Take(signalled_))
        pthread_cond_wait(&condition_, &mutex_);
}

unsigned int CAutoResetEvent::WaitTimeout(unsigned int ms)
{
    if (ms == 0) {
        const Guard guard(mutex_);
        return Take(signalled_) ? kSignalled : ZEKA_WAIT_TIMEOUT;
    }
    const timespec deadline = zeka::Deadline::InMs(ms).ToTimespec();
    const Guard guard(mutex_);
    while (!Take(signalled_))
        if (pthread_cond_timedwait(&condition_, &mutex_, &deadline) == ETIMEDOUT)
            return ZEKA_WAIT_TIMEOUT; // an event that is set at the last moment stays for the next wait
    return kSignalled;
}

void CAutoResetEvent::RaiseFromSignalHandler() noexcept { Raise(signalled_); }

CManualResetEvent::CManualResetEvent(bool signalled)
{
    InitialiseCondition(condition_);
    InitialiseMutex(mutex_);
    signalled_ = signalled;
}

void CManualResetEvent::SetEvent()
{
    const Guard guard(mutex_);
    signalled_ = true;
    pthread_cond_broadcast(&condition_);
}

void CManualResetEvent::ResetEvent()
{
    const Guard guard(mutex_);
    signalled_ = false;
}

void CManualResetEvent::Wait()
{
    const Guard guard(mutex_);
    while (!signalled_)
        pthread_cond_wait(&condition_, &mutex_);
}

unsigned int CManualResetEvent::WaitTimeout(unsigned int ms)
{
    if (ms == 0) {
        const Guard guard(mutex_);
        return signalled_ ? kSignalled : ZEKA_WAIT_TIMEOUT;
    }
    const timespec deadline = zeka::Deadline::InMs(ms).ToTimespec();
    const Guard guard(mutex_);
    while (!signalled_)
        if (pthread_cond_timedwait(&condition_, &mutex_, &deadline) == ETIMEDOUT)
            return ZEKA_WAIT_TIMEOUT;
    return kSignalled;
}
