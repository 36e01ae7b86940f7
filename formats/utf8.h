// utf8.h - the length of a UTF-8 character.
#pragma once

#include <cstddef>
#include <string_view>

namespace zeka::formats {

/// Bytes of the character at the beginning of the text; 0 when there is no valid one.
std::size_t Utf8Length(std::string_view text);

} // namespace zeka::formats
