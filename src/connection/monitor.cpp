// monitor.cpp (connection) - notices that the device is gone: at once by the hang-up of the
// descriptor, within seconds by its node. Takes no lock. Its close, like any other, waits for
// the users of the descriptor.
#include "connection/monitor.h"

#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <pthread.h>

#include "connection/fork.h"
#include "connection/library_thread.h"
#include "connection/supervisor.h"
#include "link/port.h"
#include "link/serial_link.h"
#include "platform/deadline.h"
#include "platform/renewed_in_child.h"
#include "util/immortal.h"
#include "util/peek.h"

namespace {

constexpr unsigned kIdlePauseMs = 100;
constexpr unsigned kRecheckPauseMs = 500;
constexpr unsigned kCheckPauseMs = 1200;
constexpr unsigned kAfterLossPauseMs = 100;
constexpr int kChecks = 3;
constexpr unsigned kSliceMs = 50;              // an unload is noticed this soon
constexpr unsigned kEndAtExitMs = 500;         // a shell that does not start must not hold up the process
constexpr unsigned kDeviceChangeMessage = 537; // 0x219

constinit std::int32_t g_bStopMonitor = 0; // set once, at the library's end

bool StopRequested() { return zeka::Peek(g_bStopMonitor) != 0; }

void Pause(unsigned ms)
{
    const auto end = zeka::Deadline::InMs(ms);
    while (!StopRequested() && !end.Expired()) {
        const auto slice = zeka::Deadline::InMs(kSliceMs);
        zeka::SleepUntil(slice.At() < end.At() ? slice : end);
    }
}

// Pauses the monitoring; true when a hang-up ended the pause.
bool PauseUntilHangUp(unsigned ms)
{
    const auto end = zeka::Deadline::InMs(ms);
    if (zeka::WaitForHangUp(ms))
        return true;
    if (!end.Expired())
        Pause(kIdlePauseMs); // closed meanwhile, or visible to another thread alone
    return false;
}

// Checks the node up to three times; a hang-up of the descriptor ends the checks at once. A check
// that cannot be made is no loss.
bool DeviceIsPresent()
{
    for (int check = 0; check < kChecks && !StopRequested(); ++check) {
        if (zeka::CheckPresence() != zeka::Presence::kGone)
            return true;
        if (PauseUntilHangUp(kRecheckPauseMs))
            return false;
    }
    return false;
}

struct NotifyRegistry {
    std::mutex lock;
    std::map<unsigned int, ZEKA_NOTIFY_CALLBACK> g_mapNotifyEvent;
};

// Never destroyed: a thread of the application may register while the process exits.
NotifyRegistry& Registry()
{
    static zeka::Immortal<NotifyRegistry> registry;
    return registry.Get();
}

[[maybe_unused]] const NotifyRegistry& made_at_load = Registry(); // no fork interrupts its construction
const zeka::RenewedInChild registry_in_child([] { std::construct_at(&Registry().lock); });

} // namespace

CAutoMonitor::CAutoMonitor(const char* /*name*/) : ended_(true), monitoring_(false)
{
    zeka::BecomeOwnProcess();
    zeka::WatchForks();
    Start();
}

void CAutoMonitor::Start()
{
    ended_.ResetEvent();
    if (zeka::StartLibraryThread(thread_, MonitorDeviceThread))
        return;
    thread_ = 0;
    ended_.SetEvent();
}

void CAutoMonitor::End(unsigned ms)
{
    if (thread_ == 0 || !zeka::InOwnProcess())
        return;
    zeka::Publish(g_bStopMonitor, 1);
    monitoring_.SetEvent();
    if (ended_.WaitTimeout(ms) != 0)
        return;
    ::pthread_join(thread_, nullptr);
    thread_ = 0;
}

void CAutoMonitor::ForgetThread()
{
    thread_ = 0;
    std::construct_at(&ended_, true);
    std::construct_at(&monitoring_, false);
    zeka::Publish(g_bStopMonitor, 0);
}

void CAutoMonitor::NoteEnded() { ended_.SetEvent(); }

CAutoMonitor::~CAutoMonitor() { End(kEndAtExitMs); }

void CAutoMonitor::StartMonitor() { monitoring_.SetEvent(); }
void CAutoMonitor::PauseMonitor() { monitoring_.ResetEvent(); }
bool CAutoMonitor::IsMonitored() { return monitoring_.WaitTimeout(0) == 0; }

std::string CInstance::GetWorkingDirectory() { return directory_; }

void* MonitorDeviceThread(void* /*unused*/)
{
    while (!StopRequested()) {
        // Closes only the opening that was checked: the supervisor may have made another one by then.
        const std::uint64_t checked = zeka::PortGeneration();
        if (!g_AutoMonitor.IsMonitored()) {
            Pause(kIdlePauseMs);
            continue;
        }
        if (DeviceIsPresent() && !PauseUntilHangUp(kCheckPauseMs))
            continue;
        zeka::CloseDevice(checked);
        ReconnectDevice();
        Pause(kAfterLossPauseMs);
    }
    g_AutoMonitor.NoteEnded();
    return nullptr;
}

void RegisterNotifyEvent(unsigned int message, ZEKA_NOTIFY_CALLBACK callback)
{
    NotifyRegistry& registry = Registry();
    const std::scoped_lock hold(registry.lock);
    try {
        registry.g_mapNotifyEvent[message] = callback;
    } catch (const std::bad_alloc&) {
        // No exception leaves the library. A callback that was not stored is not missed,
        // because none is ever called.
    }
}

void WinEventCb(unsigned int message, unsigned int /*wParam*/, unsigned long /*lParam*/)
{
    if (message == kDeviceChangeMessage)
        ReconnectDevice();
}
