// search.cpp (link) - finds the instrument among the ACM ports and opens it.
// Runs on the supervisor thread, outside of g_CriticalSection. While a port is searched it is visible to the
// searching thread alone: an application that calls setters all the time cannot get between the search's
// requests and replies.
#include "link/serial_link.h"

#include <aio.h>
#include <array>
#include <atomic>
#include <cstdio>
#include <termios.h>

#include "link/bounded_call.h"
#include "link/identity_probe.h"
#include "link/port.h"
#include "platform/deadline.h"
#include "util/peek.h"

namespace zeka {
namespace {

constexpr char kNodeFormat[] = "/dev/ttyACM%d";
constexpr int kPorts = 128;
constexpr unsigned kOpenLimitMs = 250;
constexpr unsigned kAttemptPauseMs = 1000;
constexpr cc_t kEndOfFile = 4;

constexpr unsigned kCancelLookMs = 50;

constinit std::atomic<bool> cancelled{false};

// The pause behind a failed attempt; a cancelled search does not sit it out.
void PauseBetweenAttempts()
{
    const Deadline end = Deadline::InMs(kAttemptPauseMs);
    while (!cancelled && !end.Expired()) {
        const Deadline look = Deadline::InMs(kCancelLookMs);
        SleepUntil(look.At() < end.At() ? look : end);
    }
}

// Raw bytes at 115200. VMIN, VTIME and the input speed stay as they are. Until this has run the driver echoes
// what the instrument sends, so it follows the open as soon as the lock allows.
void ConfigureTerminal(int fd)
{
    termios attributes{};
    ::tcgetattr(fd, &attributes);
    attributes.c_cflag &= ~static_cast<tcflag_t>(CLOCAL);
    attributes.c_iflag |= IGNPAR;
    attributes.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON);
    attributes.c_oflag &= ~static_cast<tcflag_t>(OPOST | ONLCR);
    attributes.c_lflag = 0;
    attributes.c_cc[VEOF] = kEndOfFile;
    ::cfsetospeed(&attributes, B115200);
    ::tcsetattr(fd, TCSANOW, &attributes);
}

} // namespace

void CancelSearch() noexcept { cancelled = true; }
void AllowSearch() noexcept { cancelled = false; }
bool SearchCancelled() noexcept { return cancelled; }

} // namespace zeka

bool DoFindDevice(int port)
{
    const zeka::PrivateDevice while_searching;
    DeviceClose(); // also waits a while for a close that another thread has begun
    if (zeka::CloseUnderWay())
        return false;

    std::array<char, sizeof g_szDevicePath> path{};
    std::snprintf(path.data(), path.size(), zeka::kNodeFormat, port);
    const int fd = zeka::OpenNode(path.data(), zeka::kOpenLimitMs);
    if (fd < 0)
        return false;
    zeka::OpenPort(fd);

    if (LockDeviceFile(port)) {
        DeviceCancelIO();
        zeka::ConfigureTerminal(fd);
        if (IsTargetDevice()) {
            zeka::SetDevicePath(path.data());
            return true;
        }
    }
    DeviceClose();
    return false;
}

bool FindDevice(int port)
{
    if (port != -1)
        return DoFindDevice(port);
    for (int candidate = 0; candidate < zeka::kPorts && !zeka::cancelled; ++candidate)
        if (DoFindDevice(candidate))
            return true;
    return false;
}

bool DeviceConnect(int port, int attempts)
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (FindDevice(port))
            return true;
        zeka::PauseBetweenAttempts();
    }
    return false;
}

int DeviceCancelIO() { return ::aio_cancel(static_cast<int>(zeka::Peek(g_hDevice)), nullptr); }
