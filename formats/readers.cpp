// readers.cpp - finds the format of a file by its name and its first bytes, and
// makes the file's texts printable.
#include "formats/readers.h"

#include "formats/binary_reader.h"
#include "formats/edf_reader.h"
#include "formats/input_file.h"
#include "formats/text_reader.h"
#include "formats/utf8.h"
#include "formats/wfdb_reader.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace zeka::formats {
namespace {

constexpr std::size_t kLimitBytes = std::size_t{1} << 30;

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

/// Replaces every byte that is not printable by '?', because names of channels go to terminals and into JSON.
void MakePrintable(std::string& text)
{
    for (std::size_t at = 0; at < text.size();) {
        const bool control = static_cast<unsigned char>(text[at]) < ' ' || text[at] == '\x7F';
        const std::size_t length = control ? 0 : Utf8Length(std::string_view(text).substr(at));
        if (length == 0)
            text[at] = '?';
        at += std::max<std::size_t>(length, 1);
    }
}

Recording ReadAny(const std::string& path)
{
    if (const std::string header = WfdbHeaderOf(path); !header.empty())
        return ReadWfdb(header);
    constexpr std::string_view kEdf = "0       ";
    constexpr std::string_view kBdf = "\xFF"
                                      "BIOSEMI";
    if (const std::string head = ReadHead(path, kEdf.size()); head == kEdf || head == kBdf)
        return ReadEdf(path);
    const std::string bytes = ReadWholeFile(path, kLimitBytes);
    return LooksLikeText(bytes) ? ReadText(bytes, path) : ReadBinary(bytes, path);
}

} // namespace

Recording ReadRecording(const std::string& path)
{
    Recording recording = ReadAny(path);
    for (RecordedChannel& channel : recording.channels) {
        MakePrintable(channel.name);
        MakePrintable(channel.unit);
    }
    for (Annotation& annotation : recording.annotations)
        MakePrintable(annotation.text);
    return recording;
}

} // namespace zeka::formats
