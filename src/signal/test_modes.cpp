// test_modes.cpp (signal) - dynamic-range test, mains noise, drift and baseline reset test. The setters take
// g_CriticalSection. Only the dynamic-range test also waits for a request; the others exchange nothing while
// a function streams. signal/shapes.h and signal/ecg.h draw what the tests add to a sample.
#include "signal/test_modes.h"

#include <cstdint>

#include "signal/apply.h"
#include "signal/notify.h"
#include "signal/setting.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr Interval kDynamicRangeMv{0.0, 10.0};
constexpr Interval kDynamicRangeHz{1.0, 60.0};
constexpr int kFrequencyOutOfRange = -3; // the dynamic-range test reports its two ranges apart
constexpr Interval kNoiseMv{0.01, 5.0};
constexpr Interval kDriftMv{1.0, 8.0};
constexpr Interval kDriftHz{0.05, 2.0};
constexpr Setting<bool> kDriftTest{&g_AAMIDriftTest, kAnyNumber, _ChangeRequested};

constexpr double kOverloadHz[] = {50.0, 60.0, 80.0, 100.0}; // states 1 to 4

} // namespace
} // namespace zeka

// --- dynamic-range test

int ZEKASetDynamicRangeTest(bool on, bool triangle, double amplitude, double frequency)
{
    const zeka::SetterFrame frame;
    if (const int refusal = zeka::Refusal(frame, zeka::kDynamicRangeMv.Contains(amplitude));
        refusal != zeka::kOk)
        return refusal;
    if (!zeka::kDynamicRangeHz.Contains(frequency))
        return zeka::kFrequencyOutOfRange;

    zeka::Publish(g_MainOutput, !on        ? ZEKA_FUNCTION_NONE
                                : triangle ? ZEKA_FUNCTION_TRIANGLE
                                           : ZEKA_FUNCTION_SQUARE);
    g_DynamicRangeTest = on;
    zeka::Publish(g_ADynamicRange, amplitude);
    zeka::Publish(g_FDynamicRange, frequency);
    _ChangeRequested();
    return zeka::kOk;
}

bool ZEKAGetDynamicRangeTest() { return zeka::GetLocked(&g_DynamicRangeTest); }

double GetDynamicRangeTestAmp() { return zeka::Peek(g_ADynamicRange); }
double GetDynamicRangeTestFreq() { return zeka::Peek(g_FDynamicRange); }

// --- mains noise on the ECGs

int SetECG2_27_Noise(int type, double amplitude)
{
    const zeka::LockFrame frame;
    if (const int refusal = zeka::Refusal(frame, zeka::kNoiseMv.Contains(amplitude)); refusal != zeka::kOk)
        return refusal;
    zeka::Publish(g_MainNoise, type);
    zeka::Publish(g_MainsNoiseAmp, amplitude);
    _ChangeRequested();
    return zeka::kOk;
}

int GetECG2_27_NoiseFreq() { return zeka::Peek(g_MainNoise); }
double GetECG2_27_NoiseAmp() { return zeka::Peek(g_MainsNoiseAmp); }

// --- drift under the ECGs

int SetECG2_27_AAMIDriftTest(bool on) { return zeka::Set<zeka::LockFrame>(zeka::kDriftTest, on); }

int SetECG2_27_AAMIDriftTestAmp(double amplitude)
{
    const zeka::LockFrame frame;
    if (const int refusal = zeka::Refusal(frame, zeka::kDriftMv.Contains(amplitude)); refusal != zeka::kOk)
        return refusal;
    zeka::Publish(g_AAMIDriftTestAmp, amplitude);
    g_AAMIDriftTestSlope = 2 * g_AAMIDriftTestAmp / g_AAMIDriftTestWaveLen;
    if (g_AAMIDriftTest)
        _ChangeRequested();
    return zeka::kOk;
}

int SetECG2_27_AAMIDriftTestFreq(double frequency)
{
    const zeka::LockFrame frame;
    if (const int refusal = zeka::Refusal(frame, zeka::kDriftHz.Contains(frequency)); refusal != zeka::kOk)
        return refusal;
    zeka::Publish(g_AAMIDriftTestWaveLen, 1 / frequency);
    g_AAMIDriftTestWaveLenQuad = 0.25 / frequency;
    g_AAMIDriftTestWaveLenQuad3 = 0.75 / frequency;
    g_AAMIDriftTestSlope = 2 * g_AAMIDriftTestAmp / g_AAMIDriftTestWaveLen;
    if (g_AAMIDriftTest)
        _ChangeRequested();
    return zeka::kOk;
}

bool GetECG2_27_AAMIDriftTest() { return zeka::Peek(g_AAMIDriftTest); }
double GetECG2_27_AAMIDriftTestAmp() { return zeka::Peek(g_AAMIDriftTestAmp); }
double GetECG2_27_AAMIDriftTestFreq() { return 1 / zeka::Peek(g_AAMIDriftTestWaveLen); }

// --- baseline reset (overload) test

void _Baseline1V_CheckedChanged()
{
    if (g_BaseLineOverload != 0 && g_MainOutput == ZEKA_FUNCTION_SINE) {
        if (g_BaseLineOverload >= 1 && g_BaseLineOverload <= 4)
            zeka::Publish(g_F, zeka::kOverloadHz[g_BaseLineOverload - 1]);
        zeka::Notify(g_SyncFreqCB, g_F);
        g_fTimePeriod = 1.0 / g_F;
        zeka::Publish(g_Amplitude, zeka::kOverloadMv);
        _ChangeRequested();
    } else if (g_BaseLineOverload == 0) {
        zeka::Publish(g_F, 1.0);
        zeka::Publish(g_Amplitude, 0.0);
        _ChangeRequested();
    }
}

int SetBaselineResetTest(int state)
{
    // The settings before the test. The callback below still reads them back; then the end of
    // the test leaves a sine of 0 mV.
    static constinit double currentAmp = 1.0;
    static constinit double currentFreq = 1.0;

    const zeka::LockFrame frame;
    if (const int refusal = zeka::Refusal(frame); refusal != zeka::kOk)
        return refusal;

    if (state != 0) {
        zeka::Publish(g_MainOutput, ZEKA_FUNCTION_SINE);
        if (g_BaseLineOverload == 0) {
            currentAmp = g_Amplitude;
            currentFreq = g_F;
        }
    } else if (g_BaseLineOverload != 0) {
        zeka::Publish(g_Amplitude, currentAmp);
        zeka::Publish(g_F, currentFreq);
    }
    const bool changed = state != g_BaseLineOverload;
    if (changed)
        zeka::Notify(g_BaselineResetCB, state);
    zeka::Publish(g_BaseLineOverload, state);
    if (changed)
        _Baseline1V_CheckedChanged();
    return zeka::kOk;
}

int GetBaselineResetTest() { return zeka::Peek(g_BaseLineOverload); }
