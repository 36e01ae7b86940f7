// run.h - the virtual instrument as a program of its own: with a program to run, that program finds the
// instrument plugged in; without one the instrument stays plugged in until it is interrupted.
#pragma once

#include "sim/instrument.h"

#include <cstdio>
#include <functional>
#include <string>

namespace zeka::sim {

struct SimOptions {
    InstrumentConfig instrument;
    std::vector<FaultRule> faults;
    std::vector<std::string> program; // with its arguments; empty: until interrupted
    double report_seconds = 0.0;      // keep the last so many seconds played for the report
    bool report = false;              // in the end print what was measured ...
    std::FILE* report_to = stderr;    // ... here
    double attenuation = 1.0;
    /// Called before the instrument is plugged in, and then with every piece that it played, on its thread.
    std::function<void()> on_start;
    std::function<void(const Instrument&, std::span<const Sample>)> on_played;
    bool quiet = false; // no line that says where the instrument is
    /// The calling program's own arguments as main() got them. They are used to run it again inside a private
    /// world where it may make the node; it must then come back here with the same options.
    char* const* argv = nullptr;
};

/// The program's exit status (128 + n when a signal ended it, 127 when it was not found); without a program 0
/// after SIGINT or SIGTERM, 5 when the node could not be made. Call it before the process starts threads that
/// care about SIGINT, SIGTERM, SIGHUP and SIGCHLD: those are blocked meanwhile.
int RunSim(const SimOptions& options);

/// The report as RunSim prints it.
std::string ReportText(const InstrumentStats& stats, std::span<const Sample> played, double attenuation);

} // namespace zeka::sim
