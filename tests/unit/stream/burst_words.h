// burst_words.h - reads a burst back, written from the layout of the packets and from nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zeka::test {

inline constexpr int kSamplesOfBurst = 700;

inline int DcWord(std::span<const std::uint8_t, 3200> burst, int sample)
{
    const std::size_t at = static_cast<std::size_t>(64 * (sample / 14) + 8 + 4 * (sample % 14));
    return burst[at] * 256 + burst[at + 1];
}

inline int AcWordOf(std::span<const std::uint8_t, 3200> burst, int sample)
{
    const std::size_t at = static_cast<std::size_t>(64 * (sample / 14) + 10 + 4 * (sample % 14));
    const int word = burst[at] * 256 + burst[at + 1];
    return word < 32768 ? word : word - 65536;
}

inline int SequenceOf(std::span<const std::uint8_t, 3200> burst, int packet)
{
    return burst[static_cast<std::size_t>(64 * packet + 6)] * 256 +
           burst[static_cast<std::size_t>(64 * packet + 7)];
}

/// Counts of a voltage at attenuation 1.0, as the instrument is scaled: 6400 per mV, cut toward zero, held at
/// the ends.
inline int CountsOf(double mV)
{
    const double counts = mV * 6400.0;
    if (counts > 32767.0)
        return 32767;
    return counts < -32768.0 ? -32768 : static_cast<int>(counts);
}

} // namespace zeka::test
