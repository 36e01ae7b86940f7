// signal_options.h - a signal as described on the command line: the function, its parameters, and the
// additions that take more than one number (second pacing pulse, noise, drift, dynamic range, breathing).
#pragma once

#include "cli/shell/context.h"
#include "cli/signal/parameters.h"

namespace zeka::cli {

class Command;

struct Breathing {
    std::optional<int> breaths; // per minute; empty: the signal does not breathe
    int ratio = 1;              // expiration to inspiration
    int apnea_s = 0;            // at the end of every minute
    int baseline_percent = 0;
    int amplitude_percent = 0;
    int rate_percent = 0;
};

/// Breathing that the instrument itself makes, as an impedance, by codes of the instrument.
struct ImpedanceBreathing {
    std::optional<int> rate; // code; empty: off
    int variation = 0;       // code
    int ratio = 0;           // code
    int baseline_ohm = 500;  // 500, 1000, 1500, 2000, 2500
};

struct SignalOptions {
    std::string function;
    ParameterValues values;
    std::optional<double> rate; // per minute, replaces the frequency
    std::string second_pulse = "none";
    std::string noise = "off";
    std::optional<double> noise_mv;
    std::optional<double> drift_mv;
    std::optional<double> drift_hz;
    std::optional<double> dynamic_range_mv;
    std::optional<double> dynamic_range_hz;
    Breathing breathing;
    ImpedanceBreathing impedance;
    int impedance_apnea_s = 0; // at the end of every minute
    bool once = false;

    /// Whether only the function and the pacing pulses shape the signal, so that its levels can be predicted.
    /// The library attenuates the signal while the instrument breathes.
    [[nodiscard]] bool Plain() const;
};

void AddSignalOptions(const Command& command, SignalOptions& options);

/// Finds the function; checks that every given option applies to it and that the options fit
/// together. Throws Failure(kUsage).
Selection CheckSignal(SignalOptions& options);

/// Applies all settings. REQUIRES: nothing streams. Throws Failure.
void ApplySignal(const SignalOptions& options, const Selection& selection);

/// Starts the stream. Throws Failure.
void StartSignal(const SignalOptions& options, const Selection& selection);

inline constexpr const char* kImpedanceBreathingGroup = "Impedance breathing, made by the instrument";
void AddImpedanceBreathing(const Command& command, ImpedanceBreathing& breathing);

/// Sends the breathing to the instrument, where it stays and cannot be read back. Throws Failure.
void ApplyImpedanceBreathing(const ImpedanceBreathing& breathing, int apnea_s);

/// Throws a Failure that names the option unless the setter's result is 0.
void Require(int result, const std::string& what);

} // namespace zeka::cli
