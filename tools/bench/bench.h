// bench.h - the test bench: the library connected to the virtual instrument, whose fast clock plays every
// burst as soon as it has arrived. Figures are of what the instrument received and played.
#pragma once

#include "sim/instrument.h"
#include "sim/measure.h"

#include <functional>
#include <string_view>
#include <vector>

namespace zeka::accuracy {

using sim::Sample;
using Samples = std::vector<Sample>;

/// Throws when the call of the library did not return 0.
void Must(int result, std::string_view call);

class Bench {
public:
    /// Plugs the instrument in and connects. Throws std::runtime_error.
    Bench();
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// Resets every setting to its start-up value.
    void Defaults();

    /// Plays a function from its first sample, stops it, and returns the first `seconds` of it.
    /// Throws when samples were lost.
    Samples Play(int function, double seconds);

    /// Does the same for a signal that `start` begins.
    Samples PlayAfter(const std::function<void()>& start, double seconds);

    /// Does the same for long signals: each piece goes to the listener, on the instrument's thread.
    void Play(int function, double seconds, const sim::Instrument::Consumer& listener);

    /// Plays what `start` begins until it ends by itself.
    void PlayToItsEnd(const std::function<void()>& start, const sim::Instrument::Consumer& listener);

private:
    void Stop();

    sim::Instrument instrument_;
};

/// The AC channel in mV at attenuation 1; the caller considers any other.
std::vector<double> Ac(const Samples& samples);
std::vector<double> Dc(const Samples& samples);

double Highest(std::span<const double> millivolts);
double Lowest(std::span<const double> millivolts);

/// The times (s) at which the signal rises through `level`, interpolated between two samples, after
/// it was below `level` - `margin`.
std::vector<double> Rises(std::span<const double> millivolts, double level, double margin);
/// For edges: the time (s) of the first sample after each of these instants.
std::vector<double> FirstSamples(std::vector<double> instants);
/// Like Rises, for falls.
std::vector<double> Falls(std::span<const double> millivolts, double level, double margin);

struct Intervals {
    double mean = 0.0;
    double worst = 0.0; // the one with the largest difference from the requested one
    std::size_t count = 0;
};
/// The intervals between neighbours; throws when there are fewer than two instants.
Intervals Between(const std::vector<double>& instants, double asked);

} // namespace zeka::accuracy
