// sample_tap.h - takes what is sent to the instrument, for any length of time: exchanges the library's
// recording buffers for empty ones when they are full. The exchange happens in the signal callback, between
// two samples, so that no sample is missed or repeated.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace zeka::cli {

/// Samples as recorded, in the units of the library.
struct SampleBlock {
    std::vector<double> ac_counts; // 6400 per mV, before they are cut to whole numbers
    std::vector<double> dc_mv;
};

/// Registers the library's signal callback. REQUIRES: made before the signal starts; one at a time.
class SampleTap {
public:
    static constexpr std::size_t kBlockSamples = 14000; // 20 bursts, 0.35 s

    /// `wait_for_reader`: the stream stops while the reader is behind; only for an instrument that tolerates
    /// that. Otherwise blocks that the reader has not fetched accumulate.
    explicit SampleTap(bool wait_for_reader);
    /// REQUIRES: nothing streams any more.
    ~SampleTap();
    SampleTap(const SampleTap&) = delete;
    SampleTap& operator=(const SampleTap&) = delete;

    /// Returns the next full block, or nothing on time-out.
    std::optional<SampleBlock> Next(std::chrono::milliseconds time);
    /// Returns a block to the tap, to be filled again.
    void Return(SampleBlock block);

    /// Ends the reading: the stream does not wait for the reader any more.
    void Close();
    /// Returns what the last buffers hold. REQUIRES: nothing streams any more.
    SampleBlock Rest();

    /// Whether a signal that is played once has ended.
    [[nodiscard]] bool Ended() const;

private:
    static void OnSignal(double seconds, double mv);
    void Hear(double seconds);
    void Exchange();
    SampleBlock Empty();

    const bool wait_for_reader_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<SampleBlock> full_;
    std::vector<SampleBlock> empty_;
    bool closed_ = false;
    bool ended_ = false;

    SampleBlock filling_;   // the library's while it records; declared after mutex_, which its making locks
    std::size_t heard_ = 0; // callbacks since the last exchange
};

} // namespace zeka::cli
