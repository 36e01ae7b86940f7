// command_sim.cpp - zeka sim: the virtual instrument for any program, or until it is interrupted.
#include "cli/capture.h"
#include "cli/connect_options.h"
#include "cli/fault_options.h"
#include "sim/run.h"

namespace zeka::cli {
namespace {

struct SimCommandOptions {
    int port = 0;
    bool fast = false;
    bool report = false;
    FaultOptions faults;
    std::string capture; // a file, or empty
};

Exit Simulate(const SimCommandOptions& options, const Context& context)
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
    run.program = context.program;
    run.report = options.report;
    run.report_seconds = options.report ? kReportSeconds : 0.0;
    run.quiet = context.console.quiet;
    run.argv = context.argv;
    const int status = sim::RunSim(run); // the program's own, if there is one
    capture.Finish();
    return static_cast<Exit>(status);
}

} // namespace

void AddSim(CLI::App& app, Context& context)
{
    auto options = std::make_shared<SimCommandOptions>();
    CLI::App* command = app.add_subcommand("sim", "run a program with the virtual instrument plugged in");
    command->footer(
        "The program finds the instrument as it would find the real one, and sim ends with its exit\n"
        "status. Without a program the instrument stays plugged in until Ctrl-C.\n\n" +
        FaultHelp() + "\nExample: zeka sim --fault late-reply --seed 7 -- zeka play sine --seconds 4");
    AddPortOption(*command, options->port, "plugged in at /dev/ttyACM<N>");
    command
        ->add_option_function<std::string>(
            "--clock", [options](const std::string& clock) { options->fast = clock == "fast"; },
            "real time, or as fast as it goes [real, fast]")
        ->type_name("CLOCK")
        ->group("Instrument")
        ->check(OneOf({"real", "fast"}));
    command
        ->add_option("--capture", options->capture,
                     "write what it plays into this file: time in s, AC and DC channel in mV")
        ->type_name("FILE")
        ->group("Instrument");
    AddFaultOptions(*command, options->faults);
    command->add_flag("--report", options->report, "in the end say on stderr what the instrument measured")
        ->group("Instrument");
    command->add_flag("-q,--quiet", context.console.quiet, "nothing on stderr but errors")->group("Output");
    command->callback(
        [options, &context] { context.job = [options, &context] { return Simulate(*options, context); }; });
}

} // namespace zeka::cli
