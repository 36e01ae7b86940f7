// info.cpp - zeka info: what the instrument says of itself and of its output stage.
#include "cli/commands/commands.h"

#include "cli/instrument/control_block.h"
#include "cli/instrument/session.h"
#include "cli/shell/options.h"

#include <fmt/format.h>
#include <memory>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

/// What the library itself has of the DC channel; the instrument has its DC sources.
struct Dc {
    int offset_mv = ZEKAGetDCOffset();
    bool variable = ZEKAGetDCOffsetVariableMode();
    bool common = GetDCOffsetCommonMode();
};

using Channels = std::array<OutputChannel, kOutputChannels>;

/// Before any call of the library that exchanges something: see control_block.h.
Channels AskForChannels(const Session& session)
{
    const auto port = static_cast<int>(ZEKAGetDeviceHandle());
    Session::EndIfLost();
    return ChannelsOf(ReadControlBlock(port, session.Who().node));
}

std::string ImpedanceText(const OutputChannel& channel)
{
    return channel.impedance ? fmt::format("mode {}", *channel.impedance) : "unknown";
}

std::string Text(const Identity& who, const ZEKA_HW_INFORMATION& hardware, const Channels& channels,
                 const Dc& dc)
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
    for (int number = 0; const OutputChannel& channel : channels)
        text += fmt::format("channel {}       lead {}, input impedance {}, signal ground {}, DC source {}\n",
                            number++, channel.lead_0 ? "0" : "other than 0", ImpedanceText(channel),
                            channel.signal_ground ? "connected" : "open", DcSourceText(channel.dc_source));
    return text +
           fmt::format("DC              offset {} mV, variable {}, common mode {} (of this connection)\n",
                       dc.offset_mv, dc.variable ? "on" : "off", dc.common ? "on" : "off");
}

JsonValue Json(const Identity& who, const ZEKA_HW_INFORMATION& hardware, const Channels& channels,
               const Dc& dc)
{
    JsonValue object{{"instrument", ToJson(who)}};
    object["hardware"] = {{"stored", {hardware.nStoredInfo0, hardware.nStoredInfo1}},
                          {"query", hardware.nQueryInfo},
                          {"settings", {hardware.nHWSetting0, hardware.nHWSetting1}}};
    object["channels"] = JsonValue::Array();
    for (int number = 0; const OutputChannel& channel : channels)
        object["channels"].Append(
            {{"channel", number++},
             {"lead", channel.lead_0 ? JsonValue(0) : JsonValue("other than 0")},
             {"impedance_mode", channel.impedance ? JsonValue(*channel.impedance) : JsonValue("unknown")},
             {"signal_ground", channel.signal_ground},
             {"dc_source", DcSourceText(channel.dc_source)}});
    object["dc"] = {{"offset_mv", dc.offset_mv}, {"variable", dc.variable}, {"common_mode", dc.common}};
    return object;
}

Exit Info(const ConnectOptions& options, Context& context)
{
    const Session session(options, context);
    const Channels channels = AskForChannels(session);
    ZEKA_HW_INFORMATION hardware{};
    if (ZEKAGetHWInformation(&hardware) != 1)
        Session::EndIfLost();
    const Dc dc;
    Session::EndIfLost(); // what was read of a lost instrument means nothing
    if (context.console.json)
        context.console.Result("info", Json(session.Who(), hardware, channels, dc));
    else
        context.console.Result(Text(session.Who(), hardware, channels, dc));
    return Exit::kDone;
}

} // namespace

void AddInfo(const Command& app, Context& context)
{
    auto options = std::make_shared<ConnectOptions>();
    const Command command = app.AddCommand("info", "who the instrument is and how its output stage is set");
    command.Footer("What stands behind the channels is what the instrument answers when it is asked. "
                   "Connecting itself\n"
                   "sets lead 0 and input impedance mode 0 on all channels, and the end of a connection "
                   "sets all DC\n"
                   "sources to none: what shows here is what a program left that did not come to its end. "
                   "A DC source\n"
                   "is none, +300 mV, -300 mV, or variable: what comes with the samples. The last line "
                   "tells what the\n"
                   "library sends with a signal.");
    AddConnectOptions(command, *options);
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Info(*options, context); }; });
}

} // namespace zeka::cli
