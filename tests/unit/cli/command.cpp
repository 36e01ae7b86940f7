// command.cpp - see command.h.
#include "command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace zeka::test {
namespace {

constexpr std::chrono::seconds kLongest{60};
constexpr int kCannotRun = 126;

[[noreturn]] void Fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

/// The end that the test reads, and the end that the command writes.
std::array<int, 2> Pipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        Fail("pipe");
    return ends;
}

std::array<int, 2> TerminalPair()
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0)
        Fail("pseudo-terminal");
    std::array<char, 64> name{};
    if (::ptsname_r(master, name.data(), name.size()) != 0)
        Fail("ptsname");
    const int slave = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0)
        Fail(name.data());
    return {master, slave};
}

void Close(int& descriptor)
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}

void ChangeEnvironment(const std::vector<std::string>& changes)
{
    for (const std::string& change : changes) {
        const std::size_t equals = change.find('=');
        if (equals == std::string::npos)
            ::unsetenv(change.c_str());
        else
            ::setenv(change.substr(0, equals).c_str(), change.substr(equals + 1).c_str(), 1);
    }
}

[[noreturn]] void Become(const std::vector<std::string>& arguments, const Surroundings& surroundings, int out,
                         int err)
{
    ::setpgid(0, 0);
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    if (surroundings.streams == Streams::kFull)
        ::dup2(::open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    if (surroundings.streams == Streams::kClosed)
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::close(stream);
    ChangeEnvironment(surroundings.environment);
    if (surroundings.user != 0 && (::setgid(surroundings.user) != 0 || ::setuid(surroundings.user) != 0))
        ::_exit(kCannotRun);
    std::vector<char*> argv{const_cast<char*>(ZEKA_COMMAND)}; // execv does not write
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(argv[0], argv.data());
    ::_exit(kCannotRun);
}

/// Appends what is there; false at the end of the stream. A terminal ends with EIO.
bool Drain(int descriptor, std::string& text)
{
    std::array<char, 4096> piece{};
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count > 0)
        text.append(piece.data(), static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

} // namespace

Command::Command(const std::vector<std::string>& arguments, const Surroundings& surroundings)
{
    const bool terminal = surroundings.streams == Streams::kTerminal;
    std::array<int, 2> out = terminal ? TerminalPair() : Pipe();
    std::array<int, 2> err = terminal ? std::array{-1, ::dup(out[1])} : Pipe();
    pid_ = ::fork();
    if (pid_ < 0)
        Fail("fork");
    if (pid_ == 0) {
        if (surroundings.streams == Streams::kNobodyReads)
            ::close(out[0]);
        Become(arguments, surroundings, out[1], err[1]);
    }
    ::setpgid(pid_, pid_); // whoever comes first
    Close(out[1]);
    Close(err[1]);
    if (surroundings.streams == Streams::kNobodyReads)
        Close(out[0]);
    out_ = out[0];
    err_ = err[0];
}

Command::~Command()
{
    if (pid_ > 0) {
        ::kill(-pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Close(out_);
    Close(err_);
}

void Command::Signal(int signal) const { ::kill(pid_, signal); }

Outcome Command::Wait()
{
    Outcome outcome;
    const auto end = std::chrono::steady_clock::now() + kLongest;
    while (out_ >= 0 || err_ >= 0) {
        std::array<pollfd, 2> wait{pollfd{out_, POLLIN, 0}, pollfd{err_, POLLIN, 0}}; // -1 is left out
        ::poll(wait.data(), wait.size(), 100);
        if (wait[0].revents != 0 && !Drain(out_, outcome.out))
            Close(out_);
        if (wait[1].revents != 0 && !Drain(err_, outcome.err))
            Close(err_);
        if (std::chrono::steady_clock::now() > end)
            ::kill(-pid_, SIGKILL);
    }
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return outcome;
}

Outcome RunZeka(const std::vector<std::string>& arguments, const Surroundings& surroundings)
{
    return Command(arguments, surroundings).Wait();
}

nlohmann::json Row(const nlohmann::json& result, const std::string& name)
{
    for (const nlohmann::json& row : result.at("measured"))
        if (row.at("name") == name)
            return row;
    throw std::runtime_error("no row \"" + name + "\" in " + result.dump());
}

} // namespace zeka::test
