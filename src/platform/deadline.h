// deadline.h (platform) - one point on the steady clock, set once per call; every wait inside the call runs
// towards it. A wait that restarts with what is left after each signal would grow under a storm of signals;
// an absolute one cannot.
#pragma once

#include <ctime>

#include <chrono>
#include <climits>
#include <cstdint>

namespace zeka {

class Deadline {
public:
    using Clock =
        std::chrono::steady_clock; // CLOCK_MONOTONIC, the clock of SleepUntil and of the events' waits

    [[nodiscard]] static Deadline InMs(std::uint32_t ms) noexcept
    {
        return In(std::chrono::milliseconds{ms});
    }
    [[nodiscard]] static Deadline In(Clock::duration span) noexcept { return Deadline{Clock::now() + span}; }
    explicit constexpr Deadline(Clock::time_point at) noexcept : at_(at) {}

    [[nodiscard]] constexpr Clock::time_point At() const noexcept { return at_; }
    [[nodiscard]] bool Expired() const noexcept { return Clock::now() >= at_; }

    /// Time left, never negative.
    [[nodiscard]] Clock::duration Remaining() const noexcept
    {
        const Clock::duration left = at_ - Clock::now();
        return left > Clock::duration::zero() ? left : Clock::duration::zero();
    }

    /// Time left for poll(2): rounded up, so that 0 means passed and a loop around poll does not spin its
    /// last millisecond away.
    [[nodiscard]] int RemainingMsCeil() const noexcept
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(Remaining()).count();
        return left < INT_MAX ? static_cast<int>(left) : INT_MAX;
    }

    /// The same point for the calls of the C library that take CLOCK_MONOTONIC.
    [[nodiscard]] constexpr timespec ToTimespec() const noexcept
    {
        const auto since = at_.time_since_epoch();
        const auto whole = std::chrono::floor<std::chrono::seconds>(since);
        timespec result{};
        result.tv_sec = static_cast<time_t>(whole.count());
        result.tv_nsec = static_cast<long>(std::chrono::nanoseconds{since - whole}.count());
        return result;
    }

private:
    Clock::time_point at_;
};

/// Sleeps until the deadline, at once when it has passed; signals do not end the sleep and do not stretch it.
/// A cancelled thread leaves it at once.
void SleepUntil(Deadline deadline);

} // namespace zeka
