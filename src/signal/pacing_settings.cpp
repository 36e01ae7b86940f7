// pacing_settings.cpp - the exported settings of the pacing pulses. While a function streams, on and off,
// rate and time constant take effect at the end of the running period. The sample path reads height, width,
// pulse mode and overshoot directly: they take effect with the next sample. Getters take the lock alone.
#include <cmath>

#include "signal/apply.h"
#include "signal/pacing.h"
#include "signal/setting.h"

namespace zeka {
namespace {

constexpr Interval kPacingAmplitudeMv{-700.0, 700.0};
constexpr Interval kPacingRatePerMin{10.0, 360.0};

constexpr Setting<int> kPulseMode{&g_PacingPulse, kAnyNumber, _ChangeRequested};
constexpr Setting<double> kDuration{&g_PacingDuration, {0.1, 3.0}, _ChangeRequested};            // ms
constexpr Setting<unsigned> kTimeConstant{&g_PacingOvershootTC, {0.0, 100.0}, _ChangeRequested}; // ms
constexpr Setting<double> kOvershoot{&g_POA, {0.0, 5.0}, _ChangeRequested};                      // mV

} // namespace
} // namespace zeka

int ZEKASetPacingPulseMode(int mode) { return zeka::Set(zeka::kPulseMode, mode); }
int ZEKASetPacingDuration(double ms) { return zeka::Set(zeka::kDuration, ms); }
int ZEKASetOvershootTimeConstant(unsigned int ms) { return zeka::Set(zeka::kTimeConstant, ms); }
int ZEKASetOvershootAmplitude(double mV)
{
    return zeka::Set(zeka::kOvershoot, std::fabs(mV)); // the overshoot always opposes the pulse
}

int ZEKASetPacingAmplitude(double mV)
{
    const zeka::SetterFrame frame;
    if (const int refusal = zeka::Refusal(frame, zeka::kPacingAmplitudeMv.Contains(mV)); refusal != zeka::kOk)
        return refusal;
    g_PA = mV;
    if (g_PA != 0.0)
        for (int channel = 0; channel < zeka::kChannels; ++channel)
            (void)ZEKASetDCOffsetVariableMode(channel, true); // best effort: the amplitude holds either way
    _ChangeRequested();
    return zeka::kOk;
}

int ZEKASetPacingRate(unsigned int ppm)
{
    const zeka::SetterFrame frame;
    if (const int refusal = zeka::Refusal(frame, zeka::kPacingRatePerMin.Contains(ppm)); refusal != zeka::kOk)
        return refusal;
    g_PacingRate = ppm;
    g_pacingSynchronized = false;
    _ChangeRequested();
    return zeka::kOk;
}

int ZEKASetPacingRateSynchronized()
{
    const zeka::SetterFrame frame;
    if (const int refusal = zeka::Refusal(frame, zeka::kPacingRatePerMin.Contains(g_F * 60));
        refusal != zeka::kOk)
        return refusal;
    g_pacingSynchronized = true; // takes effect with the next change of another setter
    return zeka::kOk;
}

int ZEKAGetPacingPulseMode() { return zeka::GetLocked(&g_PacingPulse); }
double ZEKAGetPacingAmplitude() { return zeka::GetLocked(&g_PA); }
double ZEKAGetPacingDuration() { return zeka::GetLocked(&g_PacingDuration); }
unsigned int ZEKAGetPacingRate() { return zeka::GetLocked(&g_PacingRate); }
unsigned int ZEKAGetOvershootTimeConstant() { return zeka::GetLocked(&g_PacingOvershootTC); }
double ZEKAGetOvershootAmplitude() { return zeka::GetLocked(&g_POA); }
