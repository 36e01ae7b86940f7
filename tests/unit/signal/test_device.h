// test_device.h - the smallest thing a setter takes for an instrument: the far end of a socket pair that
// answers commands at once and swallows bursts. No poll thread runs: a test that streams builds its bursts
// itself and says with g_hProcessRequestEvent when "a request has come".
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "link/serial_link.h"
#include "platform/global_objects.h"
#include "tests/support/socket_pair.h"
#include "util/peek.h"

namespace zeka::test {

class TestDevice {
public:
    TestDevice()
    {
        const SocketPair ends = MakeSocketPair(SOCK_STREAM);
        near_ = ends.near;
        far_ = ends.far;
        answering_ = std::thread([this] { Answer(); });
        Publish(g_hDevice, near_);
    }

    ~TestDevice()
    {
        Publish(g_hDevice, -1);
        ::shutdown(far_, SHUT_RDWR);
        answering_.join();
        ::close(near_);
        ::close(far_);
    }

    TestDevice(const TestDevice&) = delete;
    TestDevice& operator=(const TestDevice&) = delete;

    /// Byte 3 of the reply to a respiration command.
    void AnswerRespirationWith(std::uint8_t status) { status_ = status; }

    /// The respiration commands that came so far. Complete once the call that sent them has returned.
    [[nodiscard]] std::vector<std::array<std::uint8_t, 19>> Respirations()
    {
        const std::scoped_lock hold(lock_);
        return respirations_;
    }

private:
    bool Take(std::uint8_t* bytes, std::size_t count)
    {
        return ::recv(far_, bytes, count, MSG_WAITALL) == static_cast<ssize_t>(count);
    }

    void Answer()
    {
        std::array<std::uint8_t, 64> request{}, reply{};
        while (Take(request.data(), 1)) {
            reply.fill(0);
            switch (request[0]) {
            case 0x01: // sample packet: no answer
                if (!Take(&request[1], 63))
                    return;
                continue;
            case 0xEA:
                if (!Take(&request[1], 18))
                    return;
                reply[3] = status_;
                {
                    const std::scoped_lock hold(lock_);
                    respirations_.emplace_back();
                    std::copy_n(request.begin(), 19, respirations_.back().begin());
                }
                break;
            default: // the output stage's control block
                if (!Take(&request[1], 63))
                    return;
            }
            if (::send(far_, reply.data(), reply.size(), MSG_NOSIGNAL) < 0)
                return;
        }
    }

    int near_ = -1, far_ = -1;
    std::atomic<std::uint8_t> status_{0xFF};
    std::mutex lock_;
    std::vector<std::array<std::uint8_t, 19>> respirations_;
    std::thread answering_;
};

} // namespace zeka::test
