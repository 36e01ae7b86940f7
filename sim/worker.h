// worker.h - the instrument's thread and the state it works on. Only instrument.cpp makes one. worker.cpp has
// the rounds of the thread, answer.cpp the handling of commands and replies, faults included.
#pragma once

#include "sim/node.h"
#include "sim/records.h"
#include "sim/terminal.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <poll.h>
#include <thread>
#include <utility>

namespace zeka::sim {

/// The instrument's state: its thread changes it, other threads may read it and configure it. The worker
/// hands it out under its mutex only.
struct Workpiece {
    explicit Workpiece(const InstrumentConfig& config);

    Firmware firmware;
    Player player;
    Framer framer;
    FaultBoard faults;
    std::deque<CommandRecord> commands;
    InstrumentStats stats;
    SampleConsumer consumer;
    std::vector<Sample> captured;
    std::size_t capture_left = 0;
};

class Worker {
public:
    explicit Worker(const InstrumentConfig& config);
    ~Worker();

    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Runs `task` on the thread, under the mutex, and waits for it; rethrows what it throws.
    void Do(std::function<void()> task);
    /// Ends the thread's wait after a change of something that it works on.
    void Wake() const;
    /// Calls `function` with the workpiece under the mutex. References to it must not outlive the call.
    template <class Function> auto Locked(Function&& function)
    {
        const std::lock_guard lock(mutex_);
        return std::forward<Function>(function)(work_);
    }
    /// Waits until something has happened, at most until that time.
    void WaitForChange(TimePoint until) const;

    // REQUIRES: called within a task of Do() or a function of Locked().
    void PowerUp(int port);
    void PowerDown(Removal how = Removal::kUnplug);
    /// Whether the host has a node for the instrument; State() names it from then on.
    [[nodiscard]] bool HasNode();
    void SendRequest(TimePoint now);
    void Queue(Bytes bytes, TimePoint due, bool is_request = false);
    Workpiece& Work() { return work_; }

private:
    struct Outgoing {
        std::vector<std::uint8_t> bytes;
        TimePoint due{};
        bool is_request = false;
    };

    struct PendingUnplug {
        FaultRule rule;
        std::size_t sent_bytes_left; // of the reply
    };

    struct Task {
        std::function<void()>* function;
        std::exception_ptr* error;
        bool* done;
    };

    void Run();
    void RunTasks();
    void PublishTerminal(int port);
    void Round(TimePoint now);
    void Flood(TimePoint now);
    [[nodiscard]] TimePoint HeldUpByStall(const Frame& frame, TimePoint now);
    [[nodiscard]] bool Reads(TimePoint now) const;
    void Flush(TimePoint now);
    void TakeInput(TimePoint now);
    void TakeFrames(TimePoint now);
    void Answer(const Frame& frame, TimePoint now);
    void ApplyEffects(const Frame& frame, TimePoint now);
    std::vector<std::uint8_t> Distort(const Frame& frame, const Reply& reply);
    void QueueReply(const Frame& frame, const std::vector<std::uint8_t>& reply, TimePoint now);
    bool UnplugWhileReceiving(std::optional<Command> command, Bytes so_far, std::size_t passed);
    void UnplugByFault(const FaultRule& rule);
    void Deliver();
    [[nodiscard]] std::optional<TimePoint> Deadline(TimePoint now) const;
    void WaitForSomething();

    const MediumKind kind_;
    const bool cooked_;
    const bool keeps_power_;
    const bool guard_node_;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_; // something has happened

    // Guarded by mutex_.
    Workpiece work_;
    std::deque<Task> tasks_;
    bool stop_ = false;
    std::unique_ptr<Medium> medium_;
    Node node_;
    std::deque<Outgoing> outgoing_;
    bool write_blocked_ = false;
    std::optional<PendingUnplug> unplug_;
    std::optional<int> replug_port_;
    TimePoint replug_at_{};
    TimePoint next_flood_{};
    TimePoint stalled_until_{};    // until then nothing is read or sent
    TimePoint backlog_reply_at_{}; // after a stall: when the latest reply is due
    std::size_t burst_bytes_ = 0;  // received of the current burst, for the fault that unplugs within one

    // Used by the thread alone, without mutex_.
    std::vector<std::uint8_t> input_;
    std::vector<pollfd> poll_set_;

    Descriptor wake_;
    std::thread thread_; // last, because the thread uses everything above
};

} // namespace zeka::sim
