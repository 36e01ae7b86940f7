// scenario.h - what runs under a fault, and how it reports what went wrong.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "faults/injector.h"

namespace zeka::faults {

/// Complaints about one run, and its current step, in case the run hangs.
class Report {
public:
    void Begin(const char* step);
    void Expect(bool holds, const std::string& complaint);
    [[nodiscard]] bool Good() const { return complaints_.empty(); }
    [[nodiscard]] const std::vector<std::string>& Complaints() const { return complaints_; }

    /// Runs a call of the code under test. It may take bound_ms and an allowance for a busy machine.
    void Call(const char* step, unsigned bound_ms, const std::function<void()>& call);

private:
    std::vector<std::string> complaints_;
};

/// One run with the plan, in a process of its own. `slot` separates simultaneous runs (port, folder).
struct Scenario {
    const char* name;
    void (*run)(const Plan& plan, int slot, Report& report);
};

/// Connect, stream, setters, command, unplug, reconnect, upload, free; then once more without faults.
void RunConnection(const Plan& plan, int slot, Report& report);
/// The library's loaders and dumps.
void RunFiles(const Plan& plan, int slot, Report& report);
/// The writers and readers of recordings.
void RunFormats(const Plan& plan, int slot, Report& report);

/// Writes every format on a disk that is full after n bytes, for many n, in one process.
void FillDisk(Report& report);

} // namespace zeka::faults
