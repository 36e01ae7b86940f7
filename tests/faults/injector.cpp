// injector.cpp - see injector.h. Every interposer calls Strikes() once and otherwise forwards the call. Calls
// that the C library makes inside another call are not seen, except its allocations.
#include "faults/injector.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace zeka::faults {
namespace {

constexpr std::array kMalloc{ENOMEM};
constexpr std::array kOpen{EMFILE, EACCES, EBUSY, EINTR, EIO, ENXIO, ENODEV, ENOSPC};
constexpr std::array kRead{EIO, EINTR, EAGAIN, kShort};
constexpr std::array kWrite{EIO, EINTR, EAGAIN, ENOSPC, kShort};
constexpr std::array kPoll{EINTR, ENOMEM};
constexpr std::array kIoctl{EIO, ENOTTY};
constexpr std::array kTerminal{EIO, EINTR, ENOTTY};
constexpr std::array kClose{EIO, EINTR};
constexpr std::array kControl{EINTR, ENOLCK};
constexpr std::array kStat{EACCES, ENOENT, ENOMEM};
constexpr std::array kReadLink{EACCES};
constexpr std::array kMakeFolder{EACCES, ENOSPC, EROFS};
constexpr std::array kUnlink{EACCES, EROFS};
constexpr std::array kRename{EACCES, ENOSPC, EXDEV};
constexpr std::array kLock{EWOULDBLOCK, EINTR, ENOLCK};
constexpr std::array kKill{EPERM, ESRCH};
constexpr std::array kAgain{EAGAIN};
constexpr std::array kTimer{EAGAIN, ENOMEM};
constexpr std::array kInvalid{EINVAL};
constexpr std::array kDescriptor{EMFILE, ENOMEM};
constexpr std::array kProcess{EAGAIN, ENOMEM, EMFILE};
constexpr std::array kWait{ECHILD, EINTR};
constexpr std::array kSleep{EINTR};
constexpr std::array kStreamOpen{EMFILE, EACCES, ENOSPC};
constexpr std::array kStreamRead{EIO, kShort};
constexpr std::array kStreamWrite{ENOSPC, EIO, kShort};
constexpr std::array kStreamError{ENOSPC, EIO};

constexpr std::array kFacts{
    CallFacts{Call::kMalloc, "malloc", kMalloc},
    CallFacts{Call::kOpen, "open", kOpen},
    CallFacts{Call::kRead, "read", kRead},
    CallFacts{Call::kWrite, "write", kWrite},
    CallFacts{Call::kPoll, "poll", kPoll},
    CallFacts{Call::kIoctl, "ioctl", kIoctl},
    CallFacts{Call::kGetTerminal, "tcgetattr", kTerminal},
    CallFacts{Call::kSetTerminal, "tcsetattr", kTerminal},
    CallFacts{Call::kFlushTerminal, "tcflush", kTerminal},
    CallFacts{Call::kClose, "close", kClose},
    CallFacts{Call::kControl, "fcntl", kControl},
    CallFacts{Call::kStat, "stat", kStat},
    CallFacts{Call::kReadLink, "readlink", kReadLink},
    CallFacts{Call::kMakeFolder, "mkdir", kMakeFolder},
    CallFacts{Call::kUnlink, "unlink", kUnlink},
    CallFacts{Call::kRename, "rename", kRename},
    CallFacts{Call::kLock, "flock", kLock},
    CallFacts{Call::kKill, "kill", kKill},
    CallFacts{Call::kCreateThread, "pthread_create", kAgain},
    CallFacts{Call::kCreateTimer, "timer_create", kTimer},
    CallFacts{Call::kSetTimer, "timer_settime", kInvalid},
    CallFacts{Call::kEvent, "eventfd", kDescriptor},
    CallFacts{Call::kPipe, "pipe", kDescriptor},
    CallFacts{Call::kProcess, "fork", kProcess},
    CallFacts{Call::kWait, "waitpid", kWait},
    CallFacts{Call::kSleep, "nanosleep", kSleep},
    CallFacts{Call::kAdvise, "madvise", kInvalid},
    CallFacts{Call::kStreamOpen, "fopen", kStreamOpen},
    CallFacts{Call::kStreamRead, "fread", kStreamRead},
    CallFacts{Call::kStreamWrite, "fwrite", kStreamWrite},
    CallFacts{Call::kStreamSeek, "fseek", kStreamError},
    CallFacts{Call::kStreamFlush, "fflush", kStreamError},
    CallFacts{Call::kStreamClose, "fclose", kStreamError},
};
constexpr bool InOrder()
{
    for (std::size_t i = 0; i < kFacts.size(); ++i)
        if (static_cast<std::size_t>(kFacts[i].call) != i)
            return false;
    return true;
}
static_assert(InOrder());

constinit std::atomic<bool> armed{false};
constinit Plan plan;
constinit std::array<std::atomic<unsigned>, kFacts.size()> counts{};
constinit std::atomic<unsigned> fired{0};

// Initial-exec, because access to it then never allocates.
[[gnu::tls_model("initial-exec")]] thread_local bool under_test = false;

/// Descriptors from eventfd(). An event always transfers its eight bytes as a whole.
constexpr int kKnownDescriptors = 1024;
constinit std::array<std::atomic<bool>, kKnownDescriptors> is_event{};
bool IsEvent(int fd) { return fd >= 0 && fd < kKnownDescriptors && is_event[static_cast<std::size_t>(fd)]; }
void NoteEvent(int fd, bool event)
{
    if (fd >= 0 && fd < kKnownDescriptors)
        is_event[static_cast<std::size_t>(fd)] = event;
}

/// Errors that a kernel never reports for ever: an interruption, and EAGAIN for
/// input that poll() has announced.
bool Passes(const Plan& given)
{
    return given.error == EINTR || (given.error == EAGAIN && given.call == Call::kRead);
}

/// Whether this call fails; then sets errno. A short transfer counts as fired and sets errno to kShort.
bool Strikes(Call call)
{
    if (!under_test || !armed.load(std::memory_order_acquire))
        return false;
    const unsigned number = ++counts[static_cast<std::size_t>(call)];
    if (call != plan.call || plan.nth == 0 || number < plan.nth)
        return false;
    if (number > plan.nth && (!plan.lasting || (Passes(plan) && (number - plan.nth) % 2 != 0)))
        return false;
    ++fired;
    errno = plan.error;
    return true;
}

/// Whether the transfer is short instead of failed; Half gives its bytes.
bool IsShort() { return plan.error == kShort; }
constexpr std::size_t Half(std::size_t count) { return count > 1 ? count / 2 : count; }

/// The C library's own function, looked up once.
template <typename Function> Function* Next(std::atomic<void*>& found, const char* name)
{
    void* function = found.load(std::memory_order_relaxed);
    if (function == nullptr) {
        function = ::dlsym(RTLD_NEXT, name);
        found.store(function, std::memory_order_relaxed);
    }
    return reinterpret_cast<Function*>(function);
}

struct Body {
    void* (*start)(void*);
    void* argument;
};

void* RunUnderTest(void* given)
{
    const Body body = *static_cast<Body*>(given);
    std::free(given);
    under_test = true;
    return body.start(body.argument);
}

bool IsOfLibrary(void* (*start)(void*))
{
    Dl_info about{};
    return ::dladdr(reinterpret_cast<void*>(start), &about) != 0 && about.dli_fname != nullptr &&
           std::strstr(about.dli_fname, "libzeka.so") != nullptr;
}

} // namespace

std::span<const CallFacts> AllCalls() { return kFacts; }

void Arm(const Plan& given)
{
    armed = false;
    plan = given;
    for (auto& count : counts)
        count = 0;
    fired = 0;
    armed.store(true, std::memory_order_release);
}

void Disarm() { armed = false; }
unsigned Counted(Call call) { return counts.at(static_cast<std::size_t>(call)); }
unsigned Fired() { return fired; }

UnderTest::UnderTest() : former_(under_test) { under_test = true; }
UnderTest::~UnderTest() { under_test = former_; }

} // namespace zeka::faults

using zeka::faults::Call;
using zeka::faults::Half;
using zeka::faults::IsShort;
using zeka::faults::Strikes;

// NEXT(name): the C library's function of that name.
#define NEXT(name)                                                                                           \
    ([]() noexcept {                                                                                         \
        static constinit std::atomic<void*> found{nullptr};                                                  \
        return zeka::faults::Next<decltype(name)>(found, #name);                                             \
    }())

extern "C" {

// ---- memory
void* malloc(std::size_t size) noexcept { return Strikes(Call::kMalloc) ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) noexcept
{
    return Strikes(Call::kMalloc) ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept
{
    return Strikes(Call::kMalloc) ? nullptr : __libc_realloc(block, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return Strikes(Call::kMalloc) ? nullptr : __libc_memalign(alignment, size);
}
int madvise(void* address, std::size_t length, int advice) noexcept
{
    return Strikes(Call::kAdvise) ? -1 : NEXT(madvise)(address, length, advice);
}

// ---- descriptors
#define ZEKA_FAULTS_OPEN(name)                                                                               \
    int name(const char* path, int flags, ...)                                                               \
    {                                                                                                        \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;                               \
        va_end(rest);                                                                                        \
        return Strikes(Call::kOpen) ? -1 : NEXT(name)(path, flags, mode);                                    \
    }
ZEKA_FAULTS_OPEN(open)
ZEKA_FAULTS_OPEN(open64)
int openat(int folder, const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return Strikes(Call::kOpen) ? -1 : NEXT(openat)(folder, path, flags, mode);
}

ssize_t read(int fd, void* buffer, std::size_t count)
{
    const bool strikes = !zeka::faults::IsEvent(fd) && Strikes(Call::kRead);
    return strikes && !IsShort() ? -1 : NEXT(read)(fd, buffer, strikes ? Half(count) : count);
}
ssize_t pread(int fd, void* buffer, std::size_t count, off_t at)
{
    const bool strikes = Strikes(Call::kRead);
    return strikes && !IsShort() ? -1 : NEXT(pread)(fd, buffer, strikes ? Half(count) : count, at);
}
ssize_t write(int fd, const void* buffer, std::size_t count)
{
    const bool strikes = !zeka::faults::IsEvent(fd) && Strikes(Call::kWrite);
    return strikes && !IsShort() ? -1 : NEXT(write)(fd, buffer, strikes ? Half(count) : count);
}
ssize_t readv(int fd, const iovec* pieces, int count)
{
    const bool strikes = Strikes(Call::kRead);
    return strikes && !IsShort() ? -1 : NEXT(readv)(fd, pieces, strikes ? 1 : count);
}
ssize_t writev(int fd, const iovec* pieces, int count)
{
    const bool strikes = Strikes(Call::kWrite);
    return strikes && !IsShort() ? -1 : NEXT(writev)(fd, pieces, strikes ? 1 : count);
}
int poll(pollfd* waits, nfds_t count, int ms)
{
    return Strikes(Call::kPoll) ? -1 : NEXT(poll)(waits, count, ms);
}
int ppoll(pollfd* waits, nfds_t count, const timespec* time, const sigset_t* mask)
{
    return Strikes(Call::kPoll) ? -1 : NEXT(ppoll)(waits, count, time, mask);
}
int close(int fd)
{
    zeka::faults::NoteEvent(fd, false);
    if (!Strikes(Call::kClose))
        return NEXT(close)(fd);
    const int error = errno;
    (void)NEXT(close)(fd); // the kernel releases the number even when it reports an error
    errno = error;
    return -1;
}
#define ZEKA_FAULTS_CONTROL(name)                                                                            \
    int name(int fd, int command, ...)                                                                       \
    {                                                                                                        \
        va_list rest;                                                                                        \
        va_start(rest, command);                                                                             \
        void* const argument = va_arg(rest, void*);                                                          \
        va_end(rest);                                                                                        \
        return Strikes(Call::kControl) ? -1 : NEXT(name)(fd, command, argument);                             \
    }
ZEKA_FAULTS_CONTROL(fcntl)
ZEKA_FAULTS_CONTROL(fcntl64)
int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return Strikes(Call::kIoctl) ? -1 : NEXT(ioctl)(fd, request, argument);
}
int tcgetattr(int fd, termios* attributes) noexcept
{
    return Strikes(Call::kGetTerminal) ? -1 : NEXT(tcgetattr)(fd, attributes);
}
int tcsetattr(int fd, int when, const termios* attributes) noexcept
{
    return Strikes(Call::kSetTerminal) ? -1 : NEXT(tcsetattr)(fd, when, attributes);
}
int tcflush(int fd, int queue) noexcept
{
    return Strikes(Call::kFlushTerminal) ? -1 : NEXT(tcflush)(fd, queue);
}
int eventfd(unsigned count, int flags) noexcept
{
    if (Strikes(Call::kEvent))
        return -1;
    const int fd = NEXT(eventfd)(count, flags);
    zeka::faults::NoteEvent(fd, true);
    return fd;
}
int pipe(int* ends) noexcept { return Strikes(Call::kPipe) ? -1 : NEXT(pipe)(ends); }
int pipe2(int* ends, int flags) noexcept { return Strikes(Call::kPipe) ? -1 : NEXT(pipe2)(ends, flags); }

// ---- names
int stat(const char* path, struct stat* about) noexcept
{
    return Strikes(Call::kStat) ? -1 : NEXT(stat)(path, about);
}
int lstat(const char* path, struct stat* about) noexcept
{
    return Strikes(Call::kStat) ? -1 : NEXT(lstat)(path, about);
}
int fstat(int fd, struct stat* about) noexcept { return Strikes(Call::kStat) ? -1 : NEXT(fstat)(fd, about); }
int flock(int fd, int operation) noexcept { return Strikes(Call::kLock) ? -1 : NEXT(flock)(fd, operation); }
ssize_t readlink(const char* path, char* buffer, std::size_t count) noexcept
{
    return Strikes(Call::kReadLink) ? -1 : NEXT(readlink)(path, buffer, count);
}
int mkdir(const char* path, mode_t mode) noexcept
{
    return Strikes(Call::kMakeFolder) ? -1 : NEXT(mkdir)(path, mode);
}
int unlink(const char* path) noexcept { return Strikes(Call::kUnlink) ? -1 : NEXT(unlink)(path); }
int remove(const char* path) noexcept { return Strikes(Call::kUnlink) ? -1 : NEXT(remove)(path); }
int rename(const char* from, const char* to) noexcept
{
    return Strikes(Call::kRename) ? -1 : NEXT(rename)(from, to);
}

// ---- threads, timers, processes
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept
{
    if (!zeka::faults::under_test && !zeka::faults::IsOfLibrary(start))
        return NEXT(pthread_create)(thread, attributes, start, argument);
    if (Strikes(Call::kCreateThread))
        return errno;
    if (!zeka::faults::under_test && std::getenv(zeka::faults::kNoThreadAtLoad) != nullptr)
        return EAGAIN;
    auto* const body = static_cast<zeka::faults::Body*>(__libc_malloc(sizeof(zeka::faults::Body)));
    *body = {start, argument};
    const int result = NEXT(pthread_create)(thread, attributes, zeka::faults::RunUnderTest, body);
    if (result != 0)
        std::free(body);
    return result;
}
int timer_create(clockid_t clock, sigevent* event, timer_t* timer) noexcept
{
    return Strikes(Call::kCreateTimer) ? -1 : NEXT(timer_create)(clock, event, timer);
}
int timer_settime(timer_t timer, int flags, const itimerspec* time, itimerspec* former) noexcept
{
    return Strikes(Call::kSetTimer) ? -1 : NEXT(timer_settime)(timer, flags, time, former);
}
int kill(pid_t process, int signal) noexcept
{
    return Strikes(Call::kKill) ? -1 : NEXT(kill)(process, signal);
}
std::FILE* popen(const char* command, const char* mode)
{
    return Strikes(Call::kProcess) ? nullptr : NEXT(popen)(command, mode);
}
pid_t fork() noexcept { return Strikes(Call::kProcess) ? -1 : NEXT(fork)(); }
long syscall(long number, ...) noexcept
{
    va_list rest;
    va_start(rest, number);
    std::array<long, 6> arguments{};
    for (long& argument : arguments)
        argument = va_arg(rest, long);
    va_end(rest);
    const bool makes_process = number == SYS_clone || number == SYS_clone3 || number == SYS_fork;
    if (makes_process && Strikes(Call::kProcess))
        return -1;
    return NEXT(syscall)(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                         arguments[5]);
}
// A function that returns twice cannot be forwarded. A child with a copy of the memory serves as well; like
// the original it runs no fork handlers.
pid_t vfork() noexcept
{
    return Strikes(Call::kProcess) ? -1
                                   : static_cast<pid_t>(NEXT(syscall)(SYS_clone, SIGCHLD, 0L, 0L, 0L, 0L));
}
int clone(int (*body)(void*), void* stack, int flags, void* argument, ...) noexcept
{
    va_list rest;
    va_start(rest, argument);
    auto* const parent = va_arg(rest, void*);
    auto* const storage = va_arg(rest, void*);
    auto* const child = va_arg(rest, void*);
    va_end(rest);
    return Strikes(Call::kProcess) ? -1 : NEXT(clone)(body, stack, flags, argument, parent, storage, child);
}
int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment)
{
    return Strikes(Call::kProcess)
               ? errno
               : NEXT(posix_spawn)(process, path, actions, attributes, arguments, environment);
}
pid_t waitpid(pid_t process, int* status, int options)
{
    return Strikes(Call::kWait) ? -1 : NEXT(waitpid)(process, status, options);
}
int pclose(std::FILE* stream)
{
    if (!Strikes(Call::kWait))
        return NEXT(pclose)(stream);
    const int error = errno;
    (void)NEXT(pclose)(stream); // the stream is closed whatever it reports
    errno = error;
    return -1;
}

// ---- sleeping: an immediate interruption
int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* rest)
{
    if (!Strikes(Call::kSleep))
        return NEXT(clock_nanosleep)(clock, flags, time, rest);
    if (rest != nullptr && (flags & TIMER_ABSTIME) == 0)
        *rest = *time;
    return EINTR;
}
int nanosleep(const timespec* time, timespec* rest)
{
    if (!Strikes(Call::kSleep))
        return NEXT(nanosleep)(time, rest);
    if (rest != nullptr)
        *rest = *time;
    return -1;
}
int usleep(useconds_t us) { return Strikes(Call::kSleep) ? -1 : NEXT(usleep)(us); }

// ---- streams
std::FILE* fopen(const char* path, const char* mode)
{
    return Strikes(Call::kStreamOpen) ? nullptr : NEXT(fopen)(path, mode);
}
std::FILE* fopen64(const char* path, const char* mode)
{
    return Strikes(Call::kStreamOpen) ? nullptr : NEXT(fopen64)(path, mode);
}
std::size_t fread(void* buffer, std::size_t size, std::size_t count, std::FILE* stream)
{
    const bool strikes = Strikes(Call::kStreamRead);
    return strikes && !IsShort() ? 0 : NEXT(fread)(buffer, size, strikes ? Half(count) : count, stream);
}
char* fgets(char* line, int size, std::FILE* stream)
{
    return Strikes(Call::kStreamRead) ? nullptr : NEXT(fgets)(line, size, stream);
}
std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count, std::FILE* stream)
{
    const bool strikes = Strikes(Call::kStreamWrite);
    return strikes && !IsShort() ? 0 : NEXT(fwrite)(buffer, size, strikes ? Half(count) : count, stream);
}
int fputc(int character, std::FILE* stream)
{
    return Strikes(Call::kStreamWrite) ? EOF : NEXT(fputc)(character, stream);
}
int fseek(std::FILE* stream, long at, int from)
{
    return Strikes(Call::kStreamSeek) ? -1 : NEXT(fseek)(stream, at, from);
}
int fseeko(std::FILE* stream, off_t at, int from)
{
    return Strikes(Call::kStreamSeek) ? -1 : NEXT(fseeko)(stream, at, from);
}
int fflush(std::FILE* stream) { return Strikes(Call::kStreamFlush) ? EOF : NEXT(fflush)(stream); }
int fclose(std::FILE* stream)
{
    if (!Strikes(Call::kStreamClose))
        return NEXT(fclose)(stream);
    const int error = errno;
    (void)NEXT(fclose)(stream); // the stream is closed whatever it reports
    errno = error;
    return EOF;
}
}
