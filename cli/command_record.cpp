// command_record.cpp - zeka record: what is sent to the instrument, as CSV, from the library's recording
// buffers. With the virtual instrument on its fast clock it needs neither an instrument nor much time.
#include "cli/interrupt.h"
#include "cli/signal_options.h"
#include "cli/stream.h"

#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr int kRate = static_cast<int>(sim::kSampleRate);
constexpr double kLongestS = 600.0; // 16 bytes a sample: 384 MB

struct RecordOptions {
    SignalOptions signal;
    ConnectOptions connect;
    double seconds = 0.0;
    int rate = kRate;
    std::string path;
};

/// The library writes into the buffers from EnableRecordRaw to DisableRecordRaw.
class Recording {
public:
    explicit Recording(std::size_t samples)
        : ac_(samples, std::numeric_limits<double>::quiet_NaN()), dc_(samples)
    {
        if (!EnableRecordRaw(ac_.data(), dc_.data(), static_cast<int>(samples)))
            throw Failure(Exit::kCheckFailed, "the library does not record; run this again");
    }
    ~Recording() { DisableRecordRaw(); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// What came; call it when nothing streams any more.
    [[nodiscard]] std::size_t Count() const
    {
        std::size_t count = 0;
        while (count < ac_.size() && !std::isnan(ac_[count]))
            ++count;
        return count;
    }
    /// Mean over `width` samples from `first` on, mV.
    [[nodiscard]] double Ac(std::size_t first, std::size_t width) const
    {
        return Mean(ac_, first, width) / sim::kCountsPerMv;
    }
    [[nodiscard]] double Dc(std::size_t first, std::size_t width) const { return Mean(dc_, first, width); }

private:
    static double Mean(const std::vector<double>& values, std::size_t first, std::size_t width)
    {
        double sum = 0.0;
        for (std::size_t i = 0; i < width; ++i)
            sum += values[first + i];
        return sum / static_cast<double>(width);
    }
    std::vector<double> ac_; // counts of the 16-bit word, before they are cut to whole ones
    std::vector<double> dc_; // mV
};

std::string Csv(const Recording& recording, std::size_t count, std::size_t width)
{
    fmt::memory_buffer text;
    fmt::format_to(std::back_inserter(text), "time_s,ac_mv,dc_mv\n");
    for (std::size_t first = 0; first + width <= count; first += width)
        fmt::format_to(std::back_inserter(text), "{:.6f},{:.6f},{:.4f}\n", static_cast<double>(first) / kRate,
                       recording.Ac(first, width), recording.Dc(first, width));
    return fmt::to_string(text);
}

Exit Record(RecordOptions& options, Context& context)
{
    const Selection selection = CheckSignal(options.signal);
    if (kRate % options.rate != 0)
        throw Failure(Exit::kUsage,
                      fmt::format("--rate-out {}: {} is no whole multiple of it; give 20000, 8000, 1000, "
                                  "500 or the like",
                                  options.rate, kRate));
    Session session(options.connect, context);
    StreamWatch watch(session);
    ApplySignal(options.signal, selection);
    const Recording recording(static_cast<std::size_t>(std::llround(options.seconds * kRate)));
    context.console.Note(fmt::format("recording {} for {} s", selection.name, options.seconds));
    StartSignal(options.signal, selection);
    const StreamSummary summary = watch.Run(options.seconds, context.console, options.seconds);
    watch.SwitchOff();

    const std::size_t count = recording.Count();
    const std::string csv = Csv(recording, count, static_cast<std::size_t>(kRate / options.rate));
    if (options.path.empty())
        context.console.Result(csv);
    else
        WriteFile(options.path, csv);
    if (context.console.json && !options.path.empty())
        context.console.Result("record", {{"instrument", ToJson(session.Who())},
                                          {"function", selection.name},
                                          {"file", options.path},
                                          {"rate", options.rate},
                                          {"seconds", static_cast<double>(count) / kRate},
                                          {"output_off", true}});
    context.console.Note(
        fmt::format("recorded {} s at {} samples/s", static_cast<double>(count) / kRate, options.rate));
    if (summary.interrupted)
        EndIfInterrupted();
    return Exit::kDone;
}

} // namespace

void AddRecord(CLI::App& app, Context& context)
{
    auto options = std::make_shared<RecordOptions>();
    CLI::App* command = app.add_subcommand("record", "write what is sent to the instrument as CSV");
    command->footer(
        FunctionHelp() +
        "\nColumns: time in s, AC channel and DC channel in mV. At a lower rate each value is the mean of "
        "the\n"
        "samples it stands for.\n"
        "Example: zeka record ecg --rate 72 --seconds 10 --rate-out 1000 -o ecg.csv --sim --clock fast");
    AddSignalOptions(*command, options->signal);
    command->add_option("--seconds", options->seconds, "so much of the signal [0.1 to 600 s]")
        ->required()
        ->type_name("s")
        ->group("Recording")
        ->check(Within(0.1, kLongestS, "s"));
    command
        ->add_option("--rate-out", options->rate, "lines per second of signal, 40000 without it [1 to 40000]")
        ->type_name("N")
        ->group("Recording")
        ->check(Within(1, kRate, "per s"));
    command->add_option("-o,--output", options->path, "into this file, else to stdout")
        ->type_name("FILE")
        ->group("Recording");
    AddConnectOptions(*command, options->connect);
    AddCommonOptions(*command, context);
    command->callback(
        [options, &context] { context.job = [options, &context] { return Record(*options, context); }; });
}

} // namespace zeka::cli
