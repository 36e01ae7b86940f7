// connect_options.h - selects the instrument: the real one, on a given port or any, or the virtual one.
#pragma once

#include "cli/shell/context.h"

#include <optional>

namespace zeka::cli {

class Command;

struct ConnectOptions {
    bool virtual_one = false;
    bool fast = false;            // the virtual instrument's clock
    int port = -1;                // -1: any
    std::optional<double> wait_s; // how long to search for it
};

void AddConnectOptions(const Command& command, ConnectOptions& options);

/// Adds --port alone.
void AddPortOption(const Command& command, int& port, const char* what);

} // namespace zeka::cli
