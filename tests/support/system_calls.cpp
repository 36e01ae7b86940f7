// system_calls.cpp - see system_calls.h.
#include "support/system_calls.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <termios.h>
#include <unistd.h>

namespace zeka::test {

std::atomic<bool> open_blocks{false};
std::atomic<bool> close_blocks{false};
std::atomic<bool> kill_is_forbidden{false};
std::atomic<bool> lock_folder_is_missing{false};

namespace {

constexpr char kNode[] = "/dev/ttyACM";
constexpr char kLocks[] = "/var/lock";

struct Log {
    std::mutex lock;
    std::vector<std::string> calls;
    std::map<int, std::string> paths; // of the open descriptors that are watched
};

Log& TheLog()
{
    static Log& log = *new Log;
    return log;
}

template <typename Function> Function* Real(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool IsWatched(const char* path)
{
    return std::strncmp(path, kNode, std::strlen(kNode)) == 0 ||
           std::strncmp(path, kLocks, std::strlen(kLocks)) == 0;
}

void Note(const std::string& call)
{
    const std::scoped_lock hold(TheLog().lock);
    TheLog().calls.push_back(call);
}

std::string PathOf(int fd)
{
    const std::scoped_lock hold(TheLog().lock);
    const auto found = TheLog().paths.find(fd);
    return found != TheLog().paths.end() ? found->second : "";
}

bool IsNode(const std::string& path) { return path.starts_with(kNode); }

// Waits five seconds in a call that the kernel would restart after a handler with SA_RESTART. False
// when a signal ended the call.
bool Block()
{
    const int timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const itimerspec five_seconds{{0, 0}, {5, 0}};
    ::timerfd_settime(timer, 0, &five_seconds, nullptr);
    std::uint64_t expiries = 0;
    const bool whole = ::read(timer, &expiries, sizeof expiries) == sizeof expiries;
    const int error = errno;
    Real<decltype(::close)>("close")(timer);
    errno = error;
    return whole;
}

} // namespace

std::vector<std::string> SystemCalls()
{
    const std::scoped_lock hold(TheLog().lock);
    return TheLog().calls;
}

void ForgetSystemCalls()
{
    const std::scoped_lock hold(TheLog().lock);
    TheLog().calls.clear();
}

std::size_t PlaceOf(const std::vector<std::string>& calls, const std::string& beginning)
{
    std::size_t place = 0;
    while (place < calls.size() && !calls[place].starts_with(beginning))
        ++place;
    return place;
}

} // namespace zeka::test

using namespace zeka::test;

extern "C" {

int open(const char* path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    const bool watched = IsWatched(path);
    if (watched && IsNode(path) && open_blocks && !Block())
        return -1;
    const int fd = Real<int(const char*, int, mode_t)>("open")(path, flags, mode);
    if (!watched || fd < 0)
        return fd;
    Note(std::string("open ") + path + ((flags & O_ACCMODE) == O_RDWR ? " rw" : "") +
         ((flags & O_NOCTTY) != 0 ? " noctty" : "") + ((flags & O_NONBLOCK) != 0 ? " nonblock" : "") +
         ((flags & O_EXCL) != 0 ? " excl" : "") + ((flags & O_CLOEXEC) != 0 ? " cloexec" : ""));
    const std::scoped_lock hold(TheLog().lock);
    TheLog().paths[fd] = path;
    return fd;
}

int close(int fd)
{
    if (const std::string path = PathOf(fd); !path.empty()) {
        if (IsNode(path) && close_blocks)
            (void)Block();
        Note("close " + path);
        const std::scoped_lock hold(TheLog().lock);
        TheLog().paths.erase(fd);
    }
    return Real<int(int)>("close")(fd);
}

ssize_t write(int fd, const void* bytes, size_t count)
{
    if (const std::string path = PathOf(fd); !path.empty())
        Note("write " + path + " " + std::to_string(count));
    return Real<ssize_t(int, const void*, size_t)>("write")(fd, bytes, count);
}

int tcsetattr(int fd, int when, const termios* attributes) noexcept
{
    if (IsNode(PathOf(fd)))
        Note("tcsetattr");
    return Real<int(int, int, const termios*)>("tcsetattr")(fd, when, attributes);
}

int tcflush(int fd, int queue) noexcept
{
    if (IsNode(PathOf(fd)))
        Note(queue == TCOFLUSH ? "tcflush out" : "tcflush");
    return Real<int(int, int)>("tcflush")(fd, queue);
}

int unlink(const char* path) noexcept
{
    if (IsWatched(path))
        Note(std::string("unlink ") + path);
    return Real<int(const char*)>("unlink")(path);
}

int mkdir(const char* path, mode_t mode) noexcept
{
    if (IsWatched(path))
        Note(std::string("mkdir ") + path);
    return Real<int(const char*, mode_t)>("mkdir")(path, mode);
}

int stat(const char* path, struct stat* about) noexcept
{
    if (lock_folder_is_missing && std::strcmp(path, kLocks) == 0) {
        errno = ENOENT;
        return -1;
    }
    return Real<int(const char*, struct stat*)>("stat")(path, about);
}

int kill(pid_t process, int signal) noexcept
{
    if (kill_is_forbidden) {
        errno = EPERM;
        return -1;
    }
    return Real<int(pid_t, int)>("kill")(process, signal);
}
}
