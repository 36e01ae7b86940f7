// sleeper.h - a thread of a test that goes to sleep in the library; the test can tell that it really sleeps.
#pragma once

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace zeka::test {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

inline constexpr auto kPatience = std::chrono::seconds(30); // only a failure waits that long

/// Looks every millisecond until the condition holds; false when it never did.
inline bool Eventually(const std::function<bool()>& condition)
{
    const auto give_up = Clock::now() + kPatience;
    while (!condition()) {
        if (Clock::now() > give_up)
            return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

class Sleeper {
public:
    explicit Sleeper(std::function<void()> body)
        : thread_([this, body = std::move(body)] {
              tid_ = ::gettid();
              body();
              done_ = true;
          })
    {
    }

    /// Until the kernel reports the thread asleep, in whatever it waits for.
    [[nodiscard]] bool FallsAsleep() const
    {
        return Eventually([this] { return tid_ != 0 && StateOf(tid_) == 'S'; });
    }
    [[nodiscard]] bool Done() const { return done_; }
    void Join() { thread_.join(); }

private:
    static char StateOf(int tid)
    {
        std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
        std::string line;
        std::getline(stat, line);
        const auto name_end = line.rfind(')'); // the name before it may contain blanks
        return name_end == std::string::npos || name_end + 2 >= line.size() ? '?' : line[name_end + 2];
    }

    std::atomic<int> tid_ = 0;
    std::atomic<bool> done_ = false;
    std::thread thread_;
};

} // namespace zeka::test
