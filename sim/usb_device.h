// usb_device.h - the instrument as a USB device: the device end of a USB/IP connection whose other end is the
// kernel's virtual hub, so that the kernel's usbcore and cdc-acm drivers stand between instrument and host.
// Used by the instrument's thread alone.
//
// Requests to endpoint 0 are answered at once. Requests to the bulk endpoints wait in queues: a host's bytes
// until Read takes them, a host's request for bytes until Write has some. Every Write ends a transfer, like
// firmware that sends an empty packet behind a full one.
#pragma once

#include "sim/medium.h"
#include "sim/terminal.h"

#include <deque>
#include <memory>
#include <optional>
#include <set>

namespace zeka::sim {

class UsbDevice final : public Medium {
public:
    /// `socket` leads to the host. `port`: the port of the virtual hub; -1 when the host is not the hub.
    explicit UsbDevice(Descriptor socket, int port = -1);
    ~UsbDevice() override;

    /// Plugs a device into that port of the hub. The node appears some milliseconds later, when the kernel
    /// has read the descriptors. Throws std::system_error.
    static std::unique_ptr<UsbDevice> PlugIn(int port);

    [[nodiscard]] std::string Path() const override { return {}; }
    [[nodiscard]] std::string KernelNode() const override;
    void AddTo(std::vector<pollfd>& set, bool reading, bool writing) const override;
    void NoteEvents() override;
    std::size_t Read(std::vector<std::uint8_t>& into, std::size_t limit) override;
    std::size_t Write(Bytes bytes) override;
    void SetDeaf(bool deaf) override { deaf_ = deaf; }
    void Remove(Removal how) override;

private:
    struct Transfer {
        std::uint32_t sequence = 0;
        std::uint32_t length = 0;       // room at the host, in bytes
        std::vector<std::uint8_t> data; // bytes from the host
    };
    using Queue = std::deque<Transfer>;

    void Receive();
    [[nodiscard]] std::optional<std::size_t> TakeMessage(Bytes bytes);
    void Submit(Bytes header, Bytes data);
    void Unlink(std::uint32_t sequence, std::uint32_t target);
    void Control(std::uint32_t sequence, Bytes setup);
    void Complete(std::uint32_t sequence, int status, std::size_t length, Bytes data);
    void Answer(std::uint32_t command, std::uint32_t sequence, int status, std::size_t length, Bytes data);
    void FailAll();

    Descriptor socket_;
    int port_;
    bool host_gone_ = false;
    bool deaf_ = false;
    bool failing_ = false; // every transfer fails because the device has left the bus
    std::vector<std::uint8_t> received_;
    Queue from_host_;
    Queue to_host_;
    std::set<std::uint32_t> unanswered_; // interrupt transfers, and class requests to a deaf device
    std::array<std::uint8_t, 7> line_coding_{};
};

} // namespace zeka::sim
