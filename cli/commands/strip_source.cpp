// strip_source.cpp - makes the contents of a strip from a signal or a recording:
// samples, marks, title, settings.
#include "cli/commands/strip_source.h"

#include "cli/playing/render.h"
#include "formats/readers.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>

namespace zeka::cli {
namespace {

/// "--pr-interval", 160, "ms" as "PR interval 160 ms".
std::string Words(std::string_view option, const std::string& value, std::string_view unit)
{
    constexpr std::array<std::string_view, 7> kShort{"qrs", "pr", "p", "qt", "st", "t", "dc"};
    std::string text;
    for (std::size_t at = option.find_first_not_of('-'); at < option.size();) {
        const std::size_t end = std::min(option.find('-', at), option.size());
        const std::string_view word = option.substr(at, end - at);
        const bool is_short = std::ranges::find(kShort, word) != kShort.end();
        for (const char letter : word)
            text += is_short ? static_cast<char>(letter - 'a' + 'A') : letter;
        text += ' ';
        at = end + 1;
    }
    return fmt::format("{}{}{}{}", text, value, unit.empty() ? "" : " ", unit);
}

/// The settings of the signal as on the command line, in the words of its options.
std::vector<std::string> Settings(const SignalOptions& signal)
{
    std::vector<std::string> words;
    const auto add = [&](const char* option, const std::optional<double>& value, const char* unit) {
        if (value)
            words.push_back(Words(option, fmt::format("{:g}", *value), unit));
    };
    add("--rate", signal.rate, "per minute");
    ParameterValues values = signal.values;
    for (const Parameter& parameter : Parameters())
        if (!(parameter.id == Id::kFrequency && signal.rate)) // it was derived from the rate
            add(parameter.option, values[parameter.id], parameter.unit);
    if (signal.second_pulse != "none")
        words.push_back(Words("--second-pulse", signal.second_pulse, "ms"));
    if (signal.noise != "off")
        words.push_back(Words("--noise", signal.noise, signal.noise == "random" ? "" : "Hz"));
    add("--noise-amplitude", signal.noise_mv, "mV");
    add("--drift", signal.drift_mv, "mV");
    add("--drift-frequency", signal.drift_hz, "Hz");
    add("--dynamic-range", signal.dynamic_range_mv, "mV");
    add("--dynamic-range-frequency", signal.dynamic_range_hz, "Hz");
    if (const Breathing& breathing = signal.breathing; breathing.breaths) {
        add("--breaths", *breathing.breaths, "per minute");
        const auto add_unusual = [&](const char* option, int value, int usual, const char* unit) {
            if (value != usual)
                add(option, value, unit);
        };
        add_unusual("--breath-ratio", breathing.ratio, 1, "");
        add_unusual("--apnea", breathing.apnea_s, 0, "s per minute");
        add_unusual("--breath-baseline", breathing.baseline_percent, 0, "%");
        add_unusual("--breath-amplitude", breathing.amplitude_percent, 0, "%");
        add_unusual("--breath-rate", breathing.rate_percent, 0, "%");
    }
    return words;
}

/// Ends the apnea that is still open.
void EndApnea(std::vector<Tick>& ticks, double at_s)
{
    const auto last = std::find_if(ticks.rbegin(), ticks.rend(),
                                   [](const Tick& tick) { return tick.kind == TickKind::kApnea; });
    if (last != ticks.rend())
        last->to_s = at_s;
}

/// Those of the renderer's marks that a strip shows.
std::vector<Tick> TicksOf(const Strip& strip)
{
    const auto seconds = [&](const formats::Mark& mark) {
        return static_cast<double>(mark.sample) / strip.rate;
    };
    const double end = static_cast<double>(strip.ac_mv.size()) / strip.rate;
    std::vector<Tick> ticks;
    for (const formats::Mark& mark : strip.marks) {
        if (mark.kind == formats::MarkKind::kRPeak)
            ticks.push_back({TickKind::kBeat, seconds(mark)});
        else if (mark.kind == formats::MarkKind::kPacing)
            ticks.push_back({TickKind::kPacing, seconds(mark)});
        else if (mark.kind == formats::MarkKind::kApneaBegin)
            ticks.push_back({TickKind::kApnea, seconds(mark), end});
        else if (mark.kind == formats::MarkKind::kApneaEnd)
            EndApnea(ticks, seconds(mark));
    }
    return ticks;
}

/// The kind by the annotation's first word: beats and pacing pulses as WFDB and this command name them.
std::optional<TickKind> KindOf(std::string_view word)
{
    constexpr std::string_view kBeats = "NLRaVFJASEj/QBenfr"; // one letter each
    if (word.size() == 1 && kBeats.find(word.front()) != std::string_view::npos)
        return TickKind::kBeat;
    if (word == "^" || word == "pacing")
        return TickKind::kPacing;
    return std::nullopt;
}

std::vector<Tick> TicksOf(const formats::Recording& recording, double end_s)
{
    std::vector<Tick> ticks;
    for (const formats::Annotation& annotation : recording.annotations) {
        const std::string_view text = annotation.text;
        if (const auto kind = KindOf(text.substr(0, text.find(' '))))
            ticks.push_back({*kind, annotation.seconds});
        else if (text.ends_with("apnea on"))
            ticks.push_back({TickKind::kApnea, annotation.seconds, end_s});
        else if (text.ends_with("apnea off"))
            EndApnea(ticks, annotation.seconds);
    }
    return ticks;
}

const formats::RecordedChannel& Chosen(const formats::Recording& recording, const std::string& path,
                                       const std::string& name)
{
    const auto drawable = [](const formats::RecordedChannel& channel) {
        return channel.voltage && !channel.values.empty();
    };
    if (!name.empty()) {
        const formats::RecordedChannel& channel = formats::FindChannel(recording, name);
        if (drawable(channel))
            return channel;
        throw Failure(Exit::kUsage, fmt::format("channel \"{}\" is no voltage; choose another with --channel",
                                                channel.name));
    }
    const auto found = std::ranges::find_if(recording.channels, drawable);
    if (found == recording.channels.end())
        throw Failure(Exit::kCheckFailed,
                      fmt::format("{}: no channel of it is a voltage; give another recording", path));
    return *found;
}

} // namespace

StripChart ChartOfSignal(SignalOptions& signal, const std::string& channel, double seconds, Context& context)
{
    const Selection selection = CheckSignal(signal);
    Strip strip = RenderStrip(signal, selection, seconds, context);
    StripChart chart;
    chart.rate = strip.rate;
    chart.ticks = TicksOf(strip);
    const bool ac = channel != "dc";
    chart.mv = ac ? std::move(strip.ac_mv) : std::move(strip.dc_mv);
    chart.title = selection.name;
    chart.settings = Settings(signal);
    chart.origin = {ac ? "AC channel" : "DC channel"};
    return chart;
}

StripChart ChartOfRecording(const std::string& path, const std::string& channel)
{
    const formats::Recording recording = formats::ReadRecording(path);
    const formats::RecordedChannel& chosen = Chosen(recording, path, channel);
    StripChart chart;
    chart.rate = chosen.rate;
    chart.mv = chosen.values;
    chart.ticks = TicksOf(recording, chart.Seconds());
    chart.title = std::filesystem::path(path).filename().string();
    chart.settings = {recording.format, fmt::format("channel {}", chosen.name),
                      fmt::format("{:g} samples/s", chosen.rate)};
    return chart;
}

} // namespace zeka::cli
