// scripted_peer.h - the instrument's end of the wire, byte for byte under the control of a test. Unlike the
// virtual instrument it knows no command: a test says what is answered. Each write of the library arrives as
// one message, so the requests listed are exactly what was written, one by one.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/global_objects.h"
#include "stream/burst.h"

namespace zeka::test {

class ScriptedPeer {
public:
    using Message = std::vector<std::uint8_t>;
    using Burst = std::array<std::uint8_t, kBurstBytes>;
    /// What is answered to the request of this number (from 0); an empty message: nothing.
    using Script = std::function<Message(std::size_t number, const Message& request)>;

    /// 64 bytes: the request, with the status byte that says "done".
    static Message Acknowledge(const Message& request, std::uint8_t status = 0xFF);

    /// Acknowledges every command and swallows bursts.
    ScriptedPeer();
    explicit ScriptedPeer(Script script);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// All requests so far. Complete once the call that sent them has returned.
    [[nodiscard]] std::vector<Message> Requests() const;
    /// Those that begin with this byte.
    [[nodiscard]] std::vector<Message> Requests(std::uint8_t group) const;
    /// The bursts so far, at least `count` unless they do not come within 5 s.
    [[nodiscard]] std::vector<Burst> Bursts(std::size_t count);

    /// The status byte of what is acknowledged from now on. Only without a script of one's own.
    void AnswerWith(std::uint8_t status) { status_ = status; }

    /// As a pulled cable.
    void HangUp();

private:
    void Answer();
    std::size_t Note(const Message& request);

    std::atomic<std::uint8_t> status_{0xFF};
    const Script script_;
    int end_ = -1;
    mutable std::mutex lock_;
    std::condition_variable arrived_;
    std::vector<Message> requests_; // guarded by lock_
    std::vector<Burst> bursts_;     // guarded by lock_
    std::thread thread_;
};

/// The request that a setter waits for while a signal streams is always there. No poll thread runs: the test
/// builds the bursts itself.
class AskingPeer : public ScriptedPeer {
public:
    AskingPeer() { g_hProcessRequestEvent.SetEvent(); }
};

} // namespace zeka::test
