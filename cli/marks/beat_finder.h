// beat_finder.h - R peaks in an AC channel that passes by.
//
// Where the settings tell the beats, the peak is the highest sample near its place. Elsewhere a beat is where
// the signal is steepest for a while: the channel is cut to 1000 values a second, and a value belongs to a
// QRS when its change over 8 ms is the greatest within 80 ms to either side and not less than 0.4 of the
// greatest within 1.5 s. The R peak is the farthest sample from the middle of the surroundings, near that
// place.
#pragma once

#include "cli/marks/mark_settings.h"

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace zeka::cli {

class BeatFinder {
public:
    using Sink = std::function<void(std::uint64_t r_peak)>;
    /// A peak is told at most so many samples after it has passed.
    static constexpr std::uint64_t kLag = 80000;

    BeatFinder(const MarkSettings& settings, Sink sink) : settings_(settings), sink_(std::move(sink)) {}

    void Take(std::span<const double> ac_mv);
    void End();

private:
    void LookAtPlaces();
    void LookForSlopes(std::size_t end);
    void TakeSlopes();
    [[nodiscard]] bool IsBeat(std::size_t at, std::size_t end) const;
    [[nodiscard]] std::uint64_t PeakNear(std::size_t at) const;
    [[nodiscard]] std::uint64_t Highest(std::uint64_t from, std::uint64_t to, bool upright) const;
    void Forget();

    MarkSettings settings_;
    Sink sink_;
    std::vector<double> kept_;    // the last samples
    std::uint64_t kept_from_ = 0; // number of the first of them
    std::uint64_t beat_ = 0;      // next place
    std::vector<double> means_;   // 1000 a second, of the kept samples
    std::vector<double> slopes_;  // change over 8 ms, without sign
    std::size_t looked_ = 0;      // slopes that have been looked at
    std::uint64_t last_peak_ = 0;
    bool had_peak_ = false;
};

} // namespace zeka::cli
