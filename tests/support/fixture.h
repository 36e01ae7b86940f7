// fixture.h - a test with a virtual instrument, and helpers for threads, descriptors and waits.
#pragma once

#include "sim/instrument.h"
#include "sim/measure.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace zeka::test {

using std::chrono::milliseconds;

/// Time limit that a loaded machine keeps; a wait that succeeds does not use it up.
inline constexpr milliseconds kPatience{20000};

/// Waits until predicate() holds, looking every millisecond; false when the deadline passes first.
[[nodiscard]] bool WaitUntil(const std::function<bool()>& predicate, milliseconds deadline = kPatience);

/// The targets of the process's open descriptors, sorted: "/dev/pts/3", "pipe:[4711]", ...
std::vector<std::string> OpenDescriptors();

/// Number of threads of this process.
std::size_t ThreadCount();

/// Processor time that this process has used so far.
std::chrono::nanoseconds ProcessorTime();

/// Plugs an instrument in on port 0 before the test and pulls it afterwards. A derived fixture may pass
/// another configuration, or kUnplugged.
class InstrumentTest : public testing::Test {
protected:
    enum class Start { kPlugged, kUnplugged };

    explicit InstrumentTest(const sim::InstrumentConfig& config = {}, Start start = Start::kPlugged)
        : instrument(config), start_(start)
    {
    }
    void SetUp() override
    {
        if (start_ == Start::kPlugged)
            instrument.Plug();
    }
    void TearDown() override { instrument.Unplug(); }

    sim::Instrument instrument;

private:
    Start start_;
};

/// An instrument that plays every burst at once and sends the next request.
inline sim::InstrumentConfig FastClock()
{
    sim::InstrumentConfig config;
    config.player.clock = sim::ClockMode::kFast;
    return config;
}

/// An instrument that repeats a request after 2 s, not after 100 ms: a lost request shows, one that a busy
/// machine answers late does not.
inline sim::InstrumentConfig PatientInstrument()
{
    sim::InstrumentConfig config;
    config.player.repeat_request_after = milliseconds{2000};
    return config;
}

/// An instrument that plays at each Step(); at most `depth_bursts` bursts wait inside.
inline sim::InstrumentConfig SteppedClock(unsigned depth_bursts = 1)
{
    sim::InstrumentConfig config;
    config.player.clock = sim::ClockMode::kStepped;
    config.player.depth_bursts = depth_bursts;
    return config;
}

} // namespace zeka::test
