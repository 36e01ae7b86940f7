// follow.h - waits while a signal streams, for everything that plays or records: until it is done or
// interrupted, with a live line. A loss, or an instrument that stops its requests, ends the wait.
#pragma once

#include "cli/shell/console.h"

#include <functional>
#include <string>

namespace zeka::cli {

enum class Progress {
    kOn,    // samples came since the last call
    kStill, // no samples came since then
    kDone,  // all that was requested is there, or the signal has ended
};

/// Calls `look` repeatedly, which itself waits for some milliseconds, and shows the text of `live` on the
/// live line. Returns true when interrupted. Throws Failure when the instrument is lost or takes no
/// sample for 3 s. Main thread only.
[[nodiscard]] bool Follow(const std::function<Progress()>& look, const std::function<std::string()>& live,
                          Console& console);

/// Switches the output off and verifies it. Throws Failure.
void SwitchOutputOff();

} // namespace zeka::cli
