// supervisor.h (connection) - state of the supervisor, and the bodies of its thread and of the poll thread.
// The flags and pointers are single values that several threads read, so they are written with zeka::Publish.
#pragma once

#include <cstdint>

#include "platform/global_objects.h"

//                                                 start  meaning
extern std::int32_t g_nPortNumber;              // -1     port to connect to, -1 = search all
extern void (*g_Callback)(bool);                // null   connection listener
extern std::int32_t g_bConnected;               // 0      last state reported to the listener
extern std::int32_t g_bStopConnectDeviceThread; // 0      asks the supervisor to end
extern std::uint64_t g_hConnectDeviceThread;    // 0      the supervisor thread; guarded by g_CriticalSection

/// Starts the supervisor with this listener, or gives the listener to the one that runs. Waits at most 10 s
/// for one that is ending. False when the supervisor cannot be started or has not ended, and in a child of
/// fork() whose parent was connected.
bool DoInit(void (*callback)(bool));
/// Stores the state and reports it to the listener.
/// REQUIRES: on the supervisor thread, without g_CriticalSection.
void NotifyListener(bool connected);
/// The listener of ZEKAConnect.
void ConnectedHandler(bool connected);
/// Wakes the supervisor.
void ReconnectDevice();
void* ConnectDeviceThread(void*);
void* USBDataPollThread(void*);

namespace zeka {

/// The last act of the supervisor thread.
void NoteSupervisorEnded();

/// Signalled while no poll thread runs.
extern CManualResetEvent poll_thread_ended;

[[nodiscard]] bool OnSupervisorThread() noexcept;
[[nodiscard]] bool OnPollThread() noexcept;

/// Ends the connection and the supervisor when the process exits. Waits at most 5 s
/// and leaves behind what hangs.
void EndAtExit() noexcept;

/// Ends every thread of the library before its code is unmapped, however long a callback of the
/// application takes, because the thread that runs it would return into unmapped code. Does
/// nothing at exit(), after EndAtExit.
void EndBeforeUnmapping() noexcept;

/// Starts the poll thread. REQUIRES: the former one has ended.
[[nodiscard]] bool StartPollThread();
/// Asks the poll thread to end and waits at most ms for it. False when it is still inside a
/// callback; a later call joins it.
bool EndPollThread(unsigned ms);
/// Whether the poll thread was asked to end and is still inside a callback.
[[nodiscard]] bool PollThreadLeftBehind();

} // namespace zeka
