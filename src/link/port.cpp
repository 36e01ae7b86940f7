// port.cpp (link) - who uses the descriptor, who may see it, and the close that waits for its users.
// When a user stays too long, the last one to leave finishes the close. The port's lock guards the
// users' count, the path and the state of a close. No lock is taken under it, and it is never held over
// a system call that can wait.
#include "link/port.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "link/bounded_call.h"
#include "link/serial_link.h"
#include "platform/global_objects.h"
#include "platform/renewed_in_child.h"
#include "util/immortal.h"
#include "util/peek.h"

constinit std::int64_t g_hDevice = -1;
constinit char g_szDevicePath[512] = {};

namespace zeka {
namespace {

constexpr unsigned kCloseLimitMs = 150;  // half of the 300 ms of a close; the rest is for the users to leave
constexpr unsigned kUsersLeaveMs = 1000; // a use is a wait that a close wakes, or the start of a shell
constexpr int kSliceMs = 20;             // how often a wait without a wake descriptor looks for a close

struct PortState {
    std::mutex lock;
    std::condition_variable changed; // a user left, a close ended
    int users = 0;
    bool closing = false; // Invariant: no device is open then; one thread or left_open has its descriptor
    int left_open = -1;   // descriptor of a close that is left to the last user
    std::uint64_t generation = 0;
};

// Never destroyed: a thread of the application may be inside a call while the process exits.
PortState& State() noexcept
{
    static Immortal<PortState> state;
    return state.Get();
}

constinit std::atomic<std::int64_t> lost_descriptor{-1};
constinit std::atomic<const void*> private_owner{nullptr};
constinit std::atomic<int> wake_descriptor{-1}; // readable while a close waits for the users; made once

// Tells threads apart by its address.
thread_local char thread_mark;

bool VisibleToThisThread() noexcept
{
    const void* const owner = private_owner.load(std::memory_order_acquire);
    return owner == nullptr || owner == &thread_mark;
}

void EnsureWakeDescriptor() noexcept
{
    if (wake_descriptor.load(std::memory_order_relaxed) < 0)
        wake_descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

void WakeUsers() noexcept
{
    const std::uint64_t one = 1;
    if (const int fd = wake_descriptor.load(std::memory_order_relaxed); fd >= 0)
        (void)!::write(fd, &one, sizeof one);
}

void StopWaking() noexcept
{
    std::uint64_t count = 0;
    if (const int fd = wake_descriptor.load(std::memory_order_relaxed); fd >= 0)
        (void)!::read(fd, &count, sizeof count);
}

[[maybe_unused]] const PortState& made_at_load = State(); // at load: no fork interrupts its construction
const RenewedInChild in_child([] {
    std::construct_at(&State());
    lost_descriptor = -1;
    private_owner = nullptr;
});

// Takes the descriptor of a close that is left to the last user; exactly one caller gets it.
int TakeLeftOpen() noexcept
{
    PortState& state = State();
    const std::scoped_lock hold(state.lock);
    return std::exchange(state.left_open, -1);
}

// Does the rest of a close, when no user is left.
void CloseTaken(int fd) noexcept
{
    // Flushes with the lock file only, because flushing acts on the port: without the lock file the
    // output belongs to another process.
    if (g_nLockFile != -1)
        ::tcflush(fd, TCOFLUSH);
    ReleaseRecordLock(fd);
    SetDevicePath("");
    CloseNode(fd, kCloseLimitMs);
    UnlockDeviceFile(); // last: the next holder of the lock file finds the port closed
    FinishClose();
}

void LeavePort() noexcept
{
    PortState& state = State();
    {
        const std::scoped_lock hold(state.lock);
        assert(state.users > 0);
        if (--state.users > 0)
            return;
        state.changed.notify_all();
    }
    if (const int fd = TakeLeftOpen(); fd >= 0)
        CloseTaken(fd);
}

} // namespace

PortUse::PortUse() noexcept
{
    PortState& state = State();
    const std::scoped_lock hold(state.lock);
    const std::int64_t device = Peek(g_hDevice);
    if (device < 0 || state.closing || !VisibleToThisThread())
        return;
    EnsureWakeDescriptor();
    ++state.users;
    fd_ = static_cast<int>(device);
}

PortUse::~PortUse()
{
    if (fd_ >= 0)
        LeavePort();
}

WaitResult PortUse::WaitFor(short events, const Deadline& deadline) const noexcept
{
    const int wake = wake_descriptor.load(std::memory_order_relaxed);
    for (;;) {
        std::array<pollfd, 2> waits{{{fd_, events, 0}, {wake, POLLIN, 0}}};
        const int remaining = deadline.RemainingMsCeil();
        const int slice = wake >= 0 || remaining < kSliceMs ? remaining : kSliceMs;
        const int ready = ::poll(waits.data(), waits.size(), slice);
        if (ready < 0 && errno != EINTR)
            return WaitResult::kTimeout;
        if (Peek(g_hDevice) != fd_)
            return WaitResult::kClosing;
        if (ready > 0 && waits[0].revents != 0) {
            const short got = waits[0].revents;
            if ((got & POLLNVAL) != 0)
                return WaitResult::kTimeout;
            if ((got & events & POLLIN) != 0)
                return WaitResult::kReady; // a hang-up behind it shows when the input is read
            if ((got & (POLLHUP | POLLERR)) != 0)
                return WaitResult::kHungUp;
            if ((got & events) != 0)
                return WaitResult::kReady;
        }
        if (deadline.Expired())
            return WaitResult::kTimeout;
    }
}

void PortUse::NoteHangUp() const noexcept
{
    if (Peek(g_hDevice) != fd_ || lost_descriptor.exchange(fd_) == fd_)
        return;
    // No request will come: a setter that waits for one looks at the device instead.
    g_hProcessRequestEvent.SetEvent();
    g_hReconnectEvent.SetEvent();
}

NoClose::NoClose() noexcept
{
    PortState& state = State();
    std::unique_lock hold(state.lock);
    holds_ = state.changed.wait_for(hold, std::chrono::milliseconds{kUsersLeaveMs},
                                    [&state] { return !state.closing; });
    if (holds_)
        ++state.users;
}

NoClose::~NoClose()
{
    if (holds_)
        LeavePort();
}

void OpenPort(int fd) noexcept
{
    PortState& state = State();
    const std::scoped_lock hold(state.lock);
    assert(fd >= 0 && !state.closing && Peek(g_hDevice) == -1);
    EnsureWakeDescriptor();
    lost_descriptor = -1;
    ++state.generation;
    Publish(g_hDevice, fd);
}

int BeginClose(std::uint64_t generation) noexcept
{
    const NoCancel whole;
    PortState& state = State();
    std::unique_lock hold(state.lock);
    const auto limit = std::chrono::milliseconds{kUsersLeaveMs};
    const std::int64_t device = Peek(g_hDevice);
    if (device < 0 || (generation != kAnyGeneration && generation != state.generation)) {
        state.changed.wait_for(hold, limit, [&state] { return !state.closing; });
        return -1;
    }
    assert(!state.closing);
    state.closing = true;
    Publish(g_hDevice, -1);
    WakeUsers();
    if (state.changed.wait_for(hold, limit, [&state] { return state.users == 0; }))
        return static_cast<int>(device);
    state.left_open = static_cast<int>(device); // its number must not be reused under a reader
    return -1;
}

bool CloseUnderWay() noexcept
{
    const std::scoped_lock hold(State().lock);
    return State().closing;
}

void FinishClose() noexcept
{
    PortState& state = State();
    const std::scoped_lock hold(state.lock);
    assert(state.closing && state.users == 0);
    StopWaking();
    lost_descriptor = -1;
    state.closing = false;
    state.changed.notify_all();
}

void ReleaseWakeDescriptor() noexcept
{
    PortState& state = State();
    const std::scoped_lock hold(state.lock);
    if (state.users == 0)
        if (const int fd = wake_descriptor.exchange(-1); fd >= 0)
            ::close(fd);
}

std::uint64_t PortGeneration() noexcept
{
    PortState& state = State();
    const std::scoped_lock hold(state.lock);
    return state.generation;
}

void CloseDevice(std::uint64_t generation) noexcept
{
    const NoCancel whole;
    if (const int fd = BeginClose(generation); fd >= 0)
        CloseTaken(fd);
}

void CloseAtExit() noexcept
{
    int left_open = TakeLeftOpen();
    if (left_open < 0) {
        CloseDevice(kAnyGeneration);
        left_open = TakeLeftOpen();
    }
    if (left_open >= 0)
        UnlockDeviceFile(); // the descriptor itself ends with the process
}

void ForgetDevice() noexcept
{
    const int fd = static_cast<int>(Peek(g_hDevice));
    Publish(g_hDevice, -1);
    SetDevicePath("");
    UnlockDeviceFile();      // closes the copy; the file is the parent's
    ReleaseWakeDescriptor(); // shared with the parent: a close in one process would wake users in the other
    if (fd >= 0)
        CloseNode(fd, kCloseLimitMs); // or the port would stay open when the parent closes it
}

void SetDevicePath(const char* path) noexcept
{
    const std::scoped_lock hold(State().lock);
    std::memset(g_szDevicePath, 0, sizeof g_szDevicePath);
    std::strncpy(g_szDevicePath, path, sizeof g_szDevicePath - 1);
}

bool DeviceLost() noexcept
{
    const std::int64_t device = Peek(g_hDevice);
    return device >= 0 && lost_descriptor.load() == device;
}

bool DeviceUsable() noexcept { return Peek(g_hDevice) >= 0 && !DeviceLost() && VisibleToThisThread(); }

PrivateDevice::PrivateDevice() noexcept : owner_(private_owner.load() != &thread_mark)
{
    if (owner_)
        private_owner = &thread_mark;
}

PrivateDevice::~PrivateDevice()
{
    if (owner_)
        private_owner = nullptr;
}

bool WaitForInput(unsigned ms)
{
    const PortUse port;
    if (!port.IsOpen())
        return false;
    const WaitResult result = port.WaitFor(POLLIN, Deadline::InMs(ms));
    if (result == WaitResult::kHungUp)
        port.NoteHangUp();
    return result == WaitResult::kReady;
}

bool WaitForHangUp(unsigned ms)
{
    const PortUse port;
    if (!port.IsOpen() || port.WaitFor(0, Deadline::InMs(ms)) != WaitResult::kHungUp)
        return false;
    port.NoteHangUp();
    return true;
}

} // namespace zeka

void DeviceClose() { zeka::CloseDevice(zeka::kAnyGeneration); }

bool DeviceIsConnected() { return zeka::Peek(g_hDevice) != -1; }

bool DeviceCheckPath(const char* path)
{
    const std::scoped_lock hold(zeka::State().lock);
    return g_szDevicePath[0] != '\0' && path != nullptr && std::strcmp(g_szDevicePath, path) == 0;
}
