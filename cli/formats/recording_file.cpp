// recording_file.cpp (formats) - which format it is, the library's own binary format, and what all have in
// common.
#include "cli/formats/recording_file.h"

#include "cli/failure.h"
#include "cli/formats/edf.h"
#include "cli/formats/text.h"
#include "cli/formats/wfdb.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>

namespace zeka::cli {
namespace {

constexpr std::size_t kLimitBytes = std::size_t{1} << 30;
constexpr double kMvPerMicrovolt = 1e-3;

[[noreturn]] void Refuse(const std::string& path, const std::string& why)
{
    throw Failure(Exit::kCheckFailed, fmt::format("{}: {}", path, why));
}

/// All high byte first: rate (16 bits), count (32 bits), microvolts (16 bits with sign).
RecordingFile ReadBinary(const std::string& bytes, const std::string& path)
{
    constexpr std::size_t kHead = 6;
    const auto at = [&bytes](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    if (bytes.size() < kHead + 2)
        Refuse(path, "it is too short for a recording; give a text, CSV, binary, WFDB or EDF+ file");
    const int rate = at(0) << 8 | at(1);
    const std::uint32_t count = static_cast<std::uint32_t>(at(2)) << 24 |
                                static_cast<std::uint32_t>(at(3)) << 16 |
                                static_cast<std::uint32_t>(at(4)) << 8 | at(5);
    const std::size_t there = (bytes.size() - kHead) / 2;
    // Any file begins with some number: one that cannot be a count shows that it is none of these.
    if (rate < 30 || rate > 5000 || count == 0 || count / 2 > there)
        Refuse(path, "it is neither text, CSV, binary, WFDB nor EDF+; 'zeka file --help' says what is read");
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
