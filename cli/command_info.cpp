// command_info.cpp - zeka info: what the instrument says of itself and of its output stage.
#include "cli/session.h"

#include <fmt/format.h>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr int kChannels = 4;

const char* ImpedanceText(int mode)
{
    switch (mode) {
    case 0:
        return "mode 0";
    case 1:
        return "mode 1";
    case 2:
        return "mode 2 or 3"; // they read back alike
    default:
        return "unknown";
    }
}

/// What the library itself has of the DC channel: the instrument cannot be asked.
struct Dc {
    int offset_mv = ZEKAGetDCOffset();
    bool variable = ZEKAGetDCOffsetVariableMode();
    bool common = GetDCOffsetCommonMode();
};

constexpr const char* kNotReported = "not reported"; // the library has no call that reads it back

struct Channel {
    bool lead_0 = false; // confirmed
    int impedance = 0;
    bool signal_ground = false;
};

std::vector<Channel> ReadChannels()
{
    std::vector<Channel> channels;
    channels.reserve(kChannels);
    // A lead cannot be read back, but its setting is confirmed: connecting has just set lead 0, and setting
    // it again tells whether that is so.
    for (int number = 0; number < kChannels; ++number)
        channels.push_back({ZEKASetOutputLead(number, 0) == 0, ZEKAGetInputImpedanceMode(number),
                            ZEKAGetSignalGroundToGNDGround(number) == 1});
    return channels;
}

std::string Text(const Identity& who, const ZEKA_HW_INFORMATION& hardware,
                 const std::vector<Channel>& channels, const Dc& dc)
{
    std::string text =
        fmt::format("serial number   {}\n"
                    "model           {}\n"
                    "node            {}{}\n"
                    "library         {}\n"
                    "hardware        stored {} {}, query {}, settings {} {}\n",
                    who.serial, who.model, who.node, who.virtual_one ? " (virtual instrument)" : "",
                    who.version, hardware.nStoredInfo0, hardware.nStoredInfo1, hardware.nQueryInfo,
                    hardware.nHWSetting0, hardware.nHWSetting1);
    for (int number = 0; const Channel& channel : channels)
        text +=
            fmt::format("channel {}       lead {}, input impedance {}, signal ground {}, DC source {}\n",
                        number++, channel.lead_0 ? "0" : "not confirmed", ImpedanceText(channel.impedance),
                        channel.signal_ground ? "connected" : "open", kNotReported);
    return text +
           fmt::format("DC              offset {} mV, variable {}, common mode {} (of this connection)\n",
                       dc.offset_mv, dc.variable ? "on" : "off", dc.common ? "on" : "off");
}

nlohmann::ordered_json Json(const Identity& who, const ZEKA_HW_INFORMATION& hardware,
                            const std::vector<Channel>& channels, const Dc& dc)
{
    nlohmann::ordered_json object{{"instrument", ToJson(who)}};
    object["hardware"] = {{"stored", {hardware.nStoredInfo0, hardware.nStoredInfo1}},
                          {"query", hardware.nQueryInfo},
                          {"settings", {hardware.nHWSetting0, hardware.nHWSetting1}}};
    object["channels"] = nlohmann::ordered_json::array();
    for (int number = 0; const Channel& channel : channels)
        object["channels"].push_back(
            {{"channel", number++},
             {"lead", channel.lead_0 ? nlohmann::ordered_json(0) : nlohmann::ordered_json("not confirmed")},
             {"impedance_mode", channel.impedance},
             {"signal_ground", channel.signal_ground},
             {"dc_source", kNotReported}});
    object["dc"] = {{"offset_mv", dc.offset_mv}, {"variable", dc.variable}, {"common_mode", dc.common}};
    return object;
}

Exit Info(const ConnectOptions& options, Context& context)
{
    const Session session(options, context);
    ZEKA_HW_INFORMATION hardware{};
    if (ZEKAGetHWInformation(&hardware) != 1)
        Session::EndIfLost();
    const std::vector<Channel> channels = ReadChannels();
    const Dc dc;
    Session::EndIfLost(); // what was read of a lost instrument means nothing
    if (context.console.json)
        context.console.Result("info", Json(session.Who(), hardware, channels, dc));
    else
        context.console.Result(Text(session.Who(), hardware, channels, dc));
    return Exit::kDone;
}

} // namespace

void AddInfo(CLI::App& app, Context& context)
{
    auto options = std::make_shared<ConnectOptions>();
    CLI::App* command = app.add_subcommand("info", "who the instrument is and how its output stage is set");
    command->footer("Connecting itself sets lead 0 and input impedance mode 0 on all channels. Impedance and "
                    "signal ground\n"
                    "are what the instrument answers when it is asked. It cannot be asked for a lead through "
                    "the library:\n"
                    "lead 0 is set once more, which the instrument confirms or not. Its DC sources can "
                    "neither be asked for\n"
                    "nor set to what they are: they are \"not reported\". The last line tells what the "
                    "library sends with a\n"
                    "signal.");
    AddConnectOptions(*command, *options);
    AddCommonOptions(*command, context);
    command->callback(
        [options, &context] { context.job = [options, &context] { return Info(*options, context); }; });
}

} // namespace zeka::cli
