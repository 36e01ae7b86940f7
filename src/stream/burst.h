// burst.h (stream) - the sample burst: its layout in words, and the two paths that fill one. The plain path
// is the definition: sample by sample, step by step. The fast path does the same work in runs of samples and
// leaves rare cases to the plain path. Both leave the same bytes and the same state behind.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>

#include "signal/state.h"
#include "util/bytes.h"

/// Position within the callback divider; the sample at 0 goes to the signal callback.
extern std::int32_t uiCounter ZEKA_LOCKED;

namespace zeka {

namespace sample_packet { // host to instrument: 01 01 00 00 00 0E, sequence, 14 slots
inline constexpr std::size_t kBytes = 64;
inline constexpr std::size_t kSequenceAt = 6; // u16, high byte first, wraps after 65535
inline constexpr std::size_t kSlotsAt = 8;
inline constexpr std::size_t kSlotBytes = 4; // DC word, then AC word, each high byte first
inline constexpr std::size_t kSamples = 14;
static_assert(kSlotsAt + kSamples * kSlotBytes == kBytes);
} // namespace sample_packet

inline constexpr std::size_t kBurstPackets = 50;
inline constexpr std::size_t kBurstSamples = kBurstPackets * sample_packet::kSamples;
inline constexpr std::size_t kBurstBytes = kBurstPackets * sample_packet::kBytes;

using Burst = std::span<std::uint8_t, kBurstBytes>;

/// Where slot n (0 .. 699) of a burst begins.
constexpr std::size_t SlotAt(std::size_t n) noexcept
{
    return n / sample_packet::kSamples * sample_packet::kBytes + sample_packet::kSlotsAt +
           n % sample_packet::kSamples * sample_packet::kSlotBytes;
}

constexpr void PutSlot(Burst burst, std::size_t n, std::uint16_t dc, std::int16_t ac) noexcept
{
    assert(n < kBurstSamples);
    const auto slot = burst.subspan(SlotAt(n));
    PutBe16(slot.first<2>(), dc);
    PutBe16(slot.subspan<2>().first<2>(), static_cast<std::uint16_t>(ac));
}

constexpr void PutHeader(Burst burst, std::size_t packet, std::uint16_t sequence) noexcept
{
    assert(packet < kBurstPackets);
    constexpr std::uint8_t kHeader[] = {0x01, 0x01, 0x00, 0x00, 0x00, sample_packet::kSamples};
    static_assert(sizeof kHeader == sample_packet::kSequenceAt);
    const auto at = burst.subspan(packet * sample_packet::kBytes);
    for (std::size_t i = 0; i < sizeof kHeader; ++i)
        at[i] = kHeader[i];
    PutBe16(at.subspan<sample_packet::kSequenceAt>().first<2>(), sequence);
}

/// One burst, sample by sample.
void BuildBurstPlain(Burst burst) ZEKA_NEEDS_LOCK;

/// Writes the sample of slot n, with the header before it where slot n begins a packet, and does all that
/// follows from the sample: callbacks, clocks, recording, waiting change.
void PlainSample(Burst burst, std::size_t n) ZEKA_NEEDS_LOCK;

/// One burst, on the fast path where that can be. Same bytes, same state.
void BuildBurst(Burst burst) ZEKA_NEEDS_LOCK;

} // namespace zeka
