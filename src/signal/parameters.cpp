// parameters.cpp (signal) - setters and getters of the main signal: amplitude, frequency, pulse width, ECG
// timing and waves, DC offset. One frame for all setters; the plain ones differ only in a line of the table
// below.
#include "device/output_stage.h"
#include "signal/apply.h"
#include "signal/frame.h"
#include "signal/functions.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace {

using zeka::Interval;
using zeka::kNoAnswer;
using zeka::kOk;
using zeka::kOutOfRange;
using zeka::Peek;
using zeka::Publish;
using zeka::SetterFrame;

constexpr int kAmplitudeHeldByOverload = -3;
constexpr int kFrequencyHeldBySweep = -3;
constexpr int kFrequencyHeldByOverload = -4;

/// A parameter whose setter checks a range, stores and applies.
struct Parameter {
    double* value;
    Interval accepted;
    void (*apply)(); // _Change: from the next sample; _ChangeRequested: from the end of the running period
};

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
constexpr int kDcOffsetLimitMv = 1000;

int Set(const Parameter& parameter, double value)
{
    const SetterFrame frame;
    if (!frame.Ready())
        return kNoAnswer;
    if (!parameter.accepted.Contains(value))
        return kOutOfRange;
    Publish(*parameter.value, value);
    parameter.apply();
    return kOk;
}

double GetLocked(const double* value)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return Peek(*value);
}

/// A P wave cannot be longer than the PR interval that holds it, nor stay shorter than its own minimum
/// without need.
void FitPDurationTo(double pr_interval) ZEKA_NEEDS_LOCK
{
    if (pr_interval < kShortestPDurationMs)
        g_PDuration = pr_interval;
    else if (g_PDuration < kShortestPDurationMs)
        g_PDuration = kShortestPDurationMs;
}

/// The two pulses refuse a frequency above their cap; every other function lowers it when it is applied.
constexpr bool IsCheckedAgainstItsCap(int function)
{
    return function == ZEKA_FUNCTION_RECTANGULAR_PULSE || function == ZEKA_FUNCTION_TRIANGULAR_PULSE;
}

/// Sends what the DC offset setters stored. The result does not matter: the value holds and goes with every
/// sample.
void SendDcOffset(int channel) ZEKA_NEEDS_LOCK
{
    SetRelays(true);
    (void)SetDcOffset(channel);
}

} // namespace

int ZEKASetAmplitude(double mV)
{
    const SetterFrame frame;
    if (!frame.Ready())
        return kNoAnswer;
    if (!kAmplitudeMv.Contains(mV))
        return kOutOfRange;
    if (g_BaseLineOverload != 0)
        return kAmplitudeHeldByOverload;
    Publish(g_Amplitude, mV);
    _ChangeRequested();
    return kOk;
}

int ZEKASetFrequency(double hz)
{
    const SetterFrame frame;
    if (!frame.Ready())
        return kNoAnswer;
    if (!kFrequencyHz.Contains(hz))
        return kOutOfRange;
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
    if (!frame.Ready())
        return kNoAnswer;
    if (!kPrIntervalMs.Contains(ms))
        return kOutOfRange;
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

// These four are asked for by displays that must not wait behind a setter; the others take the lock.
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
    if (!frame.Ready())
        return kNoAnswer;
    if (!zeka::IsChannel(channel) || mV < -kDcOffsetLimitMv || mV > kDcOffsetLimitMv)
        return kOutOfRange;
    g_DCSetting = mV;
    SendDcOffset(channel);
    return kOk;
}

int ZEKAGetDCOffset()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_DCSetting;
}

int ZEKASetDCOffsetVariableMode(int channel, bool on)
{
    const SetterFrame frame;
    if (!frame.Ready())
        return kNoAnswer;
    if (!zeka::IsChannel(channel))
        return kOutOfRange;
    g_bVariableDC = on;
    g_bTestVariableDC[channel] = on;
    SendDcOffset(channel);
    return kOk;
}

bool ZEKAGetDCOffsetVariableMode()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_bVariableDC;
}

int SetDCOffsetCommonMode(bool on)
{
    const SetterFrame frame;
    if (!frame.Ready())
        return kNoAnswer;
    Publish(g_bCommonMode, on);
    SetRelays(true);
    return kOk;
}

bool GetDCOffsetCommonMode() { return Peek(g_bCommonMode); }
