// deadline.h (platform) - one point on the steady clock, set once per call; every wait inside the call
// ends there. A wait that restarts with the time left after each signal would grow under a storm of
// signals; an absolute one cannot.
#pragma once

#include <ctime>

#include <chrono>
#include <climits>
#include <cstdint>

namespace zeka {

class Deadline {
public:
    // CLOCK_MONOTONIC, the clock of SleepUntil and of the events.
    using Clock = std::chrono::steady_clock;

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

    /// Time left in ms for poll(2), rounded up: 0 means that the deadline has passed, and a loop around
    /// poll(2) does not spin through its last millisecond.
    [[nodiscard]] int RemainingMsCeil() const noexcept
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(Remaining()).count();
        return left < INT_MAX ? static_cast<int>(left) : INT_MAX;
    }

    /// The deadline for calls of the C library that take CLOCK_MONOTONIC.
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

/// Sleeps until the deadline; returns at once when it has passed. Signals neither end nor stretch the sleep.
/// A cancelled thread leaves it at once.
void SleepUntil(Deadline deadline);

} // namespace zeka
