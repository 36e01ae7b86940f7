// render.h - delivers a signal as it is sent, sample by sample, with its marks: from an instrument while it
// plays, or from a virtual one that runs as fast as it can, so that no instrument is needed.
#pragma once

#include "cli/instrument/session.h"
#include "cli/marks/mark_finder.h"
#include "cli/signal/signal_options.h"

namespace zeka::cli {

inline constexpr int kSentRate = 40000; // samples a second

/// Takes the samples in mV, in order; spans of equal length. Called on the thread that renders.
using SampleSink = std::function<void(std::span<const double> ac_mv, std::span<const double> dc_mv)>;

/// The receivers of a signal; all but `samples` may be empty.
struct SignalSinks {
    std::function<void(const MarkSettings&)> begin; // after all settings, before anything plays
    SampleSink samples;
    MarkSink marks;
    /// The stream waits for the sinks; only for a virtual instrument with the fast clock.
    bool holds_stream = false;
};

struct Sent {
    std::uint64_t samples = 0;
    bool ended_by_itself = false;
    bool interrupted = false;
};

/// Applies and plays `seconds` of the signal on the instrument of the open session, hands every sample and
/// every mark to the sinks, and switches the output off. Shows a bar on a terminal. An exception of a sink
/// ends it. A held stream waits under the library's lock, so the sinks must not call the library. With
/// another stream memory keeps what the sinks have not taken yet. Throws Failure.
Sent StreamSignal(const Session& open, const SignalOptions& options, const Selection& selection,
                  double seconds, Console& console, const SignalSinks& sinks);

/// Does the same on a virtual instrument of its own, faster than real time. First runs the whole program
/// again (see Session), so everything before must be free of side effects. Settings stay in the library: a
/// second signal in the same process begins with those of the first. Throws Failure, also when interrupted.
Sent RenderSignal(const SignalOptions& options, const Selection& selection, double seconds, Context& context,
                  const SampleSink& samples, const MarkSink& marks = {});

/// A signal in memory: 16 bytes per sample.
struct Strip {
    int rate = kSentRate;
    std::vector<double> ac_mv, dc_mv;
    std::vector<formats::Mark> marks; // in the order of time
};

/// Like RenderSignal, but returns the whole signal, which must not exceed some minutes.
Strip RenderStrip(const SignalOptions& options, const Selection& selection, double seconds, Context& context);

} // namespace zeka::cli
