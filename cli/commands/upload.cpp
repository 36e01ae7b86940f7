// upload.cpp - zeka upload: stores one period in the instrument's memory, from where it plays it alone. With
// the virtual one it compares what was measured with what was requested.
#include "cli/commands/commands.h"

#include "cli/playing/upload.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"

#include <chrono>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

using std::chrono::steady_clock;

struct UploadOptions {
    SignalOptions signal;
    ConnectOptions connect;
    std::optional<double> seconds;
    bool leave = false;
    bool stop = false;
};

/// Ends the playback from memory, which the end of the connection would not end, unless Leave was called.
class MemoryOutput {
public:
    MemoryOutput() = default;
    ~MemoryOutput()
    {
        if (!left_)
            (void)ZEKAOutputSignal(0); // a lost instrument cannot be switched off
    }
    MemoryOutput(const MemoryOutput&) = delete;
    MemoryOutput& operator=(const MemoryOutput&) = delete;
    void Leave() { left_ = true; }

private:
    bool left_ = false;
};

/// Follows the playback: by the samples that the virtual instrument played, else by the clock.
class MemoryWatch {
public:
    MemoryWatch(const Session& session, const UploadPlan& plan)
        : virtual_(session.Virtual()), rate_(plan.rate)
    {
        if (virtual_ != nullptr)
            virtual_->SetConsumer([this](std::span<const sim::Sample> samples) { played_.Take(samples); });
    }
    ~MemoryWatch()
    {
        if (virtual_ != nullptr)
            virtual_->SetConsumer({});
    }
    MemoryWatch(const MemoryWatch&) = delete;
    MemoryWatch& operator=(const MemoryWatch&) = delete;

    void Started() { start_ = steady_clock::now(); }
    [[nodiscard]] double Seconds() const
    {
        if (virtual_ != nullptr)
            return static_cast<double>(played_.Count()) / rate_;
        return std::chrono::duration<double>(steady_clock::now() - start_).count();
    }
    [[nodiscard]] PlayedSignal::Window Played(double seconds) const
    {
        return played_.Kept(static_cast<std::uint64_t>(std::llround(seconds * rate_)));
    }

private:
    sim::Instrument* virtual_;
    double rate_;
    steady_clock::time_point start_{};
    PlayedSignal played_;
};

/// Waits for the end; true when interrupted.
bool WaitForEnd(const MemoryWatch& watch, std::optional<double> seconds, Console& console)
{
    constexpr std::chrono::milliseconds kLook{20};
    bool interrupted = false;
    while (!interrupted && (!seconds || watch.Seconds() < *seconds)) {
        Session::EndIfLost();
        if (console.HasLive())
            console.Live(fmt::format("{:7.1f} s from the instrument's memory", watch.Seconds()));
        interrupted = InterruptedWithin(kLook);
    }
    console.EndLive();
    return interrupted;
}

void CheckVirtual(const Session& session, bool plays)
{
    if (session.Virtual() != nullptr && session.Virtual()->State().memory_playing != plays)
        throw Failure(Exit::kCheckFailed,
                      fmt::format("the virtual instrument {} its memory; this is a fault of the library",
                                  plays ? "does not play" : "still plays"));
}

JsonValue JsonOf(const Session& session, const Selection& selection, const UploadPlan& plan,
                 Confirmed confirmed)
{
    JsonValue object;
    object["instrument"] = ToJson(session.Who());
    object["function"] = selection.name;
    object["uploaded"] = plan.ToJson();
    object["confirmed"] = confirmed == Confirmed::kYes ? JsonValue(true) : JsonValue(nullptr);
    return object;
}

Exit Stop(const UploadOptions& options, Context& context)
{
    const Session session(options.connect, context);
    StopMemory(context.console);
    CheckVirtual(session, false);
    if (context.console.json)
        context.console.Result("upload", {{"instrument", ToJson(session.Who())}, {"output_off", true}});
    else
        context.console.Result("stopped, output off\n");
    return Exit::kDone;
}

/// A period that the instrument has started to play.
struct Started {
    Selection selection;
    UploadPlan plan;
    JsonValue object; // the result so far
};

Exit Leave(const std::string& playing, Started& started, MemoryOutput& output, Context& context)
{
    EndIfInterrupted();
    output.Leave();
    started.object["output_off"] = false;
    if (context.console.json)
        context.console.Result("upload", started.object);
    else
        context.console.Result(
            fmt::format("playing from the instrument's memory until 'zeka upload --stop': {}\n", playing));
    return Exit::kDone;
}

Exit PlayOn(const UploadOptions& options, Started& started, const Session& session, const MemoryWatch& watch,
            MemoryOutput& output, Context& context)
{
    const bool interrupted = WaitForEnd(watch, options.seconds, context.console);
    const double seconds = watch.Seconds();
    StopMemory(context.console);
    output.Leave(); // the output is off already
    CheckVirtual(session, false);

    std::vector<Row> rows;
    if (session.Virtual() != nullptr) {
        const double shown = interrupted ? seconds : options.seconds.value_or(seconds);
        rows = CompareUpload(options.signal, started.selection, started.plan,
                             session.Virtual()->State().waveform.value_or(sim::WaveformInfo{}),
                             watch.Played(shown));
        started.object["measured"] = ToJson(rows);
    }
    if (context.console.json) {
        started.object.Extend({{"seconds", seconds}, {"interrupted", interrupted}, {"output_off", true}});
        context.console.Result("upload", started.object);
    } else {
        context.console.Result(
            fmt::format("played {:.2f} s from the instrument's memory, output off\n", seconds) +
            (rows.empty() ? "" : TableOf(rows, context.console)));
    }
    if (interrupted)
        EndIfInterrupted();
    return AnyFailed(rows) ? Exit::kCheckFailed : Exit::kDone;
}

Exit Upload(UploadOptions& options, Context& context)
{
    if (options.stop)
        return Stop(options, context);
    if (options.signal.function.empty())
        throw Failure(Exit::kUsage, "function is required; try 'zeka upload --help'");
    const Selection selection = CheckUpload(options.signal);
    const Session session(options.connect, context);
    ApplySignal(options.signal, selection);
    const UploadPlan plan = PlanUpload();
    MemoryWatch watch(session, plan);
    MemoryOutput output;
    const Confirmed confirmed = UploadAndPlay(selection, plan, context.console);
    watch.Started();
    CheckVirtual(session, true);
    context.console.Note(
        fmt::format("uploaded one period in {} packets{}", plan.packets,
                    confirmed == Confirmed::kYes ? "" : "; whether it was taken is not told"));
    const std::string playing = fmt::format("{}, {}", SignalText(selection), plan.Text());
    Started started{selection, plan, JsonOf(session, selection, plan, confirmed)};
    if (options.leave)
        return Leave(playing, started, output, context);
    context.console.Note(fmt::format("playing from the instrument's memory: {}", playing));
    return PlayOn(options, started, session, watch, output, context);
}

} // namespace

void AddUpload(const Command& app, Context& context)
{
    auto options = std::make_shared<UploadOptions>();
    const Command command =
        app.AddCommand("upload", "let the instrument play one period from its own memory");
    command.Footer(
        "Functions from sine to ecg-custom (see 'zeka play --help') can be uploaded. Noise of an ECG is "
        "part\n"
        "of the period; pacing pulses go along as numbers, and the instrument makes them itself.\n"
        "The output is off when the command ends, however it ends, unless --leave is given.\n"
        "Example: zeka upload ecg --rate 60 --seconds 10 --sim");
    AddUploadOptions(command, options->signal);
    command.Find("function").Required(false);
    constexpr const char* kGroup = "Playback";
    const Option seconds =
        command
            .AddOption("--seconds", options->seconds, "play it so long, else until Ctrl-C [0.1 to 86400 s]")
            .TypeName("s")
            .Group(kGroup)
            .Within(0.1, 86400.0, "s");
    AddConnectOptions(command, options->connect);
    const Option leave =
        command.AddFlag("--leave", options->leave, "end at once and leave the instrument playing")
            .Group(kGroup)
            .Excludes(seconds)
            .Excludes(command.Find("--sim")); // it ends with the command
    command.AddFlag("--stop", options->stop, "upload nothing; stop what plays from memory")
        .Group(kGroup)
        .Excludes(seconds)
        .Excludes(leave)
        .Excludes(command.Find("function"));
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Upload(*options, context); }; });
}

} // namespace zeka::cli
