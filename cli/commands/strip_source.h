// strip_source.h - the sources of a strip: a signal, rendered as it would be sent, or a recording.
#pragma once

#include "cli/signal/signal_options.h"
#include "cli/strip/drawing.h"

namespace zeka::cli {

/// Renders the first `seconds` of the signal: the AC channel or, for "dc", the DC channel. Needs no
/// instrument; runs the program again for it (see Session). Throws Failure.
StripChart ChartOfSignal(SignalOptions& signal, const std::string& channel, double seconds, Context& context);

/// Draws one channel of the recording, by number or name; empty: the first voltage. Throws Failure.
StripChart ChartOfRecording(const std::string& path, const std::string& channel);

} // namespace zeka::cli
