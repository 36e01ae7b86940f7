// connect_options.cpp - declares --sim, --port, --wait and --clock.
#include "cli/instrument/connect_options.h"

#include "cli/instrument/ports.h"
#include "cli/shell/options.h"

#include <fmt/format.h>

namespace zeka::cli {
namespace {
constexpr const char* kGroup = "Instrument";
constexpr double kLongestWaitS = 3600.0;
} // namespace

void AddPortOption(const Command& command, int& port, const char* what)
{
    command.AddOption("--port", port, fmt::format("{} [0 to {}]", what, kPorts - 1))
        .TypeName("N")
        .Group(kGroup)
        .Within(0, kPorts - 1, "");
}

void AddConnectOptions(const Command& command, ConnectOptions& options)
{
    command.AddFlag("--sim", options.virtual_one, "drive the built-in virtual instrument").Group(kGroup);
    AddPortOption(command, options.port,
                  "the instrument at /dev/ttyACM<N>; without it the first that answers");
    command.AddOption("--wait", options.wait_s, fmt::format("look for it so long [0 to {} s]", kLongestWaitS))
        .TypeName("s")
        .Group(kGroup)
        .Within(0.0, kLongestWaitS, "s");
    command
        .AddOption(
            "--clock", [&options](const std::string& clock) { options.fast = clock == "fast"; },
            "clock of the virtual instrument: real time, or as fast as it goes [real, fast]")
        .TypeName("CLOCK")
        .Group(kGroup)
        .OneOf({"real", "fast"})
        .Needs("--sim");
}

} // namespace zeka::cli
