// pacing.h (signal) - pacemaker pulses on the DC channel and the overshoot they leave on the AC channel.
#pragma once

#include <span>

#include "signal/state.h"
#include "signal/test_modes.h"
#include "zeka/zeka.h"

/// DC-channel voltage (mV) of the current sample; adds the overshoot (mV) to acc. Called once per sample.
double _GetPacingV5(double& acc) ZEKA_NEEDS_LOCK;

/// Starts a pulse when the stream time plus offset (s) is at a whole pacing period. The latch keeps a pulse
/// from being started twice at one mark.
void _CheckIfPacingPulseNeeded(double offset, bool& latch) ZEKA_NEEDS_LOCK;

namespace zeka {
/// Derives the pacing values from the settings; part of the apply step, after the ECG timing.
void DerivePacing() ZEKA_NEEDS_LOCK;

/// DC voltage (mV) while nothing is paced; `staircase` returns the level of the input dynamic range test.
template <typename Staircase> double UnpacedDc(Staircase staircase) ZEKA_NEEDS_LOCK
{
    if (g_BaseLineOverload != 0)
        return kOverloadDcMv;
    return g_MainOutput == ZEKA_FUNCTION_INPUT_DYNAMIC_RANGE ? staircase() : static_cast<double>(g_DCSetting);
}

/// How many samples, from the one at the current stream time on, are certain to start no pulse and to arm no
/// trigger while no setting changes; at most limit. 0 means "call _GetPacingV5 for this sample": near the
/// marks, while pacing is off and where nothing is known yet.
int QuietPacingSamples(int limit) ZEKA_NEEDS_LOCK;

/// Computes that many samples (or fewer) at once: the same doubles and the same state as one call of
/// _GetPacingV5 for each, with the overshoot starting from 0.0. REQUIRES: both spans have the same length.
void QuietPacing(std::span<double> dc, std::span<double> overshoot) ZEKA_NEEDS_LOCK;
} // namespace zeka
