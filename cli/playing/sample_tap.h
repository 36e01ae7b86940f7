// sample_tap.h - what is sent to the instrument, without an end: the library's recording buffers, exchanged
// for empty ones whenever they are full. The exchange is made in the signal callback, between two samples, so
// that none is missed and none comes twice.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace zeka::cli {

/// As recorded, in the units of the library.
struct SampleBlock {
    std::vector<double> ac_counts; // 6400 a mV, before the cut to whole numbers
    std::vector<double> dc_mv;
};

/// Registers the library's signal callback; before the signal is started. One at a time.
class SampleTap {
public:
    static constexpr std::size_t kBlockSamples = 14000; // 20 bursts, 0.35 s

    /// `wait_for_reader`: the stream stands still while the reader is behind; for an instrument that does not
    /// mind. Else what the reader has not fetched piles up.
    explicit SampleTap(bool wait_for_reader);
    /// When nothing streams any more.
    ~SampleTap();
    SampleTap(const SampleTap&) = delete;
    SampleTap& operator=(const SampleTap&) = delete;

    /// The next full block; none within the time.
    std::optional<SampleBlock> Next(std::chrono::milliseconds time);
    /// Gives a block back, to be filled again.
    void Return(SampleBlock block);

    /// Nothing more is wanted: the stream is not held up any more.
    void Close();
    /// What the last buffers hold; when nothing streams any more.
    SampleBlock Rest();

    /// What is played once has ended.
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

    SampleBlock filling_;   // the library's while it records; after the mutex, which its making takes
    std::size_t heard_ = 0; // callbacks since the last exchange
};

} // namespace zeka::cli
