// plot.cpp - zeka plot: a signal or a recording as an ECG strip on paper. Needs no instrument, because a
// signal is rendered as it would be sent.
#include "cli/commands/commands.h"

#include "cli/commands/strip_source.h"
#include "cli/shell/options.h"
#include "cli/strip/file.h"
#include "formats/output_file.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <memory>

namespace zeka::cli {
namespace {

constexpr double kLongestS = 600.0; // the limit of the renderer
constexpr const char* kGroup = "Strip";

struct PlotOptions {
    SignalOptions signal;
    double from_s = 0.0;
    double seconds = 10.0;
    std::string path;
    std::string recording; // file name; empty: a signal is drawn
    std::string channel;   // empty: the AC channel, or the first voltage of a recording
    std::string title;
    StripStyle style;
    std::string paper; // empty: the usual one of the format
    double dpi = 254.0;
    bool no_marks = false;
};

/// Reduces the chart to the requested part of the signal.
void Cut(StripChart& chart, const PlotOptions& options)
{
    const auto from = static_cast<std::ptrdiff_t>(std::llround(options.from_s * chart.rate));
    const auto count = static_cast<std::ptrdiff_t>(std::llround(options.seconds * chart.rate));
    const auto length = static_cast<std::ptrdiff_t>(chart.mv.size());
    if (from >= length)
        throw Failure(Exit::kUsage, fmt::format("--from {:g}: the signal ends after {:g} s; give less",
                                                options.from_s, chart.Seconds()));
    chart.mv.erase(chart.mv.begin() + std::min(from + count, length), chart.mv.end());
    chart.mv.erase(chart.mv.begin(), chart.mv.begin() + from);
    chart.start_s = options.from_s;
    for (Tick& tick : chart.ticks) {
        tick.at_s -= options.from_s;
        tick.to_s -= options.from_s;
    }
    std::erase_if(chart.ticks, [end = chart.Seconds()](const Tick& tick) {
        return std::max(tick.at_s, tick.to_s) < 0.0 || tick.at_s >= end;
    });
}

/// Refuses options of a signal beside a recording, because they would have no effect.
void CheckSource(const PlotOptions& options, const Command& command)
{
    const bool recording = !options.recording.empty();
    if (recording == !options.signal.function.empty())
        throw Failure(Exit::kUsage, "name what to draw: an output function, or a recording with --file");
    if (!recording) {
        if (!options.channel.empty() && options.channel != "ac" && options.channel != "dc")
            throw Failure(Exit::kUsage,
                          fmt::format("--channel {}: a signal has the channels ac and dc", options.channel));
        return;
    }
    for (const GivenOption& option : command.Given())
        if (option.group != kGroup && option.group != "Output")
            throw Failure(Exit::kUsage,
                          fmt::format("{} means nothing to a recording; leave it out", option.name));
}

Exit Plot(PlotOptions& options, const Command& command, Context& context)
{
    CheckSource(options, command);
    const StripFormat format = StripFormatOf(options.path);
    options.style.paper = options.paper.empty()   ? format == StripFormat::kPdf ? Paper::kA4 : Paper::kFit
                          : options.paper == "a4" ? Paper::kA4
                                                  : Paper::kFit;
    const bool recording = !options.recording.empty();
    if (!recording && options.from_s + options.seconds > kLongestS)
        throw Failure(Exit::kUsage, fmt::format("--from and --seconds are {:g} s together; give at most {:g}",
                                                options.from_s + options.seconds, kLongestS));
    StripChart chart =
        recording ? ChartOfRecording(options.recording, options.channel)
                  : ChartOfSignal(options.signal, options.channel, options.from_s + options.seconds, context);
    Cut(chart, options);
    if (options.no_marks)
        chart.ticks.clear();
    if (!options.title.empty())
        chart.title = options.title;
    const StripDrawing drawing(chart, options.style);
    formats::WriteFile(options.path, FileOf(drawing, format, options.dpi));

    const StripLayout& layout = drawing.Layout();
    if (context.console.json)
        context.console.Result("plot", {{"file", options.path},
                                        {"title", chart.title},
                                        {"seconds", chart.Seconds()},
                                        {"speed_mm_per_s", options.style.speed},
                                        {"gain_mm_per_mv", layout.gain},
                                        {"rows", layout.rows},
                                        {"pages", layout.pages},
                                        {"page_mm", {layout.page_width, layout.page_height}}});
    context.console.Note(fmt::format("drew {:g} s in {} row{} at {:g} mm/s and {:g} mm/mV into {}",
                                     chart.Seconds(), layout.rows, layout.rows == 1 ? "" : "s",
                                     options.style.speed, layout.gain, options.path));
    return Exit::kDone;
}

void AddStripOptions(const Command& command, PlotOptions& options)
{
    command.AddOption("-o,--output", options.path, "into this file: .pdf, .svg or .png")
        .Required()
        .TypeName("FILE")
        .Group(kGroup);
    command
        .AddOption("--seconds", options.seconds,
                   fmt::format("so much of the signal, 10 without it [0.1 to {} s]", kLongestS))
        .TypeName("s")
        .Group(kGroup)
        .Within(0.1, kLongestS, "s");
    command.AddOption("--from", options.from_s, "begin so late in the signal [0 to 86400 s]")
        .TypeName("s")
        .Group(kGroup)
        .Within(0.0, 86400.0, "s");
    command.AddOption("--speed", options.style.speed, "paper speed, 25 without it [25, 50 mm/s]")
        .TypeName("mm/s")
        .Group(kGroup)
        .OneOf({"25", "50"});
    command
        .AddOption(
            "--gain", options.style.gain,
            "height of 1 mV; without it the highest up to 10 that fits [5, 10, 20 mm/mV; for high levels 2, "
            "1, 0.5, 0.2, 0.1, 0.05, 0.02]")
        .TypeName("mm/mV")
        .Group(kGroup)
        .OneOf({"5", "10", "20", "2", "1", "0.5", "0.2", "0.1", "0.05", "0.02"});
    command.AddOption("--file", options.recording, "draw this recording: text, CSV, binary, WFDB or EDF+")
        .TypeName("RECORD")
        .Group(kGroup);
    command
        .AddOption("--channel", options.channel,
                   "of a signal ac, or dc with the offset and the pacing pulses; of a recording by number "
                   "from 0 or by "
                   "name")
        .TypeName("NAME")
        .Group(kGroup);
    command
        .AddOption("--rows", options.style.rows, "in so many rows; without it in rows of 250 mm [1 to 200]")
        .TypeName("N")
        .Group(kGroup)
        .Within(1, 200, "");
    command
        .AddOption("--paper", options.paper,
                   "A4 landscape, or one page as large as the strip; without it a PDF is A4 [a4, fit]")
        .TypeName("SIZE")
        .Group(kGroup)
        .OneOf({"a4", "fit"});
    command
        .AddOption("--dpi", options.dpi, "of a PNG, 254 without it: 10 pixels to the millimetre [50 to 1200]")
        .TypeName("N")
        .Group(kGroup)
        .Within(50, 1200, "dpi");
    command.AddOption("--title", options.title, "in the place of the function's name")
        .TypeName("TEXT")
        .Group(kGroup);
    command.AddFlag("--no-marks", options.no_marks, "no marks at R peaks, pacing pulses and apneas")
        .Group(kGroup);
}

} // namespace

void AddPlot(const Command& app, Context& context)
{
    auto options = std::make_shared<PlotOptions>();
    const Command command =
        app.AddCommand("plot", "draw a signal or a recording as an ECG strip, true to scale");
    command.Footer(FunctionHelp() +
                   "\nNo instrument is needed. Printed at 100 %, a square of the grid is 1 mm wide.\n"
                   "Example: zeka plot ecg --rate 72 --pacing 5 --seconds 20 -o strip.pdf");
    AddSignalOptions(command, options->signal);
    command.Find("function").Required(false); // --file replaces it
    AddStripOptions(command, *options);
    AddCommonOptions(command, context);
    command.OnUse([options, command, &context] {
        context.job = [options, command, &context] { return Plot(*options, command, context); };
    });
}

} // namespace zeka::cli
