// bench.h - the measuring place: the library connected to the virtual instrument, whose fast clock plays
// every burst the moment it has arrived. What is measured is what the instrument received and played.
#pragma once

#include "sim/instrument.h"
#include "sim/measure.h"

#include <functional>
#include <string_view>
#include <vector>

namespace zeka::accuracy {

using sim::Sample;
using Samples = std::vector<Sample>;

/// Throws when a call of the library did not return 0.
void Must(int result, std::string_view call);

class Bench {
public:
    /// Plugs in and connects. Throws std::runtime_error.
    Bench();
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// Every setting as at the start of the library.
    void Defaults();

    /// Plays a function from its first sample on and stops it; the first `seconds` of it. Throws when samples
    /// were lost.
    Samples Play(int function, double seconds);

    /// The same for a signal that `start` begins by itself.
    Samples PlayAfter(const std::function<void()>& start, double seconds);

    /// The same for long signals: each stretch goes to the listener, on the instrument's thread.
    void Play(int function, double seconds, const sim::Instrument::Consumer& listener);

    /// What `start` begins, until it ends by itself.
    void PlayToItsEnd(const std::function<void()>& start, const sim::Instrument::Consumer& listener);

private:
    void Stop();

    sim::Instrument instrument_;
};

/// The AC channel in mV; the caller names the attenuation where there is one.
std::vector<double> Ac(const Samples& samples);
std::vector<double> Dc(const Samples& samples);

double Highest(std::span<const double> millivolts);
double Lowest(std::span<const double> millivolts);

/// Where the signal rises through `level`, in seconds, interpolated between two samples; it must have been
/// below `level` - `margin` before.
std::vector<double> Rises(std::span<const double> millivolts, double level, double margin);
/// For edges: the first sample behind each of these instants, in seconds.
std::vector<double> FirstSamples(std::vector<double> instants);
/// As Rises, for falls.
std::vector<double> Falls(std::span<const double> millivolts, double level, double margin);

struct Intervals {
    double mean = 0.0;
    double worst = 0.0; // the one farthest from what was asked for
    std::size_t count = 0;
};
/// Between neighbours; throws when there are fewer than two instants.
Intervals Between(const std::vector<double>& instants, double asked);

} // namespace zeka::accuracy
