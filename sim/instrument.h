// instrument.h - the virtual instrument: the instrument's side of the wire, on a pseudo-terminal or behind
// the kernel's own USB drivers, with a thread of its own.
//
//     zeka::sim::Instrument instrument;
//     instrument.Plug(0);                                  // /dev/ttyACM0 is there
//     ... the program under test streams to it ...
//     EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
//
// Any thread may call any member function. One mutex guards what the instrument's thread works on; consumers
// and the predicates of WaitFor run without it. The thread itself plugs in and out, between two waits, so a
// consumer must not call Plug, Unplug, Replug, Step, SendRequest, SendBytes or SetConsumer.
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

    /// Starts the thread; the instrument is unplugged. Throws std::system_error.
    explicit Instrument(const InstrumentConfig& config = {});
    ~Instrument();
    Instrument(const Instrument&) = delete;
    Instrument& operator=(const Instrument&) = delete;

    /// Powers up and publishes /dev/ttyACM<port>. Throws std::system_error when the node cannot be made.
    void Plug(int port);
    void Plug() { Plug(config_.port); }
    /// Like pulling the cable: the host sees a hang-up, then the node disappears.
    void Unplug(Removal how = Removal::kUnplug);
    void Replug(int port);
    void Replug(); // same port

    int Inject(const FaultRule& rule);
    void Clear(int fault_id);
    void ClearFaults();
    [[nodiscard]] int FaultsFired(Fault fault) const;

    /// Stepped clock: plays so many bursts, or as many samples of an uploaded period.
    void Step(unsigned bursts = 1);
    /// Requests a burst out of turn.
    void SendRequest();
    /// Sends any bytes.
    void SendBytes(Bytes bytes);

    [[nodiscard]] InstrumentState State() const;
    [[nodiscard]] InstrumentStats Stats() const;
    [[nodiscard]] std::vector<CommandRecord> Commands() const;
    void ClearCommands();
    /// Also clears the latencies. Sequence gaps are still counted from the last sequence number.
    void ResetStats();

    /// `consumer` receives every played sample, in order, on the instrument's thread; an empty one ends that.
    void SetConsumer(Consumer consumer);

    /// Keeps the next `samples` samples that are played.
    void StartCapture(std::size_t samples);
    [[nodiscard]] std::vector<Sample> Captured() const;
    /// Waits until the capture is complete; false on time-out.
    [[nodiscard]] bool WaitCaptured(std::chrono::milliseconds timeout) const;
    /// StartCapture, WaitCaptured and Captured in one call.
    std::vector<Sample> Capture(std::size_t samples, std::chrono::milliseconds timeout);

    /// Keeps the last `count` bursts byte for byte as received.
    void KeepBursts(std::size_t count);
    [[nodiscard]] std::vector<Burst> Bursts() const;

    /// Waits until predicate() holds; checks it whenever the instrument has
    /// done something. False on time-out.
    bool WaitFor(const std::function<bool()>& predicate, std::chrono::milliseconds timeout) const;

private:
    InstrumentConfig config_;
    std::unique_ptr<Worker> worker_;
};

} // namespace zeka::sim
