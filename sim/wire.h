// wire.h - what is sent between host and instrument, seen from the instrument: kinds of commands, their
// lengths, the sample packet. Data only, for framer, firmware and player.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zeka::sim {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Bytes = std::span<const std::uint8_t>;

inline constexpr std::size_t kBlockBytes = 64; // the longest command, and the usual reply
inline constexpr std::size_t kPingReplyBytes = 12;
inline constexpr std::size_t kModuleReplyBytes = 5;

inline constexpr std::size_t kSamplesPerPacket = 14;
inline constexpr std::size_t kPacketsPerBurst = 50;
inline constexpr std::size_t kSamplesPerBurst = kSamplesPerPacket * kPacketsPerBurst;
inline constexpr std::size_t kBurstBytes = kBlockBytes * kPacketsPerBurst;
inline constexpr std::int64_t kSampleRate = 40000; // per second, while the host streams
inline constexpr std::chrono::nanoseconds kSampleTime{25000};
inline constexpr std::chrono::nanoseconds kBurstTime = kSampleTime * kSamplesPerBurst;
static_assert(kSampleTime * kSampleRate == std::chrono::seconds(1));

inline constexpr std::uint8_t kDone = 0xFF;      // status byte of a reply, direction byte of a write
inline constexpr std::uint8_t kOutputOn = 0x01;  // control block, output state
inline constexpr std::uint8_t kOutputOff = 0x08; // control block, output state

enum class Command {
    kPing,
    kPageRead,
    kPageWrite,
    kModuleQuery,
    kControlRead,
    kControlWrite,
    kSamples,
    kChannelRead,
    kChannelWrite,
    kStatusReset,
    kCalibration,
    kDac,
    kRespiration,
    kWaveformInfo,
    kWaveformData,
    kOutputStart,
    kOutputStop,
    kOutputRecordOff, // the whole output record with the output off; ends an upload
    kRomStatus,
    kRomStore,
};

/// A name for logs and messages, for example "control write".
const char* NameOf(Command command);

/// One sample as sent: offset-binary DC word, two's-complement AC word.
struct Sample {
    std::uint16_t dc;
    std::int16_t ac;
    friend bool operator==(const Sample&, const Sample&) = default;
};

constexpr std::uint16_t GetBe16(Bytes bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

constexpr Sample GetSample(Bytes slots, std::size_t at)
{
    return {GetBe16(slots, at), static_cast<std::int16_t>(GetBe16(slots, at + 2))};
}

using Block = std::array<std::uint8_t, kBlockBytes>;
using Burst = std::array<std::uint8_t, kBurstBytes>;

/// The block by which the instrument requests one burst.
inline constexpr Block kSampleRequest{0x01, 0x55};

} // namespace zeka::sim
