// play.cpp - zeka play: streams a signal to the instrument. With the virtual one it compares what was
// measured with what was requested, and fails when they differ.
#include "cli/commands/commands.h"

#include "cli/playing/comparison.h"
#include "cli/playing/follow.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"

#include <fmt/format.h>
#include <memory>
#include <optional>

namespace zeka::cli {
namespace {

struct PlayOptions {
    SignalOptions signal;
    ConnectOptions connect;
    std::optional<double> seconds;
};

std::string HowLong(const PlayOptions& options)
{
    return options.seconds       ? fmt::format("for {} s", *options.seconds)
           : options.signal.once ? "once"
                                 : "until Ctrl-C";
}

std::string EndText(const StreamSummary& summary, const Session& session)
{
    return fmt::format(
        "played {:.2f} s in {} bursts, {} {:.2f} ms, output {}\n", summary.seconds, summary.bursts,
        session.Virtual() != nullptr ? "worst answer" : "longest pause between two", summary.worst_ms, "off");
}

JsonValue EndJson(const StreamSummary& summary, const Session& session, const Selection& selection)
{
    JsonValue object;
    object["instrument"] = ToJson(session.Who());
    object["function"] = selection.name;
    object["seconds"] = summary.seconds;
    object["bursts"] = summary.bursts;
    object[session.Virtual() != nullptr ? "worst_answer_ms" : "longest_pause_ms"] = summary.worst_ms;
    object["interrupted"] = summary.interrupted;
    object["output_off"] = true; // otherwise a Failure was thrown
    return object;
}

void EnsureOff(const Session& session)
{
    if (session.Virtual() != nullptr && session.Virtual()->State().output_on)
        throw Failure(Exit::kCheckFailed,
                      "the virtual instrument's output is still on; this is a fault of the library");
}

Exit Play(PlayOptions& options, Context& context)
{
    const Selection selection = CheckSignal(options.signal);
    Session session(options.connect, context);
    StreamWatch watch(session);
    ApplySignal(options.signal, selection);
    context.console.Note(fmt::format("playing {} {}", selection.name, HowLong(options)));
    StartSignal(options.signal, selection);
    const StreamSummary summary = watch.Run(options.seconds, context.console);
    SwitchOutputOff();
    EnsureOff(session);

    std::vector<Row> rows;
    if (session.Virtual() != nullptr) {
        const std::optional<double> limit = summary.interrupted ? std::nullopt : options.seconds;
        rows = Compare(options.signal, selection, {watch.Played(limit), session.Virtual()->Stats().stream});
    }
    if (context.console.json) {
        JsonValue object = EndJson(summary, session, selection);
        if (session.Virtual() != nullptr)
            object["measured"] = ToJson(rows);
        context.console.Result("play", object);
    } else {
        context.console.Result(EndText(summary, session) +
                               (rows.empty() ? "" : TableOf(rows, context.console)));
    }
    if (summary.interrupted)
        EndIfInterrupted();
    return AnyFailed(rows) ? Exit::kCheckFailed : Exit::kDone;
}

} // namespace

void AddPlay(const Command& app, Context& context)
{
    auto options = std::make_shared<PlayOptions>();
    const Command command = app.AddCommand("play", "stream a signal to the instrument");
    command.Footer(FunctionHelp() + "\nThe output is off when the command ends, however it ends.\n"
                                    "Example: zeka play ecg --rate 72 --pacing 5 --seconds 10 --sim");
    AddSignalOptions(command, options->signal);
    command
        .AddOption("--seconds", options->seconds, "so much of the signal, else until Ctrl-C [0.1 to 86400 s]")
        .TypeName("s")
        .Group("Signal")
        .Within(0.1, 86400.0, "s");
    AddConnectOptions(command, options->connect);
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Play(*options, context); }; });
}

} // namespace zeka::cli
