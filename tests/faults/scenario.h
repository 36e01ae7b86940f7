// scenario.h - what runs under a fault, and how it says what went wrong.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "faults/injector.h"

namespace zeka::faults {

/// Complaints about one run; the step that is under way, for a run that hangs.
class Report {
public:
    void Begin(const char* step);
    void Expect(bool holds, const std::string& complaint);
    [[nodiscard]] bool Good() const { return complaints_.empty(); }
    [[nodiscard]] const std::vector<std::string>& Complaints() const { return complaints_; }

    /// Runs a call of the code under test, which may take bound_ms and what a busy machine adds.
    void Call(const char* step, unsigned bound_ms, const std::function<void()>& call);

private:
    std::vector<std::string> complaints_;
};

/// One run under the plan, in a process of its own; `slot` keeps runs at the same time apart (port, folder).
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

/// Everything that is written, on a disk that is full behind byte n, for many n. One process for all of them.
void FillDisk(Report& report);

} // namespace zeka::faults
