// mains_noise.h (signal) - mains noise on the clock of the stream: a sine of 50 or 60 Hz, or random values.
// Drawn on the ECGs and on the ANE20000 waveform, under g_CriticalSection.
#pragma once

#include "signal/state.h"

namespace zeka {

namespace mains_noise { // g_MainNoise; any other number is a sine of 60 Hz
inline constexpr int kOff = 0;
inline constexpr int k50Hz = 1;
inline constexpr int kRandom = 3;
} // namespace mains_noise

template <typename Pen> void AddMainsNoise(Pen& pen) ZEKA_NEEDS_LOCK
{
    constexpr double kLargestRandom = 2147483647.0;
    switch (g_MainNoise) {
    case mains_noise::kOff:
        return;
    case mains_noise::k50Hz:
        return pen.AddSine(s_MainsNoiseAmplitude, 50.0 * kTwoPi);
    case mains_noise::kRandom:
        return pen.AddRandom(s_MainsNoiseAmplitude, kLargestRandom);
    default:
        return pen.AddSine(s_MainsNoiseAmplitude, 60.0 * kTwoPi);
    }
}

} // namespace zeka
