// patterns247.cpp - the IEC 60601-2-47 patterns: triangle pulses, and beats with a swinging RR interval.
// Called once for each pattern, on the thread that needs it first; a whole hour is 3.6 million samples.
#include "signal/tables/patterns247.h"

#include <algorithm>
#include <array>
#include <cmath>

constexpr double rravg[zeka::pattern247::kCount] = {1.0, 0.8, 1.0, 3.0, 1.5};
constexpr double rrdev[zeka::pattern247::kCount] = {0.0, 0.035, 0.07, 0.28, 0.14};
constexpr double hrvfreq[zeka::pattern247::kCount] = {0.0, 0.25, 0.1, 0.033333, 0.000278};

namespace zeka {
namespace {
constexpr double kTwoPi = 6.2831853; // the constant of every waveform formula here, not the nearest double

// FillBeats goes from beat to beat, so no RR interval may end inside the beat that opens it.
constexpr bool EveryIntervalHoldsABeat()
{
    for (std::size_t pattern = 1; pattern < pattern247::kCount; ++pattern)
        if ((rravg[pattern] - rrdev[pattern]) * 1000 <= static_cast<double>(pattern247::kBeatSamples))
            return false;
    return true;
}
static_assert(EveryIntervalHoldsABeat());

double BeatAt(int k) // mV, k in ms
{
    if (k < 10)
        return 0.0;
    if (k < 53)
        return 0.875 * (k - 10) / 43;
    if (k < 103)
        return 0.875 - (k - 53) / 50.0;
    if (k < 110)
        return 0.125 * (k - 103) / 7 - 0.125;
    if (k < 180)
        return 0.0;
    return 0.2 * std::sin(kTwoPi * (k - 180) / 360.0);
}

double TriangleAt(int k) // mV, k in ms after the full second
{
    if (k < 50)
        return k / 50.0;
    if (k < 100)
        return 1.0 + (50 - k) / 50.0;
    return 0.0;
}

void FillTriangles(std::span<double> samples)
{
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = TriangleAt(static_cast<int>(i % pattern247::kRateHz));
}

void FillBeats(std::size_t pattern, std::span<double> samples)
{
    std::array<double, pattern247::kBeatSamples> beat;
    FillBeat227(beat);
    std::ranges::fill(samples, 0.0);
    for (std::size_t start = 0; start < samples.size();) {
        const std::span<double> room = samples.subspan(start);
        std::copy_n(beat.begin(), std::min(beat.size(), room.size()), room.begin());
        const double b = static_cast<double>(start);
        const double rr =
            rravg[pattern] * 1000 + std::sin(hrvfreq[pattern] * kTwoPi * b / 1000) * rrdev[pattern] * 1000;
        start = static_cast<std::size_t>(b + rr);
    }
}
} // namespace

void FillBeat227(std::span<double, pattern247::kBeatSamples> beat) noexcept
{
    for (std::size_t k = 0; k < beat.size(); ++k)
        beat[k] = BeatAt(static_cast<int>(k));
}

void FillPattern247(int pattern, std::span<double> samples) noexcept
{
    if (pattern == 0)
        FillTriangles(samples);
    else if (pattern > 0 && pattern < static_cast<int>(pattern247::kCount))
        FillBeats(static_cast<std::size_t>(pattern), samples);
    else
        std::ranges::fill(samples, 0.0);
}
} // namespace zeka
