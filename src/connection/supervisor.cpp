// supervisor.cpp (connection) - finds the instrument, brings it into a known state, watches it, and starts
// again after a loss. One thread from ZEKAInit or ZEKAConnect to ZEKAFree. Search, open and close run
// outside of g_CriticalSection.
#include "connection/supervisor.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "connection/monitor.h"
#include "device/exchange.h"
#include "device/identity.h"
#include "device/output_stage.h"
#include "link/serial_link.h"
#include "signal/apply.h"
#include "signal/frame.h"
#include "util/peek.h"
#include "zeka/zeka.h"

constinit std::int32_t g_nPortNumber = -1;
constinit ZEKA_CONNECTION_CALLBACK g_Callback = nullptr;
constinit std::int32_t g_bConnected = 0;
constinit std::int32_t g_bStopConnectDeviceThread = 0;

namespace zeka {
namespace {

constexpr unsigned kSuperviseMs = 30000;
constexpr unsigned kSearchPauseMs = 10;
// The poll thread ends within a burst unless a callback of the application takes long.
constexpr unsigned kPollThreadEndMs = 1000;

thread_local bool on_supervisor_thread = false;

bool StopRequested() { return Peek(g_bStopConnectDeviceThread) != 0; }

void ForgetStream()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    Publish(g_bECGGoing, false);
    g_hProcessRequestEvent.ResetEvent();
}

// Set when a poll thread that hangs with the lock kept the DC settings from being cleared.
// Used by the supervisor alone.
bool dc_settings_are_stale = false;

// Clears the DC settings. They end with the connection, also when the instrument can no longer be set.
void ForgetDcSettings()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    g_DCSetting = 0;
    g_bVariableDC = false;
    std::ranges::fill(g_bTestVariableDC, false);
}

void ForgetStaleDcSettings()
{
    if (std::exchange(dc_settings_are_stale, false))
        ForgetDcSettings();
}

// Switches the output off and sets lead and impedance of all channels to 0. Waits for no request, because
// nothing streams yet. Drops what has arrived: an instrument that played on through the loss has sent
// requests, and those are the lost stream's.
void ResetOutputStage()
{
    const WithoutRequestWait no_wait;
    for (int channel = 0; channel < kChannels; ++channel) {
        const CAutoCriticalSection lock(g_CriticalSection);
        HoldOutputOff(); // each time: the application may select a standard waveform, also without a device
        (void)ZEKASetOutputLead(channel, 0);
        (void)ZEKASetInputImpedanceMode(channel, 0);
    }
    DropStaleInput();
}

// Waits for the poll thread of the former connection, which may still be inside a callback with the lock.
// False when a stop is requested first.
bool FormerPollThreadEnded()
{
    while (!EndPollThread(kSearchPauseMs))
        if (StopRequested())
            return false;
    return true;
}

// Searches for the instrument and sets it up, visible to this thread alone. The monitor and the poll thread
// start before the announcement, so that a listener may start a stream and change its settings.
bool Connect()
{
    // Waits before a port is opened: no thread would notice a hang-up of a port that is held meanwhile, and
    // an instrument that was pulled would come back under another number.
    if (!FormerPollThreadEnded())
        return false;
    ForgetStaleDcSettings();
    std::optional<PrivateDevice> while_setting_up(std::in_place);
    if (!DeviceConnect(Peek(g_nPortNumber), 1))
        return false;
    ForgetStream();
    ResetOutputStage();
    if (DeviceLost() || StopRequested() || !StartPollThread()) {
        DeviceClose();
        return false;
    }
    g_AutoMonitor.StartMonitor();
    // Holds the lock until the device is visible. A standard waveform that is selected without a device
    // starts a stream: the stream is ended here, and none may start in between.
    const CAutoCriticalSection lock(g_CriticalSection);
    ForgetStream();
    HoldOutputOff();
    ForgetStall(); // several calls may have reported the stall; the last report wakes this thread again
    while_setting_up.reset();
    return true;
}

// Pings with the lock held, right after a request: the instrument then waits for an
// answer and has time for a ping.
bool InstrumentAnswers()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return !StallJustSeen() && WaitForRequest() == FrameState::kReady && WatchDog();
}

bool StillThere()
{
    // Looks for a stall before the presence check, which can take longer than a stall is remembered.
    return DeviceIsConnected() && !DeviceLost() && !StallJustSeen() && CheckPresence() != Presence::kGone &&
           InstrumentAnswers();
}

void Supervise()
{
    while (!StopRequested()) {
        (void)g_hReconnectEvent.WaitTimeout(kSuperviseMs);
        if (StopRequested())
            return;
        if (!StillThere()) {
            DeviceClose();
            return;
        }
    }
}

// Stops a stream that could not be stopped in the ordinary way, because the instrument sends no requests
// any more or the process ends.
void StopStream()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!Peek(g_bECGGoing))
        return;
    Publish(g_MainOutput, ZEKA_FUNCTION_NONE);
    _Change();
    SetRelays(false);
}

void ResetDcOffsets()
{
    for (int channel = 0; channel < kChannels; ++channel) {
        (void)ZEKASetDCOffsetVariableMode(channel, false);
        (void)ZEKASetDCOffset(channel, 0);
    }
}

void TearDown()
{
    const PrivateDevice while_tearing_down;
    // A poll thread inside a callback holds the lock, so the settings are left out rather than waited for.
    if (EndPollThread(kPollThreadEndMs)) {
        const WithoutRequestWait no_wait;
        const GiveUpAfterSilence one_time_out;
        if (StopRequested() && DeviceUsable())
            StopStream();
        ResetDcOffsets();
        ForgetDcSettings();
    } else {
        dc_settings_are_stale = true;
    }
    DeviceClose();
    g_hProcessRequestEvent.ResetEvent(); // a loss signals it to wake the setters
    g_AutoMonitor.PauseMonitor();
}

} // namespace

bool OnSupervisorThread() noexcept { return on_supervisor_thread; }

} // namespace zeka

void NotifyListener(bool connected)
{
    zeka::Publish(g_bConnected, connected ? 1 : 0);
    if (auto* const listener = zeka::Peek(g_Callback); listener != nullptr)
        listener(connected);
}

void ConnectedHandler(bool connected)
{
    if (connected)
        g_hConnectedEvent.SetEvent();
}

void ReconnectDevice() { g_hReconnectEvent.SetEvent(); }

void* ConnectDeviceThread(void* /*unused*/)
{
    using namespace zeka;
    on_supervisor_thread = true;
    while (!StopRequested()) {
        if (!Connect()) {
            SleepEx(kSearchPauseMs);
            continue;
        }
        NotifyListener(true);
        Supervise();
        TearDown();
        NotifyListener(false);
    }
    // Ends the stream that a loss leaves to the next connection, because none comes. This happens when
    // ZEKAFree waited for an instrument that sends no requests: the connection was given up as lost
    // before the stop was requested.
    if (poll_thread_ended.WaitTimeout(0) == 0) {
        ForgetStream();
        ForgetStaleDcSettings();
    }
    NoteSupervisorEnded();
    return nullptr;
}
