// fault_options.cpp - the table of faults, and the rules for the words of --fault.
#include "cli/instrument/fault_options.h"

#include "cli/shell/options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/format.h>
#include <optional>
#include <random>
#include <string_view>

namespace zeka::cli {
namespace {

using sim::Fault;

constexpr double kChance = 0.1;        // of each reply, when no occasion is given
constexpr unsigned kLatestBurst = 100; // 1.75 s of signal
constexpr int kHalfBurst = static_cast<int>(sim::kBurstBytes / 2);
constexpr int kMostMs = 60'000;

enum class Occasion { kReply, kEveryReply, kBurst };

struct FaultName {
    Fault fault;
    Occasion occasion;
    const char* value; // meaning of the value; null: takes none
    int without;       // the value when none is given
    int low, high;
    const char* what;
};

constexpr std::array kFaults{
    FaultName{Fault::kNoReply, Occasion::kReply, nullptr, 0, 0, 0,
              "a command is carried out, but not answered"},
    FaultName{Fault::kShortReply, Occasion::kReply, "bytes", 0, 1, 63,
              "a reply breaks off, half way without VALUE"},
    FaultName{Fault::kLateReply, Occasion::kReply, "ms", 300, 1, kMostMs,
              "a reply comes late, 300 without VALUE"},
    FaultName{Fault::kStall, Occasion::kReply, "ms", 600, 1, kMostMs,
              "both ways stand still from a reply on, 600 without VALUE"},
    FaultName{Fault::kGarbage, Occasion::kReply, "bytes", 5, 1, 64,
              "garbage ahead of a reply, 5 without VALUE"},
    FaultName{Fault::kWrongMarker, Occasion::kReply, nullptr, 0, 0, 0,
              "the bytes by which a reply is known are wrong"},
    FaultName{Fault::kWrongStatus, Occasion::kReply, "byte", 0, 0, 254, "a reply says \"not done\""},
    FaultName{Fault::kSingleBytes, Occasion::kReply, "us", 1000, 1, 100'000,
              "a reply comes byte by byte, 1000 apart without VALUE"},
    FaultName{Fault::kRequestAhead, Occasion::kReply, nullptr, 0, 0, 0,
              "a sample request comes directly ahead of a reply"},
    FaultName{Fault::kWrongAck, Occasion::kReply, nullptr, 0, 0, 0,
              "one byte of a reply differs from what was sent"},
    FaultName{Fault::kRomNeverDone, Occasion::kEveryReply, nullptr, 0, 0, 0, "a store in its ROM never ends"},
    FaultName{Fault::kUnplugAtByte, Occasion::kBurst, "ms", 0, 1, kMostMs,
              "unplugged in the middle of a burst; back after VALUE, else never"},
    FaultName{Fault::kStopAsking, Occasion::kBurst, nullptr, 0, 0, 0, "asks for no more bursts"},
    FaultName{Fault::kStopReading, Occasion::kBurst, nullptr, 0, 0, 0, "takes no more bytes"},
    FaultName{Fault::kFlood, Occasion::kBurst, "per ms", 8, 1, 64,
              "sends sample requests all the time, 8 without VALUE"},
};

[[noreturn]] void Refuse(const std::string& text, const std::string& why)
{
    throw Failure(Exit::kUsage, fmt::format("--fault {}: {}; 'zeka sim --help' lists the faults", text, why));
}

/// Cuts off the whole number after `mark`, and the mark, and returns it.
std::optional<int> CutNumber(std::string_view& word, char mark, const std::string& text)
{
    const std::size_t at = word.find(mark);
    if (at == std::string_view::npos)
        return std::nullopt;
    const std::string_view digits = word.substr(at + 1);
    word = word.substr(0, at);
    int number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size())
        Refuse(text, fmt::format("\"{}\" is no whole number", digits));
    return number;
}

const FaultName& Find(std::string_view name, const std::string& text)
{
    const auto found = std::ranges::find_if(
        kFaults, [name](const FaultName& candidate) { return name == sim::NameOf(candidate.fault); });
    if (found == kFaults.end())
        Refuse(text, fmt::format("there is no fault called \"{}\"", name));
    return *found;
}

void PutOccasion(sim::FaultRule& rule, Occasion occasion, std::optional<int> nth, std::minstd_rand& random)
{
    if (nth) {
        rule.skip = static_cast<unsigned>(*nth) - 1;
        if (!sim::Lasts(rule.fault) && occasion != Occasion::kEveryReply)
            rule.limit = 1;
    }
    if (occasion == Occasion::kBurst) {
        if (!nth)
            rule.skip = std::uniform_int_distribution<unsigned>(0, kLatestBurst - 1)(random);
        if (sim::Lasts(rule.fault))
            ++rule.skip; // begins after its burst, not in it
        else
            rule.limit = 1;
    } else if (!nth && occasion == Occasion::kReply)
        rule.chance = kChance;
}

sim::FaultRule Parse(const std::string& text, int port, std::minstd_rand& random)
{
    std::string_view word = text;
    const std::optional<int> nth = CutNumber(word, '@', text);
    const std::optional<int> value = CutNumber(word, ':', text);
    const FaultName& name = Find(word, text);
    if (nth && *nth < 1)
        Refuse(text, "occasions count from 1");
    if (value && name.value == nullptr)
        Refuse(text, "it takes no VALUE");
    if (value && (*value < name.low || *value > name.high))
        Refuse(text, fmt::format("VALUE is not within {} to {} {}", name.low, name.high, name.value));
    sim::FaultRule rule;
    rule.fault = name.fault;
    rule.value = value.value_or(name.without);
    PutOccasion(rule, name.occasion, nth, random);
    if (name.fault == Fault::kUnplugAtByte) {
        rule.command = sim::Command::kSamples;
        rule.value = kHalfBurst;
        if (value) {
            rule.replug_port = port;
            rule.replug_after = std::chrono::milliseconds(*value);
        }
    }
    return rule;
}

} // namespace

void AddFaultOptions(const Command& command, FaultOptions& options)
{
    constexpr const char* kGroup = "Faults";
    command.AddOption("--fault", options.faults, "misbehave, see below; may be given several times")
        .TypeName("NAME[:VALUE][@N]")
        .Group(kGroup)
        .OneValue();
    command
        .AddOption("--seed", options.seed,
                   "decides when faults without @N strike, 1 without it [0 to 4294967295]")
        .TypeName("N")
        .Group(kGroup);
}

std::string FaultHelp()
{
    std::string text = "Faults, and the unit of their VALUE:\n";
    for (const FaultName& name : kFaults) {
        const std::string unit = name.value != nullptr ? fmt::format(":{}", name.value) : "";
        text += fmt::format("  {:<21} {}\n", sim::NameOf(name.fault) + unit, name.what);
    }
    return text +
           "With @N a fault strikes once: at the Nth reply, or from the Nth burst of 17.5 ms on. Without, "
           "each\n"
           "reply is hit with a chance of 1 in 10, and bursts within the first 1.75 s of signal. The same\n"
           "seed and the same commands meet the same faults.\n";
}

std::vector<sim::FaultRule> FaultRules(const FaultOptions& options, int port)
{
    std::minstd_rand random(options.seed);
    std::vector<sim::FaultRule> rules;
    for (const std::string& text : options.faults)
        rules.push_back(Parse(text, port, random));
    return rules;
}

} // namespace zeka::cli
