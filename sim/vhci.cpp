// vhci.cpp - see vhci.h. The hub is controlled by files in sysfs.
#include "sim/vhci.h"

#include "sim/terminal.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace zeka::sim::vhci {
namespace {

constexpr const char* kHub = "/sys/devices/platform/vhci_hcd.0";
constexpr int kFullSpeed = 2; // the kernel's number of that speed
constexpr unsigned kFirstDeviceId = 0x10001;
constexpr int kAttachTries = 400;
constexpr useconds_t kAttachPauseUs = 5000;

/// 0, or an errno value.
int WriteTo(const std::string& file, const std::string& text)
{
    const Descriptor out(::open((std::string(kHub) + "/" + file).c_str(), O_WRONLY | O_CLOEXEC));
    if (!out.IsOpen())
        return errno;
    return ::write(out.Get(), text.data(), text.size()) < 0 ? errno : 0;
}

} // namespace

void Attach(int port, int socket)
{
    const std::string text = std::to_string(port) + " " + std::to_string(socket) + " " +
                             std::to_string(kFirstDeviceId + static_cast<unsigned>(port)) + " " +
                             std::to_string(kFullSpeed);
    int error = EINVAL;
    for (int tries = kAttachTries; port >= 0 && port < kPorts && tries > 0; --tries) {
        error = WriteTo("attach", text);
        if (error != EBUSY)
            break;
        ::usleep(kAttachPauseUs);
    }
    if (error != 0)
        throw std::system_error(error, std::generic_category(),
                                "virtual instrument: port " + std::to_string(port) +
                                    " of the virtual USB hub");
}

bool Detach(int port) { return WriteTo("detach", std::to_string(port)) == 0; }

std::string NodeOf(int port)
{
    namespace fs = std::filesystem;
    // vhci_hcd.0/usb1/1-<port + 1>/1-<port + 1>:1.0/tty/ttyACM0, whatever the number of the bus
    std::string end = "-"; // not in one expression: g++ 12 warns of an overlap that does not exist
    end += std::to_string(port + 1);
    std::error_code gone; // a device that disappears meanwhile is no failure
    for (const fs::path& bus : fs::directory_iterator(kHub, gone)) {
        const std::string name = bus.filename().string();
        if (!name.starts_with("usb"))
            continue;
        const std::string device = name.substr(3) + end;
        const fs::path terminals = bus / device / (device + ":1.0") / "tty";
        if (fs::directory_iterator found(terminals, gone); !gone && found != fs::directory_iterator())
            return "/dev/" + found->path().filename().string();
    }
    return {};
}

} // namespace zeka::sim::vhci
