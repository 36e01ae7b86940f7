// lifecycle_test.cpp - start and end in every order, from many threads, from callbacks, and beside fork.
#include <filesystem>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "system/connected.h"

namespace {

using zeka::sim::Fault;
using zeka::test::Clock;
using zeka::test::Connected;
using zeka::test::Listener;
using zeka::test::milliseconds;
using zeka::test::Since;

bool Locked() { return std::filesystem::exists("/var/lock/kestrava.ACM0.lock"); }

TEST(Lifecycle, FreeWithoutASupervisorIsHarmless)
{
    ZEKAFree();
    ZEKAFree();
    EXPECT_FALSE(ZEKAIsConnected());
}

TEST(Lifecycle, FreeDuringTheSearchReturnsSoon)
{
    ASSERT_TRUE(ZEKAInit(nullptr));
    const auto start = Clock::now();
    ZEKAFree();
    EXPECT_LT(Since(start), milliseconds{3000});
}

class Free : public Connected {};

TEST_F(Free, WhileStreamingStopsTheOutputAndTellsNobody)
{
    ASSERT_EQ(ZEKASetDCOffset(0, 250), 0);
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(5));
    ZEKAFree();
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_FALSE(ZEKAIsConnected());
    EXPECT_FALSE(Locked());
    EXPECT_EQ(Listener::Get().Heard(), std::vector<bool>{true});
    const auto left = instrument.State();
    EXPECT_FALSE(left.output_on);
    for (std::size_t channel = 0; channel < 4; ++channel)
        EXPECT_EQ(left.control_block[32 + 8 * channel + 2], 0x00) << channel; // DC source: none
    EXPECT_EQ(ZEKAGetDCOffset(), 0);
    ZEKAFree();
    ASSERT_TRUE(ZEKAInit(Listener::Hear)); // and again
    EXPECT_TRUE(Listener::Get().WaitForCount(2));
}

TEST_F(Free, WhenTheInstrumentNoLongerAsksEndsAllTheSame)
{
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(5));
    instrument.Inject({.fault = Fault::kStopAsking});
    std::this_thread::sleep_for(milliseconds{300});
    const auto start = Clock::now();
    ZEKAFree();
    EXPECT_LT(Since(start), milliseconds{8000});
    EXPECT_FALSE(ZEKAIsPlaying());
    EXPECT_FALSE(Locked());
}

TEST_F(Free, FromManyThreadsWhileOthersStart)
{
    for (int round = 0; round < 5; ++round) {
        std::vector<std::thread> callers;
        for (int caller = 0; caller < 6; ++caller)
            callers.emplace_back([caller] {
                if (caller % 3 == 2)
                    (void)ZEKAInit(nullptr);
                else
                    ZEKAFree();
            });
        for (std::thread& caller : callers)
            caller.join();
    }
    ZEKAFree();
    EXPECT_FALSE(Locked());
    EXPECT_EQ(ZEKAConnect(0, 20000), 1);
}

TEST_F(Free, FromTheSignalCallbackReturnsAndTheEndFollows)
{
    static std::atomic<bool> freed{false};
    ZEKARegisterSignalOutputCallback([](double, double) {
        if (!freed.exchange(true))
            ZEKAFree();
    });
    (void)ZEKASetOutputFunction(1);
    EXPECT_TRUE(zeka::test::WaitUntil([] { return freed && !ZEKAIsConnected() && !Locked(); }));
    ZEKARegisterSignalOutputCallback(nullptr);
    EXPECT_TRUE(ZEKAInit(Listener::Hear));
    EXPECT_TRUE(Listener::Get().WaitForCount(2));
}

TEST_F(Free, FromACallbackOfTheFirstBurstReturnsAndTheEndFollows)
{
    static std::atomic<bool> freed{false};
    static std::atomic<int> took_ms{0};
    ZEKARegisterSignalOutputCallback([](double, double) {
        if (!freed.exchange(true)) {
            const auto start = Clock::now();
            ZEKAFree();
            took_ms = static_cast<int>(Since(start).count());
        }
    });
    (void)ZEKASetOutputFunction(1); // its first burst is built on this thread
    EXPECT_TRUE(zeka::test::WaitUntil([] { return freed && !ZEKAIsConnected() && !Locked(); }));
    EXPECT_LT(took_ms, 5000);
    ZEKARegisterSignalOutputCallback(nullptr);
}

TEST(Daemon, MayForkFirstAndConnectThen)
{
    zeka::sim::Instrument instrument;
    instrument.Plug(0);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool connected =
            ZEKAConnect(0, 20000) == 1 && zeka::test::ThreadCount() >= 4; // the monitor too
        std::exit(connected ? 0 : 1);
    }
    int status = -1;
    ASSERT_TRUE(zeka::test::WaitUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; }));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_FALSE(Locked());
}

TEST_F(Free, FromTheListenerReturnsAndTheEndFollows)
{
    static std::atomic<bool> freed{false};
    ASSERT_TRUE(ZEKAInit([](bool connected) {
        if (!connected) {
            ZEKAFree();
            freed = true;
        }
    }));
    instrument.Unplug();
    EXPECT_TRUE(zeka::test::WaitUntil([] { return freed.load(); }));
    instrument.Replug();
    EXPECT_EQ(ZEKAConnect(0, 20000), 1);
}

TEST_F(Free, AChildOfForkThatEndsDisturbsNothing)
{
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(5));
    for (int round = 0; round < 5; ++round) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(5); // ends a child that hangs, and says so by its status
            ZEKAFree();
            std::exit(0); // runs the library's unloading in the child
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_TRUE(Locked());
    EXPECT_TRUE(ZEKAIsConnected());
    EXPECT_EQ(ZEKASetAmplitude(2.0), 0);
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
}

} // namespace
