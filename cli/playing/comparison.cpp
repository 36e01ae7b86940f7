// comparison.cpp - the levels and rates that each function should show, and the rows that
// compare them with the measurement.
//
// Tolerances: a level may differ by one count of its 16-bit word, and by the height that a peak has between
// two samples. A frequency or a rate comes from two crossings; each may differ by one sample or by the time
// in which the signal rises one count, whichever is longer. A pulse may be one sample wider or narrower.
#include "cli/playing/comparison.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr double kAcCount = 1.0 / sim::kCountsPerMv; // mV
constexpr double kDcCount = 2000.0 / 65535.0;        // mV
constexpr double kPerMinute = 60.0;
constexpr double kDecayS = 0.05;      // of the exponential functions
constexpr double kLimitMv = 5.0;      // of the ECG's amplitude
constexpr double kRoundOff = 1e-9;    // of numbers that were computed in different ways
constexpr double kShownPeriods = 2.1; // a window of so many periods shows at least two of what repeats

/// The expected levels of the AC channel for a signal without additions.
struct Levels {
    double highest = 0.0;
    double lowest = 0.0;
    double hidden_high = 0.0; // height that a peak can lose between two samples
    double hidden_low = 0.0;
};

struct Question {
    const SignalOptions& options;
    const Selection& selection;
    const sim::Report& report;
    const Observation& seen;

    [[nodiscard]] double Rate() const { return seen.sample_rate; }
    [[nodiscard]] double SampleMs() const { return 1000.0 / seen.sample_rate; }
    [[nodiscard]] double Asked(Id id) const { return options.values.Asked(id); }
    [[nodiscard]] bool Heeds(unsigned what) const { return (selection.function->heeds & what) != 0; }
    [[nodiscard]] bool IsEcg() const { return Heeds(kQrs); }
    /// In Hz; 0 when the signal has no frequency of its own.
    [[nodiscard]] double Frequency() const
    {
        constexpr double kBiphasicHz = 1.0;
        return Heeds(kFrequency) ? Asked(Id::kFrequency) : selection.Is("biphasic") ? kBiphasicHz : 0.0;
    }
    [[nodiscard]] bool Shows(double period_s) const { return report.seconds >= kShownPeriods * period_s; }
    [[nodiscard]] bool Paced() const { return options.values.Has(Id::kPacing) && Asked(Id::kPacing) != 0.0; }
};

Levels Turned(Levels levels, double sign)
{
    if (sign >= 0.0)
        return levels;
    return {-levels.lowest, -levels.highest, levels.hidden_low, levels.hidden_high};
}

/// The slope (mV/s) of the straight lines that meet in the peaks of the QRS, on both sides.
double QrsSlope(const Question& q, double scale)
{
    constexpr double kMsPerS = 1000.0;
    return 2.0 * std::abs(scale) / (q.Asked(Id::kQrsDuration) / kMsPerS);
}

/// The highest and lowest level of a beat; nothing when the beat does not fit into
/// its period or its waves overlap.
std::optional<Levels> EcgLevels(const Question& q)
{
    constexpr double kR = 0.875; // of the amplitude
    constexpr double kS = -0.125;
    constexpr double kAfterQrsMs = 260.0; // onset, ST and T wave of the simple ECG
    const bool custom = q.Heeds(kEcgTiming);
    const double beat_ms = 1000.0 / q.Frequency();
    const double needed_ms = custom ? q.Asked(Id::kPrInterval) + q.Asked(Id::kQtInterval)
                                    : q.Asked(Id::kQrsDuration) + kAfterQrsMs;
    if (needed_ms > beat_ms)
        return std::nullopt;
    if (custom && (q.Asked(Id::kStDeviation) != 0.0 || q.Asked(Id::kPDuration) > q.Asked(Id::kPrInterval) ||
                   q.Asked(Id::kQrsDuration) > q.Asked(Id::kQtInterval)))
        return std::nullopt;
    const double scale = std::clamp(q.Asked(Id::kAmplitude), -kLimitMv, kLimitMv);
    const double waves = std::max(q.Asked(Id::kTWave), custom ? q.Asked(Id::kPWave) : 0.0);
    const double hidden = QrsSlope(q, scale) / q.Rate() / 2.0;
    return Levels{std::max({kR * scale, kS * scale, waves}), std::min({kR * scale, kS * scale, 0.0}), hidden,
                  hidden};
}

template <class Value> Levels Extremes(const Value* values, std::size_t count, double per_mv)
{
    const auto [low, high] = std::minmax_element(values, values + count);
    return {static_cast<double>(*high) / per_mv, static_cast<double>(*low) / per_mv, 0.0, 0.0};
}

/// The levels of the part of a table that the window shows; nothing when the window begins within the table.
template <class Value>
std::optional<Levels> TableLevels(const Question& q, const Value* table, unsigned length, unsigned rate,
                                  double per_mv)
{
    if (table == nullptr || length == 0)
        return std::nullopt;
    const double last_s = static_cast<double>(q.seen.window.samples.size() - 1) / q.Rate();
    const double last = std::floor(last_s * rate);
    if (last + 1 >= length)
        return Extremes(table, length, per_mv);
    if (q.seen.window.first != 0)
        return std::nullopt;
    return Extremes(table, static_cast<std::size_t>(last) + 1, per_mv);
}

std::optional<Levels> StandardLevels(const Question& q)
{
    constexpr double kUvPerMv = 1000.0;
    constexpr unsigned kPlayedOf47 = 60000; // the first minute
    unsigned length = 0;
    unsigned rate = 0;
    switch (q.selection.function->variants) {
    case Variants::kIec27: {
        const int* table = GetSpecialWave227Array(q.selection.variant, &length, &rate);
        return TableLevels(q, table, length, rate, kUvPerMv);
    }
    case Variants::kIec51: {
        const int* table = GetSpecialWave251Array(q.selection.variant, &length, &rate);
        return TableLevels(q, table, length, rate, kUvPerMv);
    }
    case Variants::kIec47: {
        const double* table = GetSpecialWave247Array(q.selection.variant, &length, &rate);
        return TableLevels(q, table, std::min(length, kPlayedOf47), rate, 1.0);
    }
    case Variants::kLead: // the library does not export this table
    case Variants::kNone:
        break;
    }
    return std::nullopt;
}

std::optional<Levels> PeriodicLevels(const Question& q)
{
    const double height = q.Asked(Id::kAmplitude);
    const double half = std::abs(height) / 2.0;
    const double full = std::abs(height);
    const double f = q.Frequency();
    const double lost = 1.0 - std::exp(-1.0 / (q.Rate() * kDecayS)); // of a decay, within one sample
    const double width_s = q.Asked(Id::kPulseWidth) / 1000.0;
    if (q.selection.Is("sine")) {
        const double hidden = half * (1.0 - std::cos(std::numbers::pi * f / q.Rate()));
        return Levels{half, -half, hidden, hidden};
    }
    if (q.selection.Is("triangle")) {
        const double hidden = 2.0 * full * f / q.Rate() / 2.0;
        return Levels{half, -half, hidden, hidden};
    }
    if (q.selection.Is("square"))
        return Levels{half, -half, 0.0, 0.0};
    if (q.selection.Is("biphasic"))
        return Levels{half, -half, half * lost, half * lost};
    if (q.selection.Is("exponential"))
        return Turned({full, full * std::exp(-1.0 / f / kDecayS), full * lost, full * lost}, height);
    if (width_s > 1.0 / f)
        return std::nullopt; // the pulse does not end within the period
    if (q.selection.Is("rectangular-pulse"))
        return Turned({full, 0.0, 0.0, 0.0}, height);
    if (q.selection.Is("triangular-pulse") && !q.Paced())
        return Turned({full, 0.0, full / (width_s / 2.0) / q.Rate() / 2.0, 0.0}, height);
    return std::nullopt;
}

std::optional<Levels> AskedLevels(const Question& q)
{
    if (!q.options.Plain())
        return std::nullopt;
    if (q.selection.function->variants != Variants::kNone)
        return StandardLevels(q);
    if (q.Frequency() == 0.0 || !q.Shows(1.0 / q.Frequency()))
        return std::nullopt;
    return q.IsEcg() ? EcgLevels(q) : PeriodicLevels(q);
}

void AddLevels(const Question& q, std::vector<Row>& rows)
{
    const std::optional<Levels> asked = AskedLevels(q);
    Row highest{q.IsEcg() ? "highest (R wave)" : "highest", "mV", {}, q.report.ac.maximum, {}};
    Row lowest{q.IsEcg() ? "lowest (S wave)" : "lowest", "mV", {}, q.report.ac.minimum, {}};
    if (asked) {
        highest.asked = asked->highest;
        highest.tolerance = kAcCount + asked->hidden_high;
        lowest.asked = asked->lowest;
        lowest.tolerance = kAcCount + asked->hidden_low;
    }
    rows.push_back(highest);
    rows.push_back(lowest);
    if (!asked || q.IsEcg() || q.selection.function->variants != Variants::kNone)
        return;
    rows.push_back({"amplitude", "mV", asked->highest - asked->lowest, q.report.ac.peak_to_peak,
                    2.0 * kAcCount + asked->hidden_high + asked->hidden_low});
}

/// The time by which a crossing of the middle level may be off.
double CrossingS(const Question& q)
{
    const double steepness = q.report.ac.peak_to_peak * q.Frequency(); // mV/s, the lowest slope
    return std::max(1.0 / q.Rate(), kAcCount / steepness);
}

void AddFrequency(const Question& q, std::vector<Row>& rows)
{
    const double f = q.Frequency();
    if (f == 0.0 || q.IsEcg() || q.options.dynamic_range_mv) // the added sine has crossings of its own
        return;
    Row row{"frequency", "Hz", f, q.report.ac.frequency_hz, {}};
    const bool flat = q.Asked(Id::kAmplitude) == 0.0;
    if (q.options.Plain() && q.Shows(1.0 / f) && !flat) {
        const double span_s = static_cast<double>(q.report.ac.periods) / f;
        row.tolerance = span_s > 0.0 ? f * (2.0 * CrossingS(q) / span_s + q.seen.period_error_s * f) : 0.0;
    }
    rows.push_back(row);
}

void AddHeartRate(const Question& q, std::vector<Row>& rows)
{
    if (!q.IsEcg() || q.options.drift_mv || q.options.breathing.breaths) // R peaks of unequal height
        return;
    constexpr double kClearly = 0.5; // other waves stay below this share of R and are not taken for it
    const double asked = q.Frequency() * kPerMinute;
    Row row{"heart rate", "per minute", asked, q.report.r_peaks_per_minute, {}};
    const double other = std::max(q.Asked(Id::kTWave), q.Asked(Id::kPWave));
    const bool clear = other < kClearly * 0.875 * std::min(q.Asked(Id::kAmplitude), kLimitMv) &&
                       q.Asked(Id::kStDeviation) == 0.0;
    if (q.options.Plain() && clear && q.Shows(1.0 / q.Frequency())) {
        const double beats = static_cast<double>(std::max<std::size_t>(q.report.r_peak_s.size(), 2) - 1);
        row.tolerance = asked * q.Frequency() * (2.0 / q.Rate() / beats + q.seen.period_error_s);
    }
    rows.push_back(row);
}

void AddPulseWidth(const Question& q, std::vector<Row>& rows)
{
    if (!q.Heeds(kPulseWidth) || q.Paced())
        return;
    constexpr double kMsPerS = 1000.0;
    const double base_ms = q.Asked(Id::kPulseWidth);
    const bool triangular = q.selection.Is("triangular-pulse");
    const double half_height_ms = triangular ? base_ms / 2.0 : base_ms;
    Row row{"width at half height", "ms", half_height_ms, {}, {}};
    if (!q.report.ac.pulse_width_ms.empty())
        row.measured = q.report.ac.pulse_width_ms.front();
    // The resting level is the level for more than half of the time.
    if (q.Shows(1.0 / q.Frequency()) && base_ms < kMsPerS / q.Frequency() / 2.0 &&
        q.Asked(Id::kAmplitude) != 0.0)
        row.tolerance =
            q.SampleMs() +
            (triangular ? kMsPerS * kAcCount * base_ms / kMsPerS / std::abs(q.Asked(Id::kAmplitude)) : 0.0);
    rows.push_back(row);
}

/// The pulses follow the signal where its rate is that of a heart, else they have their own rate.
double PacingPeriodS(const Question& q)
{
    constexpr double kShortest = 1.0 / 6.0;
    constexpr double kLongest = 6.0;
    double period = q.Frequency() > 0.0 ? 1.0 / q.Frequency() : 1.0;
    unsigned length = 0;
    unsigned rate = 1;
    if (q.selection.function->variants == Variants::kIec27) {
        (void)GetSpecialWave227Array(q.selection.variant, &length, &rate);
        period = static_cast<double>(length) / rate;
    } else if (q.selection.function->variants == Variants::kIec47) {
        period = kPerMinute;
    }
    const bool follows = !q.options.values.Has(Id::kPacingRate) && period >= kShortest && period <= kLongest;
    return follows ? period : kPerMinute / q.Asked(Id::kPacingRate);
}

/// With a second pulse only every other start belongs to the same sequence.
std::optional<double> PulseTrainPerMinute(const std::vector<double>& starts, std::size_t per_period,
                                          std::size_t& periods)
{
    periods = starts.empty() ? 0 : (starts.size() - 1) / per_period;
    if (periods == 0)
        return std::nullopt;
    return kPerMinute * static_cast<double>(periods) / (starts[periods * per_period] - starts.front());
}

void AddPacing(const Question& q, std::vector<Row>& rows)
{
    const double period = PacingPeriodS(q);
    const std::size_t per_period = q.options.second_pulse == "none" ? 1 : 2;
    const bool seen = q.Shows(period);
    const sim::ChannelReport& dc = q.report.dc;
    std::size_t periods = 0;
    Row rate{"pacing rate",
             "per minute",
             kPerMinute / period,
             PulseTrainPerMinute(dc.pulse_start_s, per_period, periods),
             {}};
    Row width{"pacing width", "ms", q.Asked(Id::kPacingWidth), {}, {}};
    Row height{"pacing height", "mV", q.Asked(Id::kPacing), dc.pulse_height, {}};
    if (!dc.pulse_width_ms.empty())
        width.measured = dc.pulse_width_ms.front();
    if (seen) {
        rate.tolerance =
            *rate.asked * 2.0 / q.Rate() / (static_cast<double>(std::max<std::size_t>(periods, 1)) * period);
        width.tolerance = q.SampleMs();
        height.tolerance = kDcCount;
    }
    rows.insert(rows.end(), {rate, width, height});
}

void AddDc(const Question& q, std::vector<Row>& rows)
{
    if (q.Paced()) {
        AddPacing(q, rows);
        return;
    }
    if (q.Heeds(kDcOffset)) {
        const double asked = q.Asked(Id::kDcOffset);
        rows.push_back({"DC level", "mV", asked, q.report.dc.mean, kDcCount});
        return;
    }
    rows.push_back({"DC lowest", "mV", {}, q.report.dc.minimum, {}});
    rows.push_back({"DC highest", "mV", {}, q.report.dc.maximum, {}});
}

} // namespace

bool Row::Failed() const
{
    if (!tolerance)
        return false;
    return !measured || !asked ||
           !(std::abs(*measured - *asked) <= *tolerance * (1.0 + kRoundOff) + kRoundOff);
}

void AddStream(const Observation& seen, std::vector<Row>& rows)
{
    if (!seen.stats)
        return;
    rows.push_back({"sequence gaps", "", 0.0, static_cast<double>(seen.stats->sequence_gaps), 0.0});
    rows.push_back({"underruns", "", 0.0, static_cast<double>(seen.stats->underruns), 0.0});
}

std::vector<Row> Compare(const SignalOptions& options, const Selection& selection, const Observation& seen)
{
    const sim::Report report = sim::Measure(seen.window.samples, {.sample_rate = seen.sample_rate});
    std::vector<Row> rows;
    if (!seen.window.samples.empty()) {
        const Question q{options, selection, report, seen};
        AddFrequency(q, rows);
        AddHeartRate(q, rows);
        AddLevels(q, rows);
        AddPulseWidth(q, rows);
        AddDc(q, rows);
    }
    AddStream(seen, rows);
    return rows;
}

std::string TableOf(const std::vector<Row>& rows, const Console& console)
{
    const auto text = [](const std::optional<double>& value, int digits) {
        return value ? fmt::format("{:.{}f}", *value, digits) : std::string("-");
    };
    std::string table =
        fmt::format("{:<22}{:>12}{:>14}{:>12}  {}\n", "", "asked", "measured", "within", "unit");
    for (const Row& row : rows) {
        const int digits = row.unit.empty() ? 0 : 5;
        const std::string verdict = row.Failed()    ? console.Bad("FAILED")
                                    : row.tolerance ? console.Good("ok")
                                                    : "";
        table += fmt::format("{:<22}{:>12}{:>14}{:>12}  {:<11} {}", row.name, text(row.asked, digits),
                             text(row.measured, digits), text(row.tolerance, digits), row.unit, verdict);
        table.erase(table.find_last_not_of(' ') + 1);
        table += '\n';
    }
    return table;
}

JsonValue ToJson(const std::vector<Row>& rows)
{
    const auto value = [](const std::optional<double>& number) {
        return number ? JsonValue(*number) : JsonValue(nullptr);
    };
    JsonValue list = JsonValue::Array();
    for (const Row& row : rows)
        list.Append({{"name", row.name},
                     {"unit", row.unit},
                     {"asked", value(row.asked)},
                     {"measured", value(row.measured)},
                     {"tolerance", value(row.tolerance)},
                     {"ok", row.tolerance ? JsonValue(!row.Failed()) : JsonValue(nullptr)}});
    return list;
}

bool AnyFailed(const std::vector<Row>& rows) { return std::ranges::any_of(rows, &Row::Failed); }

} // namespace zeka::cli
