// numeric.h (signal) - the conversions from real to whole numbers that the sample path needs. Each is defined
// for every argument, also for NaN, infinities and numbers that no integer type holds.
#pragma once

#include <cassert>
#include <cstdint>
#include <limits>

namespace zeka {

/// Whole part of a quotient, toward zero: how many periods have passed. The same value as a truncation to a
/// 64-bit integer where that is defined; from 2^63 on every double is whole. NaN and the infinities give 0.
[[nodiscard]] inline double Trunc(double quotient) noexcept
{
    constexpr double kFirstBeyondInt64 = 9223372036854775808.0;
    if (quotient > -kFirstBeyondInt64 && quotient < kFirstBeyondInt64) [[likely]]
        return static_cast<double>(static_cast<std::int64_t>(quotient)); // one instruction, unlike trunc()
    const bool finite = quotient - quotient == 0.0;
    return finite ? quotient : 0.0;
}

/// Time within the running period. Rounding may put it an ulp below zero.
[[nodiscard]] inline double TimeInPeriod(double time, double period) noexcept
{
    return time - period * Trunc(time / period);
}

/// Truncates toward zero, saturates at the ends; NaN gives 0.
[[nodiscard]] inline std::int32_t TruncToInt(double value) noexcept
{
    constexpr double kLow = std::numeric_limits<std::int32_t>::min();
    constexpr double kHigh = std::numeric_limits<std::int32_t>::max();
    if (value >= kLow && value <= kHigh) [[likely]]
        return static_cast<std::int32_t>(value);
    if (value != value)
        return 0;
    return value < 0.0 ? std::numeric_limits<std::int32_t>::min() : std::numeric_limits<std::int32_t>::max();
}

/// Index of the sample that is held at this position in a table of `count` samples (> 0). The index lies
/// inside the table whatever rounding did to the position.
[[nodiscard]] inline std::int32_t HeldIndex(double position, std::int32_t count) noexcept
{
    assert(count > 0);
    const std::int32_t index = TruncToInt(position);
    if (index < 0)
        return 0;
    return index < count ? index : count - 1;
}

} // namespace zeka
