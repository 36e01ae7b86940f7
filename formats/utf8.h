// utf8.h - where a character of UTF-8 ends.
#pragma once

#include <cstddef>
#include <string_view>

namespace zeka::formats {

/// Bytes of the character at the front of the text; 0 when there is no valid one.
std::size_t Utf8Length(std::string_view text);

} // namespace zeka::formats
