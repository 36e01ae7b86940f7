// fork.h (connection) - what a child of fork() finds of the library.
#pragma once

namespace zeka {

/// At load: from here on a child of fork() has no device, no thread and no lock of its parent's.
void WatchForks();

/// Whether this process may start a connection: not when its parent had one at the fork.
[[nodiscard]] bool MayConnect() noexcept;

} // namespace zeka
