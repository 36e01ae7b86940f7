// usb_device.cpp - see usb_device.h. The messages are those of the kernel's usbip protocol: a header of 48
// bytes, all numbers high byte first, then the bytes of the transfer in the direction in which they are sent.
#include "sim/usb_device.h"

#include "sim/usb_descriptors.h"
#include "sim/vhci.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zeka::sim {
namespace {

namespace message {
constexpr std::size_t kHeaderBytes = 48;
constexpr std::size_t kCommandAt = 0;
constexpr std::size_t kSequenceAt = 4;
constexpr std::size_t kDirectionAt = 12; // 1: to the host
constexpr std::size_t kEndpointAt = 16;
constexpr std::size_t kLengthAt = 24; // of a submitted transfer
constexpr std::size_t kTargetAt = 20; // of an unlink: the transfer to cancel
constexpr std::size_t kSetupAt = 40;  // the 8 bytes of a request to endpoint 0
constexpr std::size_t kSetupBytes = 8;
constexpr std::size_t kStatusAt = 20; // of an answer
constexpr std::size_t kActualAt = 24; // of an answer: bytes that were transferred

constexpr std::uint32_t kSubmit = 1;
constexpr std::uint32_t kUnlink = 2;
constexpr std::uint32_t kSubmitted = 3;
constexpr std::uint32_t kUnlinked = 4;
} // namespace message

// bmRequestType and bRequest of the requests that a host of this class makes.
constexpr unsigned kGetDescriptor = 0x8006;
constexpr unsigned kGetDeviceStatus = 0x8000;
constexpr unsigned kGetInterfaceStatus = 0x8100;
constexpr unsigned kGetEndpointStatus = 0x8200;
constexpr unsigned kGetConfiguration = 0x8008;
constexpr unsigned kGetLineCoding = 0xA121;
constexpr unsigned kSetLineCoding = 0x2120;
constexpr unsigned kSetControlLineState = 0x2122;
constexpr unsigned kSendBreak = 0x2123;
constexpr unsigned kSetConfiguration = 0x0009;
constexpr unsigned kSetInterface = 0x010B;
constexpr unsigned kClearDeviceFeature = 0x0001;
constexpr unsigned kSetDeviceFeature = 0x0003;
constexpr unsigned kClearEndpointFeature = 0x0201;
constexpr std::uint8_t kTypeMask = 0x60; // of bmRequestType
constexpr std::uint8_t kClassType = 0x20;

constexpr std::chrono::milliseconds kHubNotices{10};

std::uint32_t GetBe32(Bytes bytes, std::size_t at)
{
    return static_cast<std::uint32_t>(GetBe16(bytes, at)) << 16 | GetBe16(bytes, at + 2);
}

void PutBe32(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

std::vector<std::uint8_t> DescriptorOf(std::uint8_t type, std::uint8_t index)
{
    switch (type) {
    case usb::descriptor::kDevice:
        return {usb::kDevice.begin(), usb::kDevice.end()};
    case usb::descriptor::kConfiguration:
        return {usb::kConfiguration.begin(), usb::kConfiguration.end()};
    case usb::descriptor::kString:
        return usb::String(index);
    default:
        return {};
    }
}

template <class Queue> bool Drop(Queue& queue, std::uint32_t sequence)
{
    return std::erase_if(queue, [sequence](const auto& transfer) { return transfer.sequence == sequence; }) >
           0;
}

} // namespace

UsbDevice::UsbDevice(Descriptor socket, int port) : socket_(std::move(socket)), port_(port) {}

UsbDevice::~UsbDevice()
{
    if (port_ >= 0)
        (void)vhci::Detach(port_);
}

std::unique_ptr<UsbDevice> UsbDevice::PlugIn(int port)
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::system_error(errno, std::generic_category(), "virtual instrument: socketpair");
    Descriptor ours(ends[0]);
    const Descriptor kernels(ends[1]); // the hub keeps a reference of its own
    vhci::Attach(port, kernels.Get());
    return std::make_unique<UsbDevice>(std::move(ours), port);
}

std::string UsbDevice::KernelNode() const { return port_ >= 0 ? vhci::NodeOf(port_) : std::string(); }

void UsbDevice::AddTo(std::vector<pollfd>& set, bool, bool) const
{
    if (!host_gone_) // even while nothing is read, because endpoint 0 must be answered
        set.push_back({socket_.Get(), POLLIN, 0});
}

void UsbDevice::NoteEvents()
{
    Receive();
    std::size_t taken = 0;
    while (const std::optional<std::size_t> size = TakeMessage(Bytes(received_).subspan(taken)))
        taken += *size;
    received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(taken));
}

void UsbDevice::Receive()
{
    std::array<std::uint8_t, 16384> piece;
    ssize_t count = 0;
    while (!host_gone_ && (count = ::recv(socket_.Get(), piece.data(), piece.size(), MSG_DONTWAIT)) > 0)
        received_.insert(received_.end(), piece.begin(), piece.begin() + count);
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
        host_gone_ = true;
}

/// Carries out the message at the head of `bytes` and returns its size; nothing while it is incomplete.
std::optional<std::size_t> UsbDevice::TakeMessage(Bytes bytes)
{
    using namespace message;
    if (bytes.size() < kHeaderBytes)
        return std::nullopt;
    const std::uint32_t sequence = GetBe32(bytes, kSequenceAt);
    if (GetBe32(bytes, kCommandAt) == kUnlink) {
        Unlink(sequence, GetBe32(bytes, kTargetAt));
        return kHeaderBytes;
    }
    if (GetBe32(bytes, kCommandAt) != kSubmit) { // the boundaries of what follows are unknown
        host_gone_ = true;
        return std::nullopt;
    }
    const bool to_host = GetBe32(bytes, kDirectionAt) != 0;
    const std::size_t data = to_host ? 0 : GetBe32(bytes, kLengthAt);
    if (bytes.size() < kHeaderBytes + data)
        return std::nullopt;
    Submit(bytes.first(kHeaderBytes), bytes.subspan(kHeaderBytes, data));
    return kHeaderBytes + data;
}

void UsbDevice::Submit(Bytes header, Bytes data)
{
    using namespace message;
    const std::uint32_t sequence = GetBe32(header, kSequenceAt);
    const std::uint32_t endpoint = GetBe32(header, kEndpointAt);
    const Bytes setup = header.subspan(kSetupAt, kSetupBytes);
    const Transfer transfer{sequence, GetBe32(header, kLengthAt), {data.begin(), data.end()}};
    if (failing_)
        Complete(sequence, -EPROTO, 0, {});
    else if (endpoint == usb::kInterruptEndpoint ||
             (endpoint == 0 && deaf_ && (setup[0] & kTypeMask) == kClassType))
        unanswered_.insert(sequence);
    else if (endpoint == usb::kBulkEndpoint)
        (GetBe32(header, kDirectionAt) != 0 ? to_host_ : from_host_).push_back(transfer);
    else if (endpoint == 0) {
        if (GetBe16(setup, 0) == kSetLineCoding)
            std::copy_n(data.begin(), std::min(data.size(), line_coding_.size()), line_coding_.begin());
        Control(sequence, setup);
    } else
        Complete(sequence, -EPIPE, 0, {});
}

void UsbDevice::Unlink(std::uint32_t sequence, std::uint32_t target)
{
    const bool found = Drop(from_host_, target) || Drop(to_host_, target) || unanswered_.erase(target) > 0;
    Answer(message::kUnlinked, sequence, found ? -ECONNRESET : 0, 0, {});
}

void UsbDevice::Control(std::uint32_t sequence, Bytes setup)
{
    std::vector<std::uint8_t> reply;
    switch (GetBe16(setup, 0)) {
    case kGetDescriptor:
        reply = DescriptorOf(setup[3], setup[2]);
        break;
    case kGetDeviceStatus:
    case kGetInterfaceStatus:
    case kGetEndpointStatus:
        reply = {0, 0};
        break;
    case kGetConfiguration:
        reply = {1};
        break;
    case kGetLineCoding:
        reply.assign(line_coding_.begin(), line_coding_.end());
        break;
    case kSetLineCoding:
    case kSetControlLineState:
    case kSendBreak:
    case kSetConfiguration:
    case kSetInterface:
    case kSetDeviceFeature:
    case kClearDeviceFeature:
    case kClearEndpointFeature:
        return Complete(sequence, 0, static_cast<std::size_t>(setup[6] | setup[7] << 8), {});
    default:
        break;
    }
    if (reply.empty())
        return Complete(sequence, -EPIPE, 0, {}); // a stall: the device's answer to an unknown request
    reply.resize(std::min(reply.size(), static_cast<std::size_t>(setup[6] | setup[7] << 8)));
    Complete(sequence, 0, reply.size(), reply);
}

void UsbDevice::Complete(std::uint32_t sequence, int status, std::size_t length, Bytes data)
{
    Answer(message::kSubmitted, sequence, status, length, data);
}

void UsbDevice::Answer(std::uint32_t command, std::uint32_t sequence, int status, std::size_t length,
                       Bytes data)
{
    using namespace message;
    std::vector<std::uint8_t> bytes(kHeaderBytes);
    PutBe32(bytes, kCommandAt, command);
    PutBe32(bytes, kSequenceAt, sequence);
    PutBe32(bytes, kStatusAt, static_cast<std::uint32_t>(status));
    if (command == kSubmitted)
        PutBe32(bytes, kActualAt, static_cast<std::uint32_t>(length));
    bytes.insert(bytes.end(), data.begin(), data.end());
    for (std::size_t sent = 0; sent < bytes.size() && !host_gone_;) {
        const ssize_t count = ::send(socket_.Get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count > 0)
            sent += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            host_gone_ = true;
    }
}

std::size_t UsbDevice::Read(std::vector<std::uint8_t>& into, std::size_t limit)
{
    std::size_t taken = 0;
    while (!from_host_.empty() && taken + from_host_.front().data.size() <= limit) {
        const Transfer transfer = std::move(from_host_.front());
        from_host_.pop_front();
        into.insert(into.end(), transfer.data.begin(), transfer.data.end());
        taken += transfer.data.size();
        Complete(transfer.sequence, 0, transfer.data.size(), {});
    }
    return taken;
}

std::size_t UsbDevice::Write(Bytes bytes)
{
    if (to_host_.empty())
        return 0; // the port is closed, or its buffer is full
    const Transfer transfer = to_host_.front();
    to_host_.pop_front();
    const std::size_t count = std::min<std::size_t>(bytes.size(), transfer.length);
    Complete(transfer.sequence, 0, count, bytes.first(count));
    return count;
}

void UsbDevice::FailAll()
{
    for (Queue* queue : {&from_host_, &to_host_})
        for (const Transfer& transfer : std::exchange(*queue, {}))
            Complete(transfer.sequence, -EPROTO, 0, {});
    for (const std::uint32_t sequence : std::exchange(unanswered_, {}))
        Complete(sequence, -EPROTO, 0, {});
}

void UsbDevice::Remove(Removal how)
{
    if (how == Removal::kCut) {
        port_ = -1; // the hub detects it by itself
        return;
    }
    if (how == Removal::kUnplug)
        return;
    failing_ = true;
    FailAll();
    const TimePoint end = Clock::now() + kHubNotices;
    while (!host_gone_ && Clock::now() < end) {
        pollfd waiting{socket_.Get(), POLLIN, 0};
        (void)::poll(&waiting, 1, 1);
        NoteEvents();
    }
}

} // namespace zeka::sim
