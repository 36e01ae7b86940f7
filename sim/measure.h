// measure.h - what bench equipment would read at the instrument's outputs: from raw words to mV, and from a
// window of samples to levels, frequency, pulses and rates. Pure functions that do not know the settings.
#pragma once

#include "sim/wire.h"

#include <optional>
#include <vector>

namespace zeka::sim {

inline constexpr double kCountsPerMv = 6400.0; // AC word, at attenuation 1

/// The wire does not carry the attenuation: the caller knows it or uses 1.
double AcMillivolts(std::int16_t word, double attenuation = 1.0);
double DcMillivolts(std::uint16_t word);

/// Levels and timing of one channel over a window. A figure that the window does not show is empty.
struct ChannelReport {
    double minimum = 0.0; // mV, like all levels
    double maximum = 0.0;
    double peak_to_peak = 0.0;
    double mean = 0.0;
    double rms = 0.0; // of the signal with its mean

    std::optional<double> frequency_hz; // from whole periods between rising crossings of the middle level
    std::size_t periods = 0;

    /// A pulse is an excursion beyond half of the way from the resting level (the
    /// median) to the farther extreme.
    std::size_t pulses = 0;                  // pulses that begin and end inside the window
    std::vector<double> pulse_start_s;       // since the window's first sample
    std::vector<double> pulse_width_ms;      // at half height
    std::optional<double> pulse_height;      // mV from the resting level, signed
    std::optional<double> pulses_per_minute; // from the first start to the last
};

struct Report {
    std::size_t samples = 0;
    double seconds = 0.0;
    ChannelReport ac;
    ChannelReport dc;
    std::optional<double> r_peaks_per_minute; // on the AC channel
    std::vector<double> r_peak_s;             // since the window's first sample
};

struct MeasureOptions {
    double attenuation = 1.0;
    double sample_rate = static_cast<double>(kSampleRate);
    double r_peak_refractory_s = 0.15; // minimum distance of two R peaks
};

ChannelReport MeasureChannel(std::span<const double> millivolts, double sample_rate);

Report Measure(std::span<const Sample> window, const MeasureOptions& options = {});

std::vector<double> AcMillivolts(std::span<const Sample> window, double attenuation = 1.0);
std::vector<double> DcMillivolts(std::span<const Sample> window);

} // namespace zeka::sim
