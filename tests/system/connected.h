// connected.h - a test with the library connected to the virtual instrument, and a listener that remembers.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <vector>

#include "support/fixture.h"
#include "zeka/zeka.h"

namespace zeka::test {

using Clock = std::chrono::steady_clock;

inline milliseconds Since(Clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

/// Records what is reported to the listener of ZEKAInit, with times.
class Listener {
public:
    static void Hear(bool connected)
    {
        Listener& self = Get();
        const std::scoped_lock hold(self.lock_);
        self.heard_.push_back(connected);
        self.when_.push_back(Clock::now());
        self.changed_.notify_all();
    }
    static Listener& Get()
    {
        static Listener listener;
        return listener;
    }
    bool WaitForCount(std::size_t count, milliseconds patience = kPatience)
    {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, patience, [&] { return heard_.size() >= count; });
    }
    std::vector<bool> Heard()
    {
        const std::scoped_lock hold(lock_);
        return heard_;
    }
    Clock::time_point When(std::size_t index)
    {
        const std::scoped_lock hold(lock_);
        return when_.at(index);
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<bool> heard_;
    std::vector<Clock::time_point> when_;
};

class Connected : public InstrumentTest {
protected:
    explicit Connected(sim::InstrumentConfig config = {}, Start start = Start::kPlugged)
        : InstrumentTest(std::move(config), start)
    {
    }
    void SetUp() override
    {
        InstrumentTest::SetUp();
        ASSERT_TRUE(ZEKAInit(Listener::Hear));
        ASSERT_TRUE(Listener::Get().WaitForCount(1));
        ASSERT_TRUE(ZEKAIsConnected());
    }
    void TearDown() override
    {
        ZEKAFree();
        InstrumentTest::TearDown();
    }
    bool Streams(std::uint64_t bursts)
    {
        if (instrument.WaitFor([&] { return instrument.Stats().stream.bursts >= bursts; }, kPatience))
            return true;
        const auto stats = instrument.Stats();
        ADD_FAILURE() << stats.stream.bursts << " bursts for " << stats.stream.requests
                      << " requests, output " << (instrument.State().output_on ? "on" : "off") << ", "
                      << stats.bytes_received << " bytes received";
        return false;
    }
};

} // namespace zeka::test
