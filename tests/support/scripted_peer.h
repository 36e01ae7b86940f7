// scripted_peer.h - the instrument's end of the wire, byte for byte under the control of a test. Unlike the
// virtual instrument it knows no command: a test says what is answered. Each write of the library arrives as
// one message, so the requests that it lists are exactly what was written, one by one.
#pragma once

#include "link/port.h"
#include "link/serial_link.h"
#include "tests/support/socket_pair.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace zeka::test {

class ScriptedPeer {
public:
    using Message = std::vector<std::uint8_t>;
    /// What is answered to the request of this number (from 0); an empty message: nothing.
    using Script = std::function<Message(std::size_t number, const Message& request)>;

    /// 64 bytes: the request, with the status byte that says "done".
    static Message Acknowledge(const Message& request)
    {
        Message reply = request;
        reply.resize(64);
        reply[3] = 0xFF;
        return reply;
    }

    ScriptedPeer() : ScriptedPeer([](std::size_t, const Message& request) { return Acknowledge(request); }) {}

    explicit ScriptedPeer(Script script) : script_(std::move(script))
    {
        const SocketPair ends = MakeSocketPair(SOCK_SEQPACKET);
        end_ = ends.far;
        zeka::OpenPort(ends.near);
        thread_ = std::thread([this] { Answer(); });
    }

    ~ScriptedPeer()
    {
        DeviceClose();
        HangUp();
        thread_.join();
        ::close(end_);
    }
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    [[nodiscard]] std::vector<Message> Requests() const
    {
        const std::scoped_lock hold(lock_);
        return requests_;
    }

    /// As a pulled cable.
    void HangUp() { (void)::shutdown(end_, SHUT_RDWR); }

private:
    void Answer()
    {
        Message request(8192);
        for (;;) {
            const ssize_t size = ::recv(end_, request.data(), request.size(), 0);
            if (size <= 0)
                return;
            const Message one(request.begin(), request.begin() + size);
            std::size_t number = 0;
            {
                const std::scoped_lock hold(lock_);
                number = requests_.size();
                requests_.push_back(one);
            }
            const Message reply = script_(number, one);
            if (!reply.empty())
                (void)::send(end_, reply.data(), reply.size(), MSG_NOSIGNAL);
        }
    }

    const Script script_;
    int end_ = -1;
    mutable std::mutex lock_;
    std::vector<Message> requests_;
    std::thread thread_;
};

} // namespace zeka::test
