// library_thread.h (connection) - how the library starts its own threads, and whose process this is.
#pragma once

namespace zeka {

/// CreateThread with all signals blocked in the new thread: the application's signals belong to its own
/// threads, also when it waits for them with sigwait. False when the thread could not be created.
[[nodiscard]] bool StartLibraryThread(unsigned long& id, void* (*body)(void*));

/// False in a child of fork(): none of the library's threads exist there, and its lock file is the parent's.
[[nodiscard]] bool InOwnProcess() noexcept;

/// At load, and when a child of fork() that goes on alone takes the library over.
void BecomeOwnProcess() noexcept;

} // namespace zeka
