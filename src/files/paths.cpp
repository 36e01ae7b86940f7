// paths.cpp (files) - checks and encodes the paths of files. The loaders and
// dumps call it; no state, no lock.
#include "files/paths.h"

#include <cstdint>

namespace zeka {
namespace {

constexpr std::uint32_t kLastCharacter = 0x10FFFF;

constexpr bool IsContinuation(char byte) noexcept
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}
constexpr bool IsSurrogate(std::uint32_t c) noexcept { return c >= 0xD800 && c <= 0xDFFF; }

constexpr char LeadByte(std::uint32_t mark, std::uint32_t bits) noexcept
{
    return static_cast<char>(mark | bits);
}
constexpr char TrailByte(std::uint32_t bits) noexcept { return static_cast<char>(0x80 | (bits & 0x3F)); }

/// Writes one character at out and returns the end.
char* PutCharacter(char* out, std::uint32_t c) noexcept
{
    if (c < 0x80) {
        *out++ = static_cast<char>(c);
        return out;
    }
    if (c < 0x800) {
        *out++ = LeadByte(0xC0, c >> 6);
    } else {
        if (c < 0x10000) {
            *out++ = LeadByte(0xE0, c >> 12);
        } else {
            *out++ = LeadByte(0xF0, c >> 18);
            *out++ = TrailByte(c >> 12);
        }
        *out++ = TrailByte(c >> 6);
    }
    *out++ = TrailByte(c);
    return out;
}

} // namespace

bool IsAcceptedPath(const char* path) noexcept
{
    if (path == nullptr)
        return false;
    std::size_t characters = 0;
    for (const char* at = path; *at != '\0'; ++at)
        if (!IsContinuation(*at) && ++characters > kMaxPathCharacters)
            return false;
    return true;
}

Utf8Path::Utf8Path(const wchar_t* path) noexcept : valid_(path != nullptr && Encode(path)) {}

bool Utf8Path::Encode(const wchar_t* path) noexcept
{
    char* out = bytes_;
    for (std::size_t i = 0; path[i] != L'\0'; ++i) {
        const auto c = static_cast<std::uint32_t>(path[i]);
        if (i == kMaxPathCharacters || c > kLastCharacter || IsSurrogate(c))
            return false;
        out = PutCharacter(out, c);
    }
    *out = '\0';
    return true;
}

} // namespace zeka
