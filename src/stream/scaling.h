// scaling.h (stream) - converts millivolts to the words of the instrument.
#pragma once

#include <cstdint>

#include "signal/state.h"

/// DC word, offset binary: -1000 mV = 0, 0 mV = 32768, +1000 mV = 65535; beyond these the
/// end codes. NaN counts as 0 mV.
std::uint16_t ECG_DC_VoltageToDAC(double millivolts);

/// AC attenuation factor: that of the respiration's baseline impedance while
/// respiration is enabled, else 1.0.
double GetAttenuation() ZEKA_NEEDS_LOCK;

namespace zeka {

/// AC word of a value in counts: limited to 16 bits, truncated toward zero; NaN gives 0.
[[nodiscard]] std::int16_t AcWord(double counts) noexcept;
inline constexpr double kAcWordLow = -32768.0;
inline constexpr double kAcWordHigh = 32767.0;

/// Counts per mV are kAcGain * (kAcScale / attenuation).
inline constexpr double kAcGain = 4.0;
inline constexpr double kAcScale = 1600.0;

} // namespace zeka
