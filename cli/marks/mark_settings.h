// mark_settings.h - what the settings of a signal determine about its marks. Data only, for the finders.
#pragma once

#include <optional>

namespace zeka::cli {

/// The part of a QRS between its onset and the R peak, in ecg and ecg-custom.
inline constexpr double kRiseShare = 0.4375;

/// What the settings determine about the marks of a signal.
struct MarkSettings {
    /// Beats that repeat without change.
    struct Beats {
        double period_s = 0.0;
        double r_peak_s = 0.0; // from the beginning of the period
    };
    std::optional<Beats> beats;
    bool has_beats = false;    // at unknown times, to be found by their slope
    double qrs_s = 0.0;        // of ecg and ecg-custom; 0: unknown
    bool upright = true;       // R is positive, where the settings determine that
    bool paced = false;        // DC is 0 between pulses
    double overshoot_mv = 0.0; // overshoot of a pulse on the AC channel, signed
    double overshoot_s = 0.0;  // time constant of the overshoot; 0: none
    double apnea_s = 0.0;      // at the end of every minute
    double round_s = 0.0;      // length of what is repeated; 0: unknown

    /// The highest number of marks per second.
    [[nodiscard]] double MarksPerSecond() const;
};

} // namespace zeka::cli
