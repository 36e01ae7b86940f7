// command_set.cpp - zeka set: the switches of the output stage. They stay as they are set when the command
// ends; the next program that connects sets lead 0 and impedance mode 0 again.
#include "cli/session.h"
#include "cli/signal_options.h"

#include <fmt/format.h>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr int kChannels = 4;

struct SetOptions {
    ConnectOptions connect;
    int channel = -1; // all
    std::optional<int> lead;
    std::optional<int> impedance;
    std::string ground;
    bool reset = false;
};

/// The impedance mode as it can be read back: 3 looks like 2.
int ReadBack(int mode) { return mode == 3 ? 2 : mode; }

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
        const bool on = options.ground == "on";
        Require(ZEKASetSignalGroundToGNDGround(channel, on), "--ground");
        if ((ZEKAGetSignalGroundToGNDGround(channel) == 1) != on)
            throw Failure(Exit::kCheckFailed,
                          fmt::format("channel {} does not show its signal ground {}; run this again",
                                      channel, options.ground));
    }
}

Exit Set(const SetOptions& options, Context& context)
{
    if (!options.reset && !options.lead && !options.impedance && options.ground.empty())
        throw Failure(Exit::kUsage, "nothing to set; give --lead, --impedance, --ground or --reset");
    const Session session(options.connect, context);
    if (options.reset)
        ZEKAReset();
    std::vector<int> channels;
    for (int channel = 0; channel < kChannels; ++channel)
        if (options.channel < 0 || options.channel == channel)
            channels.push_back(channel);
    for (const int channel : channels)
        SetChannel(channel, options);
    Session::EndIfLost();
    if (context.console.json)
        context.console.Result("set", {{"instrument", ToJson(session.Who())}, {"channels", channels}});
    else
        context.console.Result(
            fmt::format("set on channel{} {}\n", channels.size() == 1 ? "" : "s", fmt::join(channels, ", ")));
    return Exit::kDone;
}

} // namespace

void AddSet(CLI::App& app, Context& context)
{
    auto options = std::make_shared<SetOptions>();
    CLI::App* command = app.add_subcommand("set", "the switches of the output stage");
    command->footer(
        "The switches stay as they are set when the command ends. Whatever connects next, this command\n"
        "included, sets lead 0 and impedance mode 0 on all channels first.");
    constexpr const char* kGroup = "Output stage";
    command->add_option("--channel", options->channel, "this one alone, else all [0 to 3]")
        ->type_name("N")
        ->group(kGroup)
        ->check(Within(0, kChannels - 1, ""));
    command->add_option("--lead", options->lead, "lead selection [0, 1]")
        ->type_name("N")
        ->group(kGroup)
        ->check(OneOf({"0", "1"}));
    command->add_option("--impedance", options->impedance, "input impedance mode [0 to 3]")
        ->type_name("N")
        ->group(kGroup)
        ->check(OneOf({"0", "1", "2", "3"}));
    command
        ->add_option("--ground", options->ground, "signal ground tied to the instrument's ground [on, off]")
        ->type_name("STATE")
        ->group(kGroup)
        ->check(OneOf({"on", "off"}));
    command->add_flag("--reset", options->reset, "first reset the instrument and everything that can be set")
        ->group(kGroup);
    AddConnectOptions(*command, options->connect);
    AddCommonOptions(*command, context);
    command->callback(
        [options, &context] { context.job = [options, &context] { return Set(*options, context); }; });
}

} // namespace zeka::cli
