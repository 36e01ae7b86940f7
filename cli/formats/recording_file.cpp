// recording_file.cpp (formats) - which format it is, the library's own text and binary formats, and what all
// have in common.
#include "cli/formats/recording_file.h"

#include "cli/failure.h"
#include "cli/formats/edf.h"
#include "cli/formats/wfdb.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <optional>

namespace zeka::cli {
namespace {

constexpr std::size_t kLimitBytes = std::size_t{1} << 30;
constexpr std::size_t kMostChannels = 128;
constexpr double kMvPerMicrovolt = 1e-3;

[[noreturn]] void Refuse(const std::string& path, const std::string& why)
{
    throw Failure(Exit::kCheckFailed, fmt::format("{}: {}", path, why));
}

std::string_view Trimmed(std::string_view text)
{
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && blank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// The pieces of a text, one after the other.
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

/// Rate, count, then the number of channels, their names and a row for each sample; a file of one channel has
/// its values at once. The third and fourth line tell which it is: names are no numbers.
RecordingFile ReadText(const std::string& text, const std::string& path)
{
    Pieces lines(text, '\n');
    const double rate = Expect(lines.Next(), path, "sample rate");
    const double count = Expect(lines.Next(), path, "number of samples");
    if (!(rate > 0.0) || !(count >= 1.0))
        Refuse(path, "rate and number of samples, its first two lines, must be above 0");
    const auto third = lines.Next();
    Pieces rest = lines;
    const auto fourth = lines.Next();
    RecordingFile recording;
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

/// All high byte first: rate (16 bits), count (32 bits), microvolts (16 bits with sign).
RecordingFile ReadBinary(const std::string& bytes, const std::string& path)
{
    constexpr std::size_t kHead = 6;
    const auto at = [&bytes](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    if (bytes.size() < kHead + 2)
        Refuse(path, "it is too short for a recording; give a text, binary, WFDB or EDF+ file");
    const int rate = at(0) << 8 | at(1);
    const std::uint32_t count = static_cast<std::uint32_t>(at(2)) << 24 |
                                static_cast<std::uint32_t>(at(3)) << 16 |
                                static_cast<std::uint32_t>(at(4)) << 8 | at(5);
    const std::size_t there = (bytes.size() - kHead) / 2;
    // Any file begins with some number: one that cannot be a count shows that it is none of these.
    if (rate < 30 || rate > 5000 || count == 0 || count / 2 > there)
        Refuse(path, "it is neither text, binary, WFDB nor EDF+; 'zeka file --help' says what is read");
    RecordingFile recording;
    recording.format = "binary";
    RecordedChannel& channel =
        recording.channels.emplace_back(RecordedChannel{"1", "uV", static_cast<double>(rate), true, {}});
    for (std::size_t i = 0; i < std::min<std::size_t>(count, there); ++i) {
        const auto word = static_cast<std::uint16_t>(at(kHead + 2 * i) << 8 | at(kHead + 2 * i + 1));
        channel.values.push_back(static_cast<std::int16_t>(word) * kMvPerMicrovolt);
    }
    return recording;
}

bool LooksLikeText(const std::string& bytes)
{
    const auto head = std::string_view(bytes).substr(0, 256);
    return std::ranges::all_of(
        head, [](unsigned char c) { return c >= ' ' || c == '\n' || c == '\r' || c == '\t'; });
}

/// The header of the record that the path names in one of the usual ways; empty: none.
std::string WfdbHeaderOf(const std::string& path)
{
    std::filesystem::path header(path);
    const std::string suffix = header.extension();
    if (suffix == ".hea")
        return path;
    std::error_code none;
    if (suffix == ".dat" || suffix == ".atr")
        header.replace_extension(".hea");
    else if (!std::filesystem::exists(header, none))
        header += ".hea";
    else
        return {};
    return std::filesystem::exists(header, none) ? header.string() : std::string();
}

/// Bytes of the UTF-8 character at the front of the text; 0: none, or a control character.
std::size_t CharacterAt(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
        return first >= ' ' && first != 0x7F ? 1 : 0;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    // Longer than it needs to be, a half of a pair, or beyond the last character.
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F))
        return 0;
    const auto follows = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
    return std::ranges::all_of(text.substr(1, length - 1), follows) ? length : 0;
}

/// What a file calls its channels goes to terminals and into JSON: '?' for every byte that could not.
void MakePrintable(std::string& text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = CharacterAt(std::string_view(text).substr(at));
        if (length == 0)
            text[at] = '?';
        at += std::max<std::size_t>(length, 1);
    }
}

/// The first bytes, where there are any.
std::string Head(const std::string& path, std::size_t count)
{
    std::string head(count, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(count));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

RecordingFile ReadAny(const std::string& path)
{
    if (const std::string header = WfdbHeaderOf(path); !header.empty())
        return ReadWfdb(header);
    constexpr std::string_view kEdf = "0       ";
    constexpr std::string_view kBdf = "\xFF"
                                      "BIOSEMI";
    if (const std::string head = Head(path, kEdf.size()); head == kEdf || head == kBdf)
        return ReadEdf(path);
    const std::string bytes = ReadWholeFile(path, kLimitBytes);
    return LooksLikeText(bytes) ? ReadText(bytes, path) : ReadBinary(bytes, path);
}

std::string Listed(const RecordingFile& recording)
{
    std::string text;
    for (std::size_t i = 0; i < recording.channels.size(); ++i)
        text += fmt::format("{}{} \"{}\"", i == 0 ? "" : ", ", i, recording.channels[i].name);
    return text;
}

} // namespace

std::string ReadWholeFile(const std::string& path, std::size_t limit)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        Refuse(path, "it is a folder; name a file in it");
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw Failure(errno == EACCES ? Exit::kPermission : Exit::kCheckFailed,
                      fmt::format("cannot read {}: {}; name another file", path, std::strerror(errno)));
    std::string bytes;
    for (std::string piece(std::size_t{1} << 16, '\0'); file;) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        bytes.append(piece, 0, static_cast<std::size_t>(file.gcount()));
        if (bytes.size() > limit)
            Refuse(path, fmt::format("it is longer than {} bytes; cut it into shorter ones", limit));
    }
    return bytes;
}

double MillivoltsPer(const std::string& unit)
{
    if (unit == "mV" || unit == "mv")
        return 1.0;
    if (unit == "uV" || unit == "uv" || unit == "\xB5V" || unit == "\xC2\xB5V" || unit == "microvolt")
        return 1e-3;
    if (unit == "V")
        return 1e3;
    return unit == "nV" ? 1e-6 : 0.0;
}

RecordingFile ReadRecording(const std::string& path)
{
    RecordingFile recording = ReadAny(path);
    for (RecordedChannel& channel : recording.channels) {
        MakePrintable(channel.name);
        MakePrintable(channel.unit);
    }
    for (Annotation& annotation : recording.annotations)
        MakePrintable(annotation.text);
    return recording;
}

const RecordedChannel& FindChannel(const RecordingFile& recording, const std::string& channel)
{
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(channel.data(), channel.data() + channel.size(), number);
    if (error == std::errc{} && end == channel.data() + channel.size() && number < recording.channels.size())
        return recording.channels[number];
    const auto found = std::ranges::find(recording.channels, channel, &RecordedChannel::name);
    if (found == recording.channels.end())
        throw Failure(Exit::kUsage,
                      fmt::format("there is no channel \"{}\"; there are {}", channel, Listed(recording)));
    return *found;
}

} // namespace zeka::cli
