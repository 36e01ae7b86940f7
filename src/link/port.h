// port.h (link) - the open descriptor and who may use it. Inside the room; the rest of the library sees
// serial_link.h.
#pragma once

#include <cstdint>
#include <poll.h>

#include "platform/cancellation.h"
#include "platform/deadline.h"

namespace zeka {

enum class WaitResult {
    kReady,   // the descriptor is ready for what was asked
    kTimeout, // the time ran out, or the wait failed
    kHungUp,  // the instrument is gone
    kClosing, // another thread closes the device
};

/// Keeps the descriptor from being closed while it lives. Not open when there is no device, when it is being
/// closed, or when it is visible to another thread alone.
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

    /// The descriptor has hung up: wakes the supervisor and every setter that waits for a request.
    void NoteHangUp() const noexcept;

private:
    NoCancel whole_; // a thread that uses the port always leaves it
    int fd_ = -1;
};

/// Keeps a close from beginning while it lives, from any thread and also with no device open; a close that is
/// under way is waited for. For starting child processes: see presence.cpp.
class NoClose {
public:
    NoClose() noexcept;
    ~NoClose();
    NoClose(const NoClose&) = delete;
    NoClose& operator=(const NoClose&) = delete;

    /// False when the close that is under way does not end.
    [[nodiscard]] bool Holds() const noexcept { return holds_; }

private:
    NoCancel whole_;
    bool holds_;
};

/// Makes fd the open device. Only while none is open.
void OpenPort(int fd) noexcept;

/// Takes the device away from everyone (from here on it counts as closed), waits for its users to leave, and
/// returns its descriptor; FinishClose must follow. -1 when none is open (then waits for another thread's
/// close to end), or when a user does not leave: the last one that does finishes the close. With a
/// generation, only that very opening is closed.
inline constexpr std::uint64_t kAnyGeneration = 0;
[[nodiscard]] int BeginClose(std::uint64_t generation = kAnyGeneration) noexcept;
void FinishClose() noexcept;

/// At unload, behind the last close: a library that is loaded again and again keeps no descriptor.
void ReleaseWakeDescriptor() noexcept;

/// Number of the current opening, counted from 1.
[[nodiscard]] std::uint64_t PortGeneration() noexcept;

/// Closes the device if it is still the given opening: the monitor must not close one that was opened after
/// its check.
void CloseDevice(std::uint64_t generation) noexcept;

/// Closes the device when the process ends. The lock file goes also when a user does not leave.
void CloseAtExit() noexcept;

/// Whether another thread's close has not ended yet; the lock file is still its own.
[[nodiscard]] bool CloseUnderWay() noexcept;

/// Releases any POSIX record lock of this process on the whole device.
void ReleaseRecordLock(int fd) noexcept;

/// g_szDevicePath is read by the presence check of other threads: it is written and compared here, under the
/// lock.
void SetDevicePath(const char* path) noexcept;

} // namespace zeka
