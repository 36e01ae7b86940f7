// strip_source.cpp - see strip_source.h.
#include "cli/strip_source.h"

#include "cli/interrupt.h"
#include "cli/stream.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <string_view>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr double kRate = static_cast<double>(sim::kSampleRate);

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

/// What the command line said of the signal, in the words of its options.
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
        if (!(parameter.id == Id::kFrequency && signal.rate)) // it was made of the rate
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

/// The library writes into the buffers from EnableRecordRaw to DisableRecordRaw.
class Recorded {
public:
    explicit Recorded(std::size_t samples)
        : ac_(samples, std::numeric_limits<double>::quiet_NaN()), dc_(samples)
    {
        if (!EnableRecordRaw(ac_.data(), dc_.data(), static_cast<int>(samples)))
            throw Failure(Exit::kCheckFailed, "the library does not record; run this again");
    }
    ~Recorded() { DisableRecordRaw(); }
    Recorded(const Recorded&) = delete;
    Recorded& operator=(const Recorded&) = delete;

    /// What came, in mV; call it once, when nothing streams any more.
    void Finish()
    {
        const auto end = std::ranges::find_if(ac_, [](double counts) { return std::isnan(counts); });
        ac_.erase(end, ac_.end());
        dc_.resize(ac_.size());
        for (double& value : ac_)
            value /= sim::kCountsPerMv;
    }
    [[nodiscard]] std::vector<double>& Ac() { return ac_; }
    [[nodiscard]] std::vector<double>& Dc() { return dc_; }

private:
    std::vector<double> ac_; // until Finish: counts of the 16-bit word
    std::vector<double> dc_; // mV
};

/// R peaks by their steepness: the highest point after a rise of more than half of the steepest one's. A
/// baseline that swings with the breath does not matter, nor does a T wave.
std::vector<Tick> Beats(const std::vector<double>& mv)
{
    constexpr std::size_t kRise = 800;        // 20 ms
    constexpr std::size_t kLook = 2400;       // 60 ms: from the steepest rise to the peak it is less
    constexpr std::size_t kRefractory = 6000; // 150 ms
    constexpr double kLowestMv = 0.05;        // no beat, but noise
    std::vector<Tick> ticks;
    if (mv.size() <= kRise)
        return ticks;
    double steepest = 0.0;
    for (std::size_t i = kRise; i < mv.size(); ++i)
        steepest = std::max(steepest, mv[i] - mv[i - kRise]);
    for (std::size_t i = kRise; i < mv.size() && steepest > kLowestMv; ++i) {
        if (mv[i] - mv[i - kRise] < steepest / 2.0)
            continue;
        const auto from = mv.begin() + static_cast<std::ptrdiff_t>(i);
        const auto to = mv.begin() + static_cast<std::ptrdiff_t>(std::min(i + kLook, mv.size()));
        const auto peak = static_cast<std::size_t>(std::max_element(from, to) - mv.begin());
        ticks.push_back({TickKind::kBeat, static_cast<double>(peak) / kRate});
        i = peak + kRefractory;
    }
    return ticks;
}

/// Pacing pulses are all that leaves 0 mV on the DC channel; breath stops at the end of every minute.
std::vector<Tick> TicksOf(const SignalOptions& signal, const Selection& selection, Recorded& recorded)
{
    std::vector<Tick> ticks;
    if ((selection.function->heeds & kQrs) != 0 || selection.function->variants != Variants::kNone)
        ticks = Beats(recorded.Ac());
    if (signal.values.Has(Id::kPacing) && signal.values.Asked(Id::kPacing) != 0.0)
        for (std::size_t i = 0; i < recorded.Dc().size(); ++i)
            if (recorded.Dc()[i] != 0.0 && (i == 0 || recorded.Dc()[i - 1] == 0.0))
                ticks.push_back({TickKind::kPacing, static_cast<double>(i) / kRate});
    if (const Breathing& breathing = signal.breathing; breathing.breaths && breathing.apnea_s > 0) {
        constexpr double kMinuteS = 60.0;
        const double seconds = static_cast<double>(recorded.Ac().size()) / kRate;
        for (double end = kMinuteS; end - breathing.apnea_s < seconds; end += kMinuteS)
            ticks.push_back({TickKind::kApnea, end - breathing.apnea_s, end});
    }
    return ticks;
}

} // namespace

StripChart ChartOfSignal(SignalOptions& signal, const std::string& channel, double seconds, Context& context)
{
    const Selection selection = CheckSignal(signal);
    ConnectOptions connect;
    connect.virtual_one = connect.fast = true;
    Session session(connect, context);
    StreamWatch watch(session);
    ApplySignal(signal, selection);
    Recorded recorded(static_cast<std::size_t>(std::llround(seconds * kRate)));
    StartSignal(signal, selection);
    const StreamSummary summary = watch.Run(seconds, context.console, seconds);
    watch.SwitchOff();
    if (summary.interrupted)
        EndIfInterrupted();
    recorded.Finish();
    StripChart chart;
    chart.rate = kRate;
    chart.ticks = TicksOf(signal, selection, recorded);
    const bool ac = channel != "dc";
    chart.mv = std::move(ac ? recorded.Ac() : recorded.Dc());
    chart.title = selection.name;
    chart.settings = Settings(signal);
    chart.origin = {ac ? "AC channel" : "DC channel"};
    return chart;
}

} // namespace zeka::cli
