// sweep.cpp - frequency sweeps of the sine and of the ECG: start, report once per burst, end. The
// sweep itself runs in the sample stream, which raises g_F by s_Fd after every sample and keeps the
// phase. Under g_CriticalSection.
#include "signal/sweep.h"

#include <cassert>
#include <cmath>

#include "link/serial_link.h"
#include "signal/apply.h"
#include "signal/frame.h"
#include "signal/notify.h"
#include "signal/setting.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr Interval kSweepHz{0.67, 500.0};
constexpr int kShortestS = 10, kLongestS = 180;
constexpr int kStartOutOfRange = -2, kStopOutOfRange = -3, kDurationOutOfRange = -4;

constexpr double kEcgStartHz = 0.05, kEcgStopHz = 0.5, kEcgDurationS = 30.0; // the ECG sweep has no settings

/// Switches the function and calls the function callback.
void Switch(int function) ZEKA_NEEDS_LOCK
{
    assert(HoldsCriticalSection());
    Publish(g_MainOutput, function);
    Notify(g_SyncMainFuncCB, function);
}

} // namespace

void ClearSweepFlags()
{
    Publish(s_FreqScanOn, false);
    g_FreqScan1 = false;
    g_FreqScan3 = false;
}

} // namespace zeka

int ZEKASetFrequencyScan(bool on, int seconds, double startHz, double stopHz)
{
    const zeka::SetterFrame frame;
    if (frame.State() == zeka::FrameState::kBusy)
        return zeka::kNoAnswer;
    // Before any check: a sweep that is refused for its range still leaves a sine.
    (void)ZEKASetOutputFunction(ZEKA_FUNCTION_SINE);
    if (!zeka::DeviceUsable())
        return zeka::kNoAnswer;
    if (!zeka::kSweepHz.Contains(startHz))
        return zeka::kStartOutOfRange;
    if (!zeka::kSweepHz.Contains(stopHz))
        return zeka::kStopOutOfRange;
    if (seconds < zeka::kShortestS || seconds > zeka::kLongestS)
        return zeka::kDurationOutOfRange;

    zeka::Publish(g_Fstart, startHz);
    zeka::Publish(g_Ffinal, stopHz);
    zeka::Publish(g_Fduration, seconds);
    if (on) {
        g_FreqScan1 = true;
        zeka::Publish(s_FreqScanOn, true);
        zeka::Publish(g_F, startHz);
        s_Fd = (stopHz - startHz) / seconds / g_nSampleRate;
        zeka::Switch(ZEKA_FUNCTION_SINE);
        _ChangeRequested();
    } else if (g_MainOutput != ZEKA_FUNCTION_NONE) {
        zeka::Switch(ZEKA_FUNCTION_NONE);
        _ChangeRequested(); // stops the stream, and with it the sweep's flags
    }
    return zeka::kOk;
}

bool ZEKAGetFrequencyScan() { return zeka::GetLocked(&g_FreqScan1); }

double GetFreqScanSineStartFreq() { return zeka::Peek(g_Fstart); }
double GetFreqScanSineStopFreq() { return zeka::Peek(g_Ffinal); }
int GetFreqScanSineDuration() { return zeka::Peek(g_Fduration); }

int SetFreqScanECG(bool on)
{
    const zeka::LockFrame frame;
    if (const int refusal = zeka::Refusal(frame); refusal != zeka::kOk)
        return refusal;

    if (on) {
        g_FreqScan3 = true;
        zeka::Publish(g_Fstart, zeka::kEcgStartHz);
        zeka::Publish(g_Ffinal, zeka::kEcgStopHz);
        zeka::Publish(s_FreqScanOn, true);
        zeka::Publish(g_F, zeka::kEcgStartHz);
        s_Fd = (zeka::kEcgStopHz - zeka::kEcgStartHz) / zeka::kEcgDurationS / g_nSampleRate;
        zeka::Switch(ZEKA_FUNCTION_FIXED_ECG);
    } else {
        zeka::Switch(ZEKA_FUNCTION_NONE);
    }
    _ChangeRequested();
    return zeka::kOk;
}

bool GetFreqScanECG() { return zeka::Peek(s_FreqScanOn); }

void _UpdateFreqScanIfRequired()
{
    if (!s_FreqScanOn)
        return;
    zeka::Notify(g_SyncFreqCB, g_F);
    const double f = std::floor(0.5 + g_F * 100000.0) / 100000.0;
    if (!(f >= g_Ffinal || g_Fstart >= f))
        return;

    zeka::Notify(g_SyncFreqCB, -1.0);
    // No wait for a request: the burst just written has answered it, or starts the stream.
    const zeka::WithoutRequestWait inside_a_burst;
    if (g_FreqScan1)
        (void)ZEKASetFrequencyScan(false, g_Fduration, g_Fstart, g_Ffinal);
    if (g_FreqScan3)
        (void)SetFreqScanECG(false);
}
