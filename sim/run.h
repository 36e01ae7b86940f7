// run.h - the virtual instrument as a program of its own. With a program to run, that program finds the
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

/// The outcome of a run.
struct SimEnd {
    InstrumentStats stats;
    std::vector<std::pair<Fault, int>> faults; // the requested ones, and how often each was applied
    std::optional<Report> measured;            // of the last report_seconds; empty when nothing was played
    int status = 0;                            // what RunSim returns
};

struct SimOptions {
    InstrumentConfig instrument;
    std::vector<FaultRule> faults;
    std::vector<std::string> program; // with its arguments; empty: run until interrupted
    double report_seconds = 0.0;      // length of the last played signal that is kept for the report
    bool report = false;              // print what was measured at the end ...
    std::FILE* report_to = stderr;    // ... here
    double attenuation = 1.0;
    /// Called before the instrument is plugged in; on_played then with every piece that it plays, on its
    /// thread.
    std::function<void()> on_start;
    std::function<void(const Instrument&, std::span<const Sample>)> on_played;
    /// Called when the instrument is plugged in, and when it is unplugged at the end; on the calling thread.
    std::function<void(const InstrumentState&)> on_plugged;
    std::function<void(const SimEnd&)> on_end;
    bool program_to_stderr = false; // the program's standard output is redirected to standard error
    bool quiet = false;             // do not print where the instrument is
    /// The calling program's own arguments as passed to main(). They are used to run it again inside a
    /// private world, where it may make the node; it must then call RunSim again with the same options.
    char* const* argv = nullptr;
};

/// Returns the program's exit status (128 + n when a signal ended it, 127 when it was not found), without a
/// program 0 after SIGINT or SIGTERM. Throws std::system_error when the node cannot be made, and lets
/// through what the callbacks throw. REQUIRES: no other thread uses SIGINT, SIGTERM, SIGHUP and SIGCHLD,
/// which are blocked during the call.
int RunSim(const SimOptions& options);

/// The report as RunSim prints it.
std::string ReportText(const InstrumentStats& stats, const std::optional<Report>& measured);

} // namespace zeka::sim
