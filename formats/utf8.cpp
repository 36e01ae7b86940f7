// utf8.cpp - checks one UTF-8 character. Called for every character of a text that
// goes to a terminal or into JSON.
#include "formats/utf8.h"

#include <algorithm>

namespace zeka::formats {

std::size_t Utf8Length(std::string_view text)
{
    if (text.empty())
        return 0;
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
        return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    // Overlong, a surrogate, or beyond the last character.
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F))
        return 0;
    const auto follows = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
    return std::ranges::all_of(text.substr(1, length - 1), follows) ? length : 0;
}

} // namespace zeka::formats
