// host.cpp - see host.h.
#include "host.h"

#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace zeka::test {

Host::Host(const std::string& node) : fd_(::open(node.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    if (fd_ < 0)
        throw std::runtime_error("cannot open " + node);
}

Host::~Host() { Close(); }

void Host::Close()
{
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

std::size_t Host::Write(sim::Bytes bytes) const
{
    const ssize_t count = ::write(fd_, bytes.data(), bytes.size());
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::vector<std::uint8_t> Host::Read(std::size_t count, std::chrono::milliseconds silence) const
{
    std::vector<std::uint8_t> bytes;
    pollfd wait{fd_, POLLIN, 0};
    while (bytes.size() < count && ::poll(&wait, 1, static_cast<int>(silence.count())) > 0) {
        std::vector<std::uint8_t> piece(count - bytes.size());
        const ssize_t got = ::read(fd_, piece.data(), piece.size());
        if (got <= 0)
            break;
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + got);
    }
    return bytes;
}

std::vector<std::uint8_t> Host::Exchange(sim::Bytes request, std::size_t reply) const
{
    constexpr std::chrono::milliseconds kPatience{10000};
    Write(request);
    return Read(reply, kPatience);
}

bool Host::HungUp(std::chrono::milliseconds timeout) const
{
    pollfd wait{fd_, 0, 0};
    return ::poll(&wait, 1, static_cast<int>(timeout.count())) > 0 && (wait.revents & POLLHUP) != 0;
}

sim::Block Packet(std::initializer_list<std::uint8_t> head)
{
    sim::Block packet{};
    std::copy(head.begin(), head.end(), packet.begin());
    return packet;
}

sim::Burst MakeBurst(std::uint16_t sequence, std::int16_t ac, std::uint16_t dc)
{
    const auto high = [](int word) { return static_cast<std::uint8_t>(word >> 8 & 0xFF); };
    const auto low = [](int word) { return static_cast<std::uint8_t>(word & 0xFF); };
    sim::Burst burst{};
    for (std::size_t packet = 0; packet < sim::kPacketsPerBurst; ++packet) {
        std::uint8_t* p = burst.data() + packet * sim::kBlockBytes;
        const int number = sequence + static_cast<int>(packet);
        const std::array<std::uint8_t, 8> header{1, 1, 0, 0, 0, 14, high(number), low(number)};
        std::copy(header.begin(), header.end(), p);
        for (std::size_t k = 0; k < sim::kSamplesPerPacket; ++k) {
            const int word = ac + static_cast<int>(packet * sim::kSamplesPerPacket + k);
            const std::array<std::uint8_t, 4> slot{high(dc), low(dc), high(word), low(word)};
            std::copy(slot.begin(), slot.end(), p + 8 + 4 * k);
        }
    }
    return burst;
}

} // namespace zeka::test
