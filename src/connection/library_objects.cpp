// library_objects.cpp (connection) - everything that must exist from load to unload. Each object may use
// those above it. The object that starts a thread comes last; the one that ends all threads is destroyed
// first. The locks and events have no destructors, because a thread of the application may be inside a call
// while the process exits, or call later.
// In a program that links the static library these objects are constructed before its own and destroyed after
// them, because one of those may connect in its constructor. The linker orders by the priority alone; among
// equal priorities, this file does.
#include "connection/monitor.h"
#include "connection/supervisor.h"
#include "platform/global_objects.h"

#define ZEKA_FIRST [[gnu::init_priority(101)]] // the lowest priority that is not the compiler's own

ZEKA_FIRST CSimpleCriticalSection g_CriticalSection;
ZEKA_FIRST CAutoResetEvent g_hConnectedEvent{false};
ZEKA_FIRST CAutoResetEvent g_hReconnectEvent{false};
ZEKA_FIRST CAutoResetEvent g_hStopPlayEvent{false};
ZEKA_FIRST CManualResetEvent g_hPollingEvent{false};
ZEKA_FIRST CManualResetEvent g_hProcessRequestEvent{false};
ZEKA_FIRST CAutoResetEvent g_hSigTimer1Event{false};
ZEKA_FIRST CAutoResetEvent g_hSigTimer2Event{false};

ZEKA_FIRST CManualResetEvent zeka::poll_thread_ended{true};

ZEKA_FIRST CInstance g_Instance;
ZEKA_FIRST CAutoMonitor g_AutoMonitor{"MsgMonitorWnd-ZEKAMOD{D64144AD-1B97-44CE-B45D-810961962405}"};

namespace {
struct EndOfLibrary {
    ~EndOfLibrary() { zeka::EndAtExit(); }
};
ZEKA_FIRST const EndOfLibrary end_of_library;

// dlclose() runs this before the destructors above, exit() after them.
[[gnu::destructor]] void BeforeUnmapping() { zeka::EndBeforeUnmapping(); }
} // namespace
