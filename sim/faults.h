// faults.h - the ways in which the instrument can be told to misbehave, and which of them apply right now.
// Rules are added and removed by a test while the instrument's thread asks; the instrument's lock guards the
// board.
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
    kStall,   // value: ms for which the line stands still both ways, from this reply on; it goes on in order
    kGarbage, // value: bytes of garbage ahead of the reply; 0 means 5
    kWrongMarker,  // the bytes by which the reply is known are wrong
    kWrongStatus,  // value: sent in the place of the status byte 0xFF
    kSingleBytes,  // value: us between the bytes of the reply
    kRequestAhead, // a sample request is sent directly ahead of the reply
    kWrongAck,     // one byte of the reply differs from what was sent
    kUnplugAtByte, // value: unplugged when that many bytes of the exchange (command, then reply) have passed
    kStopReading,  // while set: takes nothing from the host
    kFlood,        // while set: sends this many sample requests every millisecond; 0 means 8
    kStopAsking,   // while set: plays on, but asks for no burst
    kDeaf,         // while set: USB requests for line settings stay unanswered; a terminal has none
    kRomNeverDone, // a ROM store is not reported as done, however often it is asked for
};

/// Short names for command lines and reports: "late-reply".
const char* NameOf(Fault fault);

/// Faults of the stream, which go on once they have begun.
constexpr bool Lasts(Fault fault)
{
    return fault == Fault::kStopReading || fault == Fault::kFlood || fault == Fault::kStopAsking ||
           fault == Fault::kDeaf;
}

struct FaultRule {
    Fault fault{};
    int value = 0;
    int limit = -1;                         // for the next so many replies or commands; -1: until cleared
    std::optional<Command> command = {};    // only for this kind of command
    std::optional<std::uint8_t> group = {}; // only for commands with this first byte
    /// Sleeps until such a command comes, then strikes like any other, from that command on.
    std::optional<Command> from = {};
    Removal removal = Removal::kUnplug;          // kUnplugAtByte: how the cable goes
    std::optional<int> replug_port = {};         // kUnplugAtByte: comes back on this port ...
    std::chrono::milliseconds replug_after{100}; // ... so much later
    /// Lets so many occasions pass first: replies for the faults of a reply, whole bursts for those that last
    /// and for the one that unplugs.
    unsigned skip = 0;
    double chance = 1.0; // of each occasion, for the faults of a reply; the board's seed decides
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

    /// Tells that a command has arrived: wakes the rules that sleep until then.
    void CommandArrived(Command command);

    /// Tells that a whole burst has arrived: an occasion for the faults of the stream.
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
