// run.h - the virtual instrument as a program of its own: with a program to run, that program finds the
// instrument plugged in; without one the instrument stays plugged in until it is interrupted.
#pragma once

#include "sim/instrument.h"
#include "sim/measure.h"

#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zeka::sim {

/// What there is to tell when the run is over.
struct SimEnd {
    InstrumentStats stats;
    std::vector<std::pair<Fault, int>> faults; // those that were asked for, and how often they struck
    std::optional<Report> measured;            // of the last report_seconds; empty when nothing was played
    int status = 0;                            // what RunSim returns
};

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
    /// Called when it is plugged in, and when it is pulled again at the end; on the calling thread.
    std::function<void(const InstrumentState&)> on_plugged;
    std::function<void(const SimEnd&)> on_end;
    bool program_to_stderr = false; // what the program writes to its standard output goes to standard error
    bool quiet = false;             // no line that says where the instrument is
    /// The calling program's own arguments as main() got them. They are used to run it again inside a private
    /// world where it may make the node; it must then come back here with the same options.
    char* const* argv = nullptr;
};

/// The program's exit status (128 + n when a signal ended it, 127 when it was not found); without a program 0
/// after SIGINT or SIGTERM. Throws std::system_error when the node could not be made, and hands on what the
/// callbacks throw. Call it before the process starts threads that
/// care about SIGINT, SIGTERM, SIGHUP and SIGCHLD: those are blocked meanwhile.
int RunSim(const SimOptions& options);

/// The report as RunSim prints it.
std::string ReportText(const InstrumentStats& stats, const std::optional<Report>& measured);

} // namespace zeka::sim
