// answering_device.h - the smallest instrument that the library's setters are content with: one end of a
// socket pair, on whose other end a thread confirms every command and collects the bursts. It asks for
// nothing; the request that a setter waits for while a signal streams is always there.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "link/port.h"
#include "link/serial_link.h"
#include "platform/global_objects.h"
#include "stream/burst.h"
#include "tests/support/socket_pair.h"

namespace zeka::test {

using BurstBytes = std::array<std::uint8_t, kBurstBytes>;

class AnsweringDevice {
public:
    AnsweringDevice()
    {
        const SocketPair ends = MakeSocketPair(SOCK_STREAM);
        far_ = ends.far;
        OpenPort(ends.near);
        g_hProcessRequestEvent.SetEvent();
        answering_ = std::thread([this] { Answer(); });
    }
    ~AnsweringDevice()
    {
        DeviceClose();
        answering_.join();
        ::close(far_);
    }
    AnsweringDevice(const AnsweringDevice&) = delete;
    AnsweringDevice& operator=(const AnsweringDevice&) = delete;

    /// The bursts so far, at least `count` unless they do not come within 5 s.
    std::vector<BurstBytes> Bursts(std::size_t count)
    {
        std::unique_lock hold(lock_);
        arrived_.wait_for(hold, std::chrono::seconds(5), [&] { return bursts_.size() >= count; });
        return bursts_;
    }

private:
    bool ReadWhole(std::uint8_t* to, std::size_t count) const
    {
        while (count > 0) {
            const ssize_t got = ::read(far_, to, count);
            if (got <= 0)
                return false;
            to += got;
            count -= static_cast<std::size_t>(got);
        }
        return true;
    }

    void Answer()
    {
        for (std::uint8_t first = 0; ReadWhole(&first, 1);) {
            if (first == 0x01) {
                BurstBytes burst{first};
                if (!ReadWhole(burst.data() + 1, burst.size() - 1))
                    return;
                const std::scoped_lock hold(lock_);
                bursts_.push_back(burst);
                arrived_.notify_all();
                continue;
            }
            std::array<std::uint8_t, 64> command{first};
            // Control block; respiration; channel states (a query is shorter, but nothing follows it either).
            if (first == 0x00 && !ReadWhole(command.data() + 1, 63))
                return;
            if (first != 0x00)
                (void)::recv(far_, command.data() + 1, 63, MSG_DONTWAIT);
            command[3] = 0xFF;
            if (::send(far_, command.data(), command.size(), MSG_NOSIGNAL) != 64)
                return;
        }
    }

    int far_ = -1;
    std::thread answering_;
    std::mutex lock_;
    std::condition_variable arrived_;
    std::vector<BurstBytes> bursts_;
};

} // namespace zeka::test
