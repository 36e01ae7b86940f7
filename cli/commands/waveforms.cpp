// waveforms.cpp - zeka waveforms: lists the standard test waveforms, shows one, writes one as CSV. Needs no
// instrument, because the samples are those that the library would play.
#include "cli/commands/commands.h"

#include "cli/shell/context.h"
#include "cli/shell/options.h"
#include "cli/signal/functions.h"
#include "formats/output_file.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr double kUvPerMv = 1000.0;

constexpr double kSketchedS = 10.0;
constexpr std::size_t kSketchColumns = 70;
constexpr std::size_t kSketchRows = 13;

struct Waveform {
    std::string name; // as for zeka play
    unsigned rate = 0;
    std::vector<double> mv;
    [[nodiscard]] double Seconds() const { return static_cast<double>(mv.size()) / rate; }
};

template <class Value> std::vector<double> Millivolts(const Value* samples, unsigned count, double per_mv)
{
    std::vector<double> mv(count);
    std::transform(samples, samples + count, mv.begin(),
                   [per_mv](Value sample) { return static_cast<double>(sample) / per_mv; });
    return mv;
}

/// Reads a waveform; nothing where the library offers no table.
std::optional<Waveform> Read(const OutputFunction& function, int variant)
{
    if (function.variants == Variants::kNone)
        return std::nullopt;
    Waveform waveform;
    unsigned length = 0;
    waveform.name = fmt::format("{}:{}", function.name,
                                VariantNames(function.variants)[static_cast<std::size_t>(variant)]);
    switch (function.variants) {
    case Variants::kIec27: {
        const int* samples = GetSpecialWave227Array(variant, &length, &waveform.rate);
        waveform.mv = Millivolts(samples, length, kUvPerMv);
        return waveform;
    }
    case Variants::kIec51: {
        const int* samples = GetSpecialWave251Array(variant, &length, &waveform.rate);
        waveform.mv = Millivolts(samples, length, kUvPerMv);
        return waveform;
    }
    case Variants::kIec47: {
        const double* samples = GetSpecialWave247Array(variant, &length, &waveform.rate);
        waveform.mv = Millivolts(samples, length, 1.0);
        return waveform;
    }
    case Variants::kLead:
    case Variants::kNone:
        break;
    }
    return std::nullopt;
}

std::vector<Waveform> All()
{
    std::vector<Waveform> all;
    for (const OutputFunction& function : OutputFunctions())
        for (int variant = 0; variant < static_cast<int>(VariantNames(function.variants).size()); ++variant)
            if (std::optional<Waveform> waveform = Read(function, variant))
                all.push_back(std::move(*waveform));
    return all;
}

Exit List(Context& context)
{
    std::string text = fmt::format("{:<20}{:>10}{:>10}{:>12}{:>10}{:>10}\n", "", "samples", "per s", "s",
                                   "min mV", "max mV");
    JsonValue list = JsonValue::Array();
    for (const Waveform& waveform : All()) {
        const auto [low, high] = std::ranges::minmax(waveform.mv);
        text += fmt::format("{:<20}{:>10}{:>10}{:>12.4f}{:>10.3f}{:>10.3f}\n", waveform.name,
                            waveform.mv.size(), waveform.rate, waveform.Seconds(), low, high);
        list.Append({{"name", waveform.name},
                     {"samples", waveform.mv.size()},
                     {"rate", waveform.rate},
                     {"min_mv", low},
                     {"max_mv", high}});
    }
    if (context.console.json)
        context.console.Result("waveforms list", {{"waveforms", list}});
    else
        context.console.Result(text);
    return Exit::kDone;
}

std::string Csv(const Waveform& waveform)
{
    fmt::memory_buffer text;
    fmt::format_to(std::back_inserter(text), "time_s,mv\n");
    for (std::size_t i = 0; i < waveform.mv.size(); ++i)
        fmt::format_to(std::back_inserter(text), "{:.6f},{:.6g}\n", static_cast<double>(i) / waveform.rate,
                       waveform.mv[i]);
    return fmt::to_string(text);
}

Waveform Table(const Selection& selection)
{
    std::optional<Waveform> waveform = Read(*selection.function, selection.variant);
    if (!waveform)
        throw Failure(
            Exit::kUsage,
            fmt::format("{} is no table; 'zeka waveforms list' names those that are, 'zeka record' writes "
                        "and 'zeka plot' draws any signal",
                        selection.name));
    return std::move(*waveform);
}

/// Draws a column for each group of samples, from its lowest to its highest, with the voltage of
/// the rows' middles on the left.
std::string Sketch(std::span<const double> mv)
{
    const auto [low, high] = std::ranges::minmax(mv);
    const double step = std::max(high - low, 1e-3) / static_cast<double>(kSketchRows - 1);
    const auto row_of = [low = low, step](double value) {
        return static_cast<std::size_t>((value - low) / step + 0.5);
    };
    const std::size_t columns = std::min(kSketchColumns, mv.size());
    std::vector<std::string> rows(kSketchRows, std::string(columns, ' '));
    for (std::size_t column = 0; column < columns; ++column) {
        const std::size_t begin = column * mv.size() / columns;
        // One sample beyond the column, so that neighbouring columns join.
        const std::size_t end = std::min((column + 1) * mv.size() / columns + 1, mv.size());
        const auto [from, to] = std::ranges::minmax(mv.subspan(begin, end - begin));
        for (std::size_t row = row_of(from); row <= row_of(to); ++row)
            rows[row][column] = '#';
    }
    std::string text;
    for (std::size_t row = kSketchRows; row-- > 0;)
        text += fmt::format("{:>8.3f} |{}\n", low + static_cast<double>(row) * step,
                            rows[row].substr(0, rows[row].find_last_not_of(' ') + 1));
    return text;
}

Exit Show(const std::string& name, Context& context)
{
    const Selection selection = FindFunction(name);
    const Waveform waveform = Table(selection);
    const auto [low, high] = std::ranges::minmax(waveform.mv);
    if (context.console.json) {
        context.console.Result("waveforms show", {{"name", waveform.name},
                                                  {"what", selection.function->what},
                                                  {"samples", waveform.mv.size()},
                                                  {"rate", waveform.rate},
                                                  {"seconds", waveform.Seconds()},
                                                  {"min_mv", low},
                                                  {"max_mv", high}});
        return Exit::kDone;
    }
    const auto shown = std::min(waveform.mv.size(), static_cast<std::size_t>(kSketchedS * waveform.rate));
    context.console.Result(fmt::format(
        "{}: {}\n{} samples at {} per s, {:.4f} s; {:.3f} to {:.3f} mV\n\n{:>8}\n{}{:>10}0 to {:.2f} s\n",
        waveform.name, selection.function->what, waveform.mv.size(), waveform.rate, waveform.Seconds(), low,
        high, "mV", Sketch(std::span(waveform.mv).first(shown)), "",
        static_cast<double>(shown) / waveform.rate));
    context.console.Note(fmt::format("'zeka plot {}' draws it true to scale", waveform.name));
    return Exit::kDone;
}

Exit Export(const std::string& name, const std::string& path, Context& context)
{
    const Waveform waveform = Table(FindFunction(name));
    if (!path.empty()) {
        formats::WriteFile(path, Csv(waveform));
        context.console.Note(fmt::format("wrote {} samples to {}", waveform.mv.size(), path));
    }
    if (context.console.json) {
        JsonValue result{{"name", waveform.name}, {"rate", waveform.rate}};
        result[path.empty() ? "mv" : "file"] = path.empty() ? JsonValue(waveform.mv) : JsonValue(path);
        context.console.Result("waveforms export", result);
    } else if (path.empty()) {
        context.console.Result(Csv(waveform));
    }
    return Exit::kDone;
}

/// Adds "waveforms show" or "waveforms export", which take one waveform.
Command AddOne(const Command& command, const char* name, const char* what, std::string& waveform,
               Context& context)
{
    const Command one = command.AddCommand(name, what);
    one.AddOption("name", waveform, "as listed, for instance iec-2-27:3 or iec-2-51:CAL20110")
        .Required()
        .TypeName("NAME");
    AddCommonOptions(one, context);
    return one;
}

} // namespace

void AddWaveforms(const Command& app, Context& context)
{
    const Command command = app.AddCommand("waveforms", "the standard test waveforms as tables");
    command.RequireCommand();
    const Command list = command.AddCommand("list", "names, lengths and extremes");
    AddCommonOptions(list, context);
    list.OnUse([&context] { context.job = [&context] { return List(context); }; });

    auto name = std::make_shared<std::string>();
    auto path = std::make_shared<std::string>();
    AddOne(command, "show", "what one is, with a sketch of its first 10 s", *name, context)
        .OnUse([name, &context] { context.job = [name, &context] { return Show(*name, context); }; });
    const Command export_one =
        AddOne(command, "export", "writes one as CSV: time in s, voltage in mV", *name, context);
    export_one.AddOption("-o,--output", *path, "into this file, else to stdout")
        .TypeName("FILE")
        .Group("Output");
    export_one.OnUse([name, path, &context] {
        context.job = [name, path, &context] { return Export(*name, *path, context); };
    });
}

} // namespace zeka::cli
