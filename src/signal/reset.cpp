// reset.cpp (signal) - sets everything back to the defaults through the setters. The instrument needs this
// order: output off first, test modes after the signal, output state last. A step whose setter fails (no
// device) is skipped. Each setter takes the lock for itself.
#include "device/identity.h"
#include "link/serial_link.h"
#include "signal/state.h"
#include "zeka/zeka.h"

namespace {

/// Sets a value only when it differs, because a setter costs an exchange and, while streaming,
/// a wait for the next request.
template <typename T, typename Setter> void Restore(T now, T start, Setter set)
{
    if (now != start)
        (void)set(start);
}

void ResetHardware()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    if (zeka::DeviceUsable()) // not one that is still being set up
        (void)ResetHwStatus();
}

void ResetMainSignal()
{
    Restore<int>(ZEKAGetOutputFunction(), ZEKA_FUNCTION_NONE, ZEKASetOutputFunction);
    Restore(ZEKAGetAmplitude(), 1.0, ZEKASetAmplitude);
    Restore(ZEKAGetFrequency(), 1.0, ZEKASetFrequency);
}

void ResetDcOffset()
{
    if (ZEKAGetDCOffset() != 0)
        for (int channel = 0; channel < zeka::kChannels; ++channel)
            (void)ZEKASetDCOffset(channel, 0);
    if (ZEKAGetDCOffsetVariableMode())
        for (int channel = 0; channel < zeka::kChannels; ++channel)
            (void)ZEKASetDCOffsetVariableMode(channel, false);
    Restore(GetDCOffsetCommonMode(), false, SetDCOffsetCommonMode);
}

void ResetPulseAndPacing()
{
    Restore(ZEKAGetPulseWidth(), 100.0, ZEKASetPulseWidth);
    for (int channel = 0; channel < zeka::kChannels; ++channel)
        (void)ZEKASetInputImpedanceMode(channel, 0);
    Restore(ZEKAGetPacingPulseMode(), 0, ZEKASetPacingPulseMode);
    Restore(ZEKAGetQRSDuration(), 100.0, ZEKASetQRSDuration);
    Restore(ZEKAGetTWave(), 0.2, ZEKASetTWave);
    Restore(ZEKAGetPacingAmplitude(), 0.0, ZEKASetPacingAmplitude);
    Restore(ZEKAGetPacingDuration(), 2.0, ZEKASetPacingDuration);
    Restore(ZEKAGetPacingRate(), 60u, ZEKASetPacingRate);
    (void)ZEKASetPacingRateSynchronized();
    Restore(ZEKAGetOvershootTimeConstant(), 0u, ZEKASetOvershootTimeConstant);
}

void ResetTestModes()
{
    if (GetECG2_27_NoiseAmp() != 0.1 || GetECG2_27_NoiseFreq() != 0)
        (void)SetECG2_27_Noise(0, 0.1);
    if (GetECG2_27_AAMIDriftTest() || GetECG2_27_AAMIDriftTestAmp() != 4.0 ||
        GetECG2_27_AAMIDriftTestFreq() != 0.1) {
        (void)SetECG2_27_AAMIDriftTest(false);
        (void)SetECG2_27_AAMIDriftTestAmp(4.0);
        (void)SetECG2_27_AAMIDriftTestFreq(0.1);
    }
    if (ZEKAGetDynamicRangeTest() || GetDynamicRangeTestAmp() != 1.0 || GetDynamicRangeTestFreq() != 40.0)
        (void)ZEKASetDynamicRangeTest(false, true, 1.0, 40.0);
    if (ZEKAGetFrequencyScan() || GetFreqScanSineStartFreq() != 0.67 || GetFreqScanSineStopFreq() != 150.0 ||
        GetFreqScanSineDuration() != 30)
        (void)ZEKASetFrequencyScan(false, 30, 0.67, 150.0);
}

void ResetEcgShape()
{
    Restore(ZEKAGetPDuration(), 100.0, ZEKASetPDuration);
    Restore(ZEKAGetPRInterval(), 160.0, ZEKASetPRInterval);
    Restore(ZEKAGetQTInterval(), 350.0, ZEKASetQTInterval);
    Restore(ZEKAGetPWave(), 0.2, ZEKASetPWave);
    Restore(ZEKAGetSTDeviation(), 0.0, ZEKASetSTDeviation);
}

} // namespace

void ZEKAReset()
{
    ResetHardware();
    ResetMainSignal();
    ResetDcOffset();
    ResetPulseAndPacing();
    ResetTestModes();
    ResetEcgShape();

    (void)SetAllOutputState(0);
    SetStandardWaveformLoop(true);
    const CAutoCriticalSection lock(g_CriticalSection);
    g_bRawVariableDC = false;
}
