// wfdb_codes.h - the WFDB annotation codes that are written or read here.
#pragma once

#include <array>
#include <cstdint>

namespace zeka::formats::wfdb {

inline constexpr unsigned kNormalBeat = 1;
inline constexpr unsigned kNote = 22;
inline constexpr unsigned kPacingSpike = 26;
inline constexpr unsigned kWaveOnset = 39;
inline constexpr unsigned kWaveEnd = 40;
// Codes of words that add to an annotation or lead to the next one.
inline constexpr unsigned kSkip = 59;
inline constexpr unsigned kNumber = 60;
inline constexpr unsigned kSubtype = 61;
inline constexpr unsigned kChannel = 62;
inline constexpr unsigned kText = 63;

inline constexpr unsigned kCodeShift = 10;
inline constexpr unsigned kWayMask = 0x3FF;

constexpr std::uint16_t Word(unsigned code, unsigned low)
{
    return static_cast<std::uint16_t>(code << kCodeShift | low);
}

/// Mnemonics by code; empty where there is none.
inline constexpr std::array<const char*, 42> kMnemonics{
    "",  "N",  "L", "R", "a", "V", "F", "J", "A", "S", "E", "j", "/", "Q", "~", "",  "|", "",  "s", "T", "*",
    "D", "\"", "=", "p", "B", "^", "t", "+", "u", "?", "!", "[", "]", "e", "n", "@", "x", "f", "(", ")", "r"};

} // namespace zeka::formats::wfdb
