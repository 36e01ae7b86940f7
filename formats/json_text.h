// json_text.h - a text as JSON has it: in quotes, with the escapes that JSON asks for.
#pragma once

#include <string>
#include <string_view>

namespace zeka::formats {

/// `text` is UTF-8. Bytes that are not become U+FFFD, so that the result is always valid JSON.
std::string JsonText(std::string_view text);

} // namespace zeka::formats
