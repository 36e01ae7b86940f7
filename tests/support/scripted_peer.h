// scripted_peer.h - the instrument's end of the wire, byte for byte under the control of a test. It knows no
// command, unlike the virtual instrument: the test says what is answered. Each write of the library arrives
// as one message, so Requests() lists what was written, one by one.
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
    /// Returns the answer to message `number` (from 0); an empty one: no answer.
    using Script = std::function<Message(std::size_t number, const Message& request)>;

    /// Returns 64 bytes: the request with the status byte for "done".
    static Message Acknowledge(const Message& request, std::uint8_t status = 0xFF);

    /// Acknowledges every command and takes bursts without an answer.
    ScriptedPeer();
    explicit ScriptedPeer(Script script);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /// All messages so far, bursts too. Complete once the call that sent them has returned.
    [[nodiscard]] std::vector<Message> Requests() const;
    /// Those whose first byte is `group`.
    [[nodiscard]] std::vector<Message> Requests(std::uint8_t group) const;
    /// The bursts so far. Waits at most 5 s for at least `count`.
    [[nodiscard]] std::vector<Burst> Bursts(std::size_t count);

    /// Sets the status byte of the acknowledgements from now on. REQUIRES: constructed without a script.
    void AnswerWith(std::uint8_t status) { status_ = status; }

    /// Hangs up, as a pulled cable does.
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

/// A peer that streams: the request that a setter waits for is always there. No poll thread runs, so the
/// test builds the bursts itself.
class AskingPeer : public ScriptedPeer {
public:
    AskingPeer() { g_hProcessRequestEvent.SetEvent(); }
};

} // namespace zeka::test
