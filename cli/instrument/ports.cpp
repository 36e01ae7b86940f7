// ports.cpp - reads nodes, access rights and lock files of the ports without opening a port.
#include "cli/instrument/ports.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeka::cli {
namespace {

namespace fs = std::filesystem;

std::string FirstLine(const fs::path& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

/// The symbolic link in /dev/serial/by-id to `node`.
std::string StableName(const std::string& node)
{
    std::error_code none;
    const fs::path target = fs::canonical(node, none);
    if (none)
        return {};
    for (const fs::directory_entry& link : fs::directory_iterator("/dev/serial/by-id", none)) {
        std::error_code dead;
        if (fs::canonical(link.path(), dead) == target && !dead)
            return link.path().string();
    }
    return {};
}

/// The USB device, which is the parent of the interface that carries the terminal.
fs::path UsbDevice(int port)
{
    std::error_code none;
    const fs::path interface = fs::canonical(fmt::format("/sys/class/tty/ttyACM{}/device", port), none);
    return none ? fs::path() : interface.parent_path();
}

/// The program's file, or the process's own name for itself where the file may not be seen.
std::string ProgramOf(pid_t pid)
{
    std::error_code hidden;
    const fs::path file = fs::read_symlink(fmt::format("/proc/{}/exe", pid), hidden);
    return hidden ? FirstLine(fmt::format("/proc/{}/comm", pid)) : file.filename().string();
}

bool Lives(pid_t pid) { return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM); }

} // namespace

std::string NodeOf(int port) { return fmt::format("/dev/ttyACM{}", port); }

std::string GroupOf(const std::string& node)
{
    struct stat info {};
    if (::stat(node.c_str(), &info) != 0)
        return "dialout";
    const group* owner = ::getgrgid(info.st_gid);
    return owner != nullptr ? owner->gr_name : std::to_string(info.st_gid);
}

Lock LockOf(int port)
{
    Lock lock;
    lock.path = fmt::format("{}/kestrava.ACM{}.lock", kLockFolder, port);
    struct stat info {};
    if (::lstat(lock.path.c_str(), &info) != 0)
        return lock;
    lock.state = LockState::kUnreadable;
    if (!S_ISREG(info.st_mode))
        return lock;
    const int file = ::open(lock.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0)
        return lock;
    std::int32_t pid = 0; // the whole content of the file, in the machine's byte order
    if (::read(file, &pid, sizeof pid) == sizeof pid) {
        lock.pid = pid;
        lock.state = Lives(pid) ? LockState::kHeld : LockState::kStale;
        if (lock.state == LockState::kHeld)
            lock.program = ProgramOf(pid);
    }
    ::close(file);
    return lock;
}

std::string HolderText(const Lock& lock)
{
    if (lock.pid == 0)
        return fmt::format("another user's program (lock file {})", lock.path);
    return fmt::format("{} (process {})", lock.program.empty() ? "another program" : lock.program, lock.pid);
}

Port LookAtPort(int number)
{
    Port port;
    port.number = number;
    port.lock = LockOf(number);
    const std::string node = NodeOf(number);
    if (::access(node.c_str(), F_OK) != 0)
        return port;
    port.node = node;
    port.may_open = ::access(node.c_str(), R_OK | W_OK) == 0;
    port.by_id = StableName(node);
    if (const fs::path usb = UsbDevice(number); !usb.empty()) {
        port.product = FirstLine(usb / "product");
        port.serial = FirstLine(usb / "serial");
    }
    return port;
}

std::vector<Port> ScanPorts()
{
    std::vector<Port> ports;
    for (int number = 0; number < kPorts; ++number)
        if (::access(NodeOf(number).c_str(), F_OK) == 0)
            ports.push_back(LookAtPort(number));
    return ports;
}

} // namespace zeka::cli
