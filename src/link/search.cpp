// search.cpp (link) - finds the instrument among the ACM ports and opens it.
// Runs on the supervisor thread, outside of g_CriticalSection. A port that is being searched is
// visible to the searching thread alone, so that no call of the application comes between a request
// of the search and its reply.
#include "link/serial_link.h"

#include <aio.h>
#include <array>
#include <atomic>
#include <cstdio>
#include <optional>
#include <termios.h>

#include "link/bounded_call.h"
#include "link/foreign_ports.h"
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
constinit ForeignPorts foreign_ports; // used by the searching thread alone

// The USB ids of the instrument, as given to the build. Without them every port may be the instrument's.
#ifndef ZEKA_USB_VENDOR
#define ZEKA_USB_VENDOR ""
#define ZEKA_USB_PRODUCT ""
#endif

// Pauses after a failed attempt. A cancelled search ends the pause.
void PauseBetweenAttempts()
{
    const Deadline end = Deadline::InMs(kAttemptPauseMs);
    while (!cancelled && !end.Expired()) {
        const Deadline look = Deadline::InMs(kCancelLookMs);
        SleepUntil(look.At() < end.At() ? look : end);
    }
}

// Sets raw bytes at 115200 baud; VMIN, VTIME and the input speed stay as they are. Runs as soon after the
// open as the lock file allows, because until then the driver echoes what the instrument sends.
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

std::array<char, sizeof g_szDevicePath> PathOf(int port)
{
    std::array<char, sizeof g_szDevicePath> path{};
    std::snprintf(path.data(), path.size(), kNodeFormat, port);
    return path;
}

bool IsKnownStranger(int port, const NodeId& node)
{
    return IsAnotherUsbDevice("/sys", port, node, {ZEKA_USB_VENDOR, ZEKA_USB_PRODUCT});
}

enum class Asked {
    kNothing, // the port could not be opened, belongs to another process, or is another device's by its ids
    kNoInstrument, // what is there did not answer as the instrument
    kInstrument,   // it is open now
};

Asked AskPort(int port, const NodeId& node)
{
    const PrivateDevice while_searching;
    DeviceClose(); // also waits a while for a close that another thread has begun
    if (CloseUnderWay() || IsKnownStranger(port, node))
        return Asked::kNothing;

    const auto path = PathOf(port);
    const int fd = OpenNode(path.data(), kOpenLimitMs);
    if (fd < 0)
        return Asked::kNothing;
    OpenPort(fd);

    Asked asked = Asked::kNothing;
    if (LockDeviceFile(port)) {
        DeviceCancelIO();
        ConfigureTerminal(fd);
        if (IsTargetDevice()) {
            SetDevicePath(path.data());
            return Asked::kInstrument;
        }
        asked = Asked::kNoInstrument;
    }
    DeviceClose();
    return asked;
}

// Tries one port of a search over all ports, unless it is left alone for now. A port that the
// application names is tried every time.
bool FindOnPort(int port)
{
    const std::optional<NodeId> node = IdentifyNode(PathOf(port).data());
    if (!node || !foreign_ports.MayAsk(port, *node, Deadline::Clock::now()))
        return false;
    switch (AskPort(port, *node)) {
    case Asked::kInstrument:
        foreign_ports.NoteAnswer(port, *node);
        return true;
    case Asked::kNoInstrument:
        foreign_ports.NoteSilence(port, *node, Deadline::Clock::now());
        return false;
    case Asked::kNothing:
        return false;
    }
    return false;
}

} // namespace

void CancelSearch() noexcept { cancelled = true; }
void AllowSearch() noexcept { cancelled = false; }
bool SearchCancelled() noexcept { return cancelled; }

} // namespace zeka

bool DoFindDevice(int port)
{
    const std::optional<zeka::NodeId> node = zeka::IdentifyNode(zeka::PathOf(port).data());
    return zeka::AskPort(port, node.value_or(zeka::NodeId{})) == zeka::Asked::kInstrument;
}

bool FindDevice(int port)
{
    if (port != -1)
        return DoFindDevice(port);
    for (int candidate = 0; candidate < zeka::kPorts && !zeka::cancelled; ++candidate)
        if (zeka::FindOnPort(candidate))
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
