// scripted_peer.cpp - the thread at the far end of a pair of sockets, which answers by the script.
#include "support/scripted_peer.h"

#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

#include "link/port.h"
#include "link/serial_link.h"
#include "support/socket_pair.h"

namespace zeka::test {

ScriptedPeer::Message ScriptedPeer::Acknowledge(const Message& request, std::uint8_t status)
{
    Message reply = request;
    reply.resize(64);
    reply[3] = status;
    return reply;
}

ScriptedPeer::ScriptedPeer()
    : ScriptedPeer([this](std::size_t, const Message& request) {
          return request.size() == kBurstBytes ? Message{} : Acknowledge(request, status_);
      })
{
}

ScriptedPeer::ScriptedPeer(Script script) : script_(std::move(script))
{
    const SocketPair ends = MakeSocketPair(SOCK_SEQPACKET);
    end_ = ends.far;
    OpenPort(ends.near);
    thread_ = std::thread([this] { Answer(); });
}

ScriptedPeer::~ScriptedPeer()
{
    DeviceClose();
    HangUp();
    thread_.join();
    ::close(end_);
}

std::vector<ScriptedPeer::Message> ScriptedPeer::Requests() const
{
    const std::scoped_lock hold(lock_);
    return requests_;
}

std::vector<ScriptedPeer::Message> ScriptedPeer::Requests(std::uint8_t group) const
{
    std::vector<Message> found = Requests();
    std::erase_if(found, [group](const Message& request) { return request.front() != group; });
    return found;
}

std::vector<ScriptedPeer::Burst> ScriptedPeer::Bursts(std::size_t count)
{
    std::unique_lock hold(lock_);
    arrived_.wait_for(hold, std::chrono::seconds(5), [&] { return bursts_.size() >= count; });
    return bursts_;
}

void ScriptedPeer::HangUp() { (void)::shutdown(end_, SHUT_RDWR); }

std::size_t ScriptedPeer::Note(const Message& request)
{
    const std::scoped_lock hold(lock_);
    requests_.push_back(request);
    if (request.size() == kBurstBytes) {
        std::copy(request.begin(), request.end(), bursts_.emplace_back().begin());
        arrived_.notify_all();
    }
    return requests_.size() - 1;
}

void ScriptedPeer::Answer()
{
    Message buffer(2 * kBurstBytes);
    for (;;) {
        const ssize_t size = ::recv(end_, buffer.data(), buffer.size(), 0);
        if (size <= 0)
            return;
        const Message request(buffer.begin(), buffer.begin() + size);
        const Message reply = script_(Note(request), request);
        if (!reply.empty())
            (void)::send(end_, reply.data(), reply.size(), MSG_NOSIGNAL);
    }
}

} // namespace zeka::test
