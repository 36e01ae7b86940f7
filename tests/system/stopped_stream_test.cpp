// stopped_stream_test.cpp - the request that was under way when the stream was stopped.
#include "connected.h"

#include "platform/global_objects.h"

namespace zeka::test {
namespace {

sim::InstrumentConfig AsksOnce()
{
    sim::InstrumentConfig config = SteppedClock();
    config.player.repeat_request_after = milliseconds{0};
    return config;
}

class StoppedStream : public Connected {
protected:
    StoppedStream() : Connected(AsksOnce()) {}
};

TEST_F(StoppedStream, ARequestAfterTheStopIsAnsweredWithTheOutputStateTheNextOneWithSamples)
{
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(1));
    instrument.ClearCommands();
    g_hStopPlayEvent.SetEvent();
    instrument.Step(); // makes room and sends a request
    ASSERT_TRUE(WaitUntil([&] { return instrument.Commands().size() >= 2; }));
    EXPECT_EQ(instrument.Commands()[1].command, sim::Command::kControlWrite);
    EXPECT_EQ(instrument.Stats().stream.bursts, 1u);
    instrument.SendRequest();
    ASSERT_TRUE(Streams(2));
}

} // namespace
} // namespace zeka::test
