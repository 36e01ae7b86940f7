// decimator.h - reduces the rate: each value is the mean of the samples that it replaces. Such a mean is a
// low-pass with its first zero at the rate of the values and 3.9 dB of loss at half of it. It neither rings
// nor overshoots, so pulses keep their area, and levels are kept.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace zeka::cli {

class Decimator {
public:
    explicit Decimator(std::size_t width) : width_(width) {}

    /// Returns the values that are complete with these samples; valid until the next call.
    std::span<const double> Take(std::span<const double> samples)
    {
        if (width_ == 1)
            return samples;
        values_.clear();
        for (const double sample : samples) {
            sum_ += sample;
            if (++count_ < width_)
                continue;
            values_.push_back(sum_ / static_cast<double>(width_));
            sum_ = 0.0;
            count_ = 0;
        }
        return values_;
    }

private:
    std::size_t width_;
    std::size_t count_ = 0;
    double sum_ = 0.0;
    std::vector<double> values_;
};

} // namespace zeka::cli
