// connect_options.cpp - see connect_options.h.
#include "cli/connect_options.h"

#include "cli/ports.h"

#include <fmt/format.h>

namespace zeka::cli {
namespace {
constexpr const char* kGroup = "Instrument";
constexpr double kLongestWaitS = 3600.0;
} // namespace

void AddPortOption(CLI::App& command, int& port, const char* what)
{
    command.add_option("--port", port, fmt::format("{} [0 to {}]", what, kPorts - 1))
        ->type_name("N")
        ->group(kGroup)
        ->check(Within(0, kPorts - 1, ""));
}

void AddConnectOptions(CLI::App& command, ConnectOptions& options)
{
    command.add_flag("--sim", options.virtual_one, "drive the built-in virtual instrument")->group(kGroup);
    AddPortOption(command, options.port,
                  "the instrument at /dev/ttyACM<N>; without it the first that answers");
    command
        .add_option("--wait", options.wait_s, fmt::format("look for it so long [0 to {} s]", kLongestWaitS))
        ->type_name("s")
        ->group(kGroup)
        ->check(Within(0.0, kLongestWaitS, "s"));
    command
        .add_option_function<std::string>(
            "--clock", [&options](const std::string& clock) { options.fast = clock == "fast"; },
            "clock of the virtual instrument: real time, or as fast as it goes [real, fast]")
        ->type_name("CLOCK")
        ->group(kGroup)
        ->check(OneOf({"real", "fast"}))
        ->needs("--sim");
}

} // namespace zeka::cli
