// failure.h - the exit status of a command, and the one-line reason of a failure.
#pragma once

#include <stdexcept>
#include <string>

namespace zeka::cli {

/// The exit status of every subcommand; listed by `zeka --help`.
enum class Exit : int {
    kDone = 0,
    kCheckFailed = 1, // a check failed, or nothing was found
    kUsage = 2,
    kNoInstrument = 3,
    kHeld = 4, // the port, by another program
    kPermission = 5,
    kLost = 6, // while running
    kTimeOut = 7,
    kInterrupted = 130, // with the output off
};

/// Says in one line what failed, with which object, and what to do next.
class Failure : public std::runtime_error {
public:
    Failure(Exit exit, const std::string& message) : std::runtime_error(message), exit_(exit) {}
    [[nodiscard]] Exit Code() const { return exit_; }

private:
    Exit exit_;
};

} // namespace zeka::cli
