// parameters.cpp (signal) - setters and getters of the main signal: amplitude, frequency, pulse
// width, ECG timing and waves, DC offset. All setters use SetterFrame; the plain ones differ only
// in a row of the table below.
#include <cassert>

#include "device/output_stage.h"
#include "signal/apply.h"
#include "signal/frame.h"
#include "signal/functions.h"
#include "signal/setting.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace {

using zeka::GetLocked;
using zeka::Interval;
using zeka::kOk;
using zeka::kOutOfRange;
using zeka::Peek;
using zeka::Publish;
using zeka::Refusal;
using zeka::Set;
using zeka::SetterFrame;

constexpr int kAmplitudeHeldByOverload = -3;
constexpr int kFrequencyHeldBySweep = -3;
constexpr int kFrequencyHeldByOverload = -4;

using Parameter = zeka::Setting<double>;

constexpr Parameter kPulseWidth{&g_PulseWidth, {1.0, 300.0}, _ChangeRequested}; // ms
constexpr Parameter kQrsDuration{&g_QRSDuration, {5.0, 200.0}, _Change};        // ms
constexpr Parameter kTWave{&g_CusT, {0.0, 5.0}, _Change};                       // mV
constexpr Parameter kPDuration{&g_PDuration, {50.0, 100.0}, _Change};           // ms
constexpr Parameter kQtInterval{&g_QTInterval, {100.0, 900.0}, _Change};        // ms
constexpr Parameter kPWave{&g_CusP, {0.0, 2.0}, _Change};                       // mV
constexpr Parameter kStDeviation{&g_CusST, {-2.0, 2.0}, _Change};               // mV
constexpr Parameter kStSegment{&g_STSegment, {100.0, 900.0}, _ChangeRequested}; // weight, ms
constexpr Parameter kTDuration{&g_TDuration, {100.0, 900.0}, _ChangeRequested}; // weight, ms

constexpr Interval kAmplitudeMv{-10.0, 10.0};
constexpr Interval kFrequencyHz{0.017, 500.0};
constexpr Interval kPrIntervalMs{0.0, 200.0};
constexpr double kShortestPDurationMs = 50.0;
constexpr Interval kDcOffsetMv{-1000.0, 1000.0};

/// Shortens the P wave to a PR interval that is too short for it, and brings it back to its minimum
/// when the interval allows that.
void FitPDurationTo(double pr_interval) ZEKA_NEEDS_LOCK
{
    if (pr_interval < kShortestPDurationMs)
        g_PDuration = pr_interval;
    else if (g_PDuration < kShortestPDurationMs)
        g_PDuration = kShortestPDurationMs;
}

/// The two pulses refuse a frequency above their cap; for every other function the apply step lowers it.
constexpr bool IsCheckedAgainstItsCap(int function)
{
    return function == ZEKA_FUNCTION_RECTANGULAR_PULSE || function == ZEKA_FUNCTION_TRIANGULAR_PULSE;
}

/// Sends what the DC offset setters stored. Ignores the result: the value goes with every sample anyway.
void SendDcOffset(int channel) ZEKA_NEEDS_LOCK
{
    assert(zeka::HoldsCriticalSection() && zeka::IsChannel(channel));
    SetRelays(true);
    (void)SetDcOffset(channel);
}

} // namespace

int ZEKASetAmplitude(double mV)
{
    const SetterFrame frame;
    if (const int refusal = Refusal(frame, kAmplitudeMv.Contains(mV)); refusal != kOk)
        return refusal;
    if (g_BaseLineOverload != 0)
        return kAmplitudeHeldByOverload;
    Publish(g_Amplitude, mV);
    _ChangeRequested();
    return kOk;
}

int ZEKASetFrequency(double hz)
{
    const SetterFrame frame;
    if (const int refusal = Refusal(frame, kFrequencyHz.Contains(hz)); refusal != kOk)
        return refusal;
    if (IsCheckedAgainstItsCap(g_MainOutput) && hz > zeka::RowOf(g_MainOutput).cap_hz)
        return kOutOfRange;
    if (s_FreqScanOn)
        return kFrequencyHeldBySweep;
    if (g_BaseLineOverload != 0)
        return kFrequencyHeldByOverload;
    Publish(g_F, hz);
    _ChangeRequested();
    return kOk;
}

int ZEKASetPRInterval(double ms)
{
    const SetterFrame frame;
    if (const int refusal = Refusal(frame, kPrIntervalMs.Contains(ms)); refusal != kOk)
        return refusal;
    g_PRInterval = ms;
    FitPDurationTo(ms);
    _Change();
    return kOk;
}

int ZEKASetPulseWidth(double ms) { return Set(kPulseWidth, ms); }
int ZEKASetQRSDuration(double ms) { return Set(kQrsDuration, ms); }
int ZEKASetTWave(double mV) { return Set(kTWave, mV); }
int ZEKASetPDuration(double ms) { return Set(kPDuration, ms); }
int ZEKASetQTInterval(double ms) { return Set(kQtInterval, ms); }
int ZEKASetPWave(double mV) { return Set(kPWave, mV); }
int ZEKASetSTDeviation(double mV) { return Set(kStDeviation, mV); }
int ZEKASetSTSegment(double ms) { return Set(kStSegment, ms); }
int ZEKASetTDuration(double ms) { return Set(kTDuration, ms); }

// Displays call these four and must not wait behind a setter; the others take the lock.
double ZEKAGetAmplitude() { return Peek(g_Amplitude); }
double ZEKAGetFrequency() { return Peek(g_F); }
double ZEKAGetQRSDuration() { return Peek(g_QRSDuration); }
double ZEKAGetTWave() { return Peek(g_CusT); }

double ZEKAGetPulseWidth() { return GetLocked(&g_PulseWidth); }
double ZEKAGetPDuration() { return GetLocked(&g_PDuration); }
double ZEKAGetPRInterval() { return GetLocked(&g_PRInterval); }
double ZEKAGetQTInterval() { return GetLocked(&g_QTInterval); }
double ZEKAGetPWave() { return GetLocked(&g_CusP); }
double ZEKAGetSTDeviation() { return GetLocked(&g_CusST); }
double ZEKAGetSTSegment() { return GetLocked(&g_STSegment); }
double ZEKAGetTDuration() { return GetLocked(&g_TDuration); }

int ZEKASetDCOffset(int channel, int mV)
{
    const SetterFrame frame;
    if (const int refusal = Refusal(frame, zeka::IsChannel(channel) && kDcOffsetMv.Contains(mV));
        refusal != kOk)
        return refusal;
    g_DCSetting = mV;
    SendDcOffset(channel);
    return kOk;
}

int ZEKAGetDCOffset() { return GetLocked(&g_DCSetting); }

int ZEKASetDCOffsetVariableMode(int channel, bool on)
{
    const SetterFrame frame;
    if (const int refusal = Refusal(frame, zeka::IsChannel(channel)); refusal != kOk)
        return refusal;
    g_bVariableDC = on;
    g_bTestVariableDC[channel] = on;
    SendDcOffset(channel);
    return kOk;
}

bool ZEKAGetDCOffsetVariableMode() { return GetLocked(&g_bVariableDC); }

int SetDCOffsetCommonMode(bool on)
{
    const SetterFrame frame;
    if (const int refusal = Refusal(frame); refusal != kOk)
        return refusal;
    Publish(g_bCommonMode, on);
    SetRelays(true);
    return kOk;
}

bool GetDCOffsetCommonMode() { return Peek(g_bCommonMode); }
