// staircase.h (signal) - the input dynamic range test: a staircase of 0.5 mV steps on the DC channel, and on
// the AC channel a ramp that fills its steps. Their sum moves by 1 mV/s, from -300 mV at 20 s up until 620 s
// and down again until 1220 s. Runs on the clock of the stream, under g_CriticalSection.
#pragma once

#include "signal/state.h"

namespace zeka {

/// Sets the level back to the foot of the stairs; part of the apply step.
void RestartStaircase() ZEKA_NEEDS_LOCK;

/// DC level (mV) of the current sample; steps it at every half second and calls the callback.
double StaircaseDc() ZEKA_NEEDS_LOCK;

/// The DC level without a step, for samples between two steps.
double StaircaseLevel() ZEKA_NEEDS_LOCK;

/// Stream time (s) up to which neither the level changes nor the callback is due; `time`
/// itself where a step is near.
[[nodiscard]] double StaircaseRestsUntil(double time) noexcept;

namespace staircase { // s of stream time
inline constexpr double kStartS = 20.0, kTurnS = 620.0, kEndS = 1220.0;
}

/// Whether the stairs have begun and not yet ended.
[[nodiscard]] inline bool IsOnStairs(double time) noexcept
{
    return !(time < staircase::kStartS || time >= staircase::kEndS);
}

/// Draws the ramp. REQUIRES: the pen's run lies between two steps.
template <typename Pen> void DrawStaircase(Pen& pen) ZEKA_NEEDS_LOCK
{
    const double time = pen.StreamTime();
    const double step = 1.0 / g_nSampleRate;
    if (IsOnStairs(time))
        pen.Ramp(s_InputDynamicRangeAC, time <= staircase::kTurnS ? step : -step);
    else
        pen.ToTheEnd([](double) { return 0.0; });
}

} // namespace zeka
