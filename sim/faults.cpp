// faults.cpp - keeps the rules and decides at each occasion which of them applies.
#include "sim/faults.h"

#include <algorithm>

namespace zeka::sim {

const char* NameOf(Fault fault)
{
    switch (fault) {
    case Fault::kNoReply:
        return "no-reply";
    case Fault::kShortReply:
        return "short-reply";
    case Fault::kLateReply:
        return "late-reply";
    case Fault::kStall:
        return "stall";
    case Fault::kGarbage:
        return "garbage";
    case Fault::kWrongMarker:
        return "wrong-marker";
    case Fault::kWrongStatus:
        return "wrong-status";
    case Fault::kSingleBytes:
        return "single-bytes";
    case Fault::kRequestAhead:
        return "request-ahead";
    case Fault::kWrongAck:
        return "wrong-ack";
    case Fault::kUnplugAtByte:
        return "unplug";
    case Fault::kStopReading:
        return "stop-reading";
    case Fault::kFlood:
        return "flood";
    case Fault::kStopAsking:
        return "stop-asking";
    case Fault::kDeaf:
        return "deaf";
    case Fault::kRomNeverDone:
        return "rom-never-done";
    }
    return "unknown";
}

int FaultBoard::Add(const FaultRule& rule)
{
    rules_.push_back({next_id_, rule});
    return next_id_++;
}

void FaultBoard::Remove(int id)
{
    std::erase_if(rules_, [id](const Entry& entry) { return entry.id == id; });
}

bool FaultBoard::Applies(const FaultRule& rule, Fault fault, std::optional<Command> command,
                         std::uint8_t group)
{
    return rule.fault == fault && rule.limit != 0 && !rule.from &&
           (!rule.command || rule.command == command) && (!rule.group || rule.group == group);
}

std::optional<FaultRule> FaultBoard::Take(Fault fault, Command command, std::uint8_t group)
{
    const auto entry = std::ranges::find_if(
        rules_, [&](const Entry& candidate) { return Applies(candidate.rule, fault, command, group); });
    if (entry == rules_.end() || !Strikes(entry->rule))
        return std::nullopt;
    ++fired_[fault];
    const FaultRule rule = entry->rule;
    if (entry->rule.limit > 0 && --entry->rule.limit == 0)
        rules_.erase(entry);
    return rule;
}

/// Whether a rule that applies strikes on this occasion; counts down its skip.
bool FaultBoard::Strikes(FaultRule& rule)
{
    if (rule.fault != Fault::kUnplugAtByte && rule.skip > 0) { // its occasions are bursts, see BurstArrived
        --rule.skip;
        return false;
    }
    return rule.chance >= 1.0 || std::bernoulli_distribution(rule.chance)(random_);
}

void FaultBoard::CommandArrived(Command command)
{
    for (Entry& entry : rules_)
        if (entry.rule.from == command)
            entry.rule.from.reset();
}

void FaultBoard::BurstArrived()
{
    for (Entry& entry : rules_) {
        FaultRule& rule = entry.rule;
        if (rule.skip == 0 || rule.from || (!Lasts(rule.fault) && rule.fault != Fault::kUnplugAtByte))
            continue;
        if (--rule.skip == 0 && Lasts(rule.fault))
            ++fired_[rule.fault];
    }
}

std::optional<FaultRule> FaultBoard::Find(Fault fault, std::optional<Command> command,
                                          std::uint8_t group) const
{
    for (const Entry& entry : rules_)
        if (entry.rule.skip == 0 && Applies(entry.rule, fault, command, group))
            return entry.rule;
    return std::nullopt;
}

std::optional<FaultRule> FaultBoard::Active(Fault fault) const
{
    for (const Entry& entry : rules_)
        if (entry.rule.fault == fault && entry.rule.skip == 0 && !entry.rule.from)
            return entry.rule;
    return std::nullopt;
}

int FaultBoard::Fired(Fault fault) const
{
    const auto count = fired_.find(fault);
    return count == fired_.end() ? 0 : count->second;
}

} // namespace zeka::sim
