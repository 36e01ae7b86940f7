// patterns247.h (signal/tables) - the IEC 60601-2-47 patterns in mV at 1000 samples/s. Pure functions on the
// caller's buffer: no state, no lock, no allocation. standard_waveforms.cpp keeps the results.
#pragma once

#include "signal/tables/tables.h"
#include <span>

namespace zeka {
/// One beat: QRS of 0.875 mV at 53 ms, S wave until 110 ms, T wave of 0.2 mV from 180 ms on.
void FillBeat227(std::span<double, pattern247::kBeatSamples> beat) noexcept;

/// Fills `samples` with the start of a pattern; the whole has pattern247::Samples(pattern)
/// samples. Pattern 0: a triangle every second; 1 to 4: beats with a sinusoidally modulated RR
/// interval; any other number: silence.
void FillPattern247(int pattern, std::span<double> samples) noexcept;
} // namespace zeka
