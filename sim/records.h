// records.h - the configuration of a virtual instrument and the records that it keeps. Data only.
#pragma once

#include "sim/faults.h"
#include "sim/firmware.h"
#include "sim/medium.h"
#include "sim/player.h"

#include <functional>
#include <vector>

namespace zeka::sim {

/// Receives played samples, in order.
using SampleConsumer = std::function<void(std::span<const Sample>)>;

struct InstrumentConfig {
    Identity identity;
    Block control_block = PowerUpControlBlock(); // at power-up
    int port = 0; // on USB: the port of the virtual hub; the kernel then chooses the node's number
    MediumKind medium = DefaultMedium();
    PlayerConfig player;
    bool cooked = false;      // the terminal starts in canonical mode with echo, as the real driver's does
    bool keeps_power = false; // settings and output state survive a pulled cable
    // Removes the node also when this process is killed; always so outside of a private world.
    bool guard_node = false;
    std::uint32_t fault_seed = 1; // for faults that apply by chance
    unsigned rom_busy_polls = 1;  // status reads after a ROM store that report "not yet"
};

/// One command and its reply; sample packets are not listed.
struct CommandRecord {
    Command command{};
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> reply; // as queued, with faults; empty when none was sent
    TimePoint first_byte{};
    TimePoint last_byte{};
};

struct InstrumentStats {
    StreamStats stream;
    std::uint64_t commands = 0;
    std::uint64_t unknown_bytes = 0;      // skipped because they begin no command
    std::uint64_t truncated_commands = 0; // dropped because the rest did not come
    std::uint64_t bytes_received = 0;
    std::uint64_t bytes_sent = 0;
    std::uint64_t plugs = 0;
    std::uint64_t wakeups = 0; // rounds of the thread, so that a test can detect a busy loop
};

} // namespace zeka::sim
