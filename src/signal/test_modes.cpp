// test_modes.cpp - dynamic-range test, mains noise, drift, baseline reset test and the DC staircase of
// function 15. The setters take g_CriticalSection; only the dynamic-range test waits for a request as well,
// the others exchange nothing while a function streams. What the tests add to a sample is computed by the
// generators.
#include "signal/test_modes.h"

#include <cstdint>

#include "link/serial_link.h"
#include "signal/apply.h"
#include "signal/frame.h"
#include "signal/notify.h"
#include "signal/numeric.h"

namespace zeka {
namespace {

constexpr Interval kDynamicRangeMv{0.0, 10.0};
constexpr Interval kDynamicRangeHz{1.0, 60.0};
constexpr int kFrequencyOutOfRange = -3; // the dynamic-range test tells its two ranges apart
constexpr Interval kNoiseMv{0.01, 5.0};
constexpr Interval kDriftMv{1.0, 8.0};
constexpr Interval kDriftHz{0.05, 2.0};

constexpr int kNone = 0, kSine = 1, kTriangle = 2, kSquare = 3; // output functions

constexpr double kOverloadMv = 1000.0;                      // peak to peak
constexpr double kOverloadHz[] = {50.0, 60.0, 80.0, 100.0}; // of states 1 to 4

constexpr double kStairsStartS = 20.0, kStairsTurnS = 620.0, kStairsEndS = 1220.0;
constexpr double kStartToldUntilS = 0.0003, kEndToldUntilS = 1220.0003; // on every sample, 12 each
constexpr double kStairsFloorMv = -300.0;
constexpr double kStairsStepMv = 0.5;
constexpr double kTicksPerS = 10000.0;
constexpr std::int64_t kTicksPerStep = 5000; // half a second

/// Knows the first sample of each half-second mark. At 40000 samples per second the four samples of one tick
/// all lie on the mark; the sample before tells them apart, whatever stream it belonged to.
class StairMark {
public:
    [[nodiscard]] bool IsNew(double time)
    {
        const auto tick = static_cast<std::int64_t>(Trunc(0.5 + time * kTicksPerS));
        const bool continues = tick == tick_ && time > time_ && time - time_ < 1.0 / kTicksPerS;
        tick_ = tick;
        time_ = time;
        return tick % kTicksPerStep == 0 && !continues;
    }
    void Forget() { tick_ = -1; }

private:
    std::int64_t tick_ = -1;
    double time_ = 0.0; // s, of the sample before
};

constinit StairMark stair_mark;

} // namespace

double InputDynamicRangeDc()
{
    const double time = g_fOutputTime;
    if (time < kStairsStartS || time >= kStairsEndS) {
        stair_mark.Forget();
        if (time < kStartToldUntilS || (time >= kStairsEndS && time < kEndToldUntilS))
            Notify(g_SyncDCOffsetCB, static_cast<int>(kStairsFloorMv));
        return kStairsFloorMv;
    }
    if (stair_mark.IsNew(time)) {
        s_InputDynamicRangeDC += time <= kStairsTurnS ? kStairsStepMv : -kStairsStepMv;
        s_InputDynamicRangeAC = 0.0; // the ramp on the AC channel starts over from the new step
        Notify(g_SyncDCOffsetCB, TruncToInt(s_InputDynamicRangeDC));
    }
    return s_InputDynamicRangeDC;
}

} // namespace zeka

// --- dynamic-range test

int ZEKASetDynamicRangeTest(bool on, bool triangle, double amplitude, double frequency)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    if (!zeka::kDynamicRangeMv.Contains(amplitude))
        return zeka::kOutOfRange;
    if (!zeka::kDynamicRangeHz.Contains(frequency))
        return zeka::kFrequencyOutOfRange;

    zeka::Publish(g_MainOutput, !on ? zeka::kNone : triangle ? zeka::kTriangle : zeka::kSquare);
    g_DynamicRangeTest = on;
    zeka::Publish(g_ADynamicRange, amplitude);
    zeka::Publish(g_FDynamicRange, frequency);
    _ChangeRequested();
    return zeka::kOk;
}

bool ZEKAGetDynamicRangeTest()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_DynamicRangeTest;
}

double GetDynamicRangeTestAmp() { return zeka::Peek(g_ADynamicRange); }
double GetDynamicRangeTestFreq() { return zeka::Peek(g_FDynamicRange); }

// --- mains noise on the ECGs

int SetECG2_27_Noise(int type, double amplitude)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return zeka::kNoAnswer;
    if (!zeka::kNoiseMv.Contains(amplitude))
        return zeka::kOutOfRange;

    zeka::Publish(g_MainNoise, type);
    zeka::Publish(g_MainsNoiseAmp, amplitude);
    _ChangeRequested();
    return zeka::kOk;
}

int GetECG2_27_NoiseFreq() { return zeka::Peek(g_MainNoise); }
double GetECG2_27_NoiseAmp() { return zeka::Peek(g_MainsNoiseAmp); }

// --- drift under the ECGs

int SetECG2_27_AAMIDriftTest(bool on)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return zeka::kNoAnswer;

    zeka::Publish(g_AAMIDriftTest, on);
    _ChangeRequested();
    return zeka::kOk;
}

int SetECG2_27_AAMIDriftTestAmp(double amplitude)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return zeka::kNoAnswer;
    if (!zeka::kDriftMv.Contains(amplitude))
        return zeka::kOutOfRange;

    zeka::Publish(g_AAMIDriftTestAmp, amplitude);
    g_AAMIDriftTestSlope = 2 * g_AAMIDriftTestAmp / g_AAMIDriftTestWaveLen;
    if (g_AAMIDriftTest)
        _ChangeRequested();
    return zeka::kOk;
}

int SetECG2_27_AAMIDriftTestFreq(double frequency)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return zeka::kNoAnswer;
    if (!zeka::kDriftHz.Contains(frequency))
        return zeka::kOutOfRange;

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
    if (g_BaseLineOverload != 0 && g_MainOutput == zeka::kSine) {
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
    // What was set before the test. The callback below still sees it back in place; then the test's end
    // leaves a sine of no amplitude.
    static constinit double currentAmp = 1.0;
    static constinit double currentFreq = 1.0;

    const CAutoCriticalSection lock(g_CriticalSection);
    if (!zeka::DeviceUsable())
        return zeka::kNoAnswer;

    if (state != 0) {
        zeka::Publish(g_MainOutput, zeka::kSine);
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
