// records.h - what a virtual instrument is made with, and what it keeps account of. Data only.
#pragma once

#include "sim/faults.h"
#include "sim/firmware.h"
#include "sim/medium.h"
#include "sim/player.h"

#include <functional>
#include <vector>

namespace zeka::sim {

/// Gets played samples, in order.
using SampleConsumer = std::function<void(std::span<const Sample>)>;

struct InstrumentConfig {
    Identity identity;
    Block control_block = PowerUpControlBlock(); // at power-up
    int port = 0; // on USB the port of the virtual hub; the kernel then gives the node its number
    MediumKind medium = DefaultMedium();
    PlayerConfig player;
    bool cooked = false;      // the terminal starts in canonical mode with echo, as the real driver's does
    bool keeps_power = false; // over a pulled cable: settings and output state stay
    bool guard_node =
        false; // the node goes also when this process is killed; outside of a private world always
    std::uint32_t fault_seed = 1; // for faults that strike by chance
    unsigned rom_busy_polls = 1;  // status reads after a ROM store that say "not yet"
};

/// One command as it came and what was answered; sample packets are not listed.
struct CommandRecord {
    Command command{};
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> reply; // as it was queued, faults included; empty when there was none
    TimePoint first_byte{};
    TimePoint last_byte{};
};

struct InstrumentStats {
    StreamStats stream;
    std::uint64_t commands = 0;
    std::uint64_t unknown_bytes = 0;      // skipped, because they begin no command
    std::uint64_t truncated_commands = 0; // dropped, because their rest never came
    std::uint64_t bytes_received = 0;
    std::uint64_t bytes_sent = 0;
    std::uint64_t plugs = 0;
    std::uint64_t wakeups = 0; // rounds of the thread: a busy loop shows here
};

} // namespace zeka::sim
