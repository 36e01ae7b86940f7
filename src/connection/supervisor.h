// supervisor.h (connection) - who runs when: state of the supervisor, and its thread's and the poll thread's
// bodies. The flags and pointers are single values that several threads look at: they are written with
// zeka::Publish.
#pragma once

#include <cstdint>

#include "platform/global_objects.h"

//                                                 start  meaning
extern std::int32_t g_nPortNumber;              // -1     port to connect to, -1 = search all
extern void (*g_Callback)(bool);                // null   connection listener
extern std::int32_t g_bConnected;               // 0      last state told to the listener
extern std::int32_t g_bStopConnectDeviceThread; // 0      asks the supervisor to end
extern std::uint64_t g_hConnectDeviceThread;    // 0      the supervisor thread; guarded by g_CriticalSection

bool DoInit(void (*callback)(bool));
/// Stores the state and tells the listener; on the supervisor thread, without g_CriticalSection.
void NotifyListener(bool connected);
/// Listener of ZEKAConnect.
void ConnectedHandler(bool connected);
/// Wakes the supervisor.
void ReconnectDevice();
void* ConnectDeviceThread(void*);
void* USBDataPollThread(void*);

namespace zeka {

/// The supervisor thread's last act.
void NoteSupervisorEnded();

/// Signalled while no poll thread runs.
extern CManualResetEvent poll_thread_ended;

[[nodiscard]] bool OnSupervisorThread() noexcept;
[[nodiscard]] bool OnPollThread() noexcept;

/// Ends everything that runs when the process exits, within a bound: what hangs then is left behind.
void EndAtExit() noexcept;

/// Ends everything that runs before the library's code goes, however long a callback of the application
/// takes: the thread that runs it would come back to nothing. Does nothing at exit(), behind EndAtExit.
void EndBeforeUnmapping() noexcept;

/// Starts the poll thread; the former one must have ended.
[[nodiscard]] bool StartPollThread();
/// Asks the poll thread to end and waits at most ms for it; false when it is still inside a callback. One
/// that was left behind is joined by a later call.
bool EndPollThread(unsigned ms);
/// Whether the poll thread was asked to end and is still inside a callback.
[[nodiscard]] bool PollThreadLeftBehind();

} // namespace zeka
