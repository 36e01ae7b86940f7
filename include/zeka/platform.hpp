/// @file
/// The platform objects of libzeka for C++17 programs: events, waits, locks, threads, signal-driven timers.
/// The names are Windows names. The behaviour differs from what they suggest in these points: a time-out
/// gives 110; no value means "for ever" unless a function says so; there is no waiting for all.
#ifndef ZEKA_PLATFORM_HPP
#define ZEKA_PLATFORM_HPP

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include "zeka/zeka.h"

// clang proves at compile time that locks are held (-Wthread-safety); for other compilers these are empty.
#if defined(__clang__)
#define ZEKA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZEKA_THREAD_ATTRIBUTE(x)
#endif
#define ZEKA_CAPABILITY(name) ZEKA_THREAD_ATTRIBUTE(capability(name))
#define ZEKA_SCOPED_LOCK ZEKA_THREAD_ATTRIBUTE(scoped_lockable)
#define ZEKA_ACQUIRES(...) ZEKA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZEKA_RELEASES(...) ZEKA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ZEKA_REQUIRES(...) ZEKA_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZEKA_GUARDED_BY(x) ZEKA_THREAD_ATTRIBUTE(guarded_by(x))
#define ZEKA_NO_LOCK_ANALYSIS ZEKA_THREAD_ATTRIBUTE(no_thread_safety_analysis)

/// Result of a wait that ran into its time limit (the number of ETIMEDOUT; not Windows' 258).
inline constexpr unsigned int ZEKA_WAIT_TIMEOUT = 110;

/// Base of both kinds of event. Any thread may call any operation; each takes the event's own mutex.
class ZEKA_API CEvent {
public:
    /// Signals the event; signals do not count up.
    virtual void SetEvent() = 0;
    /// Takes the signal away.
    virtual void ResetEvent() = 0;
    /// Waits without a time limit.
    virtual void Wait() = 0;
    /// Waits at most ms milliseconds, 0 .. 4294967295, and returns 0 (signalled) or 110 (time-out).
    /// 0 ms tests the event without waiting. No value means "for ever". Neither setting the time of
    /// day nor a signal moves the end.
    virtual unsigned int WaitTimeout(unsigned int ms) = 0;

protected:
    // Never deleted through the base; the library's own events outlive every thread that may still use them.
    ~CEvent() = default;
};

/// A successful wait takes the signal; one SetEvent releases one waiter.
/// WaitTimeout(0) always clears the signal.
class ZEKA_API CAutoResetEvent : public CEvent {
public:
    explicit CAutoResetEvent(bool signalled); ///< signalled: whether it starts signalled
    CAutoResetEvent(const CAutoResetEvent&) = delete;
    CAutoResetEvent& operator=(const CAutoResetEvent&) = delete;
    void SetEvent() override;
    void ResetEvent() override;
    void Wait() override;
    unsigned int WaitTimeout(unsigned int ms) override;

    /// For signal handlers alone: raises the flag without mutex and without waking anyone.
    void RaiseFromSignalHandler() noexcept;

private:
    pthread_mutex_t mutex_;
    pthread_cond_t condition_;
    bool signalled_; // guarded by mutex_, except in RaiseFromSignalHandler
};

/// Stays signalled until ResetEvent; one SetEvent releases all waiters.
class ZEKA_API CManualResetEvent : public CEvent {
public:
    explicit CManualResetEvent(bool signalled); ///< signalled: whether it starts signalled
    CManualResetEvent(const CManualResetEvent&) = delete;
    CManualResetEvent& operator=(const CManualResetEvent&) = delete;
    void SetEvent() override;
    void ResetEvent() override;
    void Wait() override;
    unsigned int WaitTimeout(unsigned int ms) override;

private:
    pthread_mutex_t mutex_;
    pthread_cond_t condition_;
    bool signalled_; // guarded by mutex_
};

/// A recursive lock: the thread that holds it may take it again.
class ZEKA_API ZEKA_CAPABILITY("mutex") CSimpleCriticalSection {
public:
    CSimpleCriticalSection();
    CSimpleCriticalSection(const CSimpleCriticalSection&) = delete;
    CSimpleCriticalSection& operator=(const CSimpleCriticalSection&) = delete;
    void Lock() ZEKA_ACQUIRES();   ///< waits for it, in the order of arrival, without a time limit
    void Unlock() ZEKA_RELEASES(); ///< as often as it was taken, by the thread that took it

private:
    pthread_mutex_t mutex_;
};

/// Holds a critical section from construction to destruction; the section has to live longer.
class ZEKA_API ZEKA_SCOPED_LOCK CAutoCriticalSection {
public:
    explicit CAutoCriticalSection(CSimpleCriticalSection& section) ZEKA_ACQUIRES(section); ///< takes it
    ~CAutoCriticalSection() ZEKA_RELEASES();
    CAutoCriticalSection(const CAutoCriticalSection&) = delete;
    CAutoCriticalSection& operator=(const CAutoCriticalSection&) = delete;

private:
    CSimpleCriticalSection& section_;
};

extern "C" {
/// Waits on one event: 0 signalled, 110 not within ms milliseconds, 0 .. 4294967295 (49 days, not "for
/// ever"). Passes on other results that an event class of the program returns. Any thread.
ZEKA_API unsigned int WaitForSingleObject(CEvent* event, unsigned int ms);
/// Tests the events in order, about once a millisecond. Returns the index of the first one found
/// signalled, or 110 when ms milliseconds are over (0xFFFFFFFF: no limit; then at least one event).
/// Events behind the one that was found are not touched; every test of an auto-reset event takes its
/// signal. Waiting for all is not supported: waitAll other than 0 returns 110 at once. With 111 events
/// and more, 110 can be an index too. Any thread.
ZEKA_API unsigned int WaitForMultipleObjects(unsigned int count, CEvent** events, int waitAll,
                                             unsigned int ms);
/// Starts a joinable thread with default attributes: 1 and its id, a pthread_t, in *threadId before it runs;
/// or 0. pthread_join or pthread_detach releases the thread; CloseThread (zeka.h) does nothing. Any thread.
ZEKA_API int CreateThread(unsigned long* threadId, void* (*start)(void*), void* arg);
/// Starts a periodic timer of ms milliseconds that delivers signal signo to the process, first after one
/// period; 0 ms gives a timer that never expires. Null when the timer cannot be created. SIGRTMIN raises
/// the library's first timer event, SIGRTMIN + 1 the second: the call installs handlers without
/// SA_RESTART, which stay. When dlclose() unloads the library the two signals are ignored. REQUIRES: for
/// any other signal the caller has installed a handler. The signal may make a system call of any thread
/// fail with EINTR. Any thread.
ZEKA_API timer_t CreateNewTimer(unsigned int ms, unsigned int& signo);
/// Ends a timer; null is ignored. The handle keeps its value: do not delete a timer twice.
/// unused has no effect. Any thread.
ZEKA_API void DeleteTimer(unsigned int unused, void*& timer);
}

#endif
