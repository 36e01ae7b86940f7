// wfdb_reader.cpp - parses headers, samples and annotations of WFDB records. The number of samples follows
// from the bytes that are there, never from the header alone.
#include "formats/wfdb_reader.h"

#include "formats/file_error.h"
#include "formats/input_file.h"
#include "formats/wfdb_codes.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <set>
#include <span>
#include <sstream>

namespace zeka::formats {
namespace {

constexpr std::size_t kMostSignals = 1024;
constexpr double kUsualRate = 250.0; // where the header gives none
constexpr double kUsualGain = 200.0;
constexpr double kLowestRate = 1e-6; // per second; slower than any record, but all times stay finite
constexpr std::size_t kHeaderLimit = 1 << 20;
constexpr std::size_t kDataLimit = std::size_t{1} << 30;
constexpr int kNoValue16 = -32768;
constexpr int kNoValue12 = -2048;

/// Takes a number from the beginning of the text; empty when there is none.
template <class Number> std::optional<Number> TakeNumber(std::string_view& text)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{})
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool TakeMark(std::string_view& text, char mark)
{
    if (text.empty() || text.front() != mark)
        return false;
    text.remove_prefix(1);
    return true;
}

/// Signal files lie beside the header: a name with a path in it could be any file of the machine.
bool IsPlainName(const std::string& name)
{
    return !name.empty() && name != "-" && name != "~" && name.find('/') == std::string::npos &&
           name != "." && name != "..";
}

void ParseRecordLine(std::istringstream& words, WfdbHeader& header, std::size_t& signals,
                     const std::string& name)
{
    std::string rate;
    std::string count;
    words >> header.record >> count;
    if (header.record.find('/') != std::string::npos)
        Refuse(name, "it joins several records; give one of them");
    std::string_view count_text = count;
    const auto number = TakeNumber<std::size_t>(count_text);
    if (!number || !count_text.empty() || *number == 0 || *number > kMostSignals)
        Refuse(name, "its first line is no record line: \"record signals rate samples\"");
    signals = *number;
    header.rate = kUsualRate;
    if (words >> rate) {
        std::string_view rate_text = rate;
        header.rate = TakeNumber<double>(rate_text).value_or(0.0);
    }
    if (!(header.rate >= kLowestRate) || !std::isfinite(header.rate))
        Refuse(name, fmt::format("\"{}\" is no sample rate", rate));
    if (std::string samples; words >> samples) {
        std::string_view text = samples;
        header.samples = TakeNumber<std::uint64_t>(text).value_or(0);
    }
}

/// "gain(baseline)/unit"
void ParseGain(std::string_view text, WfdbSignal& signal, bool& has_baseline)
{
    signal.gain = TakeNumber<double>(text).value_or(0.0);
    if (TakeMark(text, '(')) {
        if (const auto baseline = TakeNumber<int>(text)) {
            signal.baseline = *baseline;
            has_baseline = true;
        }
        (void)TakeMark(text, ')');
    }
    if (TakeMark(text, '/'))
        signal.unit = text;
}

WfdbSignal ParseSignalLine(const std::string& line, const std::string& name)
{
    std::istringstream words(line);
    WfdbSignal signal;
    std::string format;
    std::string gain;
    words >> signal.file >> format >> gain;
    if (!IsPlainName(signal.file))
        Refuse(name, fmt::format("\"{}\" is no file beside the header", signal.file));
    std::string_view format_text = format;
    signal.format = TakeNumber<int>(format_text).value_or(0);
    if (signal.format != 16 && signal.format != 212)
        Refuse(name,
               fmt::format("signal format \"{}\" is not read here; convert the record to format 16 or 212",
                           format));
    if (TakeMark(format_text, '+'))
        signal.offset = TakeNumber<std::uint64_t>(format_text).value_or(0);
    if (!format_text.empty())
        Refuse(name,
               fmt::format("signal format \"{}\": frames of more than one sample and skewed signals are not "
                           "read here; resample the record",
                           format));
    bool has_baseline = false;
    ParseGain(gain, signal, has_baseline);
    double zero = 0.0;
    std::string skipped;
    words >> skipped >> zero; // resolution, count in the middle of the converter's range
    if (!has_baseline && std::isfinite(zero))
        signal.baseline = zero;
    words >> skipped >> skipped >> skipped >> std::ws; // first value, checksum, block size
    std::getline(words, signal.name);
    if (!(std::abs(signal.gain) > 0.0) || !std::isfinite(signal.gain))
        signal.gain = kUsualGain;
    constexpr double kMostMvPerUnit = 1e3;
    constexpr double kFarthestCount = 65536.0;
    if (!std::isfinite((kFarthestCount + std::abs(signal.baseline)) * kMostMvPerUnit / signal.gain))
        Refuse(name, fmt::format("gain \"{}\" makes no voltage of a count", gain));
    if (signal.unit.empty())
        signal.unit = "mV";
    return signal;
}

int Le16(const std::string& bytes, std::size_t at)
{
    return static_cast<std::uint8_t>(bytes[at]) | static_cast<std::uint8_t>(bytes[at + 1]) << 8;
}

int SignExtended(int value, int bits)
{
    const int top = 1 << (bits - 1);
    return (value ^ top) - top;
}

/// Value number n in format 212: two values of 12 bits in three bytes.
int Value212(const std::string& bytes, std::size_t n)
{
    const std::size_t at = n / 2 * 3;
    const int middle = static_cast<std::uint8_t>(bytes[at + 1]);
    if (n % 2 == 0)
        return SignExtended(static_cast<std::uint8_t>(bytes[at]) | (middle & 0x0F) << 8, 12);
    return SignExtended(static_cast<std::uint8_t>(bytes[at + 2]) | (middle & 0xF0) << 4, 12);
}

std::size_t ValuesIn(std::size_t bytes, int format)
{
    if (format == 16)
        return bytes / 2;
    return bytes / 3 * 2 + (bytes % 3 == 2 ? 1 : 0);
}

RecordedChannel ToChannel(const WfdbSignal& signal, std::span<const std::int16_t> counts, double rate)
{
    RecordedChannel channel;
    channel.name = signal.name;
    channel.unit = signal.unit;
    channel.rate = rate;
    const double mv = MillivoltsPer(signal.unit);
    channel.voltage = mv != 0.0;
    const double scale = (channel.voltage ? mv : 1.0) / signal.gain;
    const int no_value = signal.format == 16 ? kNoValue16 : kNoValue12;
    channel.values.reserve(counts.size());
    double last = 0.0; // repeated for values that are marked as missing
    for (const std::int16_t count : counts) {
        if (count != no_value)
            last = (count - signal.baseline) * scale;
        channel.values.push_back(last);
    }
    return channel;
}

} // namespace

WfdbHeader ParseWfdbHeader(const std::string& text, const std::string& name)
{
    WfdbHeader header;
    std::size_t signals = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty() || line.front() == '#')
            continue;
        if (signals == 0) {
            std::istringstream words(line);
            ParseRecordLine(words, header, signals, name);
        } else if (header.signals.size() < signals)
            header.signals.push_back(ParseSignalLine(line, name));
    }
    if (signals == 0)
        Refuse(name, "it is empty; a WFDB header has a line for the record and one for each signal");
    if (header.signals.size() < signals)
        Refuse(name, fmt::format("it describes {} of {} signals", header.signals.size(), signals));
    return header;
}

std::vector<std::vector<std::int16_t>> ParseWfdbSamples(const std::string& bytes, int format,
                                                        std::size_t signals, const std::string& name)
{
    const std::size_t frames = ValuesIn(bytes.size(), format) / std::max<std::size_t>(signals, 1);
    if (frames == 0)
        Refuse(name, "there is not one sample in it");
    std::vector<std::vector<std::int16_t>> values(signals);
    for (std::size_t signal = 0; signal < signals; ++signal) {
        values[signal].reserve(frames);
        for (std::size_t frame = 0; frame < frames; ++frame) {
            const std::size_t n = frame * signals + signal;
            const int value = format == 16 ? SignExtended(Le16(bytes, 2 * n), 16) : Value212(bytes, n);
            values[signal].push_back(static_cast<std::int16_t>(value));
        }
    }
    return values;
}

std::vector<Annotation> ParseWfdbAnnotations(const std::string& bytes, double rate, const std::string& name)
{
    std::vector<Annotation> annotations;
    double sample = 0.0;
    for (std::size_t at = 0; at + 2 <= bytes.size();) {
        const auto word = static_cast<unsigned>(Le16(bytes, at));
        at += 2;
        if (word == 0)
            break;
        const unsigned code = word >> wfdb::kCodeShift;
        const unsigned low = word & wfdb::kWayMask;
        if (code == wfdb::kSkip) {
            if (at + 4 > bytes.size())
                Refuse(name, "it ends within an annotation");
            const auto way = static_cast<std::uint32_t>(Le16(bytes, at)) << 16 |
                             static_cast<std::uint32_t>(Le16(bytes, at + 2));
            sample += static_cast<std::int32_t>(way);
            at += 4;
        } else if (code == wfdb::kText) {
            const std::size_t length = low + low % 2;
            if (at + low > bytes.size())
                Refuse(name, "it ends within an annotation");
            const std::string text = bytes.substr(at, low);
            if (!annotations.empty())
                annotations.back().text.append(1, ' ').append(text, 0, text.find('\0'));
            at += length;
        } else if (code < wfdb::kSkip) {
            sample += low;
            const bool known = code < wfdb::kMnemonics.size() && *wfdb::kMnemonics[code] != '\0';
            annotations.push_back(
                {sample / rate, 0.0, known ? wfdb::kMnemonics[code] : fmt::format("code {}", code)});
        } // number, subtype, channel: words without data behind them
    }
    return annotations;
}

std::vector<RecordedChannel> ReadWfdbSignals(const WfdbHeader& header, const WfdbSource& source,
                                             const std::string& name)
{
    std::vector<RecordedChannel> channels;
    std::set<std::string> seen;
    for (std::size_t first = 0; first < header.signals.size();) {
        const WfdbSignal& signal = header.signals[first];
        std::size_t last = first + 1;
        while (last < header.signals.size() && header.signals[last].file == signal.file)
            ++last;
        // A file that is named repeatedly would take its size in memory each time.
        if (!seen.insert(signal.file).second)
            Refuse(name, fmt::format("the signals in {} do not stand together", signal.file));
        std::string bytes = source(signal.file);
        bytes.erase(0, static_cast<std::size_t>(std::min<std::uint64_t>(signal.offset, bytes.size())));
        const auto counts = ParseWfdbSamples(bytes, signal.format, last - first, signal.file);
        for (; first < last; ++first) {
            if (header.signals[first].format != signal.format)
                Refuse(name, fmt::format("the signals in {} are of different formats", signal.file));
            channels.push_back(
                ToChannel(header.signals[first], counts[counts.size() - (last - first)], header.rate));
        }
    }
    return channels;
}

Recording ReadWfdb(const std::string& header_path)
{
    namespace fs = std::filesystem;
    const WfdbHeader header = ParseWfdbHeader(ReadWholeFile(header_path, kHeaderLimit), header_path);
    const fs::path folder = fs::path(header_path).parent_path();
    Recording recording;
    recording.format = "WFDB";
    recording.channels = ReadWfdbSignals(
        header, [&](const std::string& file) { return ReadWholeFile(folder / file, kDataLimit); },
        header_path);
    const std::string annotation_path = fs::path(header_path).replace_extension(".atr");
    std::error_code error; // no exception when there is no such file
    if (fs::exists(annotation_path, error))
        recording.annotations =
            ParseWfdbAnnotations(ReadWholeFile(annotation_path, kDataLimit), header.rate, annotation_path);
    else if (error)
        Refuse(annotation_path,
               "cannot be looked at: " + error.message() + "; make it readable, or remove it");
    return recording;
}

} // namespace zeka::formats
