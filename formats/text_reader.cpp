// text_reader.cpp - parses the library's text formats line by line, and CSV as the writers here make it.
#include "formats/text_reader.h"

#include "formats/file_error.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <optional>

namespace zeka::formats {
namespace {

constexpr std::size_t kMostChannels = 128;
constexpr std::string_view kTimeColumn = "time_s";
constexpr std::string_view kMvSuffix = "_mv";
constexpr double kTimeStepS = 1e-6; // the times have six decimals

std::string_view Trimmed(std::string_view text)
{
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && blank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Splits a text into its pieces, one after the other.
class Pieces {
public:
    Pieces(std::string_view text, char separator) : text_(text), separator_(separator) {}
    std::optional<std::string_view> Next()
    {
        if (done_)
            return std::nullopt;
        const std::size_t end = text_.find(separator_);
        const std::string_view piece = text_.substr(0, end);
        done_ = end == std::string_view::npos;
        if (!done_)
            text_.remove_prefix(end + 1);
        return Trimmed(piece);
    }

private:
    std::string_view text_;
    char separator_;
    bool done_ = false;
};

std::optional<double> Number(std::string_view text)
{
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(number))
        return std::nullopt;
    return number;
}

double Expect(const std::optional<std::string_view>& piece, const std::string& path, const char* what)
{
    const std::optional<double> number = piece ? Number(*piece) : std::nullopt;
    if (!number)
        Refuse(path, fmt::format("\"{}\" is no {}", piece.value_or("").substr(0, 20), what));
    return *number;
}

/// Reads rate, count, then the number of channels, their names and a row for each sample; a
/// file of one channel has its values at once. The third and fourth line tell the two
/// apart, because names are no numbers.
Recording ReadPlain(Pieces lines, const std::string& path)
{
    const double rate = Expect(lines.Next(), path, "sample rate");
    const double count = Expect(lines.Next(), path, "number of samples");
    if (!(rate > 0.0) || !(count >= 1.0))
        Refuse(path, "rate and number of samples, its first two lines, must be above 0");
    const auto third = lines.Next();
    Pieces rest = lines;
    const auto fourth = lines.Next();
    Recording recording;
    recording.format = "text";
    const bool named =
        fourth && !fourth->empty() && !Number(*fourth) && !Number(*Pieces(*fourth, ',').Next()).has_value();
    if (!named) {
        RecordedChannel& channel =
            recording.channels.emplace_back(RecordedChannel{"1", "mV", rate, true, {}});
        for (auto line = third; line && static_cast<double>(channel.values.size()) < count;
             line = rest.Next())
            if (!line->empty())
                channel.values.push_back(Expect(line, path, "value in mV"));
        return recording;
    }
    const double channels = Expect(third, path, "number of channels");
    if (!(channels >= 1.0) || channels > static_cast<double>(kMostChannels))
        Refuse(path, fmt::format("{} channels; there may be 1 to {}", channels, kMostChannels));
    Pieces names(*fourth, ',');
    for (std::size_t i = 0; i < static_cast<std::size_t>(channels); ++i) {
        const auto name = names.Next();
        recording.channels.push_back({name ? std::string(*name) : std::to_string(i), "mV", rate, true, {}});
    }
    for (auto line = lines.Next();
         line && static_cast<double>(recording.channels.front().values.size()) < count; line = lines.Next()) {
        if (line->empty())
            continue;
        Pieces values(*line, ',');
        for (RecordedChannel& channel : recording.channels)
            channel.values.push_back(Expect(values.Next(), path, "value in mV"));
    }
    return recording;
}

/// The columns after that of the time, all of them empty.
std::vector<RecordedChannel> ColumnsOf(Pieces names, const std::string& path)
{
    std::vector<RecordedChannel> channels;
    (void)names.Next();
    for (auto name = names.Next(); name; name = names.Next()) {
        const bool voltage = *name == "mv" || name->ends_with(kMvSuffix);
        if (name->ends_with(kMvSuffix))
            name->remove_suffix(kMvSuffix.size());
        channels.push_back({std::string(*name), voltage ? "mV" : "", 0.0, voltage, {}});
    }
    if (channels.empty() || channels.size() > kMostChannels)
        Refuse(path, fmt::format("{} columns behind the time; there may be 1 to {}", channels.size(),
                                 kMostChannels));
    return channels;
}

/// The rate of lines at equal distances; a whole number where the decimals of the times allow one.
double RateOf(const std::vector<double>& times, const std::string& path)
{
    const double length = times.empty() ? 0.0 : times.back() - times.front();
    if (times.size() < 2 || !std::isfinite(length) ||
        length < kTimeStepS * static_cast<double>(times.size() - 1))
        Refuse(path, "its times do not grow as those of samples do; no sample rate can be told");
    const double rate = static_cast<double>(times.size() - 1) / length;
    const double step = length / static_cast<double>(times.size() - 1);
    for (std::size_t i = 1; i < times.size(); ++i)
        if (std::abs(times[i] - times[i - 1] - step) > step / 2 + 2 * kTimeStepS)
            Refuse(path, fmt::format("its samples are not evenly spaced, see line {}", i + 2));
    const double whole = std::round(rate);
    return std::abs(rate - whole) <= 2 * rate * kTimeStepS / length ? whole : rate;
}

/// Reads a line of names, of which the first is that of the time, and a line for each sample.
Recording ReadCsv(std::string_view names, Pieces lines, const std::string& path)
{
    Recording recording;
    recording.format = "CSV";
    recording.channels = ColumnsOf(Pieces(names, ','), path);
    std::vector<double> times;
    for (auto line = lines.Next(); line; line = lines.Next()) {
        if (line->empty())
            continue;
        Pieces values(*line, ',');
        times.push_back(Expect(values.Next(), path, "time in s"));
        for (RecordedChannel& channel : recording.channels)
            channel.values.push_back(Expect(values.Next(), path, "value"));
    }
    const double rate = RateOf(times, path);
    for (RecordedChannel& channel : recording.channels)
        channel.rate = rate;
    return recording;
}

} // namespace

Recording ReadText(std::string_view text, const std::string& path)
{
    Pieces lines(text, '\n');
    Pieces behind_the_first = lines;
    const auto first = behind_the_first.Next();
    if (first && Pieces(*first, ',').Next() == kTimeColumn)
        return ReadCsv(*first, behind_the_first, path);
    return ReadPlain(lines, path);
}

} // namespace zeka::formats
