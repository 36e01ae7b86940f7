// sim.cpp - zeka sim: runs the virtual instrument for a given program, or until it is interrupted.
#include "cli/commands/commands.h"

#include "cli/instrument/capture.h"
#include "cli/instrument/connect_options.h"
#include "cli/instrument/fault_options.h"
#include "cli/instrument/ports.h"
#include "cli/shell/options.h"
#include "sim/private_dev.h"
#include "sim/run.h"

#include <fmt/format.h>
#include <memory>
#include <optional>
#include <system_error>
#include <unistd.h>

namespace zeka::cli {
namespace {

struct SimCommandOptions {
    int port = 0;
    bool fast = false;
    bool report = false;
    FaultOptions faults;
    std::string capture; // file name, or empty
};

constexpr const char* ClockName(bool fast) { return fast ? "fast" : "real"; }

/// Null for a figure that the window does not show.
JsonValue Figure(const std::optional<double>& value)
{
    return value ? JsonValue(*value) : JsonValue(nullptr);
}

JsonValue ToJson(const sim::ChannelReport& channel)
{
    JsonValue object{{"minimum_mv", channel.minimum},
                     {"maximum_mv", channel.maximum},
                     {"peak_to_peak_mv", channel.peak_to_peak},
                     {"mean_mv", channel.mean},
                     {"rms_mv", channel.rms},
                     {"frequency_hz", Figure(channel.frequency_hz)}};
    object["periods"] = channel.periods;
    return object;
}

JsonValue ToJson(const sim::Report& report)
{
    JsonValue object{{"seconds", report.seconds}, {"ac", ToJson(report.ac)}, {"dc", ToJson(report.dc)}};
    object["r_peaks_per_minute"] = Figure(report.r_peaks_per_minute);
    object["pulses_per_minute"] = Figure(report.dc.pulses_per_minute);
    object["pulse_width_ms"] =
        report.dc.pulse_width_ms.empty() ? JsonValue(nullptr) : JsonValue(report.dc.pulse_width_ms.front());
    object["pulse_height_mv"] = Figure(report.dc.pulse_height);
    return object;
}

JsonValue AnswerMs(const std::vector<double>& answer_us)
{
    if (answer_us.empty())
        return nullptr;
    const auto ms = [&answer_us](double percent) { return sim::Percentile(answer_us, percent) / 1000.0; };
    return {{"p50", ms(50)}, {"p99", ms(99)}, {"worst", ms(100)}};
}

JsonValue Plugged(const SimCommandOptions& options, const sim::InstrumentState& state)
{
    return {{"event", "plugged"},
            {"node", state.node},
            {"port", state.port},
            {"terminal", state.terminal},
            {"clock", ClockName(options.fast)},
            {"private_dev", sim::InPrivateDev()},
            {"process", ::getpid()}};
}

JsonValue Ended(const SimCommandOptions& options, const sim::SimEnd& end)
{
    const sim::StreamStats& stream = end.stats.stream;
    JsonValue object{{"event", "ended"},
                     {"commands", end.stats.commands},
                     {"requests", stream.requests},
                     {"bursts", stream.bursts},
                     {"sequence_gaps", stream.sequence_gaps},
                     {"underruns", stream.underruns},
                     {"bad_headers", stream.bad_headers},
                     {"answer_ms", AnswerMs(stream.last_byte_us)}};
    object["faults"] = JsonValue::Array();
    for (const auto& [fault, struck] : end.faults)
        object["faults"].Append({{"fault", sim::NameOf(fault)}, {"struck", struck}});
    if (options.report)
        object["measured"] = end.measured ? ToJson(*end.measured) : JsonValue(nullptr);
    object["exit_status"] = end.status;
    return object;
}

[[noreturn]] void CannotPlug(int port, const std::error_code& code)
{
    const std::string node = NodeOf(port);
    if (code == std::errc::file_exists && sim::InPrivateDev())
        throw Failure(
            Exit::kPermission,
            fmt::format("a virtual instrument is plugged in at {} already, by the zeka sim round this; "
                        "start the program without a second one, or name another port with --port",
                        node));
    if (code == std::errc::file_exists)
        throw Failure(
            Exit::kPermission,
            fmt::format("cannot plug the virtual instrument in: there is a {} already; name another "
                        "port with --port",
                        node));
    throw Failure(Exit::kPermission,
                  fmt::format("cannot plug the virtual instrument in at {}: {}; run it as root, "
                              "or start a program with it: zeka sim -- PROGRAM",
                              node, code.message()));
}

Exit Simulate(const SimCommandOptions& options, Context& context)
{
    constexpr double kReportSeconds = 60.0;
    if (context.has_program && context.program.empty())
        throw Failure(Exit::kUsage, "no program behind \"--\"; name one, or leave \"--\" out");
    sim::SimOptions run;
    run.instrument.port = options.port;
    run.instrument.player.clock = options.fast ? sim::ClockMode::kFast : sim::ClockMode::kReal;
    run.instrument.fault_seed = options.faults.seed;
    run.faults = FaultRules(options.faults, options.port);
    Capture capture(options.capture);
    if (!options.capture.empty()) {
        run.on_start = [&] { capture.Open(); };
        run.on_played = [&](const sim::Instrument& instrument, std::span<const sim::Sample> samples) {
            capture.Take(instrument, samples);
        };
    }
    Console& console = context.console;
    if (console.json) {
        run.on_plugged = [&](const sim::InstrumentState& state) {
            console.ResultLine("sim", Plugged(options, state));
        };
        run.on_end = [&](const sim::SimEnd& end) { console.ResultLine("sim", Ended(options, end)); };
        run.program_to_stderr = true;
    }
    run.program = context.program;
    run.report = options.report && !console.json;
    run.report_seconds = options.report ? kReportSeconds : 0.0;
    run.quiet = console.quiet;
    run.argv = context.argv;
    int status = 0; // the exit status of the program, if there is one
    try {
        status = sim::RunSim(run);
    } catch (const std::system_error& error) {
        CannotPlug(options.port, error.code());
    }
    capture.Finish();
    return static_cast<Exit>(status);
}

} // namespace

void AddSim(const Command& app, Context& context)
{
    auto options = std::make_shared<SimCommandOptions>();
    const Command command = app.AddCommand("sim", "run a program with the virtual instrument plugged in");
    command.Footer(
        "The program finds the instrument as it would find the real one, and sim ends with its exit\n"
        "status. Without a program the instrument stays plugged in until Ctrl-C.\n"
        "With --json stdout carries two objects, a line each: \"plugged\" with the node, and at the end\n"
        "\"ended\" with what the instrument counted, what it measured if --report is given, and the exit\n"
        "status. What the program writes to its standard output goes to standard error then.\n\n" +
        FaultHelp() + "\nExample: zeka sim --fault late-reply --seed 7 -- zeka play sine --seconds 4");
    AddPortOption(command, options->port, "plugged in at /dev/ttyACM<N>");
    command
        .AddOption(
            "--clock", [options](const std::string& clock) { options->fast = clock == "fast"; },
            "real time, or as fast as it goes [real, fast]")
        .TypeName("CLOCK")
        .Group("Instrument")
        .OneOf({"real", "fast"});
    command
        .AddOption("--capture", options->capture,
                   "write what it plays into this file: time in s, AC and DC channel in mV")
        .TypeName("FILE")
        .Group("Instrument");
    AddFaultOptions(command, options->faults);
    command
        .AddFlag("--report", options->report,
                 "in the end say on stderr, or with --json on stdout, what the instrument measured")
        .Group("Instrument");
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Simulate(*options, context); }; });
}

} // namespace zeka::cli
