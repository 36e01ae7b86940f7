// decimal.cpp (files) - reads numbers in text. The loaders call it for every value, without a lock; the
// application's locale has no effect.
#include "files/decimal.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

#include "files/input_file.h"

namespace zeka {
namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view WithoutBlanks(std::string_view text) noexcept
{
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text;
}

/// The C library's conversion, under the C locale whatever locale the application has set.
double ReadWithLibrary(std::string_view text) noexcept
{
    // A locale object of the C library itself: nothing is allocated, nothing has to be freed.
    static const locale_t c_locale = ::newlocale(LC_ALL_MASK, "C", locale_t{});
    char terminated[PieceReader::kMaxPiece + 1];
    const std::size_t size = text.copy(terminated, PieceReader::kMaxPiece);
    terminated[size] = '\0';
    return ::strtod_l(terminated, nullptr, c_locale);
}

/// Reads decimal spellings with many digits or an exponent. False leaves the number to the C library: other
/// spellings, and the ends of the range, where the two conversions report differently.
bool ReadLongDecimal(std::string_view text, double& value) noexcept
{
    const bool negative = text.starts_with('-');
    const std::string_view unsigned_text = text.substr(negative || text.starts_with('+') ? 1 : 0);
    const bool decimal = !unsigned_text.empty() && (IsDigit(unsigned_text[0]) || unsigned_text[0] == '.');
    const bool hexadecimal = unsigned_text.size() > 1 && (unsigned_text[1] | 0x20) == 'x';
    if (!decimal || hexadecimal)
        return false;

    double magnitude = 0.0;
    const auto [end, error] =
        std::from_chars(unsigned_text.data(), unsigned_text.data() + unsigned_text.size(), magnitude,
                        std::chars_format::general);
    const bool inside =
        magnitude >= std::numeric_limits<double>::min() && magnitude <= std::numeric_limits<double>::max();
    if (error != std::errc{} || !inside)
        return false;
    value = negative ? -magnitude : magnitude;
    return true;
}

} // namespace

double ReadReal(std::string_view text) noexcept
{
    const std::string_view number = WithoutBlanks(text);
    double value = 0.0;
    const char* at = number.data();
    if (ReadPlainDecimal(at, number.data() + number.size(), value) || ReadLongDecimal(number, value))
        return value;
    return ReadWithLibrary(number);
}

std::int32_t ReadInteger(std::string_view text) noexcept
{
    constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();
    constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
    std::string_view number = WithoutBlanks(text);
    const bool negative = number.starts_with('-');
    if (negative || number.starts_with('+'))
        number.remove_prefix(1);

    std::int64_t value = 0;
    for (const char c : number) {
        if (!IsDigit(c))
            break;
        value = std::min(value * 10 + (c - '0'), kHighest + 1);
    }
    return static_cast<std::int32_t>(std::clamp(negative ? -value : value, kLowest, kHighest));
}

} // namespace zeka
