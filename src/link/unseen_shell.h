// unseen_shell.h (link) - runs a shell command without the application noticing: its wait() and waitpid(-1) do not
// return the process, and no SIGCHLD comes.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "platform/deadline.h"

namespace zeka {

/// Runs `command` in /bin/sh and hands what it writes to `take`, piece by piece. Returns its exit status; nothing when
/// it could not be started, was ended by a signal, or had not ended by the deadline or when `give_up` said so: then it
/// is killed. Any thread; holds up a close of the device for the moment in which the child has its descriptor.
[[nodiscard]] std::optional<int> RunUnseenShell(const char* command, const Deadline& deadline,
                                                const std::function<void(std::string_view)>& take,
                                                const std::function<bool()>& give_up);

} // namespace zeka
