// set.cpp - zeka set: the output stage. Its switches stay set when the command ends, but the next program
// that connects sets lead 0 and impedance mode 0 again. The DC offset ends with the connection, so the
// command holds it for the requested time.
#include "cli/commands/commands.h"

#include "cli/instrument/session.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"
#include "cli/signal/signal_options.h"

#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

using std::chrono::steady_clock;

constexpr int kChannels = 4;
constexpr int kMostDcMv = 1000;
constexpr double kLongestS = 86400.0;

struct SetOptions {
    ConnectOptions connect;
    int channel = -1; // -1: all channels
    std::optional<int> lead;
    std::optional<int> impedance;
    std::string ground; // "on", "off" or empty, like those below
    std::string enabled;
    std::string dc_variable;
    std::string dc_common;
    std::optional<int> dc_offset_mv;
    ImpedanceBreathing breathing;
    bool apnea = false;
    bool hold = false;
    std::optional<double> seconds;
    bool reset = false;

    [[nodiscard]] bool HasDc() const { return dc_offset_mv || !dc_variable.empty() || !dc_common.empty(); }
    [[nodiscard]] bool Holds() const { return hold || seconds; }
    [[nodiscard]] bool HasAny() const
    {
        return reset || lead || impedance || !ground.empty() || !enabled.empty() || HasDc() || breathing.rate;
    }
};

/// The impedance mode as it is read back: 3 cannot be distinguished from 2.
int ReadBack(int mode) { return mode == 3 ? 2 : mode; }

bool IsOn(const std::string& state) { return state == "on"; }

void SetDc(int channel, const SetOptions& options)
{
    // The mode comes first because it decides which DC source the offset selects.
    if (!options.dc_variable.empty())
        Require(ZEKASetDCOffsetVariableMode(channel, IsOn(options.dc_variable)), "--dc-variable");
    if (options.dc_offset_mv)
        Require(ZEKASetDCOffset(channel, *options.dc_offset_mv), "--dc-offset");
}

void SetChannel(int channel, const SetOptions& options)
{
    if (options.lead)
        Require(ZEKASetOutputLead(channel, *options.lead), "--lead");
    if (options.impedance) {
        Require(ZEKASetInputImpedanceMode(channel, *options.impedance), "--impedance");
        if (ZEKAGetInputImpedanceMode(channel) != ReadBack(*options.impedance))
            throw Failure(Exit::kCheckFailed,
                          fmt::format("channel {} does not show impedance mode {}; run this again", channel,
                                      *options.impedance));
    }
    if (!options.ground.empty()) {
        Require(ZEKASetSignalGroundToGNDGround(channel, IsOn(options.ground)), "--ground");
        if ((ZEKAGetSignalGroundToGNDGround(channel) == 1) != IsOn(options.ground))
            throw Failure(Exit::kCheckFailed,
                          fmt::format("channel {} does not show its signal ground {}; run this again",
                                      channel, options.ground));
    }
    if (!options.enabled.empty()) {
        const auto mask = static_cast<unsigned char>(1u << static_cast<unsigned>(channel));
        Require(SetSelectedChannelEnabled(mask, IsOn(options.enabled)) ? 0 : -1, "--enabled");
    }
    SetDc(channel, options);
}

void SetBreathing(const SetOptions& options)
{
    ApplyImpedanceBreathing(options.breathing, 0);
    if (options.apnea)
        Require(SetApnea(true) == 1 ? 0 : -1, "--resp-stopped");
}

void CheckSet(const SetOptions& options)
{
    if (!options.HasAny())
        throw Failure(Exit::kUsage,
                      "nothing to set; give --lead, --impedance, --ground, --dc-offset, --reset or the like");
    if (options.HasDc() && !options.Holds())
        throw Failure(
            Exit::kUsage,
            "the DC offset and its modes end with the command; add --seconds, or --hold to keep them "
            "until Ctrl-C");
}

/// Holds the output; true when interrupted.
bool Hold(const SetOptions& options, Console& console)
{
    constexpr std::chrono::milliseconds kLook{100};
    const auto start = steady_clock::now();
    bool interrupted = false;
    console.Note(options.seconds ? fmt::format("set, holding it for {} s", *options.seconds)
                                 : "set, holding it until Ctrl-C");
    while (!interrupted &&
           (!options.seconds ||
            std::chrono::duration<double>(steady_clock::now() - start).count() < *options.seconds)) {
        Session::EndIfLost();
        interrupted = InterruptedWithin(kLook);
    }
    return interrupted;
}

Exit Set(const SetOptions& options, Context& context)
{
    CheckSet(options);
    const Session session(options.connect, context);
    if (options.reset)
        ZEKAReset();
    std::vector<int> channels;
    for (int channel = 0; channel < kChannels; ++channel)
        if (options.channel < 0 || options.channel == channel)
            channels.push_back(channel);
    if (!options.dc_common.empty())
        Require(SetDCOffsetCommonMode(IsOn(options.dc_common)), "--dc-common");
    for (const int channel : channels)
        SetChannel(channel, options);
    SetBreathing(options);
    Session::EndIfLost();
    const bool interrupted = options.Holds() && Hold(options, context.console);
    if (context.console.json)
        context.console.Result(
            "set",
            {{"instrument", ToJson(session.Who())}, {"channels", channels}, {"interrupted", interrupted}});
    else
        context.console.Result(
            fmt::format("set on channel{} {}\n", channels.size() == 1 ? "" : "s", fmt::join(channels, ", ")));
    // Ctrl-C is the normal end of a hold without a time.
    if (interrupted && options.seconds)
        EndIfInterrupted();
    return Exit::kDone;
}

void AddSwitch(const Command& command, const char* option, std::string& state, const char* group,
               const char* what)
{
    command.AddOption(option, state, fmt::format("{} [on, off]", what))
        .TypeName("STATE")
        .Group(group)
        .OneOf({"on", "off"});
}

void AddDcOptions(const Command& command, SetOptions& options)
{
    constexpr const char* kGroup = "DC, while the command runs";
    command
        .AddOption("--dc-offset", options.dc_offset_mv,
                   "DC offset; -300 and 300 also without variable DC [-1000 to 1000 mV, whole numbers]")
        .TypeName("mV")
        .Group(kGroup)
        .Within(-kMostDcMv, kMostDcMv, "mV");
    AddSwitch(command, "--dc-variable", options.dc_variable, kGroup,
              "DC output follows the samples (on) or a fixed source (off)");
    AddSwitch(command, "--dc-common", options.dc_common, kGroup, "DC offset common mode");
    const Option hold = command.AddFlag("--hold", options.hold, "stay connected until Ctrl-C").Group(kGroup);
    command.AddOption("--seconds", options.seconds, "stay connected so long [0.1 to 86400 s]")
        .TypeName("s")
        .Group(kGroup)
        .Within(0.1, kLongestS, "s")
        .Excludes(hold);
}

} // namespace

void AddSet(const Command& app, Context& context)
{
    auto options = std::make_shared<SetOptions>();
    const Command command =
        app.AddCommand("set", "the switches of the output stage, DC, impedance breathing");
    command.Footer(
        "The switches and the breathing stay as they are set when the command ends. Whatever connects next,\n"
        "this command included, sets lead 0 and impedance mode 0 on all channels first. The DC offset goes\n"
        "back to 0 when the command ends.\n"
        "Example: zeka set --channel 0 --dc-variable off --dc-offset 300 --hold");
    constexpr const char* kGroup = "Output stage";
    command.AddOption("--channel", options->channel, "this one alone, else all [0 to 3]")
        .TypeName("N")
        .Group(kGroup)
        .Within(0, kChannels - 1, "");
    command.AddOption("--lead", options->lead, "lead selection [0, 1]")
        .TypeName("N")
        .Group(kGroup)
        .OneOf({"0", "1"});
    command.AddOption("--impedance", options->impedance, "input impedance mode [0 to 3]")
        .TypeName("N")
        .Group(kGroup)
        .OneOf({"0", "1", "2", "3"});
    AddSwitch(command, "--ground", options->ground, kGroup, "signal ground tied to the instrument's ground");
    AddSwitch(command, "--enabled", options->enabled, kGroup, "output channel in use");
    command.AddFlag("--reset", options->reset, "first reset the instrument and everything that can be set")
        .Group(kGroup);
    AddDcOptions(command, *options);
    AddImpedanceBreathing(command, options->breathing);
    command.AddFlag("--resp-stopped", options->apnea, "apnea: the breath stands still")
        .Group(kImpedanceBreathingGroup)
        .Needs("--resp-rate");
    AddConnectOptions(command, options->connect);
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Set(*options, context); }; });
}

} // namespace zeka::cli
