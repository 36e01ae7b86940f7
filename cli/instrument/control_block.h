// control_block.h - how the instrument's output stage is set, as the instrument itself tells it: leads, input
// impedances, signal grounds and DC sources. The library reads some of it back and has no name for the rest,
// so `zeka info` makes this one exchange itself, on the descriptor of the open port.
//
// When that is possible: nothing streams, so the library's poll thread does not read; no call of the library
// is under way on another thread; and the supervisor, which pings at most every 30 s, has just set the
// connection up. The monitor is no hindrance: it waits for the hang-up and never reads.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace zeka::cli {

inline constexpr std::size_t kControlBlockBytes = 64;
using ControlBlock = std::array<std::uint8_t, kControlBlockBytes>;

struct OutputChannel {
    bool lead_0 = false;
    std::optional<int> impedance; // mode 0 .. 3; empty when the block shows several at once
    bool signal_ground = false;   // connected
    std::uint8_t dc_source = 0;   // as it is in the block
};

inline constexpr std::size_t kOutputChannels = 4;

/// What the block says of each channel.
std::array<OutputChannel, kOutputChannels> ChannelsOf(const ControlBlock& block);

/// "none", "+300 mV", "-300 mV", "variable", or "unknown (0x2A)".
std::string DcSourceText(std::uint8_t source);

inline constexpr std::chrono::milliseconds kControlBlockWait{300}; // for the whole exchange

/// Asks for the block right after connecting; see above for when. `port` is the library's descriptor, which
/// is neither closed nor changed; `node` is its name for messages. Throws Failure: kLost when the instrument
/// hung up, kTimeOut when it did not answer in time.
ControlBlock ReadControlBlock(int port, const std::string& node,
                              std::chrono::milliseconds wait = kControlBlockWait);

} // namespace zeka::cli
