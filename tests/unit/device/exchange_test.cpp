// exchange_test.cpp - what keeps replies and sample requests apart: late replies, requests ahead of a reply,
// pieces.
#include "device/exchange.h"

#include <array>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "device/identity.h"
#include "device/output_stage.h"
#include "device/packets.h"
#include "link/serial_link.h"
#include "support/fixture.h"
#include "zeka/zeka.h"

namespace {

using zeka::Block;
using zeka::sim::Command;
using zeka::sim::Fault;

// The open instrument, without supervisor and poll thread: every byte on the wire is the test's own.
class Exchanges : public zeka::test::InstrumentTest {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        ASSERT_TRUE(DoFindDevice(0));
        expected = instrument.State().control_block;
    }
    void TearDown() override
    {
        DeviceClose();
        InstrumentTest::TearDown();
    }
    // The instrument's control block comes back as it stands there: nothing else was taken for it.
    void ExpectInStep()
    {
        Block block{};
        ASSERT_TRUE(zeka::Exchange(Block{}, block));
        EXPECT_TRUE(std::equal(block.begin() + 2, block.end(), expected.begin() + 2));
    }

    zeka::sim::Block expected{};
    std::array<std::uint8_t, 6> channel_state{0xCC, 0x00, 0x0D, 0, 0, 0};
    Block answer{};
};

TEST_F(Exchanges, ALateReplyIsNotTakenAsTheNextOnesReply)
{
    for (const int late_ms : {250, 320, 450}) {
        instrument.Inject({.fault = Fault::kLateReply, .value = late_ms, .limit = 1});
        EXPECT_FALSE(zeka::Exchange(channel_state, answer)) << late_ms;
        ExpectInStep();
        ExpectInStep();
    }
}

TEST_F(Exchanges, AReplyThatIsLaterThanEveryWaitIsNeverWrittenBackAsAControlBlock)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    for (const int late_ms : {520, 600, 680}) {
        instrument.Inject({.fault = Fault::kLateReply, .value = late_ms, .limit = 1, .group = 0xCC});
        EXPECT_FALSE(zeka::Exchange(channel_state, answer)) << late_ms;
        instrument.ClearCommands();
        for (int attempt = 0; attempt < 3; ++attempt)
            (void)SetInputImpedanceMode(1, 2);
        for (const auto& command : instrument.Commands())
            EXPECT_TRUE(command.bytes[0] == 0x00 || command.bytes[0] == 0x55) << late_ms;
        ASSERT_TRUE(SetInputImpedanceMode(1, 2)) << late_ms;
        expected = instrument.State().control_block;
        ExpectInStep();
    }
}

TEST_F(Exchanges, ADeviceThatTalksWithoutEndIsNotListenedToForLong)
{
    instrument.Inject({.fault = Fault::kNoReply});
    std::atomic<bool> stop{false};
    std::thread chatter([&] {
        const std::vector<std::uint8_t> noise(512, 'x');
        while (!stop) {
            instrument.SendBytes(noise);
            std::this_thread::sleep_for(std::chrono::microseconds{200});
        }
    });
    const auto start = std::chrono::steady_clock::now();
    std::array<std::uint8_t, 12> identity{};
    EXPECT_FALSE(zeka::PingExchange(identity));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{2});
    stop = true;
    chatter.join();
}

TEST_F(Exchanges, AReplyThatNeverOrOnlyPartlyComesFailsThatExchangeAlone)
{
    instrument.Inject({.fault = Fault::kNoReply, .limit = 1});
    EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    ExpectInStep();
    instrument.Inject({.fault = Fault::kShortReply, .value = 20, .limit = 1});
    EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    ExpectInStep();
    instrument.Inject({.fault = Fault::kSingleBytes, .value = 200, .limit = 1});
    ExpectInStep();
}

TEST_F(Exchanges, ASampleRequestAheadOfAReplyIsKeptForThePollThread)
{
    instrument.Inject({.fault = Fault::kRequestAhead, .limit = 2});
    ExpectInStep();
    std::array<std::uint8_t, 12> identity{};
    EXPECT_TRUE(zeka::PingExchange(identity));
    EXPECT_EQ(identity[4], 'Z');

    std::array<std::uint8_t, 64> block{};
    for (int request = 0; request < 2; ++request) {
        EXPECT_EQ(zeka::ReadRequestBlock(block, 0), 64);
        EXPECT_EQ(block[0], 0x01);
        EXPECT_EQ(block[1], 0x55);
    }
    EXPECT_LE(zeka::ReadRequestBlock(block, 0), 0);
}

TEST_F(Exchanges, RequestsThatWaitBeforeACommandSurviveItUnlessAStreamStartsAfresh)
{
    instrument.SendRequest();
    ASSERT_TRUE(zeka::WaitForInput(10000));
    ExpectInStep();
    EXPECT_TRUE(zeka::RequestKept());
    zeka::DropStaleInput();
    EXPECT_FALSE(zeka::RequestKept());
}

TEST_F(Exchanges, ALateReplyAheadOfARequestDoesNotShiftTheRequests)
{
    instrument.Inject({.fault = Fault::kLateReply, .value = 250, .limit = 1});
    std::array<std::uint8_t, 12> identity{};
    EXPECT_FALSE(zeka::PingExchange(identity));
    instrument.SendRequest(); // queued behind the late reply
    std::array<std::uint8_t, 64> block{};
    ASSERT_EQ(zeka::ReadRequestBlock(block, 10000), 64);
    EXPECT_EQ(block[0], 0x01);
    EXPECT_EQ(block[1], 0x55);
    ExpectInStep();
}

TEST_F(Exchanges, OnALostInstrumentFailAtOnce)
{
    instrument.Inject({.fault = Fault::kUnplugAtByte, .value = 70, .limit = 1});
    EXPECT_FALSE(zeka::Exchange(Block{}, answer));
    EXPECT_TRUE(zeka::test::WaitUntil([] { return zeka::DeviceLost(); }));
    EXPECT_FALSE(zeka::Exchange(Block{}, answer));
}

TEST_F(Exchanges, InATearDownTheFirstSilenceIsTheLast)
{
    instrument.Inject({.fault = Fault::kNoReply});
    instrument.ClearCommands();
    const zeka::GiveUpAfterSilence tear_down;
    for (int i = 0; i < 8; ++i)
        EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    EXPECT_EQ(instrument.Commands().size(), 1u);
}

TEST_F(Exchanges, InATearDownTheFirstRequestThatIsNotTakenIsTheLast)
{
    std::array<std::uint8_t, 3200>
        burst{}; // empty sample packets: a stream that the instrument does not take
    for (std::size_t packet = 0; packet < burst.size(); packet += zeka::kBlockBytes)
        burst[packet] = burst[packet + 1] = 0x01;
    const int fault = instrument.Inject({.fault = Fault::kStopReading});
    while (WriteData(burst.data(), static_cast<int>(burst.size()), 1) > 0) {
    }
    const zeka::GiveUpAfterSilence tear_down;
    EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    instrument.ClearCommands();
    instrument.Clear(fault);
    EXPECT_FALSE(zeka::Exchange(channel_state, answer)); // also when it reads again by then
    EXPECT_TRUE(instrument.Commands().empty());
}

} // namespace
