// sample_run.cpp (stream) - where a stretch of the accumulated clock ends, and where a period does.
#include "stream/sample_run.h"

#include <bit>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>

#include "signal/numeric.h"

namespace zeka {
namespace {

static_assert(std::numeric_limits<double>::is_iec559);
constexpr std::uint64_t kExponentBits = 0x7FF0'0000'0000'0000;

/// The power of two that a normal number begins with.
double PowerOfTwoBelow(double x)
{
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) & kExponentBits);
}

} // namespace

LinearClock LinearClockFrom(double start, double dt, int limit) noexcept
{
    assert(limit >= 0);
    // Below dt one addition may pass more than one power of two. The comparisons also refuse NaN.
    if (!(start >= dt) || !(dt > 0.0) || !(start < std::numeric_limits<double>::max() / 4.0))
        return {start, 0.0, 0};
    const double end = 2.0 * PowerOfTwoBelow(start);
    const double next = start + dt;
    const double step = next - start; // exact: both are multiples of the same unit
    const double unit = PowerOfTwoBelow(start) * std::numeric_limits<double>::epsilon();
    // Halfway between two units the rounding alternates between up and down.
    if (!(next < end) || !(step > 0.0) || std::fabs(dt - step) * 2.0 == unit)
        return {start, 0.0, 0};
    const double room = (end - start) / step - 2.0; // rounded quotient: two samples to spare
    return {start, step, room < limit ? std::max(0, static_cast<int>(room)) : limit};
}

Turn TurnAt(const SampleRun& run, double period, int from) noexcept
{
    assert(from >= 0 && from < run.Count());
    const double turn = Trunc(run.Time(from) / period);
    const double base = period * turn;
    const double guess = run.SamplesIn(base + period - run.Time(0));
    const auto turns = [&run, period](int i) { return run.Time(i) / period; };
    // The sample itself lies in the turn, whatever the period is.
    return {base, turn, run.FirstReaching(turns, turn + 1.0, from + 1, guess)};
}

} // namespace zeka
