// fast_words.h (stream) - converts a run of millivolts to the slots of a burst. Under g_CriticalSection.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "stream/burst.h"

namespace zeka {

using RunBuffer = std::array<double, kBurstSamples>; // mV
using WordBuffer = std::array<std::uint16_t, kBurstSamples>;

/// Fills the slots from `first` on. The AC words are mv * counts_per_mv, limited and truncated toward zero,
/// NaN as 0. There is one DC word for all slots, or one for each.
void PutSlots(Burst burst, std::size_t first, std::span<const double> mv, double counts_per_mv,
              std::uint16_t dc);
void PutSlots(Burst burst, std::size_t first, std::span<const double> mv, double counts_per_mv,
              std::span<const std::uint16_t> dc);

/// Limits every voltage to -limit .. limit, as std::clamp does. REQUIRES: limit >= 0.
void LimitVoltages(std::span<double> mv, double limit);

/// A slot as it lies in memory: DC word, AC word, each high byte first.
using SlotImages = std::array<std::uint32_t, kBurstSamples>;

// PutSlots and LimitVoltages for processors without their vector instructions; tests compare the two.
void MakeSlotsPortably(std::span<const double> mv, double counts_per_mv, const std::uint16_t* dc,
                       std::size_t dc_step, SlotImages& images);
void LimitVoltagesPortably(std::span<double> mv, double limit);

} // namespace zeka
