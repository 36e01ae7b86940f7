// mark_finder.h - finds the points of a signal that a reader of a recording looks for: heart beats,
// pacing pulses, apnea, the rounds of what is played. It works while the samples pass, so that a
// day of signal needs no memory.
//
// Pacing pulses are read from the DC channel and R peaks from the AC channel. What the samples alone do not
// show reliably comes from the settings: where a beat of ecg and ecg-custom is expected, how long its QRS is,
// when breathing stops, how long a round is.
#pragma once

#include "cli/marks/mark_settings.h"
#include "formats/mark.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace zeka::cli {

using MarkSink = std::function<void(const formats::Mark&)>;

class BeatFinder;

/// Hands on each mark some seconds of signal after its samples, in the order of time.
class MarkFinder {
public:
    MarkFinder(const MarkSettings& settings, MarkSink sink);
    ~MarkFinder();
    MarkFinder(const MarkFinder&) = delete;
    MarkFinder& operator=(const MarkFinder&) = delete;

    /// Takes the next samples in mV; spans of equal length.
    void Take(std::span<const double> ac_mv, std::span<const double> dc_mv);
    /// Ends the signal and hands on the remaining marks.
    void End();

private:
    void TakePacing(std::span<const double> dc_mv);
    void RemoveOvershoot(std::span<const double> ac_mv, std::span<const double> dc_mv);
    void AddKnown();
    void AddBeat(std::uint64_t r_peak);
    void Add(const formats::Mark& mark);
    void HandOn(std::uint64_t before);

    MarkSettings settings_;
    MarkSink sink_;
    std::uint64_t count_ = 0;         // samples taken
    std::deque<formats::Mark> found_; // in the order of time
    std::unique_ptr<BeatFinder> beats_;
    std::vector<double> clean_;          // AC without the overshoot of pacing pulses
    double overshoot_mv_ = 0.0;          // of the last pulse, at the current sample
    std::optional<formats::Mark> pulse_; // a pulse that has begun and not ended
    std::uint64_t next_round_ = 0;
    std::uint64_t next_minute_ = 0;
};

} // namespace zeka::cli
