// system_calls_test.cpp - what the system is told when a port is opened and closed, and in which order; and a
// driver that lets either wait.
#include "support/system_calls.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "link/serial_link.h"
#include "support/fixture.h"

namespace {

using zeka::test::ForgetSystemCalls;
using zeka::test::milliseconds;
using zeka::test::PlaceOf;
using zeka::test::SystemCalls;

const std::string kNode = "/dev/ttyACM0";
const std::string kLock = "/var/lock/kestrava.ACM0.lock";

class SystemCall : public zeka::test::InstrumentTest {
protected:
    void TearDown() override
    {
        DeviceClose();
        InstrumentTest::TearDown();
    }
};

TEST_F(SystemCall, OrderOfASearchIsOpenLockSettingsPing)
{
    ASSERT_TRUE(DoFindDevice(0));
    const auto calls = SystemCalls();
    ASSERT_GT(calls.size(), 4u);
    EXPECT_EQ(calls[0], "open " + kNode + " rw noctty nonblock cloexec");
    EXPECT_EQ(calls[1], "open " + kLock + " rw excl cloexec");
    EXPECT_EQ(calls[2], "write " + kLock + " 4");
    EXPECT_EQ(calls[3], "tcsetattr");
    EXPECT_EQ(calls[4], "write " + kNode + " 3");
}

TEST_F(SystemCall, NothingIsSetOrSentOnAPortThatIsLockedElsewhere)
{
    const std::int32_t other = ::getppid();
    std::ofstream(kLock, std::ios::binary).write(reinterpret_cast<const char*>(&other), sizeof other);
    ForgetSystemCalls();
    EXPECT_FALSE(DoFindDevice(0));
    const auto calls = SystemCalls();
    for (const std::string none : {"tcsetattr", "tcflush", "write", "unlink"})
        EXPECT_EQ(PlaceOf(calls, none), calls.size()) << none;
    std::filesystem::remove(kLock);
}

TEST_F(SystemCall, OrderOfACloseIsFlushCloseUnlock)
{
    ASSERT_TRUE(DoFindDevice(0));
    ForgetSystemCalls();
    DeviceClose();
    const auto calls = SystemCalls();
    EXPECT_EQ(PlaceOf(calls, "tcflush out"), 0u);
    EXPECT_LT(PlaceOf(calls, "close " + kNode), PlaceOf(calls, "unlink " + kLock));
    EXPECT_LT(PlaceOf(calls, "unlink " + kLock), calls.size());
}

// The driver would wait 30 s for output that the instrument does not take, and any open for that close.
TEST_F(SystemCall, OpenAndCloseEndInTimeThoughTheDriverWaits)
{
    const auto took = [](auto&& call) {
        const auto start = std::chrono::steady_clock::now();
        call();
        return std::chrono::steady_clock::now() - start;
    };
    zeka::test::open_blocks = true;
    EXPECT_LT(took([] { EXPECT_FALSE(DoFindDevice(0)); }), milliseconds{2500});
    zeka::test::open_blocks = false;
    ASSERT_TRUE(DoFindDevice(0));
    zeka::test::close_blocks = true;
    EXPECT_LT(took([] { DeviceClose(); }), milliseconds{2500});
    EXPECT_FALSE(std::filesystem::exists(kLock));
    struct sigaction action {};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) { // the borrowed one is given back
        ASSERT_EQ(::sigaction(signal, nullptr, &action), 0);
        EXPECT_EQ(action.sa_handler, SIG_DFL) << signal;
    }
}

TEST_F(SystemCall, ALockWhoseOwnerMayNotBeAskedIsStale)
{
    const std::int32_t other = ::getppid();
    std::ofstream(kLock, std::ios::binary).write(reinterpret_cast<const char*>(&other), sizeof other);
    zeka::test::kill_is_forbidden = true;
    EXPECT_TRUE(LockDeviceFile(0));
    zeka::test::kill_is_forbidden = false;
    UnlockDeviceFile();
}

TEST_F(SystemCall, TheLockFolderIsMadeWhereThereIsNone)
{
    zeka::test::lock_folder_is_missing = true;
    ForgetSystemCalls();
    EXPECT_TRUE(LockDeviceFile(0)); // it is there, and the failure of making it does not matter
    EXPECT_EQ(PlaceOf(SystemCalls(), "mkdir /var/lock"), 0u);
    UnlockDeviceFile();
}

} // namespace
