// global_objects.h (platform) - the one lock and the events through which all threads of the library meet.
// Defined in connection/library_objects.cpp, in one place and one order, and never destroyed: a thread of the
// application that is still inside a call while the process exits finds them whole.
//
// Order of locks, outer to inner: g_CriticalSection - the wire lock (device/exchange.cpp) - the port's lock
// (link/port.cpp) - an event's own mutex. No thread takes one against this order.
#pragma once

#include "zeka/platform.hpp"

extern CSimpleCriticalSection g_CriticalSection; // signal state and every exchange with the instrument

namespace zeka {
/// Whether the calling thread holds g_CriticalSection, however often. A callback that is raised under it must
/// not wait for a thread that needs it.
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
/// Before the library is unmapped: the timer signals whose handlers stand in it are ignored from here on.
void IgnoreTimerSignals() noexcept;
} // namespace zeka
