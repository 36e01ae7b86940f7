// mark_settings.h - what the settings of a signal say of its marks. Data, for the finders.
#pragma once

#include <optional>

namespace zeka::cli {

/// The part of a QRS between its onset and R, in ecg and ecg-custom.
inline constexpr double kRiseShare = 0.4375;

/// What the settings say of the signal.
struct MarkSettings {
    /// Beats that follow each other without change.
    struct Beats {
        double period_s = 0.0;
        double r_peak_s = 0.0; // in the period
    };
    std::optional<Beats> beats;
    bool has_beats = false;    // somewhere, to be found by their steepness
    double qrs_s = 0.0;        // of ecg and ecg-custom; 0: not known
    bool upright = true;       // R points up where the settings tell it
    bool paced = false;        // DC is 0 between pulses
    double overshoot_mv = 0.0; // that a pulse leaves on the AC channel, signed
    double overshoot_s = 0.0;  // its time constant; 0: none
    double apnea_s = 0.0;      // at the end of every minute
    double round_s = 0.0;      // of what is played over and over; 0: not known

    /// How many marks a second may have, at most.
    [[nodiscard]] double MarksPerSecond() const;
};

} // namespace zeka::cli
