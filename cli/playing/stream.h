// stream.h - watches a signal while it streams: how far it is, how well the instrument is served, and what
// the virtual instrument received.
#pragma once

#include "cli/instrument/session.h"
#include "sim/measure.h"

#include <mutex>
#include <optional>

namespace zeka::cli {

/// Keeps the last samples that the virtual instrument played. Filled on the instrument's thread.
class PlayedSignal {
public:
    static constexpr std::size_t kKeptSeconds = 100;

    void Take(std::span<const sim::Sample> samples);

    struct Window {
        std::vector<sim::Sample> samples;
        std::uint64_t first = 0; // number of the first one since the stream began
    };
    /// What was played, no further than `limit` samples since the stream began.
    [[nodiscard]] Window Kept(std::uint64_t limit) const;
    [[nodiscard]] std::uint64_t Count() const;

private:
    mutable std::mutex mutex_;
    std::vector<sim::Sample> kept_; // up to twice the length, so that the old half goes in one piece
    std::uint64_t count_ = 0;
};

struct StreamSummary {
    double seconds = 0.0; // of signal
    std::uint64_t bursts = 0;
    double worst_ms = 0.0; // virtual: request to last byte; real: longest pause between two bursts
    std::uint64_t pacing_pulses = 0;
    std::optional<double> last_frequency_hz; // as the library told of its own accord
    bool ended_by_itself = false;
    bool interrupted = false;
};

/// Registers the library's callbacks from its construction on; before the signal is started. One at a time.
class StreamWatch {
public:
    explicit StreamWatch(Session& session);
    ~StreamWatch();
    StreamWatch(const StreamWatch&) = delete;
    StreamWatch& operator=(const StreamWatch&) = delete;

    /// Waits until so many seconds of signal are played (empty: until it ends by itself or is interrupted)
    /// and shows the live line. Throws Failure when the instrument is lost or asks no more.
    /// With a bar when it is known how long it `will_take`.
    StreamSummary Run(std::optional<double> seconds, Console& console, std::optional<double> will_take = {});

    [[nodiscard]] PlayedSignal::Window Played(std::optional<double> seconds) const;

private:
    [[nodiscard]] StreamSummary Now() const;
    [[nodiscard]] double PlayedSeconds() const;

    Session& session_;
    PlayedSignal played_;
};

} // namespace zeka::cli
