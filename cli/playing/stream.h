// stream.h - watches a signal while it streams: its progress, how well the instrument is served, and what
// the virtual instrument received.
#pragma once

#include "cli/instrument/session.h"
#include "sim/measure.h"

#include <mutex>
#include <optional>

namespace zeka::cli {

/// Keeps the latest samples that the virtual instrument played. Filled on the instrument's thread.
class PlayedSignal {
public:
    static constexpr std::size_t kKeptSeconds = 100;

    void Take(std::span<const sim::Sample> samples);

    struct Window {
        std::vector<sim::Sample> samples;
        std::uint64_t first = 0; // number of the first sample since the stream began
    };
    /// Returns the kept samples up to number `limit` since the stream began.
    [[nodiscard]] Window Kept(std::uint64_t limit) const;
    [[nodiscard]] std::uint64_t Count() const;

private:
    mutable std::mutex mutex_;
    std::vector<sim::Sample> kept_; // up to twice the length, so that the older half is dropped at once
    std::uint64_t count_ = 0;
};

struct StreamSummary {
    double seconds = 0.0; // of signal
    std::uint64_t bursts = 0;
    double worst_ms = 0.0; // virtual: request to last byte; real: longest pause between two bursts
    std::uint64_t pacing_pulses = 0;
    std::optional<double> last_frequency_hz; // as last reported by the library of its own accord
    bool ended_by_itself = false;
    bool interrupted = false;
};

/// Registers the library's callbacks while it lives. REQUIRES: made before the signal starts; one at a time.
class StreamWatch {
public:
    explicit StreamWatch(Session& session);
    ~StreamWatch();
    StreamWatch(const StreamWatch&) = delete;
    StreamWatch& operator=(const StreamWatch&) = delete;

    /// Waits until `seconds` of signal are played (empty: until the signal ends by itself or is interrupted)
    /// and shows the live line, with a bar when the duration `will_take` is known. Throws Failure when the
    /// instrument is lost or stops its requests.
    StreamSummary Run(std::optional<double> seconds, Console& console, std::optional<double> will_take = {});

    [[nodiscard]] PlayedSignal::Window Played(std::optional<double> seconds) const;

private:
    [[nodiscard]] StreamSummary Now() const;
    [[nodiscard]] double PlayedSeconds() const;

    Session& session_;
    PlayedSignal played_;
};

} // namespace zeka::cli
