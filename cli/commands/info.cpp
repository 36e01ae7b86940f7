// info.cpp - zeka info: the identity of the instrument and the state of its output stage.
#include "cli/commands/commands.h"

#include "cli/instrument/session.h"
#include "cli/shell/options.h"

#include <fmt/format.h>
#include <memory>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

/// What the library knows of the DC channel; the DC sources are read from the instrument.
struct Dc {
    int offset_mv = ZEKAGetDCOffset();
    bool variable = ZEKAGetDCOffsetVariableMode();
    bool common = GetDCOffsetCommonMode();
};

constexpr int kChannels = 4;

ZEKA_OUTPUT_STAGE AskForOutputStage(const Session& session)
{
    ZEKA_OUTPUT_STAGE stage{};
    stage.size = sizeof stage;
    if (ZEKAGetOutputStage(&stage) == 0)
        return stage;
    Session::EndIfLost();
    throw Failure(Exit::kTimeOut,
                  fmt::format("{} did not tell how its output stage is set; unplug it and plug it in "
                              "again, then run this again",
                              session.Who().node));
}

std::string ImpedanceText(int mode) { return mode >= 0 ? fmt::format("mode {}", mode) : "unknown"; }

std::string DcSourceText(int source)
{
    switch (source) {
    case ZEKA_DC_SOURCE_NONE:
        return "none";
    case ZEKA_DC_SOURCE_PLUS_300_MV:
        return "+300 mV";
    case ZEKA_DC_SOURCE_MINUS_300_MV:
        return "-300 mV";
    case ZEKA_DC_SOURCE_VARIABLE:
        return "variable";
    default:
        return fmt::format("unknown (0x{:02X})", source);
    }
}

std::string Text(const Identity& who, const ZEKA_HW_INFORMATION& hardware, const ZEKA_OUTPUT_STAGE& stage,
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
    for (int channel = 0; channel < kChannels; ++channel)
        text += fmt::format(
            "channel {}       lead {}, input impedance {}, signal ground {}, DC source {}\n", channel,
            stage.lead[channel] == 0 ? "0" : "other than 0", ImpedanceText(stage.impedanceMode[channel]),
            stage.signalGround[channel] == 1 ? "connected" : "open", DcSourceText(stage.dcSource[channel]));
    return text +
           fmt::format("DC              offset {} mV, variable {}, common mode {} (of this connection)\n",
                       dc.offset_mv, dc.variable ? "on" : "off", dc.common ? "on" : "off");
}

JsonValue Json(const Identity& who, const ZEKA_HW_INFORMATION& hardware, const ZEKA_OUTPUT_STAGE& stage,
               const Dc& dc)
{
    JsonValue object{{"instrument", ToJson(who)}};
    object["hardware"] = {{"stored", {hardware.nStoredInfo0, hardware.nStoredInfo1}},
                          {"query", hardware.nQueryInfo},
                          {"settings", {hardware.nHWSetting0, hardware.nHWSetting1}}};
    object["channels"] = JsonValue::Array();
    for (int channel = 0; channel < kChannels; ++channel) {
        const int mode = stage.impedanceMode[channel];
        object["channels"].Append(
            {{"channel", channel},
             {"lead", stage.lead[channel] == 0 ? JsonValue(0) : JsonValue("other than 0")},
             {"impedance_mode", mode >= 0 ? JsonValue(mode) : JsonValue("unknown")},
             {"signal_ground", stage.signalGround[channel] == 1},
             {"dc_source", DcSourceText(stage.dcSource[channel])}});
    }
    object["dc"] = {{"offset_mv", dc.offset_mv}, {"variable", dc.variable}, {"common_mode", dc.common}};
    return object;
}

Exit Info(const ConnectOptions& options, Context& context)
{
    const Session session(options, context);
    const ZEKA_OUTPUT_STAGE stage = AskForOutputStage(session);
    ZEKA_HW_INFORMATION hardware{};
    if (ZEKAGetHWInformation(&hardware) != 1)
        Session::EndIfLost();
    const Dc dc;
    Session::EndIfLost(); // what was read from a lost instrument is invalid
    if (context.console.json)
        context.console.Result("info", Json(session.Who(), hardware, stage, dc));
    else
        context.console.Result(Text(session.Who(), hardware, stage, dc));
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
