// library_objects.cpp (connection) - everything that must exist from load to unload, in the order in which
// each thing may use the ones above it. What starts a thread comes last; what ends all threads is destroyed
// first. The locks and events have no destructors: a thread of the application that is still inside a call
// while the process exits, or that comes later, finds them whole.
#include "connection/monitor.h"
#include "connection/supervisor.h"
#include "platform/global_objects.h"

CSimpleCriticalSection g_CriticalSection;
CAutoResetEvent g_hConnectedEvent{false};
CAutoResetEvent g_hReconnectEvent{false};
CAutoResetEvent g_hStopPlayEvent{false};
CManualResetEvent g_hPollingEvent{false};
CManualResetEvent g_hProcessRequestEvent{false};
CAutoResetEvent g_hSigTimer1Event{false};
CAutoResetEvent g_hSigTimer2Event{false};

CManualResetEvent zeka::poll_thread_ended{true};

CInstance g_Instance;
CAutoMonitor g_AutoMonitor{"MsgMonitorWnd-ZEKAMOD{D64144AD-1B97-44CE-B45D-810961962405}"};

namespace {
struct EndOfLibrary {
    ~EndOfLibrary() { zeka::ShutDownAtUnload(); }
};
const EndOfLibrary end_of_library;
} // namespace
