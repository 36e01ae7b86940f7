// node.cpp - makes and removes the node, and starts the watchdog that removes it when this process is killed.
#include "sim/node.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace zeka::sim {
namespace {

constexpr int kClaimTries = 50;
constexpr useconds_t kClaimPauseUs = 10000;

[[noreturn]] void Fail(int error, const std::string& what)
{
    throw std::system_error(error, std::generic_category(), "virtual instrument: " + what);
}

// Binds the socket that marks the name as taken. Abstract names are shared by all mount namespaces, so the
// device number of /dev keeps private worlds apart.
Descriptor Claim(const std::string& path)
{
    struct stat dev {};
    if (::stat("/dev", &dev) != 0)
        Fail(errno, "/dev");
    const std::string name = "zeka-sim/" + std::to_string(dev.st_dev) + path;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), std::min(name.size(), sizeof address.sun_path - 1));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());

    Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen())
        Fail(errno, "socket");
    // A child that was just forked holds the former claim until its exec, so the bind is retried.
    int tries = kClaimTries;
    int result = 0;
    while ((result = ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), length)) != 0 &&
           errno == EADDRINUSE && --tries > 0)
        ::usleep(kClaimPauseUs);
    if (result != 0)
        Fail(errno == EADDRINUSE ? EEXIST : errno, path + " belongs to another virtual instrument");
    return socket;
}

std::optional<std::string> LinkTarget(const char* path)
{
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink(path, target.data(), target.size());
    if (length <= 0)
        return std::nullopt;
    return std::string(target.data(), static_cast<std::size_t>(length));
}

// Removes the link of a former instrument. REQUIRES: the claim on the name is held, so no instrument uses it.
void RemoveLeftover(const std::string& path)
{
    const std::optional<std::string> target = LinkTarget(path.c_str());
    if (target && target->starts_with("/dev/pts/"))
        ::unlink(path.c_str());
}

// Waits until the other end of the pipe closes, then removes the link. Runs as a process of
// its own; uses system calls only.
[[noreturn]] void Watch(const char* path, ino_t inode)
{
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) < 0 && errno == EINTR) {
    }
    struct stat link {};
    if (::lstat(path, &link) == 0 && S_ISLNK(link.st_mode) && link.st_ino == inode)
        ::unlink(path);
    ::_exit(0);
}

} // namespace

std::string Node::PathOf(int port) { return "/dev/ttyACM" + std::to_string(port); }

Node::Node(int port, const std::string& terminal, bool guarded) { Publish(port, terminal, guarded); }

void Node::Publish(int port, const std::string& terminal, bool guarded)
{
    Remove();
    const std::string path = PathOf(port);
    Descriptor claim = Claim(path);
    RemoveLeftover(path);
    if (::symlink(terminal.c_str(), path.c_str()) != 0) {
        const int error = errno;
        Fail(error, error == EEXIST
                        ? path + " is taken by a device"
                        : path + " cannot be made; run the program in a private world (zeka-private-dev)");
    }
    path_ = path;
    target_ = terminal;
    claim_ = std::move(claim);
    if (guarded)
        StartWatchdog();
}

void Node::Remove()
{
    if (path_.empty())
        return;
    if (LinkTarget(path_.c_str()) == target_)
        ::unlink(path_.c_str());
    path_.clear();
    watchdog_.Reset();
    claim_.Reset();
}

void Node::StartWatchdog()
{
    struct stat link {};
    int ends[2];
    if (::lstat(path_.c_str(), &link) != 0 || ::pipe2(ends, O_CLOEXEC) != 0)
        return; // a killed instrument then leaves a link behind, which the next one replaces
    watchdog_ = Descriptor(ends[1]);
    // Forks twice, so that the watchdog is no child that the program's own wait() calls return.
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid(); // Ctrl-C is not meant for the watchdog
        ::dup2(ends[0], STDIN_FILENO);
        ::syscall(SYS_close_range, STDIN_FILENO + 1, ~0U, 0U); // a reader of these files must see their end
        if (::fork() == 0)
            Watch(path_.c_str(), link.st_ino);
        ::_exit(0);
    }
    ::close(ends[0]);
    while (child > 0 && ::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace zeka::sim
