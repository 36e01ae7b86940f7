// fixture.cpp - see fixture.h.
#include "support/fixture.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <thread>
#include <time.h>

namespace zeka::test {

bool WaitUntil(const std::function<bool()>& predicate, milliseconds deadline)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

std::vector<std::string> OpenDescriptors()
{
    std::vector<std::string> targets;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // another thread may close one meanwhile
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone && !target.string().ends_with("/fd"))
            targets.push_back(target.string());
    }
    std::ranges::sort(targets);
    return targets;
}

std::size_t ThreadCount()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

std::chrono::nanoseconds ProcessorTime()
{
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

} // namespace zeka::test
