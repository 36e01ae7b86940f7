// lifecycle_test.cpp - start and end in every order, from many threads, from callbacks, and beside fork.
#include <algorithm>
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
    ASSERT_TRUE(ZEKAInit(Listener::Hear)); // a second time
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

// Returns a bit for every call of a child of fork() that does not answer as with no device open.
int CallsOfAChild()
{
    ::alarm(20); // ends a child that hangs; the status shows it
    const int wrong = (ZEKAIsConnected() || ZEKAIsPlaying() ? 1 : 0) | (ZEKAGetDeviceHandle() != -1 ? 2 : 0) |
                      (ZEKASetAmplitude(3.0) != -1 || SetApnea(true) != 0 ? 4 : 0) |
                      (ZEKASetOutputFunction(0) != -1 || ZEKASetOutputLead(0, 1) != -1 ? 8 : 0) |
                      (ZEKAGetInputImpedanceMode(0) != 0 || ZEKAGetSignalGroundToGNDGround(0) != 1 ? 16 : 0) |
                      (ZEKAGetAmplitude() != 2.0 || ZEKAGetPulseWidth() != 100.0 ? 32 : 0) |
                      (ZEKAInit(nullptr) || ZEKAConnect(-1, 100) != 0 ? 64 : 0);
    ZEKAFree();
    return wrong;
}

void ExpectGoodEnd(pid_t child)
{
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(Free, AChildOfForkFindsNoDeviceAndFreeLocksAndDisturbsNothing)
{
    static std::atomic<pid_t> born_in_callback{0};
    ASSERT_EQ(ZEKASetAmplitude(2.0), 0);
    EXPECT_GE(ZEKAGetDeviceHandle(), 3);
    ASSERT_EQ(ZEKASetOutputFunction(1), 0);
    ASSERT_TRUE(Streams(5));
    std::atomic<bool> stop{false};
    std::thread setter([&stop] { // holds every lock in turn
        while (!stop)
            EXPECT_EQ(ZEKASetInputImpedanceMode(0, 1), 0);
    });
    for (int round = 0; round < 20; ++round) {
        std::this_thread::sleep_for(milliseconds{3});
        const pid_t child = ::fork();
        if (child == 0)
            std::exit(CallsOfAChild()); // runs the library's unloading in the child
        ExpectGoodEnd(child);
    }
    stop = true;
    setter.join();
    ZEKARegisterSignalOutputCallback([](double, double) {
        if (born_in_callback != 0)
            return;
        const pid_t child = ::fork(); // on the poll thread, with the lock
        if (child == 0)
            ::_exit(CallsOfAChild());
        born_in_callback = child;
    });
    ASSERT_TRUE(zeka::test::WaitUntil([] { return born_in_callback != 0; }));
    ZEKARegisterSignalOutputCallback(nullptr);
    ExpectGoodEnd(born_in_callback);
    EXPECT_TRUE(Locked());
    EXPECT_TRUE(ZEKAIsConnected());
    EXPECT_EQ(ZEKASetAmplitude(2.5), 0);
    const auto stats = instrument.Stats();
    EXPECT_EQ(stats.stream.sequence_gaps + stats.unknown_bytes, 0u);
}

TEST_F(Free, AChildThatLivesOnDoesNotKeepThePortOpen)
{
    const auto holds_port = [this] {
        const auto open = zeka::test::OpenDescriptors();
        return std::ranges::find(open, instrument.State().terminal) != open.end();
    };
    EXPECT_TRUE(holds_port());
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(holds_port() ? 1 : 0);
    ExpectGoodEnd(child);
}

} // namespace
