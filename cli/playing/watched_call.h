// watched_call.h - runs a call of the library that makes many exchanges on a thread of its own, so that the
// main thread can show its progress. The library reports neither the progress nor, for some calls, whether
// the instrument answered; the kernel counts what the thread writes and reads.
#pragma once

#include "cli/shell/console.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace zeka::cli {

/// Bytes sent and received over the port.
struct Traffic {
    std::uint64_t sent = 0;
    std::uint64_t got = 0;
};

struct CallOutcome {
    int result = 0; // of the call
    double seconds = 0.0;
    std::optional<Traffic> traffic; // empty where the kernel does not count
};

/// Makes the text of the live line; called a few times per second with the traffic so far.
using LiveText = std::function<std::string(const CallOutcome& so_far)>;

/// Runs the call. REQUIRES: it does not throw. Ctrl-C does not end it early.
CallOutcome RunWatched(const std::function<int()>& call, Console& console, const LiveText& live);

} // namespace zeka::cli
