// fixture.h - a virtual instrument for a test, and what tests around threads, descriptors and waits need.
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

/// Long enough for a loaded machine; a wait that succeeds does not take it.
inline constexpr milliseconds kPatience{20000};

/// Waits until predicate() holds, looking every millisecond; false when the deadline passes first.
[[nodiscard]] bool WaitUntil(const std::function<bool()>& predicate, milliseconds deadline = kPatience);

/// The targets of the process's open descriptors, sorted: "/dev/pts/3", "pipe:[4711]", ...
std::vector<std::string> OpenDescriptors();

/// The threads of this process.
std::size_t ThreadCount();

/// Processor time that this process has used so far.
std::chrono::nanoseconds ProcessorTime();

/// Plugs an instrument in on port 0 before the test and pulls it after. A fixture of one's own passes another
/// configuration, or kUnplugged.
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

/// Plays every burst at once and asks for the next.
inline sim::InstrumentConfig FastClock()
{
    sim::InstrumentConfig config;
    config.player.clock = sim::ClockMode::kFast;
    return config;
}

/// Asks a second time only after 2 s, not after 100 ms: a request that was lost shows, one that a busy
/// machine left lying for a while does not.
inline sim::InstrumentConfig PatientInstrument()
{
    sim::InstrumentConfig config;
    config.player.repeat_request_after = milliseconds{2000};
    return config;
}

/// Plays when told by Step(); at most `depth_bursts` bursts wait inside.
inline sim::InstrumentConfig SteppedClock(unsigned depth_bursts = 1)
{
    sim::InstrumentConfig config;
    config.player.clock = sim::ClockMode::kStepped;
    config.player.depth_bursts = depth_bursts;
    return config;
}

} // namespace zeka::test
