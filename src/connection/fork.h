// fork.h (connection) - the library in a child of fork().
#pragma once

namespace zeka {

/// Called at load. From here on a child of fork() has no device, no thread and no lock of its parent.
void WatchForks();

/// Whether this process may start a connection. False when its parent had one at the fork.
[[nodiscard]] bool MayConnect() noexcept;

} // namespace zeka
