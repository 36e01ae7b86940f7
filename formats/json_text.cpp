// json_text.cpp - escapes quotes, backslashes and control characters.
#include "formats/json_text.h"

#include "formats/utf8.h"

#include <algorithm>
#include <fmt/format.h>

namespace zeka::formats {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD

void AppendAscii(std::string& json, char c)
{
    constexpr std::string_view kPlain = "\"\\\b\f\n\r\t";
    constexpr std::string_view kEscaped = "\"\\bfnrt";
    if (const std::size_t at = kPlain.find(c); at != std::string_view::npos)
        json.append(1, '\\').append(1, kEscaped[at]);
    else if (c >= ' ')
        json += c;
    else
        json += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
}

} // namespace

std::string JsonText(std::string_view text)
{
    std::string json = "\"";
    while (!text.empty()) {
        const std::size_t length = Utf8Length(text);
        if (length == 0)
            json += kReplacement;
        else if (length == 1)
            AppendAscii(json, text.front());
        else
            json += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return json + '"';
}

} // namespace zeka::formats
