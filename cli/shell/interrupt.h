// interrupt.h - makes Ctrl-C and its like something that the main thread waits for, so that it can switch the
// output off before it ends. The library's threads block all signals; the handler runs on other threads.
#pragma once

#include <chrono>

namespace zeka::cli {

/// From now on SIGINT, SIGTERM and SIGHUP are noted instead of ending the process, and a closed pipe is an
/// error of the write instead of SIGPIPE.
void CatchInterrupts();

[[nodiscard]] bool Interrupted();

/// Sleeps for that time or until interrupted; true when interrupted.
bool InterruptedWithin(std::chrono::milliseconds time);

enum class OutputWas { kOn, kNeverOn };

/// Throws Failure(kInterrupted) when interrupted. Where the instrument's output may have been on, the
/// message says that it is off now.
void EndIfInterrupted(OutputWas output = OutputWas::kOn);

} // namespace zeka::cli
