// unseen_shell.cpp (link) - a shell that the application does not see as its child.
// wait(), waitpid(-1) and SIGCHLD leave out a process whose end raises no signal, but exec gives every
// process the ordinary signal back. So the child that is made here never execs: it starts the shell as a
// child of its own, waits for it, and ends with its status. The child is a copy of a process with threads,
// so it makes system calls only.
#include "link/unseen_shell.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "link/port.h"
#include "platform/scoped_fd.h"
#include "zeka/platform.hpp"

namespace zeka {
namespace {

constexpr unsigned kReadyMs = 800; // below the time that a close waits for the port's users
constexpr unsigned kSliceMs = 20;  // how often to look for the end and for a reason to give up
constexpr unsigned kEndLookMs = 1;
constexpr int kNotRun = 126;                          // a shell's status for a command that it could not run
constexpr int kNoSignal = static_cast<int>(__WCLONE); // selects children whose end raises no signal
constexpr char kReady = '\n';

// Blocks all signals, so that no handler of the application runs in the child.
class SignalsBlocked {
public:
    SignalsBlocked() noexcept
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &former_);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t former_{};
};

// Keeps the pipe as standard output and nothing else of the application, least of all the device.
void KeepOnlyOutput(int output) noexcept
{
    if (output != STDOUT_FILENO)
        ::dup2(output, STDOUT_FILENO);
    else
        ::fcntl(output, F_SETFD, 0);
    ::close(STDIN_FILENO);
    ::close(STDERR_FILENO);
    (void)::open("/dev/null", O_RDONLY); // the lowest free number: 0, then 2
    (void)::open("/dev/null", O_WRONLY);
    if (::syscall(SYS_close_range, STDERR_FILENO + 1u, ~0u, 0u) != 0) // a kernel before 5.9
        for (long fd = ::sysconf(_SC_OPEN_MAX) - 1; fd > STDERR_FILENO; --fd)
            ::close(static_cast<int>(fd));
}

void EndWithParent() noexcept { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }

[[noreturn]] void RunShellInChild(const char* command, int output) noexcept
{
    EndWithParent();
    ::setpgid(0, 0); // one signal ends the shell and what it started
    ::signal(SIGCHLD, SIG_DFL);
    KeepOnlyOutput(output);
    (void)!::write(STDOUT_FILENO, &kReady, 1);

    // vfork, because the copy must be cheap. NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork)
    const pid_t shell = ::vfork();
    if (shell == 0) {
        EndWithParent(); // NOLINT(clang-analyzer-unix.Vfork): one system call, no memory is written
        ::execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
        ::_exit(kNotRun);
    }
    int status = 0;
    const bool waited = shell > 0 && ::waitpid(shell, &status, 0) == shell;
    ::_exit(waited && WIFEXITED(status) ? WEXITSTATUS(status) : kNotRun);
}

class Child {
public:
    explicit Child(pid_t pid) noexcept : pid_(pid) {}
    ~Child()
    {
        if (pid_ <= 0)
            return;
        ::kill(-pid_, SIGKILL);
        ::kill(pid_, SIGKILL); // it may not have its own group yet
        (void)Reap(0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] bool Started() const noexcept { return pid_ > 0; }
    [[nodiscard]] int Status() const noexcept { return status_; }

    /// True when the child has ended.
    [[nodiscard]] bool Reap(int options) noexcept
    {
        pid_t reaped = 0;
        do
            reaped = ::waitpid(pid_, &status_, options | kNoSignal);
        while (reaped < 0 && errno == EINTR);
        if (reaped == 0 || (reaped < 0 && errno != ECHILD))
            return false;
        if (reaped < 0)
            status_ = -1; // the application reaped it with __WALL
        pid_ = 0;
        return true;
    }

private:
    pid_t pid_;
    int status_ = -1;
};

struct Pipe {
    ScopedFd read, write;
    Pipe()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return;
        read.Reset(ends[0]);
        write.Reset(ends[1]);
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
};

void WaitForOutput(int fd, unsigned ms)
{
    pollfd wait{fd, POLLIN, 0};
    (void)::poll(&wait, 1, static_cast<int>(ms));
}

bool IsReady(int fd)
{
    const Deadline deadline = Deadline::InMs(kReadyMs);
    do {
        WaitForOutput(fd, kSliceMs);
        char ready = 0;
        const ssize_t got = ::read(fd, &ready, 1);
        if (got >= 0)
            return got == 1;
    } while (!deadline.Expired());
    return false;
}

// Forks, not vforks, because the other threads of the application must go on, and this one too, with a time
// limit. The arguments are all zero, in whatever order a machine takes them: no stack of its own, no shared
// memory, no signal at its end.
pid_t StartChild(const char* command, Pipe& pipe)
{
    const SignalsBlocked in_the_child;
    const auto pid = static_cast<pid_t>(::syscall(SYS_clone, 0L, 0L, 0L, 0L, 0L));
    if (pid == 0)
        RunShellInChild(command, pipe.write.Get());
    pipe.write.Reset();
    return pid;
}

// True when the output has ended.
bool TakeOutput(int fd, const std::function<void(std::string_view)>& take)
{
    std::array<char, 512> piece;
    ssize_t got = 0;
    while ((got = ::read(fd, piece.data(), piece.size())) > 0)
        take({piece.data(), static_cast<std::size_t>(got)});
    return got == 0;
}

} // namespace

std::optional<int> RunUnseenShell(const char* command, const Deadline& deadline,
                                  const std::function<void(std::string_view)>& take,
                                  const std::function<bool()>& give_up)
{
    Pipe pipe;
    if (!pipe.read.IsOpen())
        return std::nullopt;
    const int output = pipe.read.Get();

    std::optional<Child> child;
    {
        // Until it reports ready, the child has a copy of the device's descriptor. A close in that time would
        // not be the last one: the port would stay open, and the child's close could wait 30 s for output
        // that a stalled instrument does not take.
        const NoClose until_ready;
        if (!until_ready.Holds())
            return std::nullopt;
        child.emplace(StartChild(command, pipe));
        if (!child->Started() || !IsReady(output))
            child.reset(); // kills and reaps it while no close can begin
    }
    while (child && !deadline.Expired() && !give_up()) {
        // Goes by the end of the child, because the output may not end: a child of the application
        // may have inherited the pipe.
        const bool ended = child->Reap(WNOHANG);
        const bool output_ended = TakeOutput(output, take);
        if (ended)
            return WIFEXITED(child->Status()) ? std::optional(WEXITSTATUS(child->Status())) : std::nullopt;
        if (output_ended)
            SleepEx(kEndLookMs);
        else
            WaitForOutput(output, kSliceMs);
    }
    return std::nullopt;
}

} // namespace zeka
