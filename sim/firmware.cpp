// firmware.cpp - carries out commands on the instrument's state, and lays out the replies. The offsets below
// are this side's own: the library's are not looked at, so that a mistake there is found here.
#include "sim/firmware.h"

#include <algorithm>

namespace zeka::sim {
namespace {

namespace control_block {
constexpr std::size_t kDirectionAt = 1;
constexpr std::size_t kOutputStateAt = 2;
constexpr std::size_t kUnknownFrom = 3;
constexpr std::size_t kSampleRateAt = 5;
constexpr std::size_t kChannelsAt = 32; // 4 groups of 8 bytes
constexpr std::size_t kChannelBytes = 8;
constexpr std::size_t kKnownInChannel = 6; // bytes of a group that mean something
constexpr std::size_t kLeadFlagAt = 3;     // in a group
} // namespace control_block

namespace page { // the information page, behind the head of a page packet
constexpr std::size_t kDirectionAt = 3;
constexpr std::size_t kStatusAt = 4;
constexpr std::size_t kDataAt = 16;
constexpr std::size_t kLetterAt = 16;
constexpr std::size_t kModelCodeAt = 17;
constexpr std::size_t kSerialBlockAt = 21;
constexpr std::size_t kSerialNumberAt = 22;
constexpr std::size_t kHwSetting0At = 24;
constexpr std::size_t kHwSetting1At = 25;
constexpr std::size_t kStoredInfo0At = 26;
constexpr std::size_t kStoredInfo1At = 27;
} // namespace page

namespace ping { // its reply
constexpr std::uint8_t kFirstByte = 0x55;
constexpr std::size_t kIdentityAt = 4;
constexpr std::size_t kIdentityBytes = 8; // the page's first: letter, model code, serial block and number
} // namespace ping

// The 0xCC and 0xEA groups.
constexpr std::size_t kStatusAt = 3;

namespace hardware {
constexpr std::size_t kEnabledMaskAt = 4;
constexpr std::size_t kLeadMaskAt = 5;
constexpr std::size_t kCalibrationAt = 4;
constexpr std::uint8_t kCalibrationOn = 0x01;
constexpr std::size_t kDacFirstAt = 4;
constexpr std::size_t kDacSecondAt = 6;
} // namespace hardware

namespace breathing { // respiration of the instrument's own making
constexpr std::size_t kFrequencyAt = 8;
constexpr std::size_t kVariationAt = 9;
constexpr std::size_t kRatioAt = 10;
constexpr std::size_t kBaselineAt = 11;
constexpr std::size_t kApneaAt = 12;
constexpr std::uint8_t kApneaOn = 0x01;
} // namespace breathing

namespace waveform_info {
constexpr std::size_t kSamplesAt = 6;
constexpr std::size_t kFrequencyAt = 8; // hundredths of 1 Hz
constexpr std::size_t kFunctionAt = 10;
constexpr std::size_t kPulseWidthAt = 11;
constexpr std::size_t kNoiseSelectionAt = 36;
constexpr std::size_t kNoiseAmplitudeAt = 38; // hundredths
constexpr std::size_t kPacingAmplitudeAt = 40;
constexpr std::size_t kPacingDurationAt = 42;
constexpr std::size_t kPacingRateAt = 44;
} // namespace waveform_info

namespace waveform_data {
constexpr std::size_t kFirstSampleAt = 6;
constexpr std::size_t kSlotsAt = 8; // as in a sample packet
constexpr std::size_t kSlotBytes = 4;
} // namespace waveform_data

namespace output_record {
constexpr std::size_t kSampleRateAt = 8;
constexpr std::size_t kFractionAt = 10;
} // namespace output_record

namespace rom {
constexpr std::size_t kItemAt = 4;
constexpr std::size_t kStatusValueAt = 5;
constexpr std::uint8_t kStatusValue = 0x01;
} // namespace rom

Reply Echo(const Frame& frame)
{
    Reply reply;
    std::copy_n(frame.bytes.begin(), frame.size, reply.bytes.begin());
    reply.size = kBlockBytes;
    return reply;
}

Reply Acknowledge(const Frame& frame)
{
    Reply reply = Echo(frame);
    reply.bytes[kStatusAt] = kDone;
    return reply;
}

Block InformationPage(const Identity& identity)
{
    constexpr std::size_t kFiller = 0x40;
    Block bytes{};
    for (std::size_t i = page::kDataAt; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(kFiller + i); // the rest of the page has contents of its own
    bytes[page::kLetterAt] = identity.letter;
    std::ranges::copy(identity.model_code, bytes.begin() + page::kModelCodeAt);
    bytes[page::kSerialBlockAt] = identity.serial_block;
    bytes[page::kSerialNumberAt] = static_cast<std::uint8_t>(identity.serial_number >> 8);
    bytes[page::kSerialNumberAt + 1] = static_cast<std::uint8_t>(identity.serial_number & 0xFF);
    bytes[page::kHwSetting0At] = identity.hw_setting0;
    bytes[page::kHwSetting1At] = identity.hw_setting1;
    bytes[page::kStoredInfo0At] = identity.stored_info0;
    bytes[page::kStoredInfo1At] = identity.stored_info1;
    return bytes;
}

} // namespace

Block PowerUpControlBlock()
{
    namespace cb = control_block;
    constexpr std::size_t kFiller = 0x80;
    Block block{};
    for (std::size_t i = cb::kUnknownFrom; i < block.size(); ++i)
        block[i] = static_cast<std::uint8_t>(kFiller + i);
    block[cb::kOutputStateAt] = kOutputOff;
    block[cb::kSampleRateAt] = static_cast<std::uint8_t>(kSampleRate >> 8);
    block[cb::kSampleRateAt + 1] = static_cast<std::uint8_t>(kSampleRate & 0xFF);
    for (std::size_t group = cb::kChannelsAt; group < block.size(); group += cb::kChannelBytes) {
        std::fill_n(block.begin() + static_cast<std::ptrdiff_t>(group), cb::kKnownInChannel, std::uint8_t{0});
        block[group + cb::kLeadFlagAt] = 0xFF;
    }
    return block;
}

Firmware::Firmware(const Identity& identity, const Block& control_block, unsigned rom_busy_polls)
    : identity_(identity), power_up_block_(control_block), rom_busy_polls_(rom_busy_polls)
{
    state_.information_page = InformationPage(identity);
    PowerUp();
}

void Firmware::PowerUp()
{
    InstrumentState fresh;
    fresh.information_page = state_.information_page;
    fresh.rom_stores = state_.rom_stores;
    fresh.rom_image = state_.rom_image;
    fresh.rom_waveform = state_.rom_waveform;
    fresh.control_block = power_up_block_;
    fresh.sample_rate = GetBe16(power_up_block_, control_block::kSampleRateAt);
    fresh.output_on = power_up_block_[control_block::kOutputStateAt] == kOutputOn;
    fresh.enabled_mask = 0x0F;
    rom_polls_left_ = 0;
    state_ = std::move(fresh);
}

Reply Firmware::Handle(const Frame& frame)
{
    const Bytes p = frame.View();
    switch (frame.command) {
    case Command::kPing:
        return Ping();
    case Command::kPageRead:
    case Command::kPageWrite:
        return Page(frame);
    case Command::kModuleQuery:
        return {{0xAA, 0x03, 0x00, identity_.query_info}, kModuleReplyBytes};
    case Command::kControlRead:
    case Command::kControlWrite:
        return ControlBlock(frame);
    case Command::kSamples:
        return {};
    case Command::kChannelRead:
    case Command::kChannelWrite:
        return Channels(frame);
    case Command::kStatusReset:
        ++state_.status_resets;
        break;
    case Command::kCalibration:
        state_.calibration = p[hardware::kCalibrationAt] == hardware::kCalibrationOn;
        break;
    case Command::kDac:
        state_.dac_first = GetBe16(p, hardware::kDacFirstAt);
        state_.dac_second = GetBe16(p, hardware::kDacSecondAt);
        break;
    case Command::kRespiration:
        KeepRespiration(p);
        break;
    case Command::kWaveformInfo:
        KeepWaveformInfo(p);
        break;
    case Command::kWaveformData:
        KeepWaveformData(p);
        break;
    case Command::kOutputStart:
    case Command::kOutputRecordOff:
        KeepOutputRecord(frame);
        break;
    case Command::kOutputStop:
        state_.memory_playing = false;
        break;
    case Command::kRomStatus:
        return RomStatus(frame);
    case Command::kRomStore:
        Store(p[rom::kItemAt]);
        break;
    }
    return Acknowledge(frame);
}

Reply Firmware::Ping() const
{
    Reply reply;
    reply.bytes[0] = ping::kFirstByte;
    std::copy_n(state_.information_page.begin() + page::kDataAt, ping::kIdentityBytes,
                reply.bytes.begin() + ping::kIdentityAt);
    reply.size = kPingReplyBytes;
    return reply;
}

Reply Firmware::Page(const Frame& frame)
{
    const auto data = [](Block& block) { return std::span(block).subspan(page::kDataAt); };
    if (frame.bytes[page::kDirectionAt] == kDone) {
        Block written = frame.bytes;
        std::ranges::copy(data(written), data(state_.information_page).begin());
        Reply reply = Echo(frame);
        reply.bytes[page::kStatusAt] = kDone;
        return reply;
    }
    Reply reply = Echo(frame);
    std::ranges::copy(data(state_.information_page), data(reply.bytes).begin());
    return reply;
}

Reply Firmware::ControlBlock(const Frame& frame)
{
    if (frame.command == Command::kControlWrite) {
        state_.control_block = frame.bytes;
        state_.control_block[control_block::kDirectionAt] =
            0x00; // says what the host wants of us, nothing that is kept
        state_.output_on = frame.bytes[control_block::kOutputStateAt] == kOutputOn;
        state_.sample_rate = GetBe16(frame.bytes, control_block::kSampleRateAt);
    }
    return {state_.control_block, kBlockBytes};
}

Reply Firmware::Channels(const Frame& frame)
{
    if (frame.command == Command::kChannelWrite) {
        state_.enabled_mask = frame.bytes[hardware::kEnabledMaskAt];
        state_.lead_mask = frame.bytes[hardware::kLeadMaskAt];
    }
    Reply reply = Acknowledge(frame);
    reply.bytes[hardware::kEnabledMaskAt] = state_.enabled_mask;
    reply.bytes[hardware::kLeadMaskAt] = state_.lead_mask;
    return reply;
}

Reply Firmware::RomStatus(const Frame& frame)
{
    Reply reply = Echo(frame);
    const bool busy = rom_never_done_ || rom_polls_left_ > 0;
    if (rom_polls_left_ > 0)
        --rom_polls_left_;
    reply.bytes[kStatusAt] = busy ? 0x00 : kDone;
    reply.bytes[rom::kStatusValueAt] = rom::kStatusValue;
    return reply;
}

void Firmware::KeepRespiration(Bytes p)
{
    namespace at = breathing;
    state_.respiration = {p[at::kFrequencyAt], p[at::kVariationAt], p[at::kRatioAt], p[at::kBaselineAt],
                          p[at::kApneaAt] == at::kApneaOn};
}

void Firmware::KeepWaveformInfo(Bytes p)
{
    namespace at = waveform_info;
    constexpr double kHundredth = 0.01;
    WaveformInfo info;
    info.samples = GetBe16(p, at::kSamplesAt);
    info.frequency_hz = GetBe16(p, at::kFrequencyAt) * kHundredth;
    info.function = p[at::kFunctionAt];
    info.pulse_width_byte = p[at::kPulseWidthAt];
    info.noise_selection = GetBe16(p, at::kNoiseSelectionAt);
    info.noise_amplitude = GetBe16(p, at::kNoiseAmplitudeAt) * kHundredth;
    info.pacing_amplitude_mv = static_cast<std::int16_t>(GetBe16(p, at::kPacingAmplitudeAt));
    info.pacing_duration_ms = GetBe16(p, at::kPacingDurationAt);
    info.pacing_rate = GetBe16(p, at::kPacingRateAt);
    state_.waveform = info;
    state_.image.clear(); // a description announces a new period
}

void Firmware::KeepWaveformData(Bytes p)
{
    const std::size_t at = GetBe16(p, waveform_data::kFirstSampleAt) * waveform_data::kSlotBytes;
    const Bytes slots = p.subspan(waveform_data::kSlotsAt);
    if (state_.image.size() < at + slots.size())
        state_.image.resize(at + slots.size());
    std::ranges::copy(slots, state_.image.begin() + static_cast<std::ptrdiff_t>(at));
}

void Firmware::KeepOutputRecord(const Frame& frame)
{
    OutputRecord record;
    record.bytes = frame.bytes;
    record.sample_rate = GetBe16(frame.bytes, output_record::kSampleRateAt);
    record.fraction_permille = GetBe16(frame.bytes, output_record::kFractionAt);
    state_.output_record = record;
    state_.memory_playing = frame.command == Command::kOutputStart;
}

void Firmware::Store(unsigned item)
{
    constexpr unsigned kWaveformItem = 1;
    ++state_.rom_stores[item];
    rom_polls_left_ = rom_busy_polls_;
    if (item == kWaveformItem) {
        state_.rom_image = state_.image;
        state_.rom_waveform = state_.waveform;
    }
}

} // namespace zeka::sim
