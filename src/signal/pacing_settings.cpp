// pacing_settings.cpp - the exported settings of the pacing pulses. Each is a setter in its frame; a new
// value is heard from the end of the running period while a function streams, else at once. Getters take the
// lock alone.
#include <cmath>

#include "signal/apply.h"
#include "signal/frame.h"
#include "signal/pacing.h"

namespace zeka {
namespace {

constexpr Interval kPacingAmplitudeMv{-700.0, 700.0};
constexpr Interval kPacingDurationMs{0.1, 3.0};
constexpr Interval kPacingRatePerMin{10.0, 360.0};
constexpr Interval kOvershootTimeConstantMs{0.0, 100.0};
constexpr Interval kOvershootAmplitudeMv{0.0, 5.0};

/// The setters that only check, store and ask for the change.
template <typename T> int Store(T& setting, T value, bool in_range) ZEKA_NEEDS_LOCK
{
    if (!in_range)
        return kOutOfRange;
    setting = value;
    _ChangeRequested();
    return kOk;
}

} // namespace
} // namespace zeka

int ZEKASetPacingPulseMode(int mode)
{
    const zeka::SetterFrame frame;
    return frame.Ready() ? zeka::Store(g_PacingPulse, mode, true) : zeka::kNoAnswer;
}

int ZEKAGetPacingPulseMode()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_PacingPulse;
}

int ZEKASetPacingAmplitude(double mV)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    if (!zeka::kPacingAmplitudeMv.Contains(mV))
        return zeka::kOutOfRange;

    g_PA = mV;
    if (g_PA != 0.0)
        for (int channel = 0; channel < zeka::kChannels; ++channel)
            (void)ZEKASetDCOffsetVariableMode(channel, true); // best effort: the amplitude holds either way
    _ChangeRequested();
    return zeka::kOk;
}

double ZEKAGetPacingAmplitude()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_PA;
}

int ZEKASetPacingDuration(double ms)
{
    const zeka::SetterFrame frame;
    return frame.Ready() ? zeka::Store(g_PacingDuration, ms, zeka::kPacingDurationMs.Contains(ms))
                         : zeka::kNoAnswer;
}

double ZEKAGetPacingDuration()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_PacingDuration;
}

int ZEKASetPacingRate(unsigned int ppm)
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    if (!zeka::kPacingRatePerMin.Contains(ppm))
        return zeka::kOutOfRange;

    g_PacingRate = ppm;
    g_pacingSynchronized = false;
    _ChangeRequested();
    return zeka::kOk;
}

unsigned int ZEKAGetPacingRate()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_PacingRate;
}

int ZEKASetPacingRateSynchronized()
{
    const zeka::SetterFrame frame;
    if (!frame.Ready())
        return zeka::kNoAnswer;
    if (!zeka::kPacingRatePerMin.Contains(g_F * 60))
        return zeka::kOutOfRange;

    g_pacingSynchronized = true; // heard with the next change that somebody else asks for
    return zeka::kOk;
}

int ZEKASetOvershootTimeConstant(unsigned int ms)
{
    const zeka::SetterFrame frame;
    return frame.Ready() ? zeka::Store(g_PacingOvershootTC, ms, zeka::kOvershootTimeConstantMs.Contains(ms))
                         : zeka::kNoAnswer;
}

unsigned int ZEKAGetOvershootTimeConstant()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_PacingOvershootTC;
}

int ZEKASetOvershootAmplitude(double mV)
{
    const zeka::SetterFrame frame;
    const double height = std::fabs(mV); // the overshoot always opposes the pulse: its sign says nothing
    return frame.Ready() ? zeka::Store(g_POA, height, zeka::kOvershootAmplitudeMv.Contains(height))
                         : zeka::kNoAnswer;
}

double ZEKAGetOvershootAmplitude()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    return g_POA;
}
