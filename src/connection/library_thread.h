// library_thread.h (connection) - how the library starts its own threads, and whose process this is.
#pragma once

namespace zeka {

/// CreateThread with all signals but those of faults blocked in the new thread, because the signals of
/// the application belong to its own threads, also when it waits for them with sigwait. False when the
/// thread could not be created.
[[nodiscard]] bool StartLibraryThread(unsigned long& id, void* (*body)(void*));

/// False in a child of fork(), which has none of the library's threads and whose lock file is the parent's.
[[nodiscard]] bool InOwnProcess() noexcept;

/// Called at load, and when a child of fork() takes the library over.
void BecomeOwnProcess() noexcept;

} // namespace zeka
