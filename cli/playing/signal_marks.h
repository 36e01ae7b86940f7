// signal_marks.h - what the settings of a signal say of its marks.
#pragma once

#include "cli/marks/mark_finder.h"
#include "cli/signal/signal_options.h"

namespace zeka::cli {

/// Asks the library, so after everything is set, and before anything streams: some getters wait for the lock.
MarkSettings MarkSettingsOf(const SignalOptions& options, const Selection& selection);

} // namespace zeka::cli
