// bytes.h (util) - writes numbers as they go over the wire: most significant byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zeka {

constexpr void PutBe16(std::span<std::uint8_t, 2> bytes, std::uint16_t value) noexcept
{
    bytes[0] = static_cast<std::uint8_t>(value >> 8);
    bytes[1] = static_cast<std::uint8_t>(value & 0xFF);
}

/// Writes the low 16 bits of value to packet[at] and packet[at + 1].
constexpr void PutBe16At(std::span<std::uint8_t> packet, std::size_t at, unsigned value) noexcept
{
    PutBe16(packet.subspan(at).first<2>(), static_cast<std::uint16_t>(value));
}

} // namespace zeka
