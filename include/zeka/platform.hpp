/// @file
/// The platform objects of libzeka for C++17 programs: events, waits, locks, threads, signal-driven timers.
/// The names are Windows names; where the behaviour differs from what they suggest it is said: a time-out is
/// 110, no value means "for ever" but where it is said, there is no waiting for all.
#ifndef ZEKA_PLATFORM_HPP
#define ZEKA_PLATFORM_HPP

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include "zeka/zeka.h"

// clang proves at compile time who holds which lock (-Wthread-safety); other compilers see nothing.
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
    /// Waits at most ms milliseconds, 0 .. 4294967295: 0 signalled, 110 not. 0 only looks. No value means
    /// "for ever"; setting the time of day does not move the end, signals neither.
    virtual unsigned int WaitTimeout(unsigned int ms) = 0;

protected:
    // Never deleted through the base; the library's own events outlive every thread that may still use them.
    ~CEvent() = default;
};

/// A successful wait takes the signal; one SetEvent releases one waiter. A look (WaitTimeout(0)) always
/// clears it.
class ZEKA_API CAutoResetEvent : public CEvent {
public:
    explicit CAutoResetEvent(bool signalled); ///< signalled: from the start
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
    bool signalled_; // guarded by mutex_, but for RaiseFromSignalHandler
};

/// Stays signalled until ResetEvent; one SetEvent releases all waiters.
class ZEKA_API CManualResetEvent : public CEvent {
public:
    explicit CManualResetEvent(bool signalled); ///< signalled: from the start
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
/// Waits on one event: 0 signalled, 110 not within ms milliseconds, 0 .. 4294967295 (49 days, not for ever).
/// An event of the program's own may return other results; they are passed on. Any thread.
ZEKA_API unsigned int WaitForSingleObject(CEvent* event, unsigned int ms);
/// Looks at the events about once a millisecond: the index of the first one found signalled, or 110 when ms
/// milliseconds are over (0xFFFFFFFF: no limit; then at least one event). Events behind the one that was
/// found are not touched; every look at an auto-reset event takes its signal. Waiting for all is not
/// supported: waitAll other than 0 returns 110 at once. With 111 events and more, 110 can be an index too.
/// Any thread.
ZEKA_API unsigned int WaitForMultipleObjects(unsigned int count, CEvent** events, int waitAll,
                                             unsigned int ms);
/// Starts a joinable thread with default attributes: 1 and its id, a pthread_t, in *threadId before it runs;
/// or 0. It is released by pthread_join or pthread_detach; CloseThread (zeka.h) does nothing. Any thread.
ZEKA_API int CreateThread(unsigned long* threadId, void* (*start)(void*), void* arg);
/// Starts a periodic timer of ms milliseconds, the first expiry after one period, that delivers signal signo
/// to the process; 0 ms gives a timer that never expires. Null when the timer cannot be created. SIGRTMIN
/// raises the library's first timer event, SIGRTMIN + 1 the second, by handlers that are installed here
/// without SA_RESTART and stay; when dlclose() unloads the library the two signals are ignored. For any other
/// signal the caller has installed a handler. A system call of any thread may fail with EINTR for it. Any
/// thread.
ZEKA_API timer_t CreateNewTimer(unsigned int ms, unsigned int& signo);
/// Ends a timer; null is ignored, and the handle keeps its value: do not delete it twice. unused has no
/// effect. Any thread.
ZEKA_API void DeleteTimer(unsigned int unused, void*& timer);
}

#endif
