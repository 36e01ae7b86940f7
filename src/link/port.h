// port.h (link) - the open descriptor and who may use it. For this room only; the rest of the
// library includes serial_link.h.
#pragma once

#include <cstdint>
#include <poll.h>

#include "platform/cancellation.h"
#include "platform/deadline.h"

namespace zeka {

enum class WaitResult {
    kReady,   // the descriptor is ready for the events of the wait
    kTimeout, // the time ran out, or the wait failed
    kHungUp,  // the instrument is gone
    kClosing, // another thread closes the device
};

/// Keeps the descriptor from being closed while it lives. Not open when there is no device, when a close is
/// under way, or when the device is visible to another thread alone.
class PortUse {
public:
    PortUse() noexcept;
    ~PortUse();
    PortUse(const PortUse&) = delete;
    PortUse& operator=(const PortUse&) = delete;

    [[nodiscard]] bool IsOpen() const noexcept { return fd_ >= 0; }
    [[nodiscard]] int Fd() const noexcept { return fd_; }

    /// Waits until the descriptor is ready for events (POLLIN, POLLOUT, or 0 for a hang-up alone). Input that
    /// arrived before a hang-up is still reported as ready.
    [[nodiscard]] WaitResult WaitFor(short events, const Deadline& deadline) const noexcept;

    /// Records that the descriptor has hung up. Wakes the supervisor and every
    /// setter that waits for a request.
    void NoteHangUp() const noexcept;

private:
    NoCancel whole_; // a cancelled thread leaves the port first
    int fd_ = -1;
};

/// Keeps a close from beginning while it lives, from any thread and also with no device open. Waits at most
/// 1000 ms for a close that is under way. For starting child processes: see unseen_shell.cpp.
class NoClose {
public:
    NoClose() noexcept;
    ~NoClose();
    NoClose(const NoClose&) = delete;
    NoClose& operator=(const NoClose&) = delete;

    /// False when the close that was under way did not end in time.
    [[nodiscard]] bool Holds() const noexcept { return holds_; }

private:
    NoCancel whole_;
    bool holds_;
};

/// Makes fd the open device. REQUIRES: none is open.
void OpenPort(int fd) noexcept;

inline constexpr std::uint64_t kAnyGeneration = 0;
/// Takes the device away from all threads (from here on it counts as closed), waits at most 1000 ms for its
/// users to leave, and returns its descriptor; FinishClose must follow. Returns -1 when a user stays longer:
/// the last user to leave finishes the close. Also returns -1 when no device is open, after waiting for the
/// close of another thread to end. With a generation, closes that opening only.
[[nodiscard]] int BeginClose(std::uint64_t generation = kAnyGeneration) noexcept;
void FinishClose() noexcept;

/// Called at unload after the last close, so that a library that is loaded again
/// and again keeps no descriptor.
void ReleaseWakeDescriptor() noexcept;

/// Number of the current opening, counted from 1.
[[nodiscard]] std::uint64_t PortGeneration() noexcept;

/// Closes the device if it is still the given opening. The monitor must not close one
/// that was opened after its check.
void CloseDevice(std::uint64_t generation) noexcept;

/// Closes the device when the process ends. Removes the lock file also when a user does not leave.
void CloseAtExit() noexcept;

/// Whether another thread's close has not ended yet; that close still holds the lock file.
[[nodiscard]] bool CloseUnderWay() noexcept;

/// Releases every POSIX record lock of this process on the device.
void ReleaseRecordLock(int fd) noexcept;

/// Writes g_szDevicePath under the lock, because the presence check of other threads reads it.
void SetDevicePath(const char* path) noexcept;

} // namespace zeka
