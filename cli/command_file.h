// command_file.h - zeka file: plays a recording.
#pragma once

#include "cli/context.h"

namespace zeka::cli {

void AddFile(CLI::App& app, Context& context);

} // namespace zeka::cli
