// timed_io.cpp (link) - reads and writes of raw bytes with one time budget a call.
// The descriptor never blocks. All waiting is poll(2) with an absolute deadline, so that signals (those of
// the library's own timers too) make no wait longer.
#include "link/serial_link.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "link/port.h"
#include "util/peek.h"
#include "zeka/zeka.h"

constinit std::uint32_t g_nDeviceReadTimeout = 200;
constinit std::uint32_t g_nDeviceWriteTimeout = 200;

namespace zeka {
namespace {

constexpr unsigned kNothingYetPauseMs = 10; // after a wait that ended as ready, when nothing moved

// Deadline after ms milliseconds. The count of microseconds has 32 bits, so it wraps above 4 294 967 ms.
Deadline Budget(unsigned ms) { return Deadline::In(std::chrono::microseconds{ms * 1000u}); }

bool IsTryAgain(int error) { return error == EAGAIN || error == EINTR; }

void PauseAWhile(const Deadline& deadline)
{
    const Deadline pause = Deadline::InMs(kNothingYetPauseMs);
    SleepUntil(pause.At() < deadline.At() ? pause : deadline);
}

// A read of 0 bytes is a hang-up only when the descriptor reports one: under a foreign VMIN of 0 it
// means that nothing is there.
bool HasHungUp(int fd)
{
    pollfd look{fd, 0, 0};
    return ::poll(&look, 1, 0) > 0 && (look.revents & (POLLHUP | POLLERR)) != 0;
}

enum class Step { kProgress, kNothing, kHungUp, kFailed };

Step Classify(ssize_t moved, int error, int fd)
{
    if (moved > 0)
        return Step::kProgress;
    if (moved < 0 && IsTryAgain(error))
        return Step::kNothing;
    if (moved < 0)
        return error == EIO ? Step::kHungUp : Step::kFailed;
    return HasHungUp(fd) ? Step::kHungUp : Step::kNothing;
}

// What a call returns that was cut short by the time or by a close on another thread.
struct CutShort {
    int on_timeout;
    int on_close;
};

// Moves the bytes from count to len by reads or writes. `move` moves some from an offset on; `cut_short`
// gives the results of a call that is cut short after that many bytes.
template <typename Move, typename Worth>
int MoveWithin(const PortUse& port, short events, int count, int len, const Deadline& deadline, Move&& move,
               Worth&& cut_short)
{
    while (count < len) {
        switch (port.WaitFor(events, deadline)) {
        case WaitResult::kReady:
            break;
        case WaitResult::kTimeout:
            return cut_short(count).on_timeout;
        case WaitResult::kClosing:
            return cut_short(count).on_close;
        case WaitResult::kHungUp:
            port.NoteHangUp();
            return count;
        }
        const ssize_t moved = move(count);
        switch (Classify(moved, errno, port.Fd())) {
        case Step::kProgress:
            count += static_cast<int>(moved);
            break;
        case Step::kNothing:
            // A descriptor may be ready for ever and give nothing; WaitFor then never times out.
            if (deadline.Expired())
                return cut_short(count).on_timeout;
            PauseAWhile(deadline);
            break;
        case Step::kHungUp:
            port.NoteHangUp();
            return count;
        case Step::kFailed:
            return count;
        }
    }
    return count;
}

int ReadWithin(const PortUse& port, unsigned char* buf, int len, const Deadline& deadline)
{
    const auto read = [&](int count) {
        return ::read(port.Fd(), buf + count, static_cast<std::size_t>(len - count));
    };
    if (len <= 0)
        return 0;
    const int there = static_cast<int>(std::max<ssize_t>(read(0), 0)); // usually all: saves the wait
    return MoveWithin(port, POLLIN, there, len, deadline, read, [](int count) {
        return CutShort{count > 0 ? count : -1, count};
    });
}

int WriteWithin(const PortUse& port, const unsigned char* buf, int len, const Deadline& deadline)
{
    const auto write = [&](int count) {
        return ::write(port.Fd(), buf + count, static_cast<std::size_t>(len - count));
    };
    // Waits before each write, because ready means that the instrument has taken everything before.
    return MoveWithin(port, POLLOUT, 0, len, deadline, write, [](int) { return CutShort{0, 0}; });
}

} // namespace

std::size_t InputWaiting()
{
    const PortUse port;
    int waiting = 0;
    if (!port.IsOpen() || ::ioctl(port.Fd(), FIONREAD, &waiting) != 0 || waiting < 0)
        return 0;
    return static_cast<std::size_t>(waiting);
}

std::size_t ReadAvailable(std::span<std::uint8_t> bytes)
{
    const PortUse port;
    if (!port.IsOpen() || bytes.empty())
        return 0;
    const ssize_t got = ::read(port.Fd(), bytes.data(), bytes.size());
    if (got > 0)
        return static_cast<std::size_t>(got);
    if (Classify(got, errno, port.Fd()) == Step::kHungUp)
        port.NoteHangUp();
    return 0;
}

} // namespace zeka

int ReadData(unsigned char* buf, int len) { return ReadDataEx(buf, len, zeka::Peek(g_nDeviceReadTimeout)); }

int ReadDataEx(unsigned char* buf, int len, unsigned int timeoutMs)
{
    const zeka::PortUse port;
    return port.IsOpen() ? zeka::ReadWithin(port, buf, len, zeka::Budget(timeoutMs)) : 0;
}

int WriteData(unsigned char* buf, int len, int /*flag*/)
{
    const zeka::PortUse port;
    return port.IsOpen() ? zeka::WriteWithin(port, buf, len, zeka::Budget(zeka::Peek(g_nDeviceWriteTimeout)))
                         : 0;
}

void SetDeviceTimeoutSetting(unsigned int readMs, unsigned int writeMs)
{
    zeka::Publish(g_nDeviceReadTimeout, readMs);
    zeka::Publish(g_nDeviceWriteTimeout, writeMs);

    const zeka::PortUse port;
    if (!port.IsOpen())
        return;
    // 0xFFFFFFFF is not multiplied here: it counts as microseconds, 71 minutes.
    const auto budget = [](unsigned ms) {
        return ms == 0xFFFFFFFFu ? zeka::Deadline::In(std::chrono::microseconds{ms}) : zeka::Budget(ms);
    };
    (void)port.WaitFor(POLLIN, budget(readMs));
    (void)port.WaitFor(POLLOUT, budget(writeMs));
}
