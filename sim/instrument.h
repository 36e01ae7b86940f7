// instrument.h - the virtual instrument: the instrument's side of the wire, on a pseudo-terminal or behind
// the kernel's own USB drivers, in a thread of its own.
//
//     zeka::sim::Instrument instrument;
//     instrument.Plug(0);                                  // /dev/ttyACM0 is there
//     ... the program under test streams to it ...
//     EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
//
// Every member function may be called from any thread. What the thread works on is guarded by one mutex; a
// consumer and the predicates of WaitFor run without it. Plugging is carried out by the thread itself between
// two waits, so a consumer must not call Plug, Unplug, Replug, Step, SendRequest, SendBytes or SetConsumer.
#pragma once

#include "sim/records.h"

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace zeka::sim {

/// The value below which `percent` of the values lie; NaN without values.
double Percentile(std::vector<double> values, double percent);

class Worker;

class Instrument {
public:
    using Consumer = SampleConsumer;

    /// Starts the thread; unplugged. Throws std::system_error.
    explicit Instrument(const InstrumentConfig& config = {});
    ~Instrument();
    Instrument(const Instrument&) = delete;
    Instrument& operator=(const Instrument&) = delete;

    /// Power up and publish /dev/ttyACM<port>. Throws std::system_error when that cannot be made.
    void Plug(int port);
    void Plug() { Plug(config_.port); }
    /// As a pulled cable: the host sees a hang-up, then the node goes.
    void Unplug(Removal how = Removal::kUnplug);
    void Replug(int port);
    void Replug(); // same port

    int Inject(const FaultRule& rule);
    void Clear(int fault_id);
    void ClearFaults();
    [[nodiscard]] int FaultsFired(Fault fault) const;

    /// Stepped clock: plays so many bursts (or as many samples of an uploaded period).
    void Step(unsigned bursts = 1);
    /// Asks for a burst out of turn.
    void SendRequest();
    /// Sends anything.
    void SendBytes(Bytes bytes);

    [[nodiscard]] InstrumentState State() const;
    [[nodiscard]] InstrumentStats Stats() const;
    [[nodiscard]] std::vector<CommandRecord> Commands() const;
    void ClearCommands();
    /// Also forgets the latencies; gaps are still judged against the last sequence number.
    void ResetStats();

    /// Gets every played sample, in order, on the instrument's thread; empty: nobody.
    void SetConsumer(Consumer consumer);

    /// Keeps the next `samples` played ones.
    void StartCapture(std::size_t samples);
    [[nodiscard]] std::vector<Sample> Captured() const;
    /// Waits until the capture is complete; false on time-out.
    [[nodiscard]] bool WaitCaptured(std::chrono::milliseconds timeout) const;
    /// StartCapture, WaitCaptured, Captured.
    std::vector<Sample> Capture(std::size_t samples, std::chrono::milliseconds timeout);

    /// Keeps the last `count` bursts byte for byte, as they arrived.
    void KeepBursts(std::size_t count);
    [[nodiscard]] std::vector<Burst> Bursts() const;

    /// Waits until predicate() holds; looks whenever the instrument has done something. False on time-out.
    bool WaitFor(const std::function<bool()>& predicate, std::chrono::milliseconds timeout) const;

private:
    InstrumentConfig config_;
    std::unique_ptr<Worker> worker_;
};

} // namespace zeka::sim
