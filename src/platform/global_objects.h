// global_objects.h (platform) - the one lock and the events that all threads of the library share. They are
// defined in connection/library_objects.cpp, in order of construction, and never destroyed, because a thread
// of the application may still be inside a call while the process exits.
//
// Order of locks, outer to inner: g_CriticalSection - the wire lock (device/exchange.cpp) - the port's lock
// (link/port.cpp) - an event's own mutex. Every thread takes them in this order.
#pragma once

#include "zeka/platform.hpp"

extern CSimpleCriticalSection g_CriticalSection; // signal state and every exchange with the instrument

namespace zeka {
/// Whether the calling thread holds g_CriticalSection, at any depth. A callback that is raised under the lock
/// must not wait for a thread that needs the lock.
[[nodiscard]] bool HoldsCriticalSection() noexcept;
} // namespace zeka

extern CAutoResetEvent g_hConnectedEvent; // ends the wait of ZEKAConnect; ConnectedHandler sets it
extern CAutoResetEvent g_hReconnectEvent; // wakes the supervisor: removal, shut-down, device-change message
extern CAutoResetEvent g_hStopPlayEvent;  // the next request is answered with the output state, not samples
extern CManualResetEvent g_hPollingEvent; // the poll thread runs while this is signalled
extern CManualResetEvent g_hProcessRequestEvent; // a request has been read and waits for its answer
extern CAutoResetEvent g_hSigTimer1Event;        // raised by the SIGRTMIN timer's handler; to be polled
extern CAutoResetEvent g_hSigTimer2Event;        // raised by the SIGRTMIN + 1 timer's handler; to be polled

namespace zeka {
/// Ignores the timer signals from here on. Called before the library is unmapped,
/// because their handlers lie in it.
void IgnoreTimerSignals() noexcept;
} // namespace zeka
