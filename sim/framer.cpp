// framer.cpp - finds the end of each command. One function per group of commands decides what
// the bytes received so far can be.
#include "sim/framer.h"

#include <algorithm>

namespace zeka::sim {
namespace {

constexpr std::size_t kPingBytes = 3;
constexpr std::size_t kModuleQueryBytes = 2;
constexpr std::size_t kShortPageReadBytes = 12;
constexpr std::size_t kChannelBytes = 6;
constexpr std::size_t kRespirationBytes = 19;
constexpr std::size_t kStopBytes = 5;
constexpr std::size_t kRomStatusBytes = 6;
constexpr std::size_t kRomStoreBytes = 5;

enum class Verdict { kMore, kUnknown, kKnown, kSilenceDecides };

struct Guess {
    Verdict verdict = Verdict::kMore;
    Command command{};
    std::size_t size = 0;
};

constexpr Guess kMore{};
constexpr Guess kUnknown{Verdict::kUnknown, {}, 0};

constexpr Guess Known(Command command, std::size_t size) { return {Verdict::kKnown, command, size}; }

bool BeginsWith(Bytes p, std::initializer_list<std::uint8_t> head)
{
    return std::equal(p.begin(), p.begin() + static_cast<std::ptrdiff_t>(std::min(p.size(), head.size())),
                      head.begin());
}

Guess GuessPage(Bytes p)
{
    if (!BeginsWith(p, {0x12, 0x55, 0xAA}))
        return kUnknown;
    if (p.size() > 3 && p[3] == kDone)
        return Known(Command::kPageWrite, kBlockBytes);
    if (p.size() > 3 && p[3] != 0x00)
        return kUnknown;
    if (p.size() < 8)
        return kMore;
    constexpr std::uint8_t kHardwareInformationBytes = 0x20;
    return Known(Command::kPageRead, p[7] == kHardwareInformationBytes ? kShortPageReadBytes : kBlockBytes);
}

Guess GuessControlBlock(Bytes p)
{
    if (p.size() < 2)
        return kMore;
    if (p[1] == kDone)
        return Known(Command::kControlWrite, kBlockBytes);
    const Bytes seen = p.first(std::min(p.size(), kBlockBytes));
    if (std::any_of(seen.begin(), seen.end(), [](std::uint8_t byte) { return byte != 0; }))
        return kUnknown; // a read is 64 zeros; anything else means that host and instrument are out of step
    return Known(Command::kControlRead, kBlockBytes);
}

Guess GuessHardware(Bytes p)
{
    if (p.size() >= 2 && p[1] != 0x00 && p[1] != kDone)
        return kUnknown;
    if (p.size() < 3)
        return kMore;
    const bool write = p[1] == kDone;
    switch (p[2]) {
    case 0x0D:
        return Known(write ? Command::kChannelWrite : Command::kChannelRead, kChannelBytes);
    case 0x0F:
        return write ? Known(Command::kStatusReset, kBlockBytes) : kUnknown;
    case 0x06:
        return write ? Known(Command::kCalibration, kBlockBytes) : kUnknown;
    case 0x07:
        return write ? Known(Command::kDac, kBlockBytes) : kUnknown;
    default:
        return kUnknown;
    }
}

Guess GuessOutputRecord(Bytes p)
{
    if (p.size() < kStopBytes)
        return kMore;
    if (p[4] == 0x01)
        return Known(Command::kOutputStart, kBlockBytes);
    if (p[4] != 0x00)
        return kUnknown;
    constexpr std::size_t kZerosEnd = 8;
    constexpr std::size_t kMarkAt = 12;
    constexpr std::uint8_t kMark = 0x04;
    const bool zeros = std::all_of(p.begin() + kStopBytes,
                                   p.begin() + static_cast<std::ptrdiff_t>(std::min(p.size(), kZerosEnd)),
                                   [](std::uint8_t byte) { return byte == 0; });
    if (!zeros || (p.size() > kMarkAt && p[kMarkAt] != kMark))
        return Known(Command::kOutputStop, kStopBytes);
    if (p.size() > kMarkAt)
        return Known(Command::kOutputRecordOff, kBlockBytes);
    return {Verdict::kSilenceDecides, Command::kOutputStop, kStopBytes};
}

Guess GuessSetting(Bytes p)
{
    if (p.size() >= 2 && p[1] != 0x00 && p[1] != kDone)
        return kUnknown;
    if (p.size() < 3)
        return kMore;
    if (p[1] == 0x00)
        return p[2] == 0x07 ? Known(Command::kRomStatus, kRomStatusBytes) : kUnknown;
    switch (p[2]) {
    case 0x00:
        return GuessOutputRecord(p);
    case 0x01:
        if (p.size() < 8)
            return kMore;
        return GetBe16(p, 6) != 0 ? Known(Command::kWaveformInfo, kBlockBytes)
                                  : Known(Command::kRespiration, kRespirationBytes);
    case 0x04:
        return Known(Command::kWaveformData, kBlockBytes);
    case 0x07:
        return Known(Command::kRomStore, kRomStoreBytes);
    default:
        return kUnknown;
    }
}

Guess GuessCommand(Bytes p)
{
    switch (p[0]) {
    case 0x00:
        return GuessControlBlock(p);
    case 0x01:
        return BeginsWith(p, {0x01, 0x01}) ? Known(Command::kSamples, kBlockBytes) : kUnknown;
    case 0x12:
        return GuessPage(p);
    case 0x55:
        return BeginsWith(p, {0x55, 0x00, 0x00}) ? Known(Command::kPing, kPingBytes) : kUnknown;
    case 0xAA:
        return BeginsWith(p, {0xAA, 0x03}) ? Known(Command::kModuleQuery, kModuleQueryBytes) : kUnknown;
    case 0xCC:
        return GuessHardware(p);
    case 0xEA:
        return GuessSetting(p);
    default:
        return kUnknown;
    }
}

} // namespace

void Framer::Feed(Bytes bytes, TimePoint now)
{
    if (bytes.empty())
        return;
    if (head_ == buffer_.size()) {
        buffer_.clear();
        head_ = 0;
        head_time_ = now;
    } else if (head_ >= kBurstBytes) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(head_));
        head_ = 0;
    }
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    last_time_ = now;
}

std::optional<Frame> Framer::Next(TimePoint now)
{
    while (head_ < buffer_.size()) {
        const Guess guess = GuessCommand(Pending());
        if (guess.verdict == Verdict::kUnknown) {
            ++unknown_bytes_;
            ++head_;
            head_time_ = last_time_;
            continue;
        }
        if (guess.verdict == Verdict::kKnown && Pending().size() >= guess.size)
            return Take(guess.command, guess.size);
        // Bytes beyond the five of a stop command that do not contradict a record belong to a record.
        if (guess.verdict == Verdict::kSilenceDecides && Pending().size() == guess.size &&
            now - last_time_ >= kStopSilence)
            return Take(guess.command, guess.size);
        if (now - last_time_ >= kFrameSilence) {
            ++truncated_;
            Clear();
        }
        break;
    }
    return std::nullopt;
}

std::optional<TimePoint> Framer::Deadline() const
{
    if (Pending().empty())
        return std::nullopt;
    const Guess guess = GuessCommand(Pending());
    if (guess.verdict == Verdict::kSilenceDecides && Pending().size() == guess.size)
        return last_time_ + kStopSilence;
    return last_time_ + kFrameSilence;
}

std::optional<Command> Framer::PendingCommand() const
{
    if (Pending().empty())
        return std::nullopt;
    const Guess guess = GuessCommand(Pending());
    return guess.verdict == Verdict::kKnown ? std::optional(guess.command) : std::nullopt;
}

void Framer::Clear()
{
    buffer_.clear();
    head_ = 0;
}

Frame Framer::Take(Command command, std::size_t size)
{
    Frame frame;
    frame.command = command;
    frame.size = size;
    std::copy_n(Pending().begin(), size, frame.bytes.begin());
    frame.first = head_time_;
    frame.last = last_time_;
    head_ += size;
    head_time_ = last_time_; // the bytes behind a whole command came with the latest piece
    return frame;
}

const char* NameOf(Command command)
{
    switch (command) {
    case Command::kPing:
        return "ping";
    case Command::kPageRead:
        return "page read";
    case Command::kPageWrite:
        return "page write";
    case Command::kModuleQuery:
        return "module query";
    case Command::kControlRead:
        return "control read";
    case Command::kControlWrite:
        return "control write";
    case Command::kSamples:
        return "samples";
    case Command::kChannelRead:
        return "channel read";
    case Command::kChannelWrite:
        return "channel write";
    case Command::kStatusReset:
        return "status reset";
    case Command::kCalibration:
        return "calibration mode";
    case Command::kDac:
        return "direct DAC";
    case Command::kRespiration:
        return "respiration";
    case Command::kWaveformInfo:
        return "waveform information";
    case Command::kWaveformData:
        return "waveform data";
    case Command::kOutputStart:
        return "output start";
    case Command::kOutputStop:
        return "output stop";
    case Command::kOutputRecordOff:
        return "output record, off";
    case Command::kRomStatus:
        return "ROM status";
    case Command::kRomStore:
        return "ROM store";
    }
    return "unknown";
}

} // namespace zeka::sim
