// command_waveforms.cpp - zeka waveforms: lists the standard test waveforms and writes one of them as CSV.
// Needs no instrument: the samples are those that the library would play.
#include "cli/context.h"
#include "cli/functions.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr double kUvPerMv = 1000.0;

struct Waveform {
    std::string name; // as zeka play takes it
    unsigned rate = 0;
    std::vector<double> mv;
};

template <class Value> std::vector<double> Millivolts(const Value* samples, unsigned count, double per_mv)
{
    std::vector<double> mv(count);
    std::transform(samples, samples + count, mv.begin(),
                   [per_mv](Value sample) { return static_cast<double>(sample) / per_mv; });
    return mv;
}

/// Nothing for what the library does not hand out as a table.
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
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Waveform& waveform : All()) {
        const auto [low, high] = std::ranges::minmax(waveform.mv);
        const double seconds = static_cast<double>(waveform.mv.size()) / waveform.rate;
        text += fmt::format("{:<20}{:>10}{:>10}{:>12.4f}{:>10.3f}{:>10.3f}\n", waveform.name,
                            waveform.mv.size(), waveform.rate, seconds, low, high);
        list.push_back({{"name", waveform.name},
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

Exit Export(const std::string& name, const std::string& path, Context& context)
{
    const Selection selection = FindFunction(name);
    const std::optional<Waveform> waveform = Read(*selection.function, selection.variant);
    if (!waveform)
        throw Failure(Exit::kUsage,
                      fmt::format("{} is no table that could be written; 'zeka waveforms list' names those "
                                  "that are, 'zeka record' writes any signal",
                                  selection.name));
    if (!path.empty()) {
        WriteFile(path, Csv(*waveform));
        context.console.Note(fmt::format("wrote {} samples to {}", waveform->mv.size(), path));
    }
    if (context.console.json) {
        nlohmann::ordered_json result{{"name", waveform->name}, {"rate", waveform->rate}};
        result[path.empty() ? "mv" : "file"] =
            path.empty() ? nlohmann::ordered_json(waveform->mv) : nlohmann::ordered_json(path);
        context.console.Result("waveforms export", result);
    } else if (path.empty()) {
        context.console.Result(Csv(*waveform));
    }
    return Exit::kDone;
}

} // namespace

void AddWaveforms(CLI::App& app, Context& context)
{
    CLI::App* command = app.add_subcommand("waveforms", "the standard test waveforms as tables");
    command->require_subcommand(1);
    CLI::App* list = command->add_subcommand("list", "names, lengths and extremes");
    AddCommonOptions(*list, context);
    list->callback([&context] { context.job = [&context] { return List(context); }; });

    auto name = std::make_shared<std::string>();
    auto path = std::make_shared<std::string>();
    CLI::App* export_one = command->add_subcommand("export", "writes one as CSV: time in s, voltage in mV");
    export_one->add_option("name", *name, "as listed, for instance iec-2-27:3 or iec-2-51:CAL20110")
        ->required()
        ->type_name("NAME");
    export_one->add_option("-o,--output", *path, "into this file, else to stdout")
        ->type_name("FILE")
        ->group("Output");
    AddCommonOptions(*export_one, context);
    export_one->callback([name, path, &context] {
        context.job = [name, path, &context] { return Export(*name, *path, context); };
    });
}

} // namespace zeka::cli
