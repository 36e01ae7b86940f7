// signal_marks.h - derives from the settings of a signal what they determine about its marks.
#pragma once

#include "cli/marks/mark_finder.h"
#include "cli/signal/signal_options.h"

namespace zeka::cli {

/// Calls getters of the library. REQUIRES: everything is set and nothing streams yet, because
/// some getters wait for the lock.
MarkSettings MarkSettingsOf(const SignalOptions& options, const Selection& selection);

} // namespace zeka::cli
