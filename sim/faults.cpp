// faults.cpp - see faults.h.
#include "sim/faults.h"

#include <algorithm>

namespace zeka::sim {

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
    return rule.fault == fault && rule.limit != 0 && (!rule.command || rule.command == command) &&
           (!rule.group || rule.group == group);
}

std::optional<FaultRule> FaultBoard::Take(Fault fault, Command command, std::uint8_t group)
{
    const auto entry = std::ranges::find_if(
        rules_, [&](const Entry& candidate) { return Applies(candidate.rule, fault, command, group); });
    if (entry == rules_.end())
        return std::nullopt;
    ++fired_[fault];
    const FaultRule rule = entry->rule;
    if (entry->rule.limit > 0 && --entry->rule.limit == 0)
        rules_.erase(entry);
    return rule;
}

std::optional<FaultRule> FaultBoard::Find(Fault fault, std::optional<Command> command,
                                          std::uint8_t group) const
{
    for (const Entry& entry : rules_)
        if (Applies(entry.rule, fault, command, group))
            return entry.rule;
    return std::nullopt;
}

std::optional<FaultRule> FaultBoard::Active(Fault fault) const
{
    for (const Entry& entry : rules_)
        if (entry.rule.fault == fault)
            return entry.rule;
    return std::nullopt;
}

int FaultBoard::Fired(Fault fault) const
{
    const auto count = fired_.find(fault);
    return count == fired_.end() ? 0 : count->second;
}

} // namespace zeka::sim
