// port_test.cpp - a close that one of the port's users keeps waiting: the last one that leaves finishes it.
#include "link/port.h"

#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

#include "link/serial_link.h"
#include "support/fixture.h"

namespace {

using zeka::test::milliseconds;

bool Locked() { return std::filesystem::exists("/var/lock/kestrava.ACM0.lock"); }

class Port : public zeka::test::InstrumentTest {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        descriptors_ = zeka::test::OpenDescriptors().size();
        ASSERT_TRUE(DoFindDevice(0));
        user_ = std::thread([this] {
            // As the presence check while its shell starts: no close wakes it.
            std::optional<zeka::NoClose> until_the_shell_runs(std::in_place);
            holds_ = until_the_shell_runs->Holds();
            (void)zeka::test::WaitUntil([this] { return leave_.load(); });
        });
        ASSERT_TRUE(zeka::test::WaitUntil([this] { return holds_.load(); }));
    }
    void Leave()
    {
        leave_ = true;
        if (user_.joinable())
            user_.join();
    }
    void TearDown() override
    {
        Leave();
        DeviceClose();
        InstrumentTest::TearDown();
    }

    std::size_t descriptors_ = 0;

private:
    std::thread user_;
    std::atomic<bool> holds_{false};
    std::atomic<bool> leave_{false};
};

TEST_F(Port, IsClosedByItsLastUserWhenTheCloseWaitedInVain)
{
    const auto start = std::chrono::steady_clock::now();
    DeviceClose();
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds{3000});
    EXPECT_FALSE(DeviceIsConnected());
    EXPECT_TRUE(Locked());         // another process would open a port that is still open here
    EXPECT_FALSE(DoFindDevice(0)); // nor do we
    EXPECT_TRUE(zeka::CloseUnderWay());
    Leave();
    EXPECT_FALSE(zeka::CloseUnderWay());
    EXPECT_FALSE(Locked());
    EXPECT_EQ(g_szDevicePath[0], '\0');
    EXPECT_LE(zeka::test::OpenDescriptors().size(), descriptors_ + 1); // the one that wakes users
    EXPECT_TRUE(DoFindDevice(0));
}

TEST_F(Port, LeavesNoLockFileAtExitThoughItsUserStays)
{
    zeka::CloseAtExit();
    EXPECT_FALSE(Locked());
    EXPECT_FALSE(DeviceIsConnected());
}

} // namespace
