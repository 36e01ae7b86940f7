// connect_options.h - which instrument: the real one, by port or wherever it is, or the virtual one.
#pragma once

#include "cli/shell/context.h"

#include <optional>

namespace zeka::cli {

class Command;

struct ConnectOptions {
    bool virtual_one = false;
    bool fast = false;            // the virtual instrument's clock
    int port = -1;                // -1: wherever it is
    std::optional<double> wait_s; // how long to look for it
};

void AddConnectOptions(const Command& command, ConnectOptions& options);

/// --port alone.
void AddPortOption(const Command& command, int& port, const char* what);

} // namespace zeka::cli
