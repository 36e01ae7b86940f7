// counts.h - millivolts as 16-bit counts, for the formats that store them: EDF and WFDB.
#pragma once

#include <cstdint>
#include <vector>

namespace zeka::formats {

/// Scale in counts per mV. An AC count is the instrument's own; the DC scale holds +-1000 mV.
inline constexpr double kAcCountsPerMv = 6400.0;
inline constexpr double kDcCountsPerMv = 32.0;

/// The nearest whole count within +-32767; 0 for NaN.
std::int16_t Counts(double mv, double counts_per_mv);

/// Appends the word, low byte first.
inline void PutLe16(std::vector<std::uint8_t>& bytes, std::uint16_t word)
{
    bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(word >> 8));
}

} // namespace zeka::formats
