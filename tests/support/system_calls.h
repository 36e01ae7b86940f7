// system_calls.h - records the system calls of a test program on ports and locks, in order, and makes them
// block or fail. Only for programs with system_calls.cpp, whose functions override those of the C library.
#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace zeka::test {

/// "open /dev/ttyACM0 rw noctty nonblock cloexec", "tcsetattr", "tcflush out", "close /dev/ttyACM0",
/// "unlink <path>", "mkdir <path>", "write <path> <bytes>"; calls on other files are left out.
[[nodiscard]] std::vector<std::string> SystemCalls();
void ForgetSystemCalls();

/// Index of the first call that begins with `beginning`; the number of all calls when there is none.
[[nodiscard]] std::size_t PlaceOf(const std::vector<std::string>& calls, const std::string& beginning);

/// While set, open() or close() of a node lasts five seconds, as in the driver, unless a signal ends it.
extern std::atomic<bool> open_blocks;
extern std::atomic<bool> close_blocks;
/// While set, kill() fails with EPERM; stat() of /var/lock finds nothing.
extern std::atomic<bool> kill_is_forbidden;
extern std::atomic<bool> lock_folder_is_missing;

} // namespace zeka::test
