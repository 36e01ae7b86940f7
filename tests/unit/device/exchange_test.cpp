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

TEST_F(Exchanges, WriteNothingButPingsWhileTheStepIsUnproved)
{
    instrument.Inject({.fault = Fault::kNoReply});
    EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    instrument.ClearCommands();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    const auto each = (std::chrono::steady_clock::now() - start) / 3;
    EXPECT_GE(each, std::chrono::milliseconds{300});
    EXPECT_LT(each, std::chrono::milliseconds{600});
    for (const auto& command : instrument.Commands())
        EXPECT_EQ(command.command, Command::kPing);
    instrument.ClearFaults();
    ExpectInStep(); // at once
}

TEST_F(Exchanges, ABlockWithSomethingBehindItIsNotWrittenBack)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    const auto before = instrument.State();
    const auto shift_next_reply = [this](std::uint8_t group) {
        instrument.Inject({.fault = Fault::kGarbage, .value = 5, .limit = 1, .group = group});
    };
    shift_next_reply(0x00);
    EXPECT_FALSE(SetInputImpedanceMode(1, 2));
    shift_next_reply(0xCC);
    EXPECT_FALSE(SetSelectedChannelEnabled(0x01, false));
    shift_next_reply(0x00);
    _DEVICE_CONTROL_SETTING record{};
    EXPECT_FALSE(GetDeviceControlSetting(&record));
    ASSERT_TRUE(zeka::ReadToWriteBack(Block{}, answer));
    instrument.SendBytes(std::vector<std::uint8_t>(3, 0xA0)); // as the end of something that was cut in two
    ASSERT_TRUE(zeka::WaitForInput(10000));
    EXPECT_FALSE(zeka::WriteBack(channel_state, answer));
    EXPECT_EQ(instrument.State().control_block, before.control_block);
    EXPECT_EQ(instrument.State().enabled_mask, before.enabled_mask);
    ExpectInStep();
}

// Pieces of replies that come with a pause in between: the instrument's line is the test's own here.
TEST_F(Exchanges, TheEndOfAReplyThatComesLateIsNobodysReply)
{
    instrument.Inject({.fault = Fault::kShortReply, .value = 20, .limit = 1});
    EXPECT_FALSE(zeka::Exchange(Block{}, answer));
    instrument.SendBytes(std::span(expected).subspan(20)); // with the pause of a time-out
    ExpectInStep();

    // The same while a stream's requests come in between, which are read by another thread.
    instrument.Inject({.fault = Fault::kShortReply, .value = 20, .limit = 1});
    EXPECT_FALSE(zeka::Exchange(Block{}, answer));
    instrument.SendBytes(std::span(expected).subspan(20));
    instrument.SendRequest();
    instrument.SendRequest();
    std::array<std::uint8_t, 64> block{};
    for (int request = 0; request < 2; ++request) {
        ASSERT_EQ(zeka::ReadRequestBlock(block, 10000), 64);
        EXPECT_EQ(block[0] * 256 + block[1], 0x0155);
    }
    ExpectInStep();

    // An identity reply in two halves, the second one behind the next command's ping.
    instrument.Inject({.fault = Fault::kShortReply, .value = 7, .limit = 1});
    std::array<std::uint8_t, 12> identity{};
    EXPECT_FALSE(zeka::PingExchange(identity));
    instrument.SendBytes(std::vector<std::uint8_t>{'E', 0x02, 0x3A, 21, 1, 89});
    ExpectInStep();
}

TEST_F(Exchanges, TheEndOfAPageIsNoReplyToThePing)
{
    // Behind its twelfth byte a page goes on with the bytes of that reply.
    instrument.Inject({.fault = Fault::kShortReply, .value = 12, .limit = 1, .group = 0x12});
    EXPECT_FALSE(zeka::Exchange(zeka::page::kReadInformation, answer));
    instrument.Inject({.fault = Fault::kNoReply, .limit = 1, .group = 0x55});
    const auto page = instrument.State().information_page;
    std::array<std::uint8_t, 64> late{}; // the rest of the page, and then that reply
    std::copy_n(page.begin() + 12, 52, late.begin());
    std::copy_n(page.begin() + 12, 12, late.begin() + 52);
    std::thread line([&] {
        EXPECT_TRUE(
            zeka::test::WaitUntil([&] { return instrument.Commands().back().command == Command::kPing; }));
        instrument.SendBytes(late);
    });
    ExpectInStep();
    line.join();
}

TEST_F(Exchanges, APieceOfAReplyGetsNoNewTime)
{
    instrument.Inject({.fault = Fault::kSingleBytes, .value = 30'000, .limit = 1}); // 1.9 s for 64 bytes
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(zeka::Exchange(Block{}, answer));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{1});
}

TEST_F(Exchanges, StrayBytesAheadOfRequestsShiftThemForNobody)
{
    instrument.SendBytes(std::vector<std::uint8_t>{0x00, 0xAA, 0x01, 0x03, 0x01});
    instrument.SendRequest();
    std::array<std::uint8_t, 64> block{};
    ASSERT_EQ(zeka::ReadRequestBlock(block, 10000), 64);
    EXPECT_EQ(block[0] * 256 + block[1], 0x0155);
    instrument.SendRequest();
    ASSERT_EQ(zeka::ReadRequestBlock(block, 10000), 64);
    EXPECT_EQ(block[0] * 256 + block[1], 0x0155);
    ExpectInStep();
}

TEST_F(Exchanges, ANewConnectionOwesNothingFromTheOneBefore)
{
    // Unanswered: a command, a ping, and behind the next ping another command.
    const auto commands = [this] {
        std::vector<Command> list;
        for (const auto& command : instrument.Commands())
            list.push_back(command.command);
        return list;
    };
    instrument.Inject({.fault = Fault::kNoReply, .limit = 2});
    EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    instrument.Inject({.fault = Fault::kNoReply, .limit = 1, .group = 0xCC});
    instrument.SendRequest();
    ASSERT_TRUE(zeka::WaitForInput(10000));
    EXPECT_FALSE(zeka::Exchange(channel_state, answer));
    ASSERT_TRUE(zeka::RequestKept());
    instrument.Replug();
    DeviceClose();
    instrument.ClearCommands();
    ASSERT_TRUE(DoFindDevice(0));
    EXPECT_FALSE(zeka::RequestKept()) << "the new one has not asked";
    EXPECT_EQ(commands(), (std::vector{Command::kPing, Command::kPageRead, Command::kModuleQuery}));
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
