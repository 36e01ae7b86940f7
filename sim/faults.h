// faults.h - the ways in which the instrument can be told to misbehave, and which of them apply right now.
// Rules are added and removed by a test while the instrument's thread asks; the instrument's lock guards the
// board.
#pragma once

#include "sim/wire.h"

#include <map>
#include <optional>
#include <vector>

namespace zeka::sim {

enum class Fault {
    kNoReply,      // the command is carried out, its reply is not sent
    kShortReply,   // value: bytes that are sent; 0 means half of the reply
    kLateReply,    // value: ms by which the reply comes late; what follows waits behind it
    kGarbage,      // value: bytes of garbage ahead of the reply; 0 means 5
    kWrongMarker,  // the bytes by which the reply is known are wrong
    kWrongStatus,  // value: sent in the place of the status byte 0xFF
    kSingleBytes,  // value: us between the bytes of the reply
    kRequestAhead, // a sample request is sent directly ahead of the reply
    kWrongAck,     // one byte of the reply differs from what was sent
    kUnplugAtByte, // value: unplugged when that many bytes of the exchange (command, then reply) have passed
    kStopReading,  // while set: takes nothing from the host
    kFlood,        // while set: sends this many sample requests every millisecond; 0 means 8
    kStopAsking,   // while set: plays on, but asks for no burst
    kRomNeverDone, // while set: a ROM store is never reported as done
};

struct FaultRule {
    Fault fault{};
    int value = 0;
    int limit = -1;                         // for the next so many replies or commands; -1: until cleared
    std::optional<Command> command = {};    // only for this kind of command
    std::optional<std::uint8_t> group = {}; // only for commands with this first byte
    std::optional<int> replug_port = {};    // kUnplugAtByte: comes back on this port ...
    std::chrono::milliseconds replug_after{100}; // ... so much later
};

class FaultBoard {
public:
    int Add(const FaultRule& rule);
    void Remove(int id);
    void Clear() { rules_.clear(); }

    /// The rule for this fault that applies to a command; counts towards its limit.
    std::optional<FaultRule> Take(Fault fault, Command command, std::uint8_t group);

    /// As Take, without counting. `command` is empty while only the group is known.
    [[nodiscard]] std::optional<FaultRule> Find(Fault fault, std::optional<Command> command,
                                                std::uint8_t group) const;

    /// For the faults that last while they are set.
    [[nodiscard]] std::optional<FaultRule> Active(Fault fault) const;

    [[nodiscard]] int Fired(Fault fault) const;

private:
    struct Entry {
        int id;
        FaultRule rule;
    };
    static bool Applies(const FaultRule& rule, Fault fault, std::optional<Command> command,
                        std::uint8_t group);

    std::vector<Entry> rules_;
    std::map<Fault, int> fired_;
    int next_id_ = 1;
};

} // namespace zeka::sim
