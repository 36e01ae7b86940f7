// supervisor.cpp (connection) - finds the instrument, brings it into a known state, watches it, and starts
// again. One thread from ZEKAInit or ZEKAConnect to ZEKAFree. Search, open and close run outside of
// g_CriticalSection.
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
constexpr unsigned kPollThreadEndMs =
    1000; // it ends within a burst, unless a callback of the application takes long

thread_local bool on_supervisor_thread = false;

bool StopRequested() { return Peek(g_bStopConnectDeviceThread) != 0; }

void ForgetStream()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    Publish(g_bECGGoing, false);
    g_hProcessRequestEvent.ResetEvent();
}

bool dc_settings_are_stale =
    false; // the supervisor's alone: a poll thread that hangs with the lock kept them

// The DC settings end with the connection, also when the instrument could no longer be told.
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

// Output off, leads and impedance of all channels to 0; nothing streams yet, and no request is waited for. An
// instrument that went on playing through the loss has asked meanwhile: its requests are the lost stream's.
void ResetOutputStage()
{
    const WithoutRequestWait no_wait;
    for (int channel = 0; channel < kChannels; ++channel) {
        const CAutoCriticalSection lock(g_CriticalSection);
        HoldOutputOff(); // each time: without a device, too, a standard waveform can be selected
        (void)ZEKASetOutputLead(channel, 0);
        (void)ZEKASetInputImpedanceMode(channel, 0);
    }
    DropStaleInput();
}

// A poll thread of the former connection may still be inside a callback of the application, with the lock.
bool FormerPollThreadEnded()
{
    while (!EndPollThread(kSearchPauseMs))
        if (StopRequested())
            return false;
    return true;
}

// Search and set-up, visible to this thread alone. The monitor and the poll thread start before the
// application hears of the connection, so that a listener may start a stream and go on setting it.
bool Connect()
{
    // Before a port is opened: nobody would notice a hang-up of one that is held meanwhile, and an instrument
    // that was pulled would come back under another number.
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
    // In one step: a standard waveform may have been selected meanwhile, which starts a stream without a
    // device.
    const CAutoCriticalSection lock(g_CriticalSection);
    ForgetStream();
    HoldOutputOff();
    ForgetStall(); // several calls may have reported it, and the last report wakes us once more
    while_setting_up.reset();
    return true;
}

// With the lock held, right after a request: the instrument waits for an answer and has time for a ping.
bool InstrumentAnswers()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return !StallJustSeen() && WaitForRequest() == FrameState::kReady && WatchDog();
}

bool StillThere()
{
    // A stall is looked for ahead of the presence check, which can take longer than its news lasts.
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

// A stream that could not be stopped in the ordinary way, because the instrument no longer asks or the
// process ends.
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
    // A poll thread inside a callback holds the lock: the settings are left out rather than waited for.
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
    // A loss leaves its stream to the next connection. When ZEKAFree waited for an instrument that no longer
    // asks, the connection was given up as lost before the stop was requested, and no next one comes.
    if (poll_thread_ended.WaitTimeout(0) == 0) {
        ForgetStream();
        ForgetStaleDcSettings();
    }
    NoteSupervisorEnded();
    return nullptr;
}
