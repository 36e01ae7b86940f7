// follow.h - follows a signal while it streams, for everything that plays or records: until it is done or
// interrupted, with a live line, and not beyond a loss or an instrument that asks for nothing any more.
#pragma once

#include "cli/shell/console.h"

#include <functional>
#include <string>

namespace zeka::cli {

enum class Progress {
    kOn,    // samples came since the look before
    kStill, // none came
    kDone,  // what was wanted is there, or the signal has ended
};

/// Looks again and again; `look` itself waits for some milliseconds, and `live` makes the text of the live
/// line. True when interrupted. Throws Failure when the instrument is lost, or takes no sample for 3 s. On the
/// main thread.
[[nodiscard]] bool Follow(const std::function<Progress()>& look, const std::function<std::string()>& live,
                          Console& console);

/// Switches the output off and makes sure of it. Throws Failure.
void SwitchOutputOff();

} // namespace zeka::cli
