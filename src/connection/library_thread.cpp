// library_thread.cpp (connection) - threads of the library's own.
#include "connection/library_thread.h"

#include <atomic>
#include <csignal>
#include <initializer_list>
#include <pthread.h>
#include <unistd.h>

#include "zeka/platform.hpp"

namespace zeka {
namespace {
constinit std::atomic<pid_t> own_process{0}; // 0 until the monitor starts, with the library's first object
}

bool StartLibraryThread(unsigned long& id, void* (*body)(void*))
{
    sigset_t blocked;
    sigset_t former;
    ::sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        ::sigdelset(&blocked, fault);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &former);
    const bool started = CreateThread(&id, body, nullptr) == 1;
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return started;
}

bool InOwnProcess() noexcept { return ::getpid() == own_process; }

void BecomeOwnProcess() noexcept { own_process = ::getpid(); }

} // namespace zeka
