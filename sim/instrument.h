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

#include "sim/faults.h"
#include "sim/firmware.h"
#include "sim/medium.h"
#include "sim/player.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace zeka::sim {

struct InstrumentConfig {
    Identity identity;
    Block control_block = PowerUpControlBlock(); // at power-up
    int port = 0; // on USB the port of the virtual hub; the kernel then gives the node its number
    MediumKind medium = DefaultMedium();
    PlayerConfig player;
    bool cooked = false;      // the terminal starts in canonical mode with echo, as the real driver's does
    bool keeps_power = false; // over a pulled cable: settings and output state stay
    bool guard_node =
        false; // the node goes also when this process is killed; outside of a private world always
    std::uint32_t fault_seed = 1; // for faults that strike by chance
    unsigned rom_busy_polls = 1;  // status reads after a ROM store that say "not yet"
};

/// One command as it came and what was answered; sample packets are not listed.
struct CommandRecord {
    Command command{};
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> reply; // as it was queued, faults included; empty when there was none
    TimePoint first_byte{};
    TimePoint last_byte{};
};

struct InstrumentStats {
    StreamStats stream;
    std::uint64_t commands = 0;
    std::uint64_t unknown_bytes = 0;      // skipped, because they begin no command
    std::uint64_t truncated_commands = 0; // dropped, because their rest never came
    std::uint64_t bytes_received = 0;
    std::uint64_t bytes_sent = 0;
    std::uint64_t plugs = 0;
    std::uint64_t wakeups = 0; // rounds of the thread: a busy loop shows here
};

/// The value below which `percent` of the values lie; NaN without values.
double Percentile(std::vector<double> values, double percent);

class Worker;

class Instrument {
public:
    using Consumer = std::function<void(std::span<const Sample>)>;

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
