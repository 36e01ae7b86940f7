// connection_test.cpp - from the search to the announcement, and what calls of the application do meanwhile.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

#include "system/connected.h"

namespace {

using zeka::sim::Command;
using zeka::sim::Fault;
using zeka::test::Clock;
using zeka::test::Connected;
using zeka::test::Listener;
using zeka::test::milliseconds;
using zeka::test::Since;

class Connection : public zeka::test::InstrumentTest {
protected:
    Connection() : InstrumentTest(AsTheDriverLeavesIt(), Start::kUnplugged) {}
    // Line editing and echo are on: without the terminal settings the library gets
    // no reply, or its own command.
    static zeka::sim::InstrumentConfig AsTheDriverLeavesIt()
    {
        zeka::sim::InstrumentConfig config;
        config.cooked = true;
        return config;
    }
    void TearDown() override
    {
        ZEKAFree();
        InstrumentTest::TearDown();
    }
};

TEST_F(Connection, ResetsLeadsAndImpedanceBeforeItIsAnnounced)
{
    static std::atomic<bool> announced{false};
    static std::size_t commands_before = 0;
    static zeka::sim::Instrument* twin = nullptr;
    twin = &instrument;
    instrument.Plug(3);
    ASSERT_TRUE(ZEKAInit([](bool connected) {
        if (connected && !announced) {
            commands_before = twin->Commands().size();
            announced = true;
        }
    }));
    ASSERT_TRUE(zeka::test::WaitUntil([] { return announced.load(); }));
    // Ping, page, query; then output state, lead and impedance of each channel, each a read and a write-back.
    EXPECT_EQ(commands_before, 3u + 4u * 6u);
    const auto block = instrument.State().control_block;
    for (std::size_t channel = 0; channel < 4; ++channel) {
        EXPECT_EQ(block[32 + 8 * channel + 3], 0xFF);
        EXPECT_EQ(block[32 + 8 * channel + 0], 0x00);
        EXPECT_EQ(block[32 + 8 * channel + 4], 0x00);
    }
}

TEST_F(Connection, ByPortAndTimeAnswersOneOrZero)
{
    const auto start = Clock::now();
    EXPECT_EQ(ZEKAConnect(-1, 300), 0);
    EXPECT_GE(Since(start), milliseconds{300});
    EXPECT_FALSE(ZEKAIsConnected());
    instrument.Plug(2);
    EXPECT_EQ(ZEKAConnect(1, 300), 0);
    EXPECT_EQ(ZEKAConnect(2, 20000), 1);
    EXPECT_TRUE(ZEKAIsConnected());
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_EQ(ZEKAConnect(2, 200), 0); // nothing new is announced: the call shuts down, as documented
    EXPECT_FALSE(ZEKAIsConnected());
    EXPECT_FALSE(std::filesystem::exists("/var/lock/kestrava.ACM2.lock"));
}

TEST_F(Connection, OfAnEarlierTimeDoesNotCountForALaterCall)
{
    instrument.Plug(0);
    EXPECT_EQ(ZEKAGetDeviceHandle(), -1);
    ASSERT_EQ(ZEKAConnect(0, 20000), 1);
    EXPECT_GE(ZEKAGetDeviceHandle(), 3);
    const auto plugs = instrument.Stats().plugs;
    instrument.Replug(); // sets the event of the first call again, and no call waits
    ASSERT_TRUE(zeka::test::WaitUntil([&] { return instrument.Commands().size() >= 2 * 27; }));
    ASSERT_EQ(instrument.Stats().plugs, plugs + 1);
    ASSERT_TRUE(zeka::test::WaitUntil([] { return ZEKAIsConnected(); }));
    std::this_thread::sleep_for(milliseconds{100});
    ZEKAFree();
    instrument.Unplug();
    EXPECT_EQ(ZEKAConnect(0, 200), 0);
    EXPECT_EQ(ZEKAGetDeviceHandle(), -1);
}

TEST_F(Connection, ASetterBeforeTheAnnouncementGetsNoAnswerAndPutsNoByteOnTheWire)
{
    static std::atomic<bool> announced{false};
    std::atomic<bool> stop{false};
    std::atomic<int> early{0};
    std::atomic<int> wrong{0};
    std::thread application([&] {
        while (!stop) {
            const bool known = announced;
            const int result = ZEKASetOutputLead(1, 1);
            if (result != -1 && !known && !announced)
                ++wrong;
            early += known ? 0 : 1;
            (void)SetApnea(true);
            (void)SetSelectedChannelEnabled(1, true);
            (void)ZEKAGetInputImpedanceMode(0);
        }
    });
    instrument.Inject({.fault = Fault::kSingleBytes, .value = 300}); // replies take long
    instrument.Plug(0);
    ASSERT_TRUE(ZEKAInit([](bool connected) { announced = connected; }));
    ASSERT_TRUE(zeka::test::WaitUntil([] { return announced.load(); }));
    stop = true;
    application.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(early, 0);
    // The application puts no byte on the wire up to the last impedance write of the set-up. A reply that a
    // busy machine held up costs pings. The instrument notes a command behind its reply, so the last one may
    // still be missing.
    constexpr int kSetUp = 24;
    const auto set_up = [this] {
        const auto commands = instrument.Commands();
        return std::ranges::count_if(commands, [](const auto& one) { return one.bytes[0] == 0x00; });
    };
    ASSERT_TRUE(zeka::test::WaitUntil([&] { return set_up() >= kSetUp; }));
    const auto commands = instrument.Commands();
    for (int i = 3, seen = 0; seen < kSetUp; ++i) {
        const std::uint8_t group = commands[static_cast<std::size_t>(i)].bytes[0];
        EXPECT_TRUE(group == 0x00 || group == 0x55) << i;
        seen += group == 0x00 ? 1 : 0;
    }
}

TEST_F(Connection, AListenerMayStartAStreamAndGoOnSettingIt)
{
    static std::atomic<int> results{-100};
    instrument.Plug(0);
    ASSERT_TRUE(ZEKAInit([](bool connected) {
        if (connected)
            results = ZEKASetOutputFunction(1) + ZEKASetAmplitude(2.0) + ZEKASetFrequency(10.0);
    }));
    ASSERT_TRUE(zeka::test::WaitUntil([] { return results.load() != -100; }));
    EXPECT_EQ(results, 0);
    EXPECT_TRUE(ZEKAIsPlaying());
}

TEST_F(Connection, IsFoundAmongDevicesThatAreSilentOrOfAnotherKind)
{
    zeka::sim::Instrument mute;
    mute.Inject({.fault = Fault::kNoReply});
    zeka::sim::Instrument other{[] {
        zeka::sim::InstrumentConfig config;
        config.identity.letter = 'Q';
        return config;
    }()};
    mute.Plug(0);
    other.Plug(1);
    instrument.Plug(4);
    EXPECT_EQ(ZEKAConnect(-1, 20000), 1);
    EXPECT_TRUE(std::filesystem::exists("/var/lock/kestrava.ACM4.lock"));
    EXPECT_FALSE(std::filesystem::exists("/var/lock/kestrava.ACM0.lock"));
}

TEST_F(Connected, DeviceChangeMessageMakesTheSupervisorAskAtOnce)
{
    instrument.ClearCommands();
    WinEventCb(536, 0, 0);
    WinEventCb(537, 0, 0);
    EXPECT_TRUE(instrument.WaitFor(
        [&] {
            const auto commands = instrument.Commands();
            return !commands.empty() && commands.front().bytes[0] == 0x55;
        },
        zeka::test::kPatience));
    EXPECT_TRUE(ZEKAIsConnected());
}

} // namespace
