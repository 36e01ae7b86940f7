// packets.h (device) - the layout of the command packets as named constants. Numbers are big-endian. Byte 0
// of a command names its group, byte 1 the direction: 0x00 read, 0xFF write.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "util/bytes.h"

namespace zeka {

inline constexpr std::uint8_t kRead = 0x00;
inline constexpr std::uint8_t kWrite = 0xFF;
inline constexpr std::size_t kDirectionAt = 1;
inline constexpr std::size_t kStatusAt = 3; // in replies of the 0xEA and 0xCC groups

using Block = std::array<std::uint8_t, 64>;

namespace sample_request { // instrument to host: it has room for a burst
inline constexpr std::uint8_t kByte0 = 0x01;
inline constexpr std::uint8_t kByte1 = 0x55;
} // namespace sample_request

namespace identity {
inline constexpr std::array<std::uint8_t, 3> kPing{0x55, 0x00, 0x00};
inline constexpr std::size_t kReplyBytes = 12;
inline constexpr std::array<std::uint8_t, 3> kMarker{'Z', 'Z', 'E'};
inline constexpr std::size_t kReplyMarkerAt = 4;
inline constexpr std::size_t kModelCodeAt = 5;
inline constexpr std::size_t kSerialBlockAt = 9;
inline constexpr std::size_t kSerialNumberAt = 10;
inline constexpr std::array<std::uint8_t, 2> kModuleQuery{0xAA, 0x03};
inline constexpr std::size_t kModuleReplyBytes = 5;
inline constexpr std::size_t kModuleInfoAt = 3;
} // namespace identity

namespace page { // memory page, group 0x12; area 1 is the information page
inline constexpr std::size_t kDirectionAt = 3;
inline constexpr std::size_t kStatusAt = 4; // 0xFF in the reply to a write that was done
inline constexpr std::size_t kDataAt = 16;  // the letter Z, then model code, serial block and number
inline constexpr std::size_t kModelCodeAt = 17;
inline constexpr std::size_t kSerialBlockAt = 21;
inline constexpr std::size_t kSerialNumberAt = 22;
inline constexpr std::size_t kHwSetting0At = 24;
inline constexpr std::size_t kHwSetting1At = 25;
inline constexpr std::size_t kStoredInfo0At = 26;
inline constexpr std::size_t kStoredInfo1At = 27;
inline constexpr std::array<std::uint8_t, 12> kReadInformation{0x12, 0x55, 0xAA, kRead,
                                                               0x00, 0x01, 0x00, 0x20};
inline constexpr Block kReadBeforeWrite{0x12, 0x55, 0xAA, kRead, 0x00, 0x01, 0x00, 0x0C};
} // namespace page

namespace control_block { // output stage, group 0x00: read with 64 zero bytes, changed, written back
inline constexpr std::size_t kOutputStateAt = 2;
inline constexpr std::uint8_t kFunctionSelected = 0x01;
inline constexpr std::uint8_t kNoFunction = 0x08;
inline constexpr std::size_t kSampleRateAt = 5;
inline constexpr std::size_t kChannelsAt = 32;
inline constexpr std::size_t kChannelBytes = 8;
// within a channel's group
inline constexpr std::size_t kImpedanceAAt = 0;
inline constexpr std::size_t kImpedanceBAt = 1;
inline constexpr std::size_t kDcSourceAt = 2;
inline constexpr std::size_t kLeadAt = 3;
inline constexpr std::size_t kImpedanceCAt = 4;
inline constexpr std::size_t kSignalGroundAt = 5;
inline constexpr std::uint8_t kFlagOn = 0xFF;
inline constexpr std::uint8_t kFlagOff = 0x00;
inline constexpr std::uint8_t kDcNone = 0x00;
inline constexpr std::uint8_t kDcPlus300 = 0x01;
inline constexpr std::uint8_t kDcMinus300 = 0x02;
inline constexpr std::uint8_t kDcVariable = 0x10;
static_assert(kChannelsAt + 4 * kChannelBytes == sizeof(Block));
} // namespace control_block

namespace hardware { // group 0xCC
inline constexpr std::uint8_t kGroup = 0xCC;
inline constexpr std::uint8_t kCalibrationMode = 0x06;
inline constexpr std::uint8_t kDirectDac = 0x07;
inline constexpr std::uint8_t kChannelState = 0x0D;
inline constexpr std::uint8_t kReset = 0x0F;
inline constexpr std::size_t kEnabledMaskAt = 4;
inline constexpr std::size_t kLeadMaskAt = 5;
inline constexpr std::size_t kCalibrationOnAt = 4;
inline constexpr std::size_t kFirstDacAt = 4;
inline constexpr std::size_t kSecondDacAt = 6;
} // namespace hardware

namespace output_control { // group 0xEA, sub-command 0x00: playback from the instrument's own memory
inline constexpr std::uint8_t kGroup = 0xEA;
inline constexpr std::size_t kOutputOnAt = 4;
inline constexpr std::size_t kSampleRateAt = 8;
inline constexpr std::size_t kFractionAt = 10; // thousandths of a sample per period
inline constexpr std::size_t kFormatAt = 12;
inline constexpr std::uint8_t kFormat = 0x04;
} // namespace output_control

} // namespace zeka
