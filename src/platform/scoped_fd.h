// scoped_fd.h (platform) - a file descriptor with one owner, closed on every way out. Not for the open
// device: threads share its descriptor, and link/ closes it once all of them have left it.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace zeka {

class ScopedFd {
public:
    ScopedFd() noexcept = default;
    explicit ScopedFd(int fd) noexcept : fd_(fd) {}
    ScopedFd(ScopedFd&& other) noexcept : fd_(other.Release()) {}
    ScopedFd& operator=(ScopedFd&& other) noexcept
    {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }
    ScopedFd(const ScopedFd&) = delete;
    ScopedFd& operator=(const ScopedFd&) = delete;
    ~ScopedFd() { Reset(); }

    [[nodiscard]] int Get() const noexcept { return fd_; }
    [[nodiscard]] bool IsOpen() const noexcept { return fd_ >= 0; }
    /// Returns the descriptor; the caller closes it from now on.
    [[nodiscard]] int Release() noexcept { return std::exchange(fd_, -1); }

    /// Closes the old descriptor and takes the new one. Keeps errno, so that the failure
    /// that led here can be reported.
    void Reset(int fd = -1) noexcept
    {
        const int old = std::exchange(fd_, fd);
        if (old < 0)
            return;
        const int error = errno;
        ::close(old); // never repeated: Linux has released the number even when a signal interrupted it
        errno = error;
    }

private:
    int fd_ = -1;
};

} // namespace zeka
