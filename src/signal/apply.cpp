// apply.cpp (signal) - the apply step: derives the working values from the stored parameters,
// starts and stops the stream. Runs under g_CriticalSection: in setters at once, in the sample
// stream at the end of a period.
#include "signal/apply.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "device/output_stage.h"
#include "signal/ecg.h"
#include "signal/frame.h"
#include "signal/functions.h"
#include "signal/notify.h"
#include "signal/pacing.h"
#include "signal/staircase.h"
#include "signal/standard_waveforms.h"
#include "signal/sweep.h"
#include "stream/sample_stream.h"
#include "zeka/zeka.h"

namespace {

using zeka::Publish;

constexpr double kEcgAmplitudeLimitMv = 5.0;
constexpr double kHeadroomMv = 5.0; // limit of sine and main signal together in the dynamic range test
constexpr double kBeforePeriodEndS = 0.0004; // a waiting change is applied this close before the end
constexpr double kApplyAtOnceBelowHz = 0.15; // the end of the period is too far away below this

bool change_in_progress ZEKA_LOCKED = false;

/// Marks the step as running, because code that it runs (first burst, callbacks, end of a
/// test mode) may call it again.
class ZEKA_SCOPED_LOCK InProgress {
public:
    InProgress() ZEKA_NO_LOCK_ANALYSIS
    {
        assert(!change_in_progress); // _Change checks first
        change_in_progress = true;
    }
    ~InProgress() ZEKA_NO_LOCK_ANALYSIS { change_in_progress = false; }
    InProgress(const InProgress&) = delete;
    InProgress& operator=(const InProgress&) = delete;
};

void StopStream() ZEKA_NEEDS_LOCK
{
    assert(change_in_progress && g_bECGGoing);
    Publish(g_bECGGoing, false);
    g_fOutputTime = 0.0;
    g_fOutputTimeGraph = 0.0;
    g_hStopPlayEvent.SetEvent(); // the instrument's next request is answered with the output state
    (void)SetBaselineResetTest(0);
    zeka::ClearSweepFlags();
    g_RespirationEnabled = false;
    g_nDcDACValue = -1;
}

void CapFrequency(double cap_hz) ZEKA_NEEDS_LOCK
{
    if (!(g_F > cap_hz))
        return;
    Publish(g_F, cap_hz);
    zeka::Notify(g_SyncFreqCB, cap_hz);
}

/// Length of one pass through what the function plays, s.
double LengthOf(zeka::Pass pass) ZEKA_NEEDS_LOCK
{
    const double of_frequency = 1.0 / g_F;
    switch (pass) {
    case zeka::Pass::kSecond:
        return 1.0;
    case zeka::Pass::kMinute:
        return 60.0;
    case zeka::Pass::kOfWaveform:
        return zeka::Wave227Period(of_frequency);
    case zeka::Pass::kOfRecording:
        // With nothing loaded the silence has periods too, so that a waiting change takes effect at an end.
        return ECGFileSize > 0 && ECGFileFreq > 0.0 ? ECGFileSize / ECGFileFreq : of_frequency;
    case zeka::Pass::kOfFrequency:
        break;
    }
    return of_frequency;
}

/// Lowers the amplitude until the sine of the dynamic range test fits; the application's amplitude follows.
void KeepHeadroom() ZEKA_NEEDS_LOCK
{
    if (!g_DynamicRangeTest || !(s_A + g_ADynamicRange / 2.0 > kHeadroomMv))
        return;
    s_A = kHeadroomMv - g_ADynamicRange / 2.0;
    Publish(g_Amplitude, std::floor(0.5 + 100.0 * 2.0 * s_A) / 100.0);
}

void DeriveWorkingValues() ZEKA_NEEDS_LOCK
{
    const zeka::OutputFunction& function = zeka::RowOf(g_MainOutput);
    if (function.number != ZEKA_FUNCTION_RAW_DATA)
        g_bRawVariableDC = false;
    if (function.number == ZEKA_FUNCTION_BIPHASIC_EXPONENTIAL) {
        Publish(g_F, 1.0);
        g_PulseWidth = 50.0;
    }
    s_A = g_Amplitude / 2.0;
    if (function.kind == zeka::Kind::kEcg)
        s_A = std::clamp(2.0 * s_A, -kEcgAmplitudeLimitMv, kEcgAmplitudeLimitMv);
    CapFrequency(function.cap_hz);
    s_MainsNoiseAmplitude = 0.5 * g_MainsNoiseAmp;
    g_fTimePeriod = LengthOf(function.pass);
    KeepHeadroom();
    s_PW = g_PulseWidth / 1000.0;
    _CheckECGTime();
    zeka::DerivePacing();
    if (function.kind == zeka::Kind::kStaircase)
        zeka::RestartStaircase();
}

/// Takes back a start whose first burst was not sent because a callback in it ended its thread: the
/// instrument would never send a request.
class ZEKA_SCOPED_LOCK StartUndone {
public:
    StartUndone() = default;
    ~StartUndone() ZEKA_NO_LOCK_ANALYSIS
    {
        if (sent_)
            return;
        Publish(g_bECGGoing, false);
        g_fOutputTime = 0.0;
        g_fOutputTimeGraph = 0.0;
    }
    StartUndone(const StartUndone&) = delete;
    StartUndone& operator=(const StartUndone&) = delete;
    void Sent() { sent_ = true; }

private:
    bool sent_ = false;
};

void StartStream() ZEKA_NEEDS_LOCK
{
    assert(change_in_progress && !g_bECGGoing);
    StartUndone unless_sent;
    Publish(g_bECGGoing, true);
    g_nSequenceCheck = 0;
    s_ChangeOnNextCycle = false;
    g_hStopPlayEvent.ResetEvent(); // a stop that no request has followed yet belongs to the stream before
    zeka::ReleaseOutput();
    SetRelays(true);
    // The instrument sends requests only once it plays: a setter in a callback of
    // this burst would wait in vain.
    const zeka::WithoutRequestWait nothing_asked;
    _SendNextPacket();
    unless_sent.Sent();
}

void ApplyOnce() ZEKA_NEEDS_LOCK
{
    const InProgress mark;
    if (g_MainOutput == ZEKA_FUNCTION_NONE) {
        if (g_bECGGoing)
            StopStream();
    } else {
        DeriveWorkingValues();
        if (!g_bECGGoing)
            StartStream();
    }
    g_fVoltageRange = g_PA > 0.0 || g_bVariableDC ? g_RangeV4Ch2On : g_RangeV4Ch2Off;
}

} // namespace

void _Change()
{
    if (change_in_progress) {
        // Called in a callback of the first burst: what it stored takes effect at the end of the period.
        if (g_bECGGoing && g_MainOutput != ZEKA_FUNCTION_NONE)
            s_ChangeOnNextCycle = true;
        return;
    }
    ApplyOnce();
    if (g_MainOutput == ZEKA_FUNCTION_NONE && g_bECGGoing)
        ApplyOnce(); // a callback selected "none" while the step ran
}

void _ChangeRequested()
{
    if (g_bECGGoing && g_MainOutput != ZEKA_FUNCTION_NONE)
        s_ChangeOnNextCycle = true;
    else
        _Change();
}

void _CheckIfChangeRequired(double t)
{
    // While the step sends the first burst the change must go on waiting, because the step cannot run again.
    if (!s_ChangeOnNextCycle || change_in_progress)
        return;
    if (g_fTimePeriod - t < kBeforePeriodEndS || g_F < kApplyAtOnceBelowHz) {
        s_ChangeOnNextCycle = false;
        _Change();
        SetRelays(true);
    }
}
