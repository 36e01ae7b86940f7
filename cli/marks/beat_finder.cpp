// beat_finder.cpp - keeps the latest samples, finds peaks in them, and drops those in which
// no peak can be found any more.
#include "cli/marks/beat_finder.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace zeka::cli {
namespace {

constexpr double kRate = 40000.0;
constexpr std::size_t kStep = 40;          // samples of a 1 ms value
constexpr std::uint64_t kPlaceRadius = 40; // samples: 1 ms of tolerance on either side
constexpr std::size_t kSlopeMs = 8;
constexpr std::size_t kAloneMs = 80; // two beats at 360 per minute are 166 ms apart
constexpr std::size_t kSurroundingsMs = 1500;
constexpr std::size_t kRestMs = 150; // on either side: the median of these values is the baseline
constexpr double kShare = 0.4;       // of the steepest place in the surroundings
constexpr double kLeastMv = 0.01;    // in 8 ms
constexpr double kPeakReachS = 0.06;
constexpr double kDownwardShare = 0.5; // the R peak may be half as high as the S wave is deep
constexpr std::uint64_t kApart = 4000; // minimum distance of two peaks, in samples
constexpr std::size_t kKeptMs = kSurroundingsMs + 500;

double Median(std::span<const double> values)
{
    std::vector<double> copy(values.begin(), values.end());
    const auto middle = copy.begin() + static_cast<std::ptrdiff_t>(copy.size() / 2);
    std::nth_element(copy.begin(), middle, copy.end());
    return *middle;
}

} // namespace

void BeatFinder::Take(std::span<const double> ac_mv)
{
    kept_.insert(kept_.end(), ac_mv.begin(), ac_mv.end());
    if (settings_.beats) {
        LookAtPlaces();
        Forget();
        return;
    }
    TakeSlopes();
    if (slopes_.size() > kSurroundingsMs)
        LookForSlopes(slopes_.size() - kSurroundingsMs);
    Forget();
}

void BeatFinder::End()
{
    if (!settings_.beats)
        LookForSlopes(slopes_.size());
}

void BeatFinder::LookAtPlaces()
{
    for (;; ++beat_) {
        const double at_s =
            static_cast<double>(beat_) * settings_.beats->period_s + settings_.beats->r_peak_s;
        const auto place = static_cast<std::uint64_t>(std::llround(at_s * kRate));
        if (place + kPlaceRadius >= kept_from_ + kept_.size())
            return;
        sink_(Highest(place - std::min(place, kPlaceRadius), place + kPlaceRadius + 1, settings_.upright));
    }
}

void BeatFinder::TakeSlopes()
{
    while ((means_.size() + 1) * kStep <= kept_.size()) {
        const auto first = kept_.begin() + static_cast<std::ptrdiff_t>(means_.size() * kStep);
        means_.push_back(std::accumulate(first, first + kStep, 0.0) / kStep);
        const std::size_t last = means_.size() - 1;
        slopes_.push_back(last < kSlopeMs ? 0.0 : std::abs(means_[last] - means_[last - kSlopeMs]));
    }
}

void BeatFinder::LookForSlopes(std::size_t end)
{
    for (; looked_ < end; ++looked_) {
        if (!IsBeat(looked_, slopes_.size()))
            continue;
        const std::uint64_t peak = PeakNear(looked_);
        if (!had_peak_ || peak >= last_peak_ + kApart) {
            had_peak_ = true;
            last_peak_ = peak;
            sink_(peak);
        }
    }
}

bool BeatFinder::IsBeat(std::size_t at, std::size_t end) const
{
    const double slope = slopes_[at];
    if (slope < kLeastMv)
        return false;
    const auto reach = [&](std::size_t ms) {
        const auto first = slopes_.begin() + static_cast<std::ptrdiff_t>(at - std::min(at, ms));
        const auto last = slopes_.begin() + static_cast<std::ptrdiff_t>(std::min(end, at + ms + 1));
        return std::span(first, last);
    };
    // Of equal slopes the first one counts.
    const auto near = reach(kAloneMs);
    const auto before = static_cast<std::size_t>(&slopes_[at] - near.data());
    for (std::size_t i = 0; i < near.size(); ++i)
        if (near[i] > slope || (i < before && near[i] == slope))
            return false;
    return slope >= kShare * std::ranges::max(reach(kSurroundingsMs));
}

std::uint64_t BeatFinder::PeakNear(std::size_t at) const
{
    const std::size_t rest_from = at - std::min(at, kRestMs);
    const std::size_t rest_to = std::min(means_.size(), at + kRestMs);
    const double rest = Median(std::span(means_).subspan(rest_from, rest_to - rest_from));
    const auto reach = static_cast<std::uint64_t>(std::max(kPeakReachS, settings_.qrs_s) * kRate);
    const std::uint64_t middle = kept_from_ + at * kStep;
    const std::uint64_t from = std::max(kept_from_, middle - std::min(middle, reach));
    const std::uint64_t to = std::min(kept_from_ + kept_.size(), middle + reach);
    if (settings_.qrs_s > 0.0)
        return Highest(from, to, settings_.upright);
    const std::uint64_t up = Highest(from, to, true);
    const std::uint64_t down = Highest(from, to, false);
    const double height = kept_[up - kept_from_] - rest;
    const double depth = rest - kept_[down - kept_from_];
    return height >= kDownwardShare * depth ? up : down;
}

std::uint64_t BeatFinder::Highest(std::uint64_t from, std::uint64_t to, bool upright) const
{
    const auto first = kept_.begin() + static_cast<std::ptrdiff_t>(from - kept_from_);
    const auto last = kept_.begin() + static_cast<std::ptrdiff_t>(to - kept_from_);
    const auto found = upright ? std::max_element(first, last) : std::min_element(first, last);
    return kept_from_ + static_cast<std::uint64_t>(found - kept_.begin());
}

void BeatFinder::Forget()
{
    constexpr std::size_t kUnit = kKeptMs * kStep;
    if (kept_.size() < 3 * kUnit)
        return;
    std::size_t values = kept_.size() / kStep - kKeptMs;
    if (!settings_.beats)
        values = looked_ - std::min(looked_, kKeptMs);
    const auto drop = static_cast<std::ptrdiff_t>(values);
    kept_.erase(kept_.begin(), kept_.begin() + drop * static_cast<std::ptrdiff_t>(kStep));
    kept_from_ += values * kStep;
    if (settings_.beats)
        return;
    means_.erase(means_.begin(), means_.begin() + drop);
    slopes_.erase(slopes_.begin(), slopes_.begin() + drop);
    looked_ -= values;
}

} // namespace zeka::cli
