// record.cpp - zeka record: writes what is sent to the instrument, from the library's recording buffers, into
// a file of one of several formats, with the marks that a reader looks for. Without an instrument it renders
// on a virtual one, faster than real time.
#include "cli/commands/commands.h"

#include "cli/playing/decimator.h"
#include "cli/playing/render.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"
#include "formats/file_error.h"
#include "formats/writers.h"

#include <array>
#include <chrono>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <utility>

namespace zeka::cli {
namespace {

constexpr double kLongestS = 86400.0;

struct RecordOptions {
    SignalOptions signal;
    ConnectOptions connect;
    double seconds = 0.0;
    int rate = kSentRate;
    std::string path;
    std::string format_name;
    bool offline = false;
};

constexpr std::array kFormats{formats::Format::kCsv, formats::Format::kEdf, formats::Format::kWfdb,
                              formats::Format::kFloat, formats::Format::kJsonLines};

/// The format by its name, else by the file's name; --json without a file means samples as JSON Lines.
formats::Format FormatOf(const RecordOptions& options, bool json)
{
    for (const formats::Format format : kFormats)
        if (options.format_name == formats::NameOf(format))
            return format;
    return options.path.empty() && json ? formats::Format::kJsonLines : formats::FormatOfName(options.path);
}

/// Passes the signal on to the file.
class Recorder {
public:
    Recorder(formats::Format format, formats::RecordingPlan plan)
        : format_(format), plan_(std::move(plan)), ac_(static_cast<std::size_t>(kSentRate / plan_.rate)),
          dc_(ac_)
    {
    }

    void Begin(const MarkSettings& settings)
    {
        plan_.marks_per_second = settings.MarksPerSecond();
        writer_ = formats::OpenRecording(format_, plan_);
    }
    void Take(std::span<const double> ac_mv, std::span<const double> dc_mv)
    {
        writer_->Take(ac_.Take(ac_mv), dc_.Take(dc_mv));
    }
    void Note(const formats::Mark& mark)
    {
        writer_->Note(mark);
        ++marks_[mark.kind];
    }
    void End() { writer_->End(); }
    /// Completes the file with what there is; true when there is something.
    bool Keep()
    {
        try {
            if (writer_ != nullptr)
                writer_->End();
        } catch (const formats::FileError&) { // writing has failed, which is why the recording ends here
            return false;
        }
        return writer_ != nullptr;
    }

    [[nodiscard]] JsonValue Marks() const
    {
        JsonValue marks = JsonValue::Object();
        constexpr std::array kNames{"r_peaks",      "qrs_onsets", "qrs_ends",  "pacing_pulses",
                                    "apnea_begins", "apnea_ends", "play_marks"};
        for (const auto& [kind, count] : marks_)
            marks[kNames.at(static_cast<std::size_t>(kind))] = count;
        return marks;
    }

private:
    formats::Format format_;
    formats::RecordingPlan plan_;
    Decimator ac_, dc_;
    std::unique_ptr<formats::RecordingWriter> writer_;
    std::map<formats::MarkKind, std::uint64_t> marks_;
};

std::string FilterText(int rate)
{
    return rate == kSentRate ? "" : fmt::format("mean of {} samples of {}/s", kSentRate / rate, kSentRate);
}

void Check(const RecordOptions& options, formats::Format format, bool json)
{
    if (options.path.empty() && json && format != formats::Format::kJsonLines)
        throw Failure(Exit::kUsage,
                      fmt::format("{} on stdout is no JSON; leave out --format or --json, or name a "
                                  "file with --output",
                                  formats::NameOf(format)));
    if (kSentRate % options.rate != 0)
        throw Failure(Exit::kUsage,
                      fmt::format("--rate-out {}: {} is no whole multiple of it; give 20000, 8000, 1000, "
                                  "500 or the like",
                                  options.rate, kSentRate));
    if (options.path.empty() && (format == formats::Format::kEdf || format == formats::Format::kWfdb))
        throw Failure(Exit::kUsage, fmt::format("{} cannot go to stdout; name a file with --output",
                                                formats::NameOf(format)));
}

Exit Record(RecordOptions& options, Context& context)
{
    const Selection selection = CheckSignal(options.signal);
    const formats::Format format = FormatOf(options, context.console.json);
    Check(options, format, context.console.json);
    if (options.offline)
        options.connect.virtual_one = options.connect.fast = true;
    // An offline recording says nothing of its instrument.
    const bool quiet = std::exchange(context.console.quiet, context.console.quiet || options.offline);
    Session session(options.connect, context);
    context.console.quiet = quiet;
    context.console.Note(fmt::format("{} {} for {} s", options.offline ? "rendering" : "recording",
                                     selection.name, options.seconds));
    const auto start = std::chrono::steady_clock::now();
    Recorder recorder(format, {options.path, selection.name, options.rate, FilterText(options.rate), 0.0});
    const SignalSinks sinks{[&recorder](const MarkSettings& settings) { recorder.Begin(settings); },
                            [&recorder](auto ac_mv, auto dc_mv) { recorder.Take(ac_mv, dc_mv); },
                            [&recorder](const formats::Mark& mark) { recorder.Note(mark); },
                            options.connect.virtual_one && options.connect.fast};
    Sent sent;
    try {
        sent = StreamSignal(session, options.signal, selection, options.seconds, context.console, sinks);
    } catch (const std::runtime_error&) { // a Failure, or a FileError of the writer
        if (recorder.Keep() && !options.path.empty())
            context.console.Note(fmt::format("what came until now is in {}", options.path));
        throw;
    }
    recorder.End();

    const double seconds = static_cast<double>(sent.samples) / kSentRate;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    const double speed = seconds / took.count();
    // A short recording shows how long the start takes rather than the speed.
    const bool fast = options.offline && speed >= 2.0;
    if (context.console.json) {
        JsonValue result;
        result["instrument"] = ToJson(session.Who());
        result["function"] = selection.name;
        if (!options.path.empty())
            result["file"] = options.path;
        result["format"] = formats::NameOf(format);
        result["rate"] = options.rate;
        result["filter"] = options.rate == kSentRate ? "none" : FilterText(options.rate);
        result["seconds"] = seconds;
        result["marks"] = recorder.Marks();
        if (options.offline)
            result["times_real_time"] = speed;
        result["interrupted"] = sent.interrupted;
        result["output_off"] = true; // otherwise a Failure was thrown
        if (options.path.empty())
            context.console.ResultLine("record", result);
        else
            context.console.Result("record", result);
    }
    context.console.Note(fmt::format("recorded {} s at {} samples/s{}", seconds, options.rate,
                                     fast ? fmt::format(", {:.0f} times as fast as it plays", speed) : ""));
    if (sent.interrupted)
        EndIfInterrupted(options.offline ? OutputWas::kNeverOn : OutputWas::kOn);
    return Exit::kDone;
}

void AddRecordingOptions(const Command& command, RecordOptions& options)
{
    constexpr const char* kGroup = "Recording";
    command.AddOption("--seconds", options.seconds, "so much of the signal [0.1 to 86400 s]")
        .Required()
        .TypeName("s")
        .Group(kGroup)
        .Within(0.1, kLongestS, "s");
    command
        .AddOption("--rate-out", options.rate, "values per second of signal, 40000 without it [1 to 40000]")
        .TypeName("N")
        .Group(kGroup)
        .Within(1, kSentRate, "per s");
    command.AddOption("-o,--output", options.path, "into this file, else to stdout")
        .TypeName("FILE")
        .Group(kGroup);
    command
        .AddOption("--format", options.format_name,
                   "of the file, else by its suffix: .edf, .hea, .f32, .jsonl, all others CSV [csv, edf, "
                   "wfdb, float, "
                   "jsonl]")
        .TypeName("FORMAT")
        .Group(kGroup)
        .OneOf({"csv", "edf", "wfdb", "float", "jsonl"});
    const Option offline =
        command.AddFlag("--offline", options.offline, "no instrument: render as fast as it goes")
            .Group(kGroup);
    for (const char* other : {"--sim", "--port", "--wait", "--clock"})
        offline.Excludes(command.Find(other));
}

} // namespace

void AddRecord(const Command& app, Context& context)
{
    auto options = std::make_shared<RecordOptions>();
    const Command command = app.AddCommand("record", "write what is sent to the instrument into a file");
    command.Footer(
        FunctionHelp() +
        "\nAC and DC channel in mV. At a lower rate each value is the mean of the samples it stands for.\n"
        "  csv    time in s, AC, DC\n"
        "  edf    EDF+ with annotations; 6400 counts per mV AC, 32 per mV DC\n"
        "  wfdb   FILE.hea, FILE.dat (format 16, counts as above) and FILE.atr with the annotations\n"
        "  float  AC, DC, AC, DC, ... as 32-bit floats, low byte first\n"
        "  jsonl  a JSON object a line, values and marks; with --json also what goes to stdout\n"
        "Annotations: R peaks, QRS on and off (ecg, ecg-custom), pacing pulses with width and height, "
        "apnea,\n"
        "and \"play\" wherever the waveform begins.\n"
        "Example: zeka record ecg --rate 72 --pacing 5 --seconds 60 --rate-out 1000 -o ecg.edf --offline");
    AddSignalOptions(command, options->signal);
    AddConnectOptions(command, options->connect);
    AddRecordingOptions(command, *options);
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Record(*options, context); }; });
}

} // namespace zeka::cli
