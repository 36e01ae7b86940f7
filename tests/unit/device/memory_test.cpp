// The instrument's non-volatile memory: ROM commands on the wire, and the entries that fail at once.
#include "device/memory.h"

#include "signal/state.h"
#include "support/scripted_peer.h"
#include "zeka/zeka.h"

#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

using zeka::test::ScriptedPeer;
using Message = ScriptedPeer::Message;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

const Message kStoreItem1 = {0xEA, 0xFF, 0x07, 0x00, 0x01};
const Message kAskItem1 = {0xEA, 0x00, 0x07, 0x00, 0x01, 0x00};

Message StatusReply(std::uint8_t group, std::uint8_t done, std::uint8_t status)
{
    Message reply(64, 0);
    reply[0] = group;
    reply[3] = done;
    reply[5] = status;
    return reply;
}

TEST(RomStatus, IsDoneOnlyWithBothMarksAndHandsOutTheStatusByte)
{
    const std::vector<Message> replies = {StatusReply(0xEA, 0xFF, 0x42), StatusReply(0xEA, 0xFE, 0x43),
                                          StatusReply(0xEB, 0xFF, 0x44), Message(63, 0xEA)};
    ScriptedPeer peer([&](std::size_t number, const Message&) { return replies.at(number); });
    unsigned char status = 0;
    EXPECT_TRUE(DoReadFromROM(0x102, &status));
    EXPECT_EQ(status, 0x42);
    EXPECT_FALSE(DoReadFromROM(1, &status));
    EXPECT_EQ(status, 0x43);
    EXPECT_FALSE(DoReadFromROM(1, nullptr));
    EXPECT_FALSE(DoReadFromROM(1, &status));
    EXPECT_EQ(status, 0x43) << "a short reply carries none";
    EXPECT_EQ(peer.Requests().at(0), (Message{0xEA, 0x00, 0x07, 0x00, 0x02, 0x00}));
}

TEST(RomStore, PollsUntilTheItemIsDone)
{
    ScriptedPeer peer(
        [](std::size_t number, const Message&) { return StatusReply(0xEA, number == 3 ? 0xFF : 0x00, 0); });
    const auto started = Clock::now();
    EXPECT_TRUE(WriteToROM(1));
    EXPECT_GE(Clock::now() - started, milliseconds(400)) << "a pause after each of the two that failed";
    EXPECT_EQ(peer.Requests(), (std::vector<Message>{kStoreItem1, kAskItem1, kAskItem1, kAskItem1}));
}

TEST(RomStore, IsFalseOnlyWhenTheRequestGoesUnanswered)
{
    EXPECT_FALSE(WriteToROM(1)) << "no device";
    ScriptedPeer peer([](std::size_t, const Message&) { return Message{}; });
    EXPECT_FALSE(WriteToROM(1));
    EXPECT_EQ(peer.Requests(), std::vector<Message>{kStoreItem1});
}

TEST(RomStore, EndsAtOnceWhenTheInstrumentIsLost)
{
    ScriptedPeer* unplugged = nullptr;
    ScriptedPeer peer([&](std::size_t number, const Message&) {
        if (number == 2)
            unplugged->HangUp();
        return StatusReply(0xEA, 0x00, 0);
    });
    unplugged = &peer;
    const auto started = Clock::now();
    EXPECT_TRUE(WriteToROM(1)) << "the request was taken";
    EXPECT_LT(Clock::now() - started, seconds(10));
}

TEST(FlashAndEeprom, FailAtOnceWithoutAnExchange)
{
    ScriptedPeer peer;
    unsigned short words[4] = {1, 2, 3, 4};
    unsigned char bytes[100];
    std::fill(std::begin(bytes), std::end(bytes), std::uint8_t{0xA5});
    EXPECT_FALSE(FlashErase(17, 0));
    EXPECT_EQ(DoReadEEPROM(32, 17, words, 4ul), 0);
    EXPECT_EQ(DoWriteEEPROM(32, 17, bytes, 2ul), 0);
    EXPECT_EQ(DoWriteEEPROM(32, words), 0);
    EXPECT_EQ(ReadDCVariableCalibrationData(words), 0);
    EXPECT_EQ(ZEKAReadMfgInfo(bytes, 100), 0);
    EXPECT_EQ(ZEKAReadMfgInfo(nullptr, -1), 0);
    EXPECT_EQ(ZEKAWriteMfgInfo(bytes, 100), 0);
    EXPECT_EQ(ZEKASetDCOffsetCalibrationData(0x1FF, -1), 0);
    EXPECT_EQ(ZEKAWriteDCCalibrationData(2, 0x1234), 0);
    EXPECT_EQ(ZEKAWriteDCCalibrationData(-2147483647 - 1, -1), 0);
    EXPECT_EQ(words[0], 1);
    EXPECT_TRUE(std::all_of(std::begin(bytes), std::end(bytes), [](unsigned char b) { return b == 0xA5; }));
    EXPECT_TRUE(peer.Requests().empty());
}

TEST(FirmwareEntries, HaveFixedResults)
{
    EXPECT_EQ(ZEKAUpdateFwLoadFirmwareFile(nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(ZEKASetFixedDCByDAC(1234), 0);
    ZEKAUpdateFwBurnBinFile(nullptr);
}

TEST(Calibration, ModeIsSwitchedOnWhateverIsAskedFor)
{
    ScriptedPeer peer;
    EXPECT_EQ(ZEKASetCalibrationMode(false), 1);
    Message expected = {0xCC, 0xFF, 0x06, 0x00, 0x01};
    expected.resize(64);
    EXPECT_EQ(peer.Requests(), std::vector<Message>{expected});
}

TEST(Calibration, DacValuesAreTheLowWordsOfTheArguments)
{
    ScriptedPeer peer;
    EXPECT_EQ(ZEKASetOutputDac(0x12345, -2), 1);
    Message expected = {0xCC, 0xFF, 0x07, 0x00, 0x23, 0x45, 0xFF, 0xFE};
    expected.resize(64);
    EXPECT_EQ(peer.Requests(), std::vector<Message>{expected});
}

TEST(Calibration, WithoutADeviceTheExchangesFail)
{
    EXPECT_EQ(ZEKASetCalibrationMode(true), 0);
    EXPECT_EQ(ZEKASetOutputDac(1, 2), 0);
    EXPECT_EQ(ZEKAWriteDCCalibrationData(2, 0x1234), 0);
}

TEST(Calibration, AWordForTheDcChannelWaitsForTheRequestFirst)
{
    ScriptedPeer peer;
    g_bECGGoing = true;
    EXPECT_EQ(ZEKAWriteDCCalibrationData(2, 0x1234), 1) << "busy";
    g_hProcessRequestEvent.SetEvent();
    EXPECT_EQ(ZEKAWriteDCCalibrationData(2, 0x1234), 0);
}

} // namespace
