// burst_words.h - reads a burst back, written from the layout of the packets and from nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zeka::test {

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

} // namespace zeka::test
