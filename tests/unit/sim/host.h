// host.h - the host's end of the wire for the tests of the virtual instrument: a plain descriptor on the
// node.
#pragma once

#include "sim/wire.h"

#include <string>
#include <vector>

namespace zeka::test {

class Host {
public:
    explicit Host(const std::string& node);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    [[nodiscard]] int Descriptor() const { return fd_; }
    void Close();

    /// How many bytes the terminal took.
    std::size_t Write(sim::Bytes bytes) const;

    /// Reads until `count` bytes are there, `silence` has passed without one, or the terminal hangs up.
    std::vector<std::uint8_t> Read(std::size_t count, std::chrono::milliseconds silence) const;

    /// Writes and reads a reply.
    std::vector<std::uint8_t> Exchange(sim::Bytes request, std::size_t reply) const;

    /// Waits for a hang-up.
    [[nodiscard]] bool HungUp(std::chrono::milliseconds timeout) const;

private:
    int fd_;
};

/// 64 bytes that begin with `head`.
sim::Block Packet(std::initializer_list<std::uint8_t> head);

/// A whole burst: sequence numbers from `sequence` on, sample k of the burst has the AC word `ac` + k, DC
/// `dc`.
sim::Burst MakeBurst(std::uint16_t sequence, std::int16_t ac = 0, std::uint16_t dc = 32768);

} // namespace zeka::test
