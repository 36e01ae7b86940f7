// fast_words.h (stream) - from a run of millivolts to the slots of a burst.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "stream/burst.h"

namespace zeka {

using RunBuffer = std::array<double, kBurstSamples>; // mV
using WordBuffer = std::array<std::uint16_t, kBurstSamples>;

/// Slots from `first` on: AC words of mv * counts_per_mv, limited and cut toward zero, NaN as 0; one DC word
/// for all of them, or one for each.
void PutSlots(Burst burst, std::size_t first, std::span<const double> mv, double counts_per_mv,
              std::uint16_t dc);
void PutSlots(Burst burst, std::size_t first, std::span<const double> mv, double counts_per_mv,
              std::span<const std::uint16_t> dc);

/// Holds every voltage within -limit .. limit (limit >= 0), as std::clamp does.
void LimitVoltages(std::span<double> mv, double limit);

/// The image of a slot as it stands in memory: DC word, AC word, each high byte first.
using SlotImages = std::array<std::uint32_t, kBurstSamples>;

// What PutSlots is made of, for processors without the vector instructions it knows. Tests hold the two
// together.
void MakeSlotsPortably(std::span<const double> mv, double counts_per_mv, const std::uint16_t* dc,
                       std::size_t dc_step, SlotImages& images);
void LimitVoltagesPortably(std::span<double> mv, double limit);

} // namespace zeka
