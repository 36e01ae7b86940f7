// faults_test.cpp - each way to misbehave, as the host sees it, and that it ends when it should.
#include "twin.h"

namespace zeka::test {
namespace {

using sim::Fault;
using testing::ElementsAre;

class TwinFaults : public Twin {
protected:
    void ExpectHealthy() const { EXPECT_EQ(host->Exchange(kPing, 12).size(), 12u); }
};

constexpr milliseconds kShortSilence{60};

TEST_F(TwinFaults, NoReply)
{
    instrument.Inject({.fault = Fault::kNoReply, .limit = 1, .command = sim::Command::kChannelRead});
    ExpectHealthy();
    host->Write(kChannelRead);
    EXPECT_TRUE(host->Read(64, kShortSilence).empty());
    EXPECT_EQ(instrument.FaultsFired(Fault::kNoReply), 1);
    EXPECT_EQ(host->Exchange(kChannelRead, 64).size(), 64u);
}

TEST_F(TwinFaults, OneThatSleepsStrikesFromTheCommandOnThatWakesIt)
{
    const int mute = instrument.Inject({.fault = Fault::kNoReply, .from = sim::Command::kChannelRead});
    instrument.Inject({.fault = Fault::kStopReading, .from = sim::Command::kStatusReset});
    ExpectHealthy(); // both sleep
    host->Write(kChannelRead);
    host->Write(kPing);
    EXPECT_TRUE(host->Read(64, kShortSilence).empty());
    EXPECT_EQ(instrument.FaultsFired(Fault::kNoReply), 2);
    instrument.Clear(mute);
    ExpectHealthy(); // and still takes what comes
}

TEST_F(TwinFaults, ShortReply)
{
    instrument.Inject({.fault = Fault::kShortReply, .value = 7, .limit = 1});
    host->Write(kPing);
    EXPECT_EQ(host->Read(12, kShortSilence).size(), 7u);
    ExpectHealthy();
}

TEST_F(TwinFaults, LateReplyHoldsUpTheNextOne)
{
    instrument.Inject({.fault = Fault::kLateReply, .value = 150, .limit = 1});
    const auto start = sim::Clock::now();
    host->Write(kChannelRead);
    host->Write(kPing);
    const auto replies = host->Read(64 + 12, kPatience);
    ASSERT_EQ(replies.size(), 64u + 12);
    EXPECT_GE(sim::Clock::now() - start, milliseconds(150));
    EXPECT_EQ(replies[0], 0xCC);
    EXPECT_EQ(replies[64], 0x55);
}

TEST_F(TwinFaults, AStallHoldsBothWaysUpAndThenGoesOnInOrder)
{
    instrument.Inject({.fault = Fault::kStall, .value = 150, .limit = 1});
    const auto start = sim::Clock::now();
    host->Write(kChannelRead);
    ASSERT_TRUE(WaitUntil([&] { return instrument.Commands().size() == 1; }));
    host->Write(kPing);
    EXPECT_EQ(host->Read(64, kPatience).at(0), 0xCC);
    EXPECT_GE(sim::Clock::now() - start, milliseconds(150));
    EXPECT_EQ(host->Read(12, kPatience).at(4), 'Z');
    const auto commands = instrument.Commands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_GE(commands[1].last_byte - start, milliseconds(150)) << "not taken while the line stood still";
    EXPECT_GE(sim::Clock::now() - start, milliseconds(150 + 2 * 3)) << "each with a pause of its own";
    ExpectHealthy();
}

TEST_F(TwinFaults, GarbageAheadOfTheReply)
{
    instrument.Inject({.fault = Fault::kGarbage, .value = 9, .limit = 1});
    EXPECT_EQ(host->Exchange(kPing, 9 + 12).at(9), 0x55);
    ExpectHealthy();
}

TEST_F(TwinFaults, WrongMarkerStatusAndAcknowledgement)
{
    instrument.Inject({.fault = Fault::kWrongMarker, .limit = 1});
    instrument.Inject({.fault = Fault::kWrongStatus, .value = 0xFE, .limit = 1, .group = 0xCC});
    instrument.Inject({.fault = Fault::kWrongAck, .limit = 1, .command = sim::Command::kWaveformData});
    EXPECT_NE(host->Exchange(kPing, 12).at(4), 'Z');
    EXPECT_EQ(host->Exchange(kPing, 12).at(4), 'Z');
    EXPECT_EQ(host->Exchange(kChannelRead, 64).at(3), 0xFE);
    EXPECT_EQ(host->Exchange(kChannelRead, 64).at(3), 0xFF);
    sim::Block data = Packet({0xEA, 0xFF, 0x04});
    const auto wrong = host->Exchange(data, 64);
    const auto right = host->Exchange(data, 64);
    data[3] = 0xFF;
    EXPECT_NE(wrong, std::vector(data.begin(), data.end()));
    EXPECT_EQ(right, std::vector(data.begin(), data.end()));
}

TEST_F(TwinFaults, ReplyInSingleBytes)
{
    instrument.Inject({.fault = Fault::kSingleBytes, .value = 500, .limit = 1});
    const auto start = sim::Clock::now();
    EXPECT_EQ(host->Exchange(kPing, 12).size(), 12u);
    EXPECT_GE(sim::Clock::now() - start, std::chrono::microseconds(11 * 500));
}

TEST_F(TwinFaults, RequestAheadOfTheReply)
{
    instrument.Inject({.fault = Fault::kRequestAhead, .limit = 1});
    const auto bytes = host->Exchange(kPing, 64 + 12);
    ASSERT_EQ(bytes.size(), 64u + 12);
    EXPECT_EQ(bytes[1], 0x55);
    EXPECT_EQ(bytes[64], 0x55);
    EXPECT_EQ(bytes[68], 'Z');
}

TEST_F(TwinFaults, StopsReading)
{
    const int stuck = instrument.Inject({.fault = Fault::kStopReading});
    std::size_t taken = 0;
    while (const std::size_t count = host->Write(MakeBurst(0)))
        taken += count;
    EXPECT_GT(taken, 0u);
    const std::uint64_t before = instrument.Stats().bytes_received;
    instrument.Clear(stuck);
    ASSERT_TRUE(WaitUntil([&] { return instrument.Stats().bytes_received == before + taken; }));
}

TEST_F(TwinFaults, FloodsAndStopsAsking)
{
    const int flood = instrument.Inject({.fault = Fault::kFlood, .value = 3});
    EXPECT_EQ(host->Read(64 * 100, kPatience).size(), 64u * 100);
    instrument.Clear(flood);
    while (!host->Read(64, kShortSilence).empty()) {
    }

    const int silent = instrument.Inject({.fault = Fault::kStopAsking});
    SetOutput(true);
    host->Write(MakeBurst(0));
    EXPECT_FALSE(Asked(kShortSilence));
    instrument.Clear(silent);
    EXPECT_TRUE(Asked());
}

TEST_F(TwinFaults, UnplugsAtAByteAndComesBackElsewhere)
{
    // Byte 6 + 10 of a channel read: ten bytes of the reply have been sent.
    instrument.Inject({.fault = Fault::kUnplugAtByte,
                       .value = 16,
                       .limit = 1,
                       .group = 0xCC,
                       .replug_port = 3,
                       .replug_after = milliseconds(20)});
    ExpectHealthy();
    const std::uint64_t sent = instrument.Stats().bytes_sent;
    host->Write(kChannelRead);
    EXPECT_TRUE(host->HungUp(kPatience));
    EXPECT_EQ(instrument.Stats().bytes_sent, sent + 10);
    ASSERT_TRUE(WaitUntil([&] { return instrument.State().port == 3 && instrument.State().plugged; }));
    host.emplace("/dev/ttyACM3");
    ExpectHealthy();
}

TEST_F(TwinFaults, UnplugsInTheMiddleOfACommandAndOfABurst)
{
    instrument.Inject({.fault = Fault::kUnplugAtByte, .value = 4, .limit = 1, .group = 0xCC});
    host->Write(sim::Bytes(kChannelRead).first(4));
    EXPECT_TRUE(host->HungUp(kPatience));
    EXPECT_TRUE(instrument.Commands().empty());

    instrument.Replug();
    host.emplace("/dev/ttyACM0");
    SetOutput(true);
    instrument.Inject({.fault = Fault::kUnplugAtByte, .value = 1000, .limit = 1, .group = 0x01});
    host->Write(sim::Bytes(MakeBurst(0)).first(999));
    EXPECT_FALSE(host->HungUp(kShortSilence));
    host->Write(sim::Bytes(MakeBurst(0)).subspan(999));
    EXPECT_TRUE(host->HungUp(kPatience));
    EXPECT_EQ(instrument.Stats().stream.bursts, 0u);
}

TEST_F(TwinFaults, RomNeverDone)
{
    instrument.Inject({.fault = Fault::kRomNeverDone});
    const std::array<std::uint8_t, 6> status{0xEA, 0x00, 0x07, 0x00, 0x01, 0x00};
    for (int i = 0; i < 5; ++i)
        EXPECT_NE(host->Exchange(status, 64).at(3), 0xFF);
    instrument.ClearFaults();
    EXPECT_EQ(host->Exchange(status, 64).at(3), 0xFF);
}

} // namespace
} // namespace zeka::test
