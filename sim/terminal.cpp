// terminal.cpp - opens the pseudo-terminal, reads and writes without blocking, and notices
// when a host opens or leaves it.
#include "sim/terminal.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace zeka::sim {
namespace {

void Check(bool ok, const char* what)
{
    if (!ok)
        throw std::system_error(errno, std::generic_category(), what);
}

// The descriptors that a forked child closes first. The table is larger than a process with dozens of
// instruments needs; a descriptor that finds no place is inherited.
constexpr std::size_t kOwnDescriptors = 1024;
constinit std::array<std::atomic<int>, kOwnDescriptors> own_descriptors{}; // 0: free, else descriptor + 1

void CloseInChild()
{
    for (std::atomic<int>& place : own_descriptors)
        if (const int fd = place.exchange(0) - 1; fd >= 0)
            ::close(fd);
}

void Swap(int from, int to)
{
    for (std::atomic<int>& place : own_descriptors) {
        int expected = from;
        if (place.compare_exchange_strong(expected, to))
            return;
    }
}

void NotInChildren(int fd)
{
    [[maybe_unused]] static const int registered = ::pthread_atfork(nullptr, nullptr, CloseInChild);
    Swap(0, fd + 1);
}

void ChildrenMayHave(int fd) { Swap(fd + 1, 0); }

// Sets the attributes of the host's end through ours, so that it need not be opened.
void SetAttributes(int master, bool cooked)
{
    termios attributes{};
    Check(tcgetattr(master, &attributes) == 0, "virtual instrument: tcgetattr");
    if (cooked) {
        attributes.c_iflag |= ICRNL | IXON;
        attributes.c_oflag |= OPOST | ONLCR;
        attributes.c_lflag |= ICANON | ECHO | ISIG | IEXTEN;
    } else
        cfmakeraw(&attributes);
    Check(tcsetattr(master, TCSANOW, &attributes) == 0, "virtual instrument: tcsetattr");
}

} // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other) {
        Reset();
        fd_ = other.Release();
    }
    return *this;
}

Descriptor::Descriptor(int fd) : fd_(fd)
{
    if (fd >= 0)
        NotInChildren(fd);
}

int Descriptor::Release() { return std::exchange(fd_, -1); }

void Descriptor::Reset()
{
    if (fd_ < 0)
        return;
    ChildrenMayHave(fd_);
    ::close(std::exchange(fd_, -1));
}

Terminal::Terminal(bool cooked) : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    Check(master_.IsOpen(), "virtual instrument: /dev/ptmx");
    Check(::grantpt(master_.Get()) == 0 && ::unlockpt(master_.Get()) == 0, "virtual instrument: unlockpt");
    char path[PATH_MAX];
    errno = ::ptsname_r(master_.Get(), path, sizeof path);
    Check(errno == 0, "virtual instrument: ptsname");
    path_ = path;
    SetAttributes(master_.Get(), cooked);

    opens_ = Descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (opens_.IsOpen() && ::inotify_add_watch(opens_.Get(), path, IN_OPEN) < 0)
        opens_.Reset();
}

void Terminal::AddTo(std::vector<pollfd>& set, bool reading, bool writing) const
{
    if (opens_.IsOpen())
        set.push_back({opens_.Get(), POLLIN, 0});
    if (!host_gone_ && reading)
        set.push_back({master_.Get(), static_cast<short>(writing ? POLLIN | POLLOUT : POLLIN), 0});
}

void Terminal::NoteEvents()
{
    if (!opens_.IsOpen()) {
        host_gone_ = false; // the next read shows whether it is
        return;
    }
    alignas(inotify_event) char events[4096];
    while (::read(opens_.Get(), events, sizeof events) > 0)
        host_gone_ = false;
}

std::size_t Terminal::Read(std::vector<std::uint8_t>& into, std::size_t limit)
{
    if (host_gone_ || limit == 0)
        return 0;
    const std::size_t before = into.size();
    into.resize(before + limit);
    const ssize_t count = ::read(master_.Get(), into.data() + before, limit);
    into.resize(before + (count > 0 ? static_cast<std::size_t>(count) : 0));
    if (count == 0 || (count < 0 && errno == EIO))
        host_gone_ = true;
    return into.size() - before;
}

std::size_t Terminal::Write(Bytes bytes)
{
    const ssize_t count = ::write(master_.Get(), bytes.data(), bytes.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

} // namespace zeka::sim
