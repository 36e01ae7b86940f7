// interrupt.h - Ctrl-C and its kin, turned into something that the main thread waits for, so that it can
// switch the output off before it ends. The library's threads block all signals; the handler runs elsewhere.
#pragma once

#include <chrono>

namespace zeka::cli {

/// From now on SIGINT, SIGTERM and SIGHUP are remembered instead of ending the process, and a reader that
/// went away (SIGPIPE) is an error of the write.
void CatchInterrupts();

[[nodiscard]] bool Interrupted();

/// Sleeps so long, or until interrupted; true when interrupted.
bool InterruptedWithin(std::chrono::milliseconds time);

enum class OutputWas { kOn, kNeverOn };

/// Throws Failure(kInterrupted) when interrupted; where the instrument's output may have been on, it says
/// that it is off.
void EndIfInterrupted(OutputWas output = OutputWas::kOn);

} // namespace zeka::cli
