// lock_file.cpp (link) - one lock file per port, by which processes share the instruments.
// Content: the process id of the holder, 4 bytes in the machine's order. Replacing the lock of a dead
// process must be atomic: another process may have replaced it between the look and the removal, and
// removing its fresh lock would let both win. So the opened file is locked (flock) and looked at
// again before its name is removed.
#include "link/serial_link.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "link/port.h"
#include "platform/deadline.h"
#include "platform/scoped_fd.h"
#include "util/peek.h"
#include "zeka/zeka.h"

constinit std::int32_t g_nLockFile = -1;
constinit char g_szLockFilePath[128] = {};

namespace zeka {
namespace {

constexpr char kLockFolder[] = "/var/lock";
constexpr char kLockPathFormat[] = "/var/lock/kestrava.ACM%d.lock";
constexpr int kAttempts = 2;
constexpr unsigned kFlockWaitMs = 200; // others hold it for the few microseconds of a look and an unlink
constexpr unsigned kFlockRetryMs = 1;

enum class Claim {
    kTaken,
    kExists,
    kFailed,
};

// The process that took the lock. A child of fork() must leave the lock of its parent alone.
constinit pid_t holder = 0;

// Makes the folder where it is missing: /var/lock is a link to /run/lock on many systems, and a container
// with an empty /run lacks the target.
void EnsureLockFolder()
{
    struct stat folder {};
    if (::stat(kLockFolder, &folder) == 0 || ::mkdir(kLockFolder, 0755) == 0)
        return;
    std::array<char, PATH_MAX> target{};
    if (::readlink(kLockFolder, target.data(), target.size() - 1) > 0 && target[0] == '/')
        ::mkdir(target.data(), 0755);
}

Claim CreateLock(const char* path)
{
    ScopedFd file{::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (!file.IsOpen())
        return errno == EEXIST ? Claim::kExists : Claim::kFailed;
    const std::int32_t pid = ::getpid();
    if (::write(file.Get(), &pid, sizeof pid) != sizeof pid) {
        ::unlink(path); // a short record would block the port for every later process
        return Claim::kFailed;
    }
    g_nLockFile = file.Release();
    holder = pid;
    return Claim::kTaken;
}

// kill() succeeds for 0 and negative numbers, which address process groups, but no
// process holds a lock under them.
bool IsAlive(std::int32_t pid) { return pid > 0 && ::kill(pid, 0) == 0; }

bool NamesTheFile(const char* path, int fd)
{
    struct stat named {};
    struct stat opened {};
    return ::lstat(path, &named) == 0 && ::fstat(fd, &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

// Writes into a lock file that cannot be removed that no process holds it. Otherwise the next connection of
// this process would find the port taken, because the process lives on.
void Disown(int fd)
{
    constexpr std::int32_t kNobody = 0;
    (void)!::pwrite(fd, &kNobody, sizeof kNobody, 0);
}

bool LockWithin(int fd, unsigned ms)
{
    const Deadline deadline = Deadline::InMs(ms);
    while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (deadline.Expired())
            return false;
        SleepEx(kFlockRetryMs);
    }
    return true;
}

// Removes the lock of a dead process. True when another attempt makes sense: the lock was stale and is gone,
// or it is too short to judge.
bool RemoveIfStale(const char* path)
{
    // Follows no link, which could lead anywhere, and does not wait, because a FIFO would block.
    const ScopedFd file{::open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    struct stat kind {};
    if (!file.IsOpen() || ::fstat(file.Get(), &kind) != 0 || !S_ISREG(kind.st_mode))
        return false;

    std::int32_t pid = 0;
    if (::pread(file.Get(), &pid, sizeof pid, 0) != sizeof pid)
        return true; // left in place: its owner may be about to write it
    if (IsAlive(pid))
        return false;

    if (!LockWithin(file.Get(), kFlockWaitMs))
        return false;
    std::int32_t again = 0;
    if (NamesTheFile(path, file.Get()) && ::pread(file.Get(), &again, sizeof again, 0) == sizeof again &&
        again == pid)
        ::unlink(path);
    return true;
}

} // namespace

void ReleaseRecordLock(int fd) noexcept
{
    struct flock whole_file {};
    whole_file.l_type = F_UNLCK;
    whole_file.l_whence = SEEK_SET;
    ::fcntl(fd, F_SETLK, &whole_file);
}

} // namespace zeka

bool LockDeviceFile(int port)
{
    zeka::EnsureLockFolder();
    std::snprintf(g_szLockFilePath, sizeof g_szLockFilePath, zeka::kLockPathFormat, port);

    for (int attempt = 0; attempt < zeka::kAttempts; ++attempt) {
        const zeka::Claim claim = zeka::CreateLock(g_szLockFilePath);
        if (claim != zeka::Claim::kExists)
            return claim == zeka::Claim::kTaken;
        if (!zeka::RemoveIfStale(g_szLockFilePath))
            return false;
    }
    return false;
}

void UnlockDeviceFile()
{
    if (g_nLockFile == -1)
        return;
    if (zeka::holder == ::getpid() &&
        !(zeka::NamesTheFile(g_szLockFilePath, g_nLockFile) && ::unlink(g_szLockFilePath) == 0))
        zeka::Disown(g_nLockFile);
    ::close(g_nLockFile);
    g_nLockFile = -1;
    std::memset(g_szLockFilePath, 0, sizeof g_szLockFilePath);
}

void UnlockDevice()
{
    UnlockDeviceFile();
    if (DeviceIsConnected())
        zeka::ReleaseRecordLock(static_cast<int>(zeka::Peek(g_hDevice)));
}
