// sample_run.h (stream) - a run of samples during which nothing but the clock moves,
// and the clock in closed form.
//
// The stream's clock is accumulated: each sample adds dt and rounds. Between two powers of two all its values
// are whole multiples of one unit in the last place, so every addition rounds by the same amount and adds the
// very same step. Sample i is at start + i * step, and that product and sum are exact. So the values are
// those of the plain path to the bit, without one addition per sample.
#pragma once

#include <algorithm>
#include <cassert>

namespace zeka {

/// The clock from `start` on: the first `samples` additions of dt each add exactly `step`.
struct LinearClock {
    double start = 0.0, step = 0.0;
    int samples = 0;

    [[nodiscard]] double At(int i) const noexcept { return start + i * step; }
};

/// The longest such stretch, at most `limit` samples; none where the rounding
/// alternates and at the first samples.
[[nodiscard]] LinearClock LinearClockFrom(double start, double dt, int limit) noexcept;

/// Samples 0 .. count - 1 of a run. Invariant: times never fall from sample to sample.
class SampleRun {
public:
    SampleRun(const LinearClock& clock, int count) noexcept
        : clock_(clock), per_second_(1.0 / clock.step), count_(count)
    {
        assert(count <= clock.samples);
    }

    [[nodiscard]] int Count() const noexcept { return count_; }
    void Shorten(int count) noexcept
    {
        assert(count >= 0);
        count_ = std::min(count, count_);
    }
    /// Stream time of sample i, s.
    [[nodiscard]] double Time(int i) const noexcept { return clock_.At(i); }

    /// First sample from `from` on at which the rising quantity has reached the bound; Count() when none has.
    /// `guess` only has to be near.
    template <typename Quantity>
    int FirstReaching(Quantity quantity, double bound, int from, double guess) const
    {
        assert(from >= 0);
        int i = guess > from ? (guess < count_ ? static_cast<int>(guess) : count_) : from;
        while (i > from && quantity(i - 1) >= bound)
            --i;
        while (i < count_ && !(quantity(i) >= bound))
            ++i;
        return i;
    }

    /// Number of samples in `seconds`, as a real number.
    [[nodiscard]] double SamplesIn(double seconds) const noexcept { return seconds * per_second_; }

private:
    LinearClock clock_;
    double per_second_;
    int count_;
};

/// The times of a run on a clock that began at `base` of the stream's: the period, a beat, a
/// breath. Passed by value, because in a loop that stores voltages the compiler could not keep
/// values behind a reference in registers.
class RunTimes {
public:
    RunTimes(const SampleRun& run, double base) noexcept : run_(run), base_(base) {}
    [[nodiscard]] double operator()(int i) const noexcept { return run_.Time(i) - base_; }

    /// First sample from `from` on that is not before t.
    [[nodiscard]] int FirstAt(double t, int from) const
    {
        return run_.FirstReaching(*this, t, from, run_.SamplesIn(t - (*this)(0)));
    }

private:
    SampleRun run_;
    double base_;
};

/// The part of a run, from `from` on, that lies in one turn of a clock with this period.
struct Turn {
    double base; // stream time at which the turn began, as the plain path rounds it
    double number;
    int end;
};
[[nodiscard]] Turn TurnAt(const SampleRun& run, double period, int from) noexcept;

} // namespace zeka
