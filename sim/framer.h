// framer.h - cuts the bytes from the host into commands, each by its own length, in whatever pieces they
// arrive. Used by the instrument's thread alone; knows only those meanings that decide a length.
//
// Two pairs of commands begin alike and differ in length:
// - EA FF 01: the respiration command (19 bytes) has zeros in bytes 6 and 7. The waveform information
//   (64 bytes) has its samples per period there, which are never 0.
// - EA FF 00 00 00: the stop command ends here; the output record with the output off goes on to 64 bytes.
//   The record has zeros in bytes 5 to 7 and 0x04 in byte 12. A byte that contradicts that, or kStopSilence
//   without a further byte, makes it the stop command. A record that pauses longer than that at this place is
//   misread.
//
// A byte that begins no command is skipped and counted. A command that stays incomplete for kFrameSilence is
// dropped: its sender has given up, and the next command must not be taken for its rest.
// dropped: its sender has given up, and the next command must not be taken for its rest.
#pragma once

#include "sim/wire.h"

#include <optional>
#include <vector>

namespace zeka::sim {

inline constexpr std::chrono::milliseconds kStopSilence{20};
inline constexpr std::chrono::milliseconds kFrameSilence{500};

struct Frame {
    Command command{};
    std::size_t size = 0;
    Block bytes{};
    TimePoint first{}; // arrival of the first byte
    TimePoint last{};  // arrival of the last byte

    [[nodiscard]] Bytes View() const { return Bytes(bytes).first(size); }
};

class Framer {
public:
    /// Takes what arrived at `now`. REQUIRES: Next has returned nothing since the last Feed.
    void Feed(Bytes bytes, TimePoint now);

    /// The next whole command, or nothing. To be called at Deadline, too: silence can end a command.
    std::optional<Frame> Next(TimePoint now);

    /// The time at which silence will decide about the pending bytes.
    [[nodiscard]] std::optional<TimePoint> Deadline() const;

    /// The bytes of a command that is not whole yet.
    [[nodiscard]] Bytes Pending() const { return Bytes(buffer_).subspan(head_); }

    /// The kind of the pending command, as far as its bytes determine it.
    [[nodiscard]] std::optional<Command> PendingCommand() const;

    void Clear();
    void ResetCounts() { unknown_bytes_ = truncated_ = 0; }

    [[nodiscard]] std::uint64_t UnknownBytes() const { return unknown_bytes_; }
    [[nodiscard]] std::uint64_t TruncatedCommands() const { return truncated_; }

private:
    Frame Take(Command command, std::size_t size);

    std::vector<std::uint8_t> buffer_;
    std::size_t head_ = 0;
    TimePoint head_time_{};
    TimePoint last_time_{};
    std::uint64_t unknown_bytes_ = 0;
    std::uint64_t truncated_ = 0;
};

} // namespace zeka::sim
