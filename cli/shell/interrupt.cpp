// interrupt.cpp - the signal handler writes to a pipe, which the main thread polls.
#include "cli/shell/interrupt.h"

#include "cli/shell/failure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace zeka::cli {
namespace {

volatile std::sig_atomic_t interrupted = 0;
std::array<int, 2> wake{-1, -1}; // a byte in it ends a wait that began after the signal

void Remember(int)
{
    const int before = errno;
    interrupted = 1;
    (void)!::write(wake[1], "", 1); // a full pipe wakes as well
    errno = before;
}

} // namespace

void CatchInterrupts()
{
    if (wake[0] >= 0)
        return; // called for a second session
    if (::pipe2(wake.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    struct sigaction action {};
    action.sa_handler = Remember;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &action, nullptr);
}

bool Interrupted() { return interrupted != 0; }

bool InterruptedWithin(std::chrono::milliseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (!Interrupted()) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        pollfd wait{wake[0], POLLIN, 0};
        ::poll(&wait, 1, static_cast<int>(left.count()));
    }
    return Interrupted();
}

void EndIfInterrupted(OutputWas output)
{
    if (Interrupted())
        throw Failure(Exit::kInterrupted,
                      output == OutputWas::kOn ? "interrupted; the output is off" : "interrupted");
}

} // namespace zeka::cli
