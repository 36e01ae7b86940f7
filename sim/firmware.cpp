// firmware.cpp - see firmware.h.
#include "sim/firmware.h"

#include <algorithm>

namespace zeka::sim {
namespace {

constexpr std::size_t kDirectionAt = 1;     // in a control block
constexpr std::size_t kOutputStateAt = 2;   // in a control block
constexpr std::size_t kSampleRateAt = 5;    // in a control block
constexpr std::size_t kChannelGroupAt = 32; // in a control block: 4 groups of 8 bytes
constexpr std::size_t kChannelGroupBytes = 8;
constexpr std::size_t kLeadFlagAt = 3; // in a channel group

constexpr std::size_t kPageDirectionAt = 3;
constexpr std::size_t kPageStatusAt = 4;
constexpr std::size_t kPageDataAt = 16;
constexpr std::size_t kStatusAt = 3; // in the 0xCC and 0xEA groups

constexpr std::size_t kSlotsAt = 8; // in a waveform data packet, as in a sample packet
constexpr std::size_t kSlotBytes = 4;
constexpr std::uint8_t kRomStatusValue = 0x01;

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
    Block page{};
    for (std::size_t i = kPageDataAt; i < page.size(); ++i)
        page[i] = static_cast<std::uint8_t>(0x40 + i); // the rest of the page has contents of its own
    page[16] = identity.letter;
    std::copy(identity.model_code.begin(), identity.model_code.end(), page.begin() + 17);
    page[21] = identity.serial_block;
    page[22] = static_cast<std::uint8_t>(identity.serial_number >> 8);
    page[23] = static_cast<std::uint8_t>(identity.serial_number & 0xFF);
    page[24] = identity.hw_setting0;
    page[25] = identity.hw_setting1;
    page[26] = identity.stored_info0;
    page[27] = identity.stored_info1;
    return page;
}

} // namespace

Block PowerUpControlBlock()
{
    Block block{};
    for (std::size_t i = 3; i < block.size(); ++i)
        block[i] = static_cast<std::uint8_t>(0x80 + i);
    block[kOutputStateAt] = kOutputOff;
    block[kSampleRateAt] = static_cast<std::uint8_t>(kSampleRate >> 8);
    block[kSampleRateAt + 1] = static_cast<std::uint8_t>(kSampleRate & 0xFF);
    for (std::size_t group = kChannelGroupAt; group < block.size(); group += kChannelGroupBytes) {
        std::fill_n(block.begin() + static_cast<std::ptrdiff_t>(group), 6, std::uint8_t{0});
        block[group + kLeadFlagAt] = 0xFF;
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
    fresh.sample_rate = GetBe16(power_up_block_, kSampleRateAt);
    fresh.output_on = power_up_block_[kOutputStateAt] == kOutputOn;
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
        state_.calibration = p[4] == 0x01;
        break;
    case Command::kDac:
        state_.dac_first = GetBe16(p, 4);
        state_.dac_second = GetBe16(p, 6);
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
        Store(p[4]);
        break;
    }
    return Acknowledge(frame);
}

Reply Firmware::Ping() const
{
    Reply reply;
    reply.bytes[0] = 0x55;
    std::copy_n(state_.information_page.begin() + kPageDataAt, 8, reply.bytes.begin() + 4);
    reply.size = kPingReplyBytes;
    return reply;
}

Reply Firmware::Page(const Frame& frame)
{
    const auto data = [](Block& block) { return std::span(block).subspan(kPageDataAt); };
    if (frame.bytes[kPageDirectionAt] == kDone) {
        Block written = frame.bytes;
        std::ranges::copy(data(written), data(state_.information_page).begin());
        Reply reply = Echo(frame);
        reply.bytes[kPageStatusAt] = kDone;
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
        state_.control_block[kDirectionAt] = 0x00; // says what the host wants of us, nothing that is kept
        state_.output_on = frame.bytes[kOutputStateAt] == kOutputOn;
        state_.sample_rate = GetBe16(frame.bytes, kSampleRateAt);
    }
    return {state_.control_block, kBlockBytes};
}

Reply Firmware::Channels(const Frame& frame)
{
    if (frame.command == Command::kChannelWrite) {
        state_.enabled_mask = frame.bytes[4];
        state_.lead_mask = frame.bytes[5];
    }
    Reply reply = Acknowledge(frame);
    reply.bytes[4] = state_.enabled_mask;
    reply.bytes[5] = state_.lead_mask;
    return reply;
}

Reply Firmware::RomStatus(const Frame& frame)
{
    Reply reply = Echo(frame);
    const bool busy = rom_never_done_ || rom_polls_left_ > 0;
    if (rom_polls_left_ > 0)
        --rom_polls_left_;
    reply.bytes[kStatusAt] = busy ? 0x00 : kDone;
    reply.bytes[5] = kRomStatusValue;
    return reply;
}

void Firmware::KeepRespiration(Bytes p) { state_.respiration = {p[8], p[9], p[10], p[11], p[12] == 0x01}; }

void Firmware::KeepWaveformInfo(Bytes p)
{
    constexpr double kHundredth = 0.01;
    WaveformInfo info;
    info.samples = GetBe16(p, 6);
    info.frequency_hz = GetBe16(p, 8) * kHundredth;
    info.function = p[10];
    info.pulse_width_byte = p[11];
    info.noise_selection = GetBe16(p, 36);
    info.noise_amplitude = GetBe16(p, 38) * kHundredth;
    info.pacing_amplitude_mv = static_cast<std::int16_t>(GetBe16(p, 40));
    info.pacing_duration_ms = GetBe16(p, 42);
    info.pacing_rate = GetBe16(p, 44);
    state_.waveform = info;
    state_.image.clear(); // a description announces a new period
}

void Firmware::KeepWaveformData(Bytes p)
{
    const std::size_t at = GetBe16(p, 6) * kSlotBytes;
    const Bytes slots = p.subspan(kSlotsAt);
    if (state_.image.size() < at + slots.size())
        state_.image.resize(at + slots.size());
    std::ranges::copy(slots, state_.image.begin() + static_cast<std::ptrdiff_t>(at));
}

void Firmware::KeepOutputRecord(const Frame& frame)
{
    OutputRecord record;
    record.bytes = frame.bytes;
    record.sample_rate = GetBe16(frame.bytes, 8);
    record.fraction_permille = GetBe16(frame.bytes, 10);
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
