// beat_finder.h - finds R peaks in an AC channel while its samples pass.
//
// Where the settings say when beats come, the R peak is the highest sample near the expected place.
// Elsewhere a beat is where the signal is steepest. The channel is reduced to 1000 values per second. A
// value belongs to a QRS when its change over 8 ms is the greatest within 80 ms on either side and at
// least 0.4 of the greatest within 1.5 s. The R peak is the sample near that place that is farthest from
// the median of its surroundings.
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
    /// A peak is reported at most so many samples after it has passed.
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
    std::vector<double> kept_;    // the latest samples
    std::uint64_t kept_from_ = 0; // number of the first kept sample
    std::uint64_t beat_ = 0;      // number of the next expected beat
    std::vector<double> means_;   // 1000 per second, of the kept samples
    std::vector<double> slopes_;  // absolute change over 8 ms
    std::size_t looked_ = 0;      // number of slopes already examined
    std::uint64_t last_peak_ = 0;
    bool had_peak_ = false;
};

} // namespace zeka::cli
