// decimal.h (files) - reads numbers in text as the C library does in the C locale, whatever locale the
// application has set. Leading blanks are skipped, reading stops at the first character that does not
// fit, text without a number reads as 0. The values are correctly rounded, bit for bit those of the C
// library. Any thread, no lock.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace zeka {

/// Every spelling of a real number: exponents, hexadecimal, any count of digits, inf and nan.
[[nodiscard]] double ReadReal(std::string_view text) noexcept;

/// A decimal integer; beyond 32 bits the end values.
[[nodiscard]] std::int32_t ReadInteger(std::string_view text) noexcept;

namespace plain_decimal {
inline constexpr std::uint64_t kMaxExact = std::uint64_t{1} << 53; // integers up to this are exact as double
inline constexpr int kMaxDigits = 19;                              // this many always fit into 64 bits
inline constexpr auto kPowersOfTen =
    std::to_array({1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                   1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19}); // all exact
static_assert(kPowersOfTen.size() == kMaxDigits + 1);
} // namespace plain_decimal

/// Reads a number such as -0.125, the only kind that recordings contain in practice: sign, digits, point,
/// digits, and so few of them that one division of exact values rounds correctly. Returns true with value set
/// and at behind the number; false for any other spelling, with nothing changed.
[[nodiscard]] inline bool ReadPlainDecimal(const char*& at, const char* end, double& value) noexcept
{
    const char* p = at;
    const bool negative = p != end && *p == '-';
    if (negative)
        ++p;

    std::uint64_t digits = 0;
    const auto take_digits = [&p, end, &digits] {
        const char* const first = p;
        for (; p != end; ++p) {
            const auto digit = static_cast<unsigned>(*p) - unsigned{'0'};
            if (digit > 9)
                break;
            digits = digits * 10 + digit; // may wrap around; the count of digits shows that
        }
        return p - first;
    };
    auto count = take_digits();
    std::ptrdiff_t decimals = 0;
    if (p != end && *p == '.') {
        ++p;
        decimals = take_digits();
        count += decimals;
    }
    if (count == 0 || count > plain_decimal::kMaxDigits || digits > plain_decimal::kMaxExact)
        return false;
    if (p != end && ((*p | 0x20) == 'e' || (*p | 0x20) == 'x')) // an exponent, or 0x
        return false;

    const double magnitude =
        static_cast<double>(digits) / plain_decimal::kPowersOfTen[static_cast<std::size_t>(decimals)];
    value = negative ? -magnitude : magnitude;
    at = p;
    return true;
}

} // namespace zeka
