// strip_source.h - what a strip can be drawn of: a signal, rendered as it would be sent, or a recording.
#pragma once

#include "cli/signal/signal_options.h"
#include "cli/strip/drawing.h"

namespace zeka::cli {

/// The first `seconds` of the signal, the AC channel or, with "dc", the other one. No instrument is needed;
/// the program is run again for it (see Session). Throws Failure.
StripChart ChartOfSignal(SignalOptions& signal, const std::string& channel, double seconds, Context& context);

/// One channel of the recording, by number or name; empty: the first voltage. Throws Failure.
StripChart ChartOfRecording(const std::string& path, const std::string& channel);

} // namespace zeka::cli
