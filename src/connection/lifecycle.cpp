// lifecycle.cpp (connection) - start and end of the connection.
// At most one supervisor runs. Its handle, the stop flag and the start are changed under
// g_CriticalSection; the wait for its end holds no lock. Several threads may free and start at once: each
// waits for the end that it needs.
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <utility>

#include "connection/fork.h"
#include "connection/library_thread.h"
#include "connection/monitor.h"
#include "connection/supervisor.h"
#include "device/memory.h"
#include "link/port.h"
#include "link/serial_link.h"
#include "platform/cancellation.h"
#include "platform/deadline.h"
#include "platform/mapping.h"
#include "platform/renewed_in_child.h"
#include "signal/state.h"
#include "util/immortal.h"
#include "util/peek.h"
#include "zeka/zeka.h"

constinit std::uint64_t g_hConnectDeviceThread = 0;

namespace zeka {
namespace {

constexpr unsigned kEndWaitMs = 10000; // the longest regular end: a setter's wait, a ping, a tear-down
constexpr unsigned kExitWaitMs = 5000; // a thread that hangs in a callback must not hold up the process
constexpr unsigned kNoLimitMs = 0xFFFFFFFF;

constinit std::atomic<bool> unloading{false};

// Numbers the runs of the supervisor from 1. A caller that ends a run waits for that very one, also when
// another thread has started the next by then. Never destroyed; the lock is a leaf.
struct Runs {
    std::mutex lock;
    std::condition_variable changed;
    std::uint64_t started = 0;
    std::uint64_t ended = 0;
};

Runs& SupervisorRuns() noexcept
{
    static Immortal<Runs> runs;
    return runs.Get();
}

std::uint64_t CurrentRun()
{
    const std::scoped_lock hold(SupervisorRuns().lock);
    return SupervisorRuns().started;
}

bool NoneRuns()
{
    const std::scoped_lock hold(SupervisorRuns().lock);
    return SupervisorRuns().started == SupervisorRuns().ended;
}

void CountStart()
{
    const std::scoped_lock hold(SupervisorRuns().lock);
    ++SupervisorRuns().started;
}

bool WaitForRunToEnd(std::uint64_t run, unsigned ms)
{
    Runs& runs = SupervisorRuns();
    std::unique_lock hold(runs.lock);
    return runs.changed.wait_for(hold, std::chrono::milliseconds{ms}, [&] { return runs.ended >= run; });
}

[[maybe_unused]] const Runs& made_at_load = SupervisorRuns(); // at load: no fork interrupts its construction
const RenewedInChild runs_in_child([] { std::construct_at(&SupervisorRuns()); });

// Asks the supervisor to end. The listener is not called any more.
void RequestStop() ZEKA_NEEDS_LOCK
{
    Publish(g_bStopConnectDeviceThread, 1);
    Publish(g_Callback, nullptr);
    CancelSearch();
    ReconnectDevice();
}

// Takes the handle of the supervisor; exactly one caller gets it. Atomic, because
// unload takes it without the lock.
std::uint64_t TakeThread() { return std::atomic_ref(g_hConnectDeviceThread).exchange(0); }

// Joins an ended supervisor. Exactly one caller gets its handle and joins.
void JoinEndedSupervisor()
{
    const NoCancel joins_what_it_takes;
    std::uint64_t ended = 0;
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        if (NoneRuns())
            ended = TakeThread();
    }
    if (ended != 0)
        ::pthread_join(ended, nullptr);
}

// False inside a callback, which runs on the thread whose end would be waited for, or under the
// lock that this thread needs.
bool MayWaitForThreads() noexcept
{
    return !OnSupervisorThread() && !OnPollThread() && !HoldsCriticalSection();
}

// Waits until a supervisor that was asked to stop has ended; false when it has not. Does not wait inside a
// callback: the end comes after the callback has returned.
bool WaitForEnd(std::uint64_t run, unsigned ms)
{
    if (!MayWaitForThreads())
        return true;
    if (!WaitForRunToEnd(run, ms))
        return false;
    JoinEndedSupervisor();
    return true;
}

bool StartSupervisor() ZEKA_NEEDS_LOCK
{
    unsigned long thread = 0;
    CountStart();
    if (!StartLibraryThread(thread, ConnectDeviceThread)) {
        NoteSupervisorEnded();
        return false;
    }
    g_hConnectDeviceThread = thread;
    return true;
}

// Lets a program that forks before it connects, as a daemon does, take the library over: starts its monitor
// anew. A child of a connected process cannot, because port and lock file are the parent's.
bool AdoptProcess()
{
    if (InOwnProcess())
        return true;
    if (!MayConnect())
        return false;
    BecomeOwnProcess();
    g_AutoMonitor.Start();
    return true;
}

enum class Start { kDone, kFailed, kFormerOneIsEnding };

Start TryStart(void (*callback)(bool))
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (unloading)
        return Start::kFailed;
    if (g_hConnectDeviceThread != 0 && Peek(g_bStopConnectDeviceThread) != 0)
        return Start::kFormerOneIsEnding;
    g_hReconnectEvent.ResetEvent();
    Publish(g_bStopConnectDeviceThread, 0);
    AllowSearch();
    Publish(g_Callback, callback);
    if (g_hConnectDeviceThread != 0)
        return Start::kDone;
    return StartSupervisor() ? Start::kDone : Start::kFailed;
}

void ForgetCallbacks()
{
    Publish(g_GraphCB, nullptr);
    Publish(g_PacingGraphCB, nullptr);
    Publish(g_SyncMainFuncCB, nullptr);
    Publish(g_SyncFreqCB, nullptr);
    Publish(g_BaselineResetCB, nullptr);
    Publish(g_SyncDCOffsetCB, nullptr);
    Publish(g_Callback, nullptr);
}

// True for the one caller that ends the library. In a child of fork() it is the parent's to end. Takes no
// lock, because another thread may hang in a callback under it.
bool BeginEnd()
{
    if (!InOwnProcess() || unloading.exchange(true))
        return false;
    ForgetCallbacks(); // the application's code may be gone already
    Publish(g_bStopConnectDeviceThread, 1);
    CancelSearch();
    ReconnectDevice();
    return true;
}

void EndSupervisor(unsigned ms)
{
    if (!OnSupervisorThread() && WaitForRunToEnd(CurrentRun(), ms))
        if (const std::uint64_t ended = TakeThread(); ended != 0)
            ::pthread_join(ended, nullptr);
}

} // namespace

void NoteSupervisorEnded()
{
    Runs& runs = SupervisorRuns();
    const std::scoped_lock hold(runs.lock);
    ++runs.ended;
    runs.changed.notify_all();
}

void EndAtExit() noexcept
{
    const NoCancel whole;
    if (!BeginEnd())
        return;
    const CutRomWaitShort at_once;
    EndSupervisor(kExitWaitMs);
    CloseAtExit(); // closes only when the supervisor called exit() or hangs; the lock file goes in any case
    ReleaseWakeDescriptor();
}

void EndBeforeUnmapping() noexcept
{
    const NoCancel whole;
    if (!BeginEnd())
        return;
    const CutRomWaitShort at_once;
    IgnoreTimerSignals();
    const bool on_own_thread = OnSupervisorThread() || OnPollThread(); // a thread cannot wait for itself
    const unsigned limit_ms = on_own_thread ? kExitWaitMs : kNoLimitMs;
    EndSupervisor(limit_ms);
    if (!on_own_thread)
        (void)EndPollThread(limit_ms);
    g_AutoMonitor.End(limit_ms);
    DeviceClose();
    ReleaseWakeDescriptor();
}

} // namespace zeka

bool DoInit(void (*callback)(bool))
{
    using namespace zeka;
    if (!AdoptProcess())
        return false;
    const Deadline deadline = Deadline::InMs(kEndWaitMs);
    for (;;) {
        const Start start = TryStart(callback);
        if (start != Start::kFormerOneIsEnding)
            return start == Start::kDone;
        if (deadline.Expired() || !MayWaitForThreads())
            return false;
        (void)WaitForEnd(CurrentRun(), static_cast<unsigned>(deadline.RemainingMsCeil()));
    }
}

bool ZEKAInit(ZEKA_CONNECTION_CALLBACK callback)
{
    zeka::Publish(g_nPortNumber, -1);
    return DoInit(callback);
}

int ZEKAConnect(int port, unsigned int timeoutMs)
{
    zeka::Publish(g_nPortNumber, port);
    g_hConnectedEvent.ResetEvent();
    if (!DoInit(ConnectedHandler))
        return 0;
    if (g_hConnectedEvent.WaitTimeout(zeka::MayWaitForThreads() ? timeoutMs : 0) == 0)
        return 1;
    ZEKAFree();
    return 0;
}

void ZEKAFree(void)
{
    using namespace zeka;
    // In a child of fork() the connection is the parent's. Its threads did not come along, so the wait for
    // their end would last the whole time-out.
    if (!InOwnProcess())
        return;
    const CutRomWaitShort at_once; // a thread that waits for a store holds the lock
    (void)ZEKASetOutputFunction(ZEKA_FUNCTION_NONE);
    std::uint64_t run = 0;
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        if (g_hConnectDeviceThread == 0)
            return;
        run = CurrentRun();
        RequestStop();
    }
    if (!WaitForEnd(run, kEndWaitMs) || (MayWaitForThreads() && PollThreadLeftBehind()))
        StayMapped(); // a thread of ours hangs in a callback of the application
}

bool ZEKAIsConnected(void) { return zeka::DeviceUsable(); }

bool ZEKAIsPlaying(void) { return zeka::Peek(g_bECGGoing); }
