// fuzz_numbers.cpp - the readers of numbers, compared with the C library's.
#include <bit>
#include <cstring>

#include "files/decimal.h"
#include "fuzz/memory_file.h"
#include "fuzz/reference_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kMostText = 127; // a line holds no more
    char text[kMostText + 1] = {};
    if (size > 0)
        std::memcpy(text, data, std::min(size, kMostText));

    const double expected = std::strtod(text, nullptr);
    const double real = zeka::ReadReal(text);
    ZEKA_REQUIRE(std::isnan(expected)
                     ? std::isnan(real)
                     : std::bit_cast<std::uint64_t>(real) == std::bit_cast<std::uint64_t>(expected));
    const long integer = std::clamp<long>(std::strtol(text, nullptr, 10), INT_MIN, INT_MAX);
    ZEKA_REQUIRE(zeka::ReadInteger(text) == integer);
    return 0;
}
