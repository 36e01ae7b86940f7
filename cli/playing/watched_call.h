// watched_call.h - runs a call of the library that exchanges many commands before it returns, on a thread of
// its own, so that the main thread can show how far it is. The library tells neither that nor, for some
// calls, whether the instrument answered; the kernel counts what the thread sends and gets.
#pragma once

#include "cli/shell/console.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace zeka::cli {

/// Bytes that went over the port.
struct Traffic {
    std::uint64_t sent = 0;
    std::uint64_t got = 0;
};

struct CallOutcome {
    int result = 0; // of the call
    double seconds = 0.0;
    std::optional<Traffic> traffic; // empty where the kernel does not count
};

/// What the live line says; asked a few times a second with what went over the port so far.
using LiveText = std::function<std::string(const CallOutcome& so_far)>;

/// The call must not throw. Ctrl-C does not end it early.
CallOutcome RunWatched(const std::function<int()>& call, Console& console, const LiveText& live);

} // namespace zeka::cli
