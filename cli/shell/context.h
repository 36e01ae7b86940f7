// context.h - what main() passes to the subcommands and receives from them: the console, the words of the
// command line, and the job that was chosen.
#pragma once

#include "cli/shell/console.h"
#include "cli/shell/failure.h"

#include <functional>
#include <string>
#include <vector>

namespace zeka::cli {

struct Context {
    Console console;
    char** argv = nullptr;            // as main() got them, to run the program again in a private world
    std::vector<std::string> program; // the words after "--"
    bool has_program = false;
    std::function<Exit()> job; // set by the subcommand that was named
};

} // namespace zeka::cli
