// system_calls.h - what a test program says to the system about ports and locks, in order, and a system that
// blocks or refuses. Only in programs with system_calls.cpp, whose functions stand before those of the C library.
#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace zeka::test {

/// "open /dev/ttyACM0 rw noctty nonblock cloexec", "tcsetattr", "tcflush out", "close /dev/ttyACM0",
/// "unlink <path>", "mkdir <path>", "write <path> <bytes>"; calls on other files are left out.
[[nodiscard]] std::vector<std::string> SystemCalls();
void ForgetSystemCalls();

/// The place of the first call that begins so; the number of all when there is none.
[[nodiscard]] std::size_t PlaceOf(const std::vector<std::string>& calls, const std::string& beginning);

/// While set, open() or close() of a node lasts five seconds, unless a signal ends it: as the driver's.
extern std::atomic<bool> open_blocks;
extern std::atomic<bool> close_blocks;
/// While set, kill() fails with EPERM; stat() of /var/lock finds nothing.
extern std::atomic<bool> kill_is_forbidden;
extern std::atomic<bool> lock_folder_is_missing;

} // namespace zeka::test
