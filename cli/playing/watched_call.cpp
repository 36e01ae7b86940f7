// watched_call.cpp - runs the call on a thread and reads that thread's counters in /proc meanwhile.
#include "cli/playing/watched_call.h"

#include <atomic>
#include <chrono>
#include <fmt/format.h>
#include <fstream>
#include <semaphore>
#include <string>
#include <thread>
#include <unistd.h>

namespace zeka::cli {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLiveEvery{50};

/// The bytes that the thread has written and read since it started.
std::optional<Traffic> TrafficOf(pid_t thread)
{
    std::ifstream counts(fmt::format("/proc/self/task/{}/io", thread));
    Traffic traffic;
    std::string name;
    if (counts >> name >> traffic.got && name == "rchar:" && counts >> name >> traffic.sent &&
        name == "wchar:")
        return traffic;
    return std::nullopt;
}

std::optional<Traffic> Since(const std::optional<Traffic>& start, pid_t thread)
{
    const std::optional<Traffic> now = TrafficOf(thread);
    if (!start || !now)
        return std::nullopt;
    return Traffic{now->sent - start->sent, now->got - start->got};
}

} // namespace

CallOutcome RunWatched(const std::function<int()>& call, Console& console, const LiveText& live)
{
    std::binary_semaphore started{0};
    std::binary_semaphore go{0};
    std::binary_semaphore done{0};
    std::binary_semaphore counted{0}; // the counters disappear with the thread
    std::atomic<pid_t> id{0};
    CallOutcome outcome;
    std::jthread thread([&] {
        id = ::gettid();
        started.release();
        go.acquire();
        outcome.result = call();
        done.release();
        counted.acquire();
    });
    started.acquire();
    const std::optional<Traffic> before = TrafficOf(id);
    const auto start = steady_clock::now();
    go.release();
    const auto elapsed = [&] { return std::chrono::duration<double>(steady_clock::now() - start).count(); };
    while (!done.try_acquire_for(kLiveEvery))
        if (console.HasLive())
            console.Live(live({0, elapsed(), Since(before, id)}));
    console.EndLive();
    outcome.seconds = elapsed();
    outcome.traffic = Since(before, id);
    counted.release();
    return outcome;
}

} // namespace zeka::cli
