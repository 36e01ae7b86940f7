// player.h - the instrument's output: takes sample packets, plays them at 40000 per second, decides when to
// request the next burst, and plays an uploaded period from memory. Used by the instrument's thread, which
// passes the time in; nothing here waits or reads a clock.
//
// The host sends the first burst of a stream unrequested, so the first request is held back until that burst
// has arrived (or `first_request_after` has passed). From then on at most one request is outstanding, and a
// new one follows as soon as the buffer has room for a whole burst.
#pragma once

#include "sim/framer.h"

#include <deque>
#include <optional>
#include <vector>

namespace zeka::sim {

enum class ClockMode {
    kReal,    // 40000 samples a second on the monotonic clock
    kFast,    // a burst is played as soon as it has arrived
    kStepped, // plays only in Step
};

struct PlayerConfig {
    ClockMode clock = ClockMode::kReal;
    unsigned depth_bursts = 4; // room for samples that wait to be played
    std::chrono::nanoseconds first_request_after = kBurstTime;
    std::chrono::milliseconds repeat_request_after{100}; // 0: an unanswered request is not repeated
};

struct StreamStats {
    std::uint64_t requests = 0;
    std::uint64_t repeated_requests = 0; // of the requests: those that repeat an unanswered one
    std::uint64_t unasked_bursts = 0;    // began before the instrument had requested them
    std::uint64_t bursts = 0;
    std::uint64_t packets = 0;
    std::uint64_t played_samples = 0;
    std::uint64_t discarded_samples = 0; // received, then dropped when the output was switched off
    std::uint64_t ignored_packets = 0;   // received while the output was off
    std::uint64_t sequence_gaps = 0;
    std::uint64_t stream_starts = 0; // sequence 0 after the output state was written
    std::uint64_t bad_headers = 0;
    std::uint64_t underruns = 0;       // times the buffer ran empty during playback
    std::uint64_t overflows = 0;       // bursts that found no room in the buffer
    std::uint64_t memory_samples = 0;  // played from the uploaded period
    std::vector<double> first_byte_us; // per answered request: until the first byte of its burst
    std::vector<double> last_byte_us;  // per answered request: until the last byte of its burst
};

class Player {
public:
    explicit Player(const PlayerConfig& config) : config_(config) {}

    /// To be called when the control block was written with the output state `on`; with the
    /// output on, a stream can start anew.
    void OutputStateWritten(bool on, TimePoint now);
    void StartMemory(std::vector<Sample> period, unsigned sample_rate, unsigned fraction_permille,
                     TimePoint now);
    void StopMemory();
    void PowerOff();

    void TakePacket(const Frame& frame);
    void Advance(TimePoint now);
    void Step(unsigned bursts);

    [[nodiscard]] bool WantsRequest(TimePoint now) const;
    void RequestSent(TimePoint now);

    /// The next time at which Advance or WantsRequest gives something new.
    [[nodiscard]] std::optional<TimePoint> Deadline() const;

    /// Returns what was played since the last call.
    std::vector<Sample> TakePlayed();

    /// Keeps the last `count` bursts as received.
    void KeepBursts(std::size_t count);
    [[nodiscard]] std::vector<Burst> Bursts() const { return {bursts_.begin(), bursts_.end()}; }

    [[nodiscard]] const StreamStats& Stats() const { return stats_; }
    void ResetStats() { stats_ = {}; }

private:
    struct Memory {
        std::vector<Sample> period;
        unsigned sample_rate;
        unsigned fraction_permille;
        TimePoint start;
        std::uint64_t played = 0; // since start
        std::size_t at = 0;
        std::size_t length = 0; // of the current period
        unsigned fraction = 0;  // accumulated thousandths of a sample

        void BeginPeriod();
    };

    void CheckHeader(const Frame& frame);
    void BurstArrived(TimePoint last_byte);
    void Play(std::size_t samples);
    void PlayMemory(std::uint64_t samples);
    void AdvanceMemory(TimePoint now);
    [[nodiscard]] bool HasRoom() const;
    [[nodiscard]] TimePoint PlayTime(std::uint64_t sample) const;

    PlayerConfig config_;
    StreamStats stats_;
    std::vector<Sample> played_;
    TimePoint advanced_{};

    bool on_ = false;
    bool state_written_ = false; // since the last packet: sequence 0 begins a stream
    bool first_burst_seen_ = false;
    bool stepped_ = false; // since the output was switched on
    TimePoint on_since_{};
    std::uint16_t expected_sequence_ = 0;

    std::deque<Sample> buffer_;
    std::size_t packet_in_burst_ = 0;
    TimePoint burst_first_byte_{};
    Burst burst_{};
    std::size_t keep_bursts_ = 0;
    std::deque<Burst> bursts_;

    bool outstanding_ = false;
    TimePoint asked_{};      // the first request of those that wait for one burst
    TimePoint last_asked_{}; // the latest of them

    bool running_ = false;            // real clock: samples are due
    TimePoint run_start_{};           // real clock: when sample 0 of this run was due
    std::uint64_t played_in_run_ = 0; // real clock

    std::optional<Memory> memory_;
};

} // namespace zeka::sim
