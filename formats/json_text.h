// json_text.h - a text as a JSON string: in quotes, with the escapes that JSON requires.
#pragma once

#include <string>
#include <string_view>

namespace zeka::formats {

/// `text` is UTF-8. Invalid bytes become U+FFFD, so that the result is always valid JSON.
std::string JsonText(std::string_view text);

} // namespace zeka::formats
