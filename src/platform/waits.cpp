// waits.cpp - waiting on one event or on the first of several.
// The names are those of Windows; a time-out is 110 here (not 258), and there is no waiting for all.
#include <unistd.h>

#include <chrono>
#include <optional>

#include "zeka/platform.hpp"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;
constexpr useconds_t kRoundUs = 1000;

std::optional<unsigned int> FirstSignalled(unsigned int count, CEvent** events)
{
    for (unsigned int i = 0; i < count; ++i)
        if (events[i]->WaitTimeout(0) == 0)
            return i;
    return std::nullopt;
}

} // namespace

unsigned int WaitForSingleObject(CEvent* event, unsigned int ms) { return event->WaitTimeout(ms); }

// Polls, because a signal handler that raises an event wakes no thread.
unsigned int WaitForMultipleObjects(unsigned int count, CEvent** events, int waitAll, unsigned int ms)
{
    if (waitAll != 0)
        return ZEKA_WAIT_TIMEOUT;

    const auto deadline = Clock::now() + std::chrono::milliseconds{ms};
    while (true) {
        if (const auto index = FirstSignalled(count, events))
            return *index;
        if (ms != kNoLimit && Clock::now() > deadline)
            return ZEKA_WAIT_TIMEOUT;
        ::usleep(kRoundUs); // a signal that interrupts it only brings the next look forward
    }
}
