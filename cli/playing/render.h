// render.h - a signal as it is sent, sample by sample, with its marks: from an instrument while it plays, or
// from a virtual one that runs as fast as it can, so that nothing has to be there.
#pragma once

#include "cli/instrument/session.h"
#include "cli/marks/mark_finder.h"
#include "cli/signal/signal_options.h"

namespace zeka::cli {

inline constexpr int kSentRate = 40000; // samples a second

/// Takes the samples in order; spans of equal length, mV. On the thread that renders.
using SampleSink = std::function<void(std::span<const double> ac_mv, std::span<const double> dc_mv)>;

/// Who hears of a signal; all but the samples may be empty.
struct SignalSinks {
    std::function<void(const MarkSettings&)> begin; // everything is set, nothing plays yet
    SampleSink samples;
    MarkSink marks;
    bool holds_stream = false; // while the sinks work; for a virtual instrument on its fast clock
};

struct Sent {
    std::uint64_t samples = 0;
    bool ended_by_itself = false;
    bool interrupted = false;
};

/// Applies and plays `seconds` of the signal on the instrument of the open session, hands on every sample and
/// every mark, and switches the output off. Shows a bar on a terminal. What the sinks throw ends it. A stream
/// that is held waits under the library's lock, so the sinks must not call the library then; of another one,
/// what the sinks have not taken yet is kept in memory. Throws Failure.
Sent StreamSignal(const Session& open, const SignalOptions& options, const Selection& selection,
                  double seconds, Console& console, const SignalSinks& sinks);

/// The same on a virtual instrument of its own, faster than real time. The whole program is run again first
/// (see Session), so everything before must be free of effects. Settings stay in the library: a second
/// signal in the same process begins with those of the first. Throws Failure, also when interrupted.
Sent RenderSignal(const SignalOptions& options, const Selection& selection, double seconds, Context& context,
                  const SampleSink& samples, const MarkSink& marks = {});

/// A stretch of signal in memory: 16 bytes a sample.
struct Strip {
    int rate = kSentRate;
    std::vector<double> ac_mv, dc_mv;
    std::vector<formats::Mark> marks; // in the order of time
};

/// A whole strip, at most some minutes of it. As RenderSignal otherwise.
Strip RenderStrip(const SignalOptions& options, const Selection& selection, double seconds, Context& context);

} // namespace zeka::cli
