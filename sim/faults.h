// faults.h - the faults that the virtual instrument can be given, and which of them apply right
// now. A test adds and removes rules while the instrument's thread looks them up; the
// instrument's mutex guards the board.
#pragma once

#include "sim/medium.h"

#include <map>
#include <optional>
#include <random>
#include <vector>

namespace zeka::sim {

enum class Fault {
    kNoReply,    // the command is carried out, its reply is not sent
    kShortReply, // value: bytes that are sent; 0 means half of the reply
    kLateReply,  // value: ms by which the reply comes late; what follows waits behind it
    kStall,   // value: ms for which nothing passes either way, from this reply on; then all goes on in order
    kGarbage, // value: bytes of garbage ahead of the reply; 0 means 5
    kWrongMarker,  // the bytes that identify the reply are wrong
    kWrongStatus,  // value: sent in place of the status byte 0xFF
    kSingleBytes,  // value: us between the bytes of the reply
    kRequestAhead, // a sample request is sent right before the reply
    kWrongAck,     // one byte of the reply differs from what was sent
    kUnplugAtByte, // value: unplugged after that many bytes of the exchange (command, then reply)
    kStopReading,  // while set: reads nothing from the host
    kFlood,        // while set: sends this many sample requests every millisecond; 0 means 8
    kStopAsking,   // while set: plays on, but requests no burst
    kDeaf,         // while set: leaves USB requests for line settings unanswered; no effect on a terminal
    kRomNeverDone, // a ROM store is never reported as done
};

/// Short names for command lines and reports: "late-reply".
const char* NameOf(Fault fault);

/// Whether the fault is one of the stream, which goes on once it has begun.
constexpr bool Lasts(Fault fault)
{
    return fault == Fault::kStopReading || fault == Fault::kFlood || fault == Fault::kStopAsking ||
           fault == Fault::kDeaf;
}

struct FaultRule {
    Fault fault{};
    int value = 0;
    int limit = -1;                         // the next so many replies or commands; -1: until removed
    std::optional<Command> command = {};    // only for this kind of command
    std::optional<std::uint8_t> group = {}; // only for commands with this first byte
    /// The rule is inactive until such a command arrives, and applies from that command on.
    std::optional<Command> from = {};
    Removal removal = Removal::kUnplug;          // kUnplugAtByte: how the cable is removed
    std::optional<int> replug_port = {};         // kUnplugAtByte: plugged in again on this port ...
    std::chrono::milliseconds replug_after{100}; // ... after so much time
    /// Occasions that pass before the rule applies: replies for the faults of a reply, whole bursts for the
    /// faults that last and for kUnplugAtByte.
    unsigned skip = 0;
    double chance = 1.0; // of each occasion, for the faults of a reply; drawn with the board's seed
};

class FaultBoard {
public:
    int Add(const FaultRule& rule);
    void Remove(int id);
    void Clear() { rules_.clear(); }

    /// The rule of this fault that applies to the command; counts towards its limit.
    std::optional<FaultRule> Take(Fault fault, Command command, std::uint8_t group);

    /// Like Take, without counting. `command` is empty while only the group is known.
    [[nodiscard]] std::optional<FaultRule> Find(Fault fault, std::optional<Command> command,
                                                std::uint8_t group) const;

    /// For the faults that last while they are set.
    [[nodiscard]] std::optional<FaultRule> Active(Fault fault) const;

    [[nodiscard]] int Fired(Fault fault) const;

    /// To be called for every command: activates the rules that wait for it.
    void CommandArrived(Command command);

    /// To be called for every whole burst: an occasion for the faults of the stream.
    void BurstArrived();

    /// The same seed and the same commands give the same faults.
    void Seed(std::uint32_t seed) { random_.seed(seed); }

private:
    struct Entry {
        int id;
        FaultRule rule;
    };
    static bool Applies(const FaultRule& rule, Fault fault, std::optional<Command> command,
                        std::uint8_t group);

    [[nodiscard]] bool Strikes(FaultRule& rule);

    std::vector<Entry> rules_;
    std::map<Fault, int> fired_;
    std::minstd_rand random_;
    int next_id_ = 1;
};

} // namespace zeka::sim
