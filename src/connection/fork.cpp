// fork.cpp (connection) - a child of fork() has a library without a device, because port, lock file and
// threads are its parent's. Its calls answer as with no device open until it connects itself, which it
// may when its parent was idle.
#include "connection/fork.h"

#include <memory>
#include <pthread.h>
#include <type_traits>

#include "connection/monitor.h"
#include "connection/supervisor.h"
#include "link/serial_link.h"
#include "platform/global_objects.h"
#include "platform/renewed_in_child.h"
#include "signal/state.h"
#include "util/peek.h"

namespace zeka {
namespace {

constinit bool may_connect = true;

template <typename Object, typename... Arguments> void Renew(Object& object, Arguments... arguments)
{
    static_assert(std::is_trivially_destructible_v<Object>);
    std::construct_at(&object, arguments...);
}

void RenewGlobalObjects()
{
    Renew(g_CriticalSection);
    for (CAutoResetEvent* const event :
         {&g_hConnectedEvent, &g_hReconnectEvent, &g_hStopPlayEvent, &g_hSigTimer1Event, &g_hSigTimer2Event})
        Renew(*event, false);
    Renew(g_hPollingEvent, false);
    Renew(g_hProcessRequestEvent, false);
    Renew(poll_thread_ended, true);
}

// Runs on the only thread of the child, which may be inside a callback and count itself as holding
// g_CriticalSection: its releases then fail without harm.
void ForgetParentsConnection() ZEKA_NO_LOCK_ANALYSIS
{
    may_connect = may_connect && g_hConnectDeviceThread == 0 && g_hDevice == -1;
    RenewGlobalObjects();
    RenewedInChild::RenewAll();
    g_AutoMonitor.ForgetThread();
    ForgetDevice();
    g_hConnectDeviceThread = 0;
    Publish(g_bStopConnectDeviceThread, 0);
    Publish(g_bConnected, 0);
    Publish(g_Callback, nullptr);
    Publish(g_bECGGoing, false);
}

} // namespace

void WatchForks() { ::pthread_atfork(nullptr, nullptr, ForgetParentsConnection); }

bool MayConnect() noexcept { return may_connect; }

} // namespace zeka
