// fault_options.h - the virtual instrument's faults from the command line: --fault and --seed.
#pragma once

#include "cli/shell/context.h"
#include "sim/faults.h"

#include <cstdint>

namespace zeka::cli {

class Command;

struct FaultOptions {
    std::vector<std::string> faults; // NAME[:VALUE][@N]
    std::uint32_t seed = 1;
};

void AddFaultOptions(const Command& command, FaultOptions& options);

/// All names with a line of explanation each, for --help.
std::string FaultHelp();

/// `port`: where an unplugged instrument is plugged in again. Throws Failure(kUsage).
std::vector<sim::FaultRule> FaultRules(const FaultOptions& options, int port);

} // namespace zeka::cli
