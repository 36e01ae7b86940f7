// comparison.h - compares the requested values with what the virtual instrument measured at its
// outputs. The requested values come from the settings and from the known shape of each function,
// never from the library's output.
#pragma once

#include "cli/playing/stream.h"
#include "cli/signal/signal_options.h"

namespace zeka::cli {

struct Row {
    std::string name;
    std::string unit;
    std::optional<double> asked;     // empty: measured only
    std::optional<double> measured;  // empty: not observed
    std::optional<double> tolerance; // empty: for information only

    [[nodiscard]] bool Failed() const;
};

/// Samples that the instrument played, and figures of the stream.
struct Observation {
    PlayedSignal::Window window;
    std::optional<sim::StreamStats> stats;                      // empty: nothing was streamed
    double sample_rate = static_cast<double>(sim::kSampleRate); // per second
    double period_error_s = 0.0; // by which a period may be too long or too short by design
};

std::vector<Row> Compare(const SignalOptions& options, const Selection& selection, const Observation& seen);

/// Appends the figures of the stream as the last rows of a comparison.
void AddStream(const Observation& seen, std::vector<Row>& rows);

/// Formats the rows as a table; `console` decides whether it is coloured.
std::string TableOf(const std::vector<Row>& rows, const Console& console);
JsonValue ToJson(const std::vector<Row>& rows);
bool AnyFailed(const std::vector<Row>& rows);

} // namespace zeka::cli
