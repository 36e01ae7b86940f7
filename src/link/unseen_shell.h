// unseen_shell.h (link) - runs a shell command that the application does not notice: its wait() and
// waitpid(-1) do not return the process, and no SIGCHLD comes.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "platform/deadline.h"

namespace zeka {

/// Runs `command` in /bin/sh and passes its output to `take`, piece by piece. Returns its exit status,
/// or nothing when it could not be started, was ended by a signal, or was killed because the deadline
/// passed or `give_up` returned true. Any thread. Delays a close of the device by at most 800 ms, while
/// the child has its descriptor.
[[nodiscard]] std::optional<int> RunUnseenShell(const char* command, const Deadline& deadline,
                                                const std::function<void(std::string_view)>& take,
                                                const std::function<bool()>& give_up);

} // namespace zeka
