// search_test.cpp - which port is taken, what a failed search leaves behind, and a presence check that cannot
// be made.
#include "link/serial_link.h"
#include "link/unseen_shell.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "support/fixture.h"
#include "zeka/zeka.h"

namespace {

using zeka::sim::Fault;
using zeka::sim::FaultRule;
using zeka::sim::Instrument;
using zeka::sim::InstrumentConfig;

bool Locked(int port)
{
    return std::filesystem::exists("/var/lock/kestrava.ACM" + std::to_string(port) + ".lock");
}

class Search : public zeka::test::InstrumentTest {
protected:
    Search() : InstrumentTest({}, Start::kUnplugged) {}
    ~Search() override { DeviceClose(); }
};

TEST_F(Search, TakesTheFirstPortThatHoldsTheInstrumentAndIsFree)
{
    Instrument other_model{[] {
        InstrumentConfig config;
        config.identity.letter = 'Y';
        return config;
    }()};
    Instrument second;
    other_model.Plug(1);
    instrument.Plug(2);
    second.Plug(5);

    ASSERT_TRUE(FindDevice(-1));
    EXPECT_STREQ(g_szDevicePath, "/dev/ttyACM2");
    EXPECT_TRUE(DeviceIsAlive());
    EXPECT_TRUE(Locked(2));
    EXPECT_FALSE(Locked(1));

    const pid_t child = ::fork(); // another process finds 2 locked and goes on to 5
    if (child == 0) {
        g_hDevice = -1; // the parent's
        g_nLockFile = -1;
        const bool found = FindDevice(-1) && std::strcmp(g_szDevicePath, "/dev/ttyACM5") == 0;
        DeviceClose();
        ::_exit(found ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(Locked(2));

    DeviceClose();
    EXPECT_FALSE(Locked(2));
    EXPECT_EQ(g_szDevicePath[0], '\0');
    EXPECT_FALSE(DeviceIsAlive());
}

TEST_F(Search, ReadsOnToItsReplyWhateverStaleBytesStandBeforeIt)
{
    instrument.Plug(0);
    // Left over from a former connection: sample requests, an odd number of bytes, somebody's ping reply.
    std::array<std::uint8_t, 64> request{0x01, 0x55};
    const std::array<std::uint8_t, 12> old_reply{0, 0, 0, 0, 'Z', 'Z', 'E', 9, 9, 9, 9, 9};
    instrument.SendBytes(request);
    instrument.SendBytes(request);
    instrument.SendBytes(std::array<std::uint8_t, 5>{1, 2, 3, 4, 5});
    ASSERT_TRUE(DoFindDevice(0));
    EXPECT_STREQ(ZEKAGetSerialNumber(), "ZZE023A-210345");
    DeviceClose();

    instrument.SendBytes(old_reply);
    ASSERT_TRUE(DoFindDevice(0));
    ZEKA_HW_INFORMATION hardware{};
    ASSERT_EQ(ZEKAGetHWInformation(&hardware), 1);
    EXPECT_EQ(hardware.nStoredInfo0, 0x13u);
    EXPECT_EQ(hardware.nQueryInfo, 0x15u);
}

TEST_F(Search, OfAnEmptyPortLeavesNothingBehindAndPausesAfterEachAttempt)
{
    const auto descriptors = zeka::test::OpenDescriptors();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(DeviceConnect(7, 1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds{1});
    EXPECT_FALSE(DeviceConnect(7, 0));
    EXPECT_EQ(g_hDevice, -1);
    EXPECT_EQ(zeka::test::OpenDescriptors(), descriptors);

    instrument.Plug(7);
    instrument.Inject({.fault = Fault::kNoReply});
    EXPECT_FALSE(FindDevice(7));
    EXPECT_FALSE(Locked(7));
    EXPECT_EQ(g_hDevice, -1);
}

TEST_F(Search, APresenceCheckThatCannotBeMadeIsNoLoss)
{
    instrument.Plug(0);
    ASSERT_TRUE(DoFindDevice(0));
    ::signal(SIGCHLD, SIG_IGN); // an ordinary child could not be waited for
    EXPECT_TRUE(DeviceIsAlive());
    ::signal(SIGCHLD, SIG_DFL);

    rlimit none{};
    ::getrlimit(RLIMIT_NOFILE, &none);
    const rlim_t before = none.rlim_cur;
    none.rlim_cur = 3; // a full descriptor table: no pipe for the listing
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(zeka::CheckPresence(), zeka::Presence::kUnknown);
    EXPECT_FALSE(DeviceIsAlive());
    none.rlim_cur = before;
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(zeka::CheckPresence(), zeka::Presence::kThere);

    instrument.Unplug();
    EXPECT_TRUE(zeka::test::WaitUntil([] { return zeka::CheckPresence() == zeka::Presence::kGone; }));
}

TEST_F(Search, ThePresenceCheckIsNoChildThatTheApplicationSees)
{
    instrument.Plug(0);
    ASSERT_TRUE(DoFindDevice(0));
    static std::atomic<int> signals{0};
    ::signal(SIGCHLD, [](int) { ++signals; });
    std::atomic<bool> stop{false};
    int seen = 0;
    std::thread application([&] {
        for (int status = 0; !stop; std::this_thread::yield())
            seen += ::waitpid(-1, &status, WNOHANG) != -1;
    });
    for (int round = 0; round < 20; ++round)
        EXPECT_TRUE(DeviceIsAlive());
    stop = true;
    application.join();
    EXPECT_EQ(seen, 0);
    EXPECT_EQ(signals, 0);
    EXPECT_EQ(::waitpid(-1, nullptr, __WALL), -1); // no zombie is left
    ::signal(SIGCHLD, SIG_DFL);
}

TEST(UnseenShell, OfAnyLengthIsBoundedAndSaysHowItEnded)
{
    const auto never = [] { return false; };
    std::string output;
    const auto take = [&output](std::string_view piece) { output += piece; };
    const auto in_ms = [](unsigned ms) { return zeka::Deadline::InMs(ms); };
    EXPECT_EQ(zeka::RunUnseenShell("seq 20000; exit 3", in_ms(20000), take, never), 3);
    EXPECT_EQ(output.size(), 108894u);
    EXPECT_EQ(zeka::RunUnseenShell("kill -9 $$", in_ms(20000), take, never), 126);

    const auto descriptors = zeka::test::OpenDescriptors();
    for (const bool by_time : {true, false}) {
        output.clear();
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(zeka::RunUnseenShell("echo $$; sleep 60; :", in_ms(by_time ? 500 : 30000), take,
                                       [&] { return !by_time && !output.empty(); }),
                  std::nullopt);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{15});
        const int shell = std::atoi(output.c_str());
        ASSERT_GT(shell, 0);
        EXPECT_TRUE(zeka::test::WaitUntil([shell] { return ::kill(shell, 0) == -1; }));
    }
    EXPECT_EQ(zeka::test::OpenDescriptors(), descriptors);
}

} // namespace
