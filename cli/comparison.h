// comparison.h - what was asked for beside what the virtual instrument measured at its outputs. The asked
// values come from the settings and from what each function is known to draw, never from the library's
// output.
#pragma once

#include "cli/signal_options.h"
#include "cli/stream.h"

namespace zeka::cli {

struct Row {
    std::string name;
    std::string unit;
    std::optional<double> asked;     // empty: measured only
    std::optional<double> measured;  // empty: not seen
    std::optional<double> tolerance; // empty: for information

    [[nodiscard]] bool Failed() const;
};

/// Samples that the instrument played, and what the stream was like.
struct Observation {
    PlayedSignal::Window window;
    sim::StreamStats stats;
};

std::vector<Row> Compare(const SignalOptions& options, const Selection& selection, const Observation& seen);

/// A table for people; `console` says whether it may be coloured.
std::string TableOf(const std::vector<Row>& rows, const Console& console);
nlohmann::ordered_json ToJson(const std::vector<Row>& rows);
bool AnyFailed(const std::vector<Row>& rows);

} // namespace zeka::cli
