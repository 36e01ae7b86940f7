// foreign_ports.cpp (link) - nodes, their USB ids, and the pauses after searches without an answer.
#include "link/foreign_ports.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace zeka {
namespace {

constexpr unsigned kAskedEachTime = 3;
constexpr std::chrono::seconds kShortestPause{2};
constexpr std::chrono::seconds kLongestPause{10};
constexpr unsigned kMostDoublings = 3; // more would exceed the longest pause

bool InTable(int port, std::size_t size) { return port >= 0 && static_cast<std::size_t>(port) < size; }

// Reads the first word of a small file of the kernel; empty when it cannot be read.
std::string ReadWord(const std::string& path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"), std::fclose);
    char word[16] = "";
    return file && std::fscanf(file.get(), "%15s", word) == 1 ? word : "";
}

} // namespace

std::optional<NodeId> IdentifyNode(const char* path)
{
    struct stat node {};
    if (::stat(path, &node) != 0)
        return std::nullopt;
    constexpr std::int64_t kNsPerS = 1'000'000'000;
    return NodeId{node.st_dev, node.st_rdev, node.st_ino,
                  node.st_ctim.tv_sec * kNsPerS + node.st_ctim.tv_nsec};
}

bool ForeignPorts::MayAsk(int port, const NodeId& node, Time now) const noexcept
{
    if (!InTable(port, ports_.size()))
        return true;
    const Port& known = ports_[static_cast<std::size_t>(port)];
    return known.node != node || known.is_ours || now >= known.next;
}

void ForeignPorts::NoteAnswer(int port, const NodeId& node) noexcept
{
    if (InTable(port, ports_.size()))
        ports_[static_cast<std::size_t>(port)] = {.node = node, .is_ours = true};
}

void ForeignPorts::NoteSilence(int port, const NodeId& node, Time now) noexcept
{
    if (!InTable(port, ports_.size()))
        return;
    Port& known = ports_[static_cast<std::size_t>(port)];
    if (known.node != node)
        known = {.node = node};
    if (++known.failures <= kAskedEachTime)
        return;
    const unsigned doublings = std::min(known.failures - kAskedEachTime - 1, kMostDoublings);
    known.next = now + std::min(kShortestPause * (1 << doublings), kLongestPause);
}

bool IsAnotherUsbDevice(const std::string& sysfs, int port, const NodeId& node, const UsbIds& ours)
{
    if (ours.vendor.empty() || ours.product.empty())
        return false;
    const std::string entry = sysfs + "/class/tty/ttyACM" + std::to_string(port);
    const std::string number = std::to_string(major(node.device)) + ":" + std::to_string(minor(node.device));
    if (ReadWord(entry + "/dev") != number)
        return false;
    // The ids are those of the device; entry/device is the interface of it that the terminal belongs to.
    const std::string vendor = ReadWord(entry + "/device/../idVendor");
    const std::string product = ReadWord(entry + "/device/../idProduct");
    return !vendor.empty() && !product.empty() && (vendor != ours.vendor || product != ours.product);
}

} // namespace zeka
