// counts.h - millivolts as whole numbers of 16 bits, for the formats that keep such: EDF and WFDB.
#pragma once

#include <cstdint>
#include <vector>

namespace zeka::formats {

/// Scale in counts per mV. An AC count is the instrument's own; DC at +-1000 mV fits.
inline constexpr double kAcCountsPerMv = 6400.0;
inline constexpr double kDcCountsPerMv = 32.0;

/// The nearest whole count, within +-32767; not a number gives 0.
std::int16_t Counts(double mv, double counts_per_mv);

/// Appends the word to the bytes, low byte first.
inline void PutLe16(std::vector<std::uint8_t>& bytes, std::uint16_t word)
{
    bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(word >> 8));
}

} // namespace zeka::formats
