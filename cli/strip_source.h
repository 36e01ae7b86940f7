// strip_source.h - what a strip is drawn of: a signal, rendered as it would be sent.
#pragma once

#include "cli/signal_options.h"
#include "cli/strip.h"

namespace zeka::cli {

/// The first `seconds` of the signal, the AC channel or, with "dc", the other one. No instrument is needed;
/// the program is run again for it (see Session). Throws Failure.
StripChart ChartOfSignal(SignalOptions& signal, const std::string& channel, double seconds, Context& context);

} // namespace zeka::cli
