// text.cpp - UTF-8 decoding, trimming in place, version packing; see text.h. Any thread, no state.
#include "util/text.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <array>

namespace {

constexpr wchar_t kInvalidSequence = 0x22E0;

// Marks by which the first byte of a sequence gives its length, and the bits of the
// character that a byte carries.
constexpr unsigned kContinuationMask = 0xC0, kContinuationMark = 0x80, kContinuationBits = 0x3F;
constexpr unsigned kTwoByteMask = 0xE0, kTwoByteMark = 0xC0, kTwoByteBits = 0x1F;
constexpr unsigned kThreeByteMask = 0xF0, kThreeByteMark = 0xE0, kThreeByteBits = 0x0F;
constexpr int kBitsPerContinuation = 6;

unsigned ByteAt(const char* s, int index) { return static_cast<unsigned char>(s[index]); }

// False at the terminator too, so that no byte behind it is read.
bool IsContinuation(unsigned byte) { return (byte & kContinuationMask) == kContinuationMark; }

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

struct Decoded {
    unsigned character;
    int length;
};

Decoded Decode(const char* s)
{
    const unsigned first = ByteAt(s, 0);
    if (first < kContinuationMark)
        return {first, 1};
    if ((first & kTwoByteMask) == kTwoByteMark && IsContinuation(ByteAt(s, 1)))
        return {(first & kTwoByteBits) << kBitsPerContinuation | (ByteAt(s, 1) & kContinuationBits), 2};
    if ((first & kThreeByteMask) == kThreeByteMark && IsContinuation(ByteAt(s, 1)) &&
        IsContinuation(ByteAt(s, 2)))
        return {(first & kThreeByteBits) << 2 * kBitsPerContinuation |
                    (ByteAt(s, 1) & kContinuationBits) << kBitsPerContinuation |
                    (ByteAt(s, 2) & kContinuationBits),
                3};
    return {kInvalidSequence, 0};
}

} // namespace

wchar_t UTF8ToUnicodeChar(const char* s, int* length)
{
    const Decoded decoded = s != nullptr ? Decode(s) : Decoded{kInvalidSequence, 0};
    if (length != nullptr)
        *length = decoded.length;
    return static_cast<wchar_t>(decoded.character);
}

void UTF8ToUnicodeBuf(const char* s, wchar_t* out)
{
    while (s != nullptr && *s != '\0') {
        int length = 0;
        *out++ = UTF8ToUnicodeChar(s, &length);
        if (length == 0)
            break;
        s += length;
    }
    *out = L'\0';
}

void StringTrimRight(char* s)
{
    std::size_t length = std::strlen(s);
    while (length > 0 && IsSpace(s[length - 1]))
        --length;
    s[length] = '\0';
}

void StringTrimLeft(char* s)
{
    const char* start = s;
    while (IsSpace(*start))
        ++start;
    std::memmove(s, start, std::strlen(start) + 1);
}

void StringTrim(char* s)
{
    StringTrimRight(s);
    StringTrimLeft(s);
}

unsigned int ConvertVersion(const char* text)
{
    if (text == nullptr)
        return 0;

    // strtol, not scanf with "%d", which is undefined for a number that does not fit the type.
    std::uint32_t packed = 0;
    for (const int shift : std::array{24, 16, 8, 0}) {
        char* end = nullptr;
        const long number = std::strtol(text, &end, 10);
        if (end == text)
            break;
        packed |= static_cast<std::uint32_t>(number) << shift;
        if (*end != '.')
            break;
        text = end + 1;
    }
    return packed;
}
