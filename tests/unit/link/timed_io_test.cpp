// timed_io_test.cpp - reads and writes within one time budget, the hang-up, and a close under waiting
// threads.
#include "link/serial_link.h"

#include <array>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/resource.h>
#include <sys/socket.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "link/port.h"
#include "platform/global_objects.h"
#include "support/signal_storm.h"
#include "zeka/zeka.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

milliseconds Since(Clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

// A raw pseudo-terminal; the library's side is the open device.
class Terminal : public testing::Test {
protected:
    void SetUp() override
    {
        master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(master, 0);
        ASSERT_EQ(::grantpt(master), 0);
        ASSERT_EQ(::unlockpt(master), 0);
        slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(slave, 0);
        termios raw{};
        ::tcgetattr(slave, &raw);
        ::cfmakeraw(&raw);
        ::tcsetattr(slave, TCSANOW, &raw);
        zeka::OpenPort(slave);
    }
    void TearDown() override
    {
        DeviceClose();
        PullCable();
    }
    void PullCable()
    {
        if (master >= 0)
            ::close(master);
        master = -1;
    }
    void Send(std::size_t count)
    {
        const std::vector<unsigned char> bytes(count, 'x');
        ASSERT_EQ(::write(master, bytes.data(), count), static_cast<ssize_t>(count));
    }

    int master = -1;
    int slave = -1;
    std::array<unsigned char, 64> block{};
};

TEST_F(Terminal, ReadsWhatCameWithinTheBudget)
{
    Send(64);
    EXPECT_EQ(ReadDataEx(block.data(), 64, 1000), 64);
    const auto start = Clock::now();
    EXPECT_EQ(ReadDataEx(block.data(), 64, 100), -1); // nothing at all
    EXPECT_GE(Since(start), milliseconds{100});
    Send(20);
    EXPECT_EQ(ReadDataEx(block.data(), 64, 100), 20); // some, then silence

    std::thread drip([this] {
        for (int i = 0; i < 40; ++i) {
            Send(1);
            std::this_thread::sleep_for(milliseconds{50});
        }
    });
    const auto dripping = Clock::now();
    EXPECT_LT(ReadDataEx(block.data(), 40, 200), 40); // a piece brings no new time
    EXPECT_LT(Since(dripping), milliseconds{1500});
    drip.join();
}

TEST_F(Terminal, AHangUpEndsAReadAtOnceAndWakesWhoeverWaitsForTheInstrument)
{
    std::thread unplug([this] {
        std::this_thread::sleep_for(milliseconds{50});
        PullCable();
    });
    const auto start = Clock::now();
    EXPECT_EQ(ReadDataEx(block.data(), 64, 10000), 0);
    EXPECT_LT(Since(start), milliseconds{5000});
    unplug.join();
    EXPECT_TRUE(zeka::DeviceLost());
    EXPECT_FALSE(zeka::DeviceUsable());
    EXPECT_TRUE(DeviceIsConnected()); // still open until it is closed
    EXPECT_EQ(g_hReconnectEvent.WaitTimeout(0), 0u);
    EXPECT_EQ(g_hProcessRequestEvent.WaitTimeout(0), 0u);
    EXPECT_EQ(ReadDataEx(block.data(), 64, 10000), 0);
    EXPECT_EQ(WriteData(block.data(), 64, 1), 0);
}

TEST_F(Terminal, AForeignVminOfZeroIsNoHangUp)
{
    termios raw{};
    ::tcgetattr(slave, &raw);
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    ::tcsetattr(slave, TCSANOW, &raw);
    EXPECT_EQ(ReadDataEx(block.data(), 64, 50), -1);
    Send(64);
    EXPECT_EQ(ReadDataEx(block.data(), 64, 1000), 64);
    EXPECT_FALSE(zeka::DeviceLost());
}

TEST_F(Terminal, AWriteLargerThanTheDriverTakesAtOnceArrivesWholeAndInOrder)
{
    std::vector<unsigned char> sent(40000);
    std::iota(sent.begin(), sent.end(), static_cast<unsigned char>(0));
    std::vector<unsigned char> received;
    std::thread reader([&] {
        std::array<unsigned char, 997> piece{};
        while (received.size() < sent.size()) {
            const ssize_t got = ::read(master, piece.data(), piece.size());
            if (got <= 0)
                break;
            received.insert(received.end(), piece.begin(), piece.begin() + got);
        }
    });
    SetDeviceTimeoutSetting(0, 10000);
    EXPECT_EQ(WriteData(sent.data(), static_cast<int>(sent.size()), 1), static_cast<int>(sent.size()));
    reader.join();
    EXPECT_EQ(received, sent);
}

TEST_F(Terminal, AStalledInstrumentMakesAWriteReturnZeroAfterTheTimeOut)
{
    std::vector<unsigned char> burst(3200);
    int written = 0;
    for (int i = 0; i < 40 && (written = WriteData(burst.data(), 3200, 1)) == 3200; ++i) {
    }
    EXPECT_EQ(written, 0);
    const auto start = Clock::now();
    DeviceClose(); // with output that nobody took
    EXPECT_LT(Since(start), milliseconds{2000});
}

TEST_F(Terminal, CloseWakesAReaderAndWaitsForItBeforeTheDescriptorGoes)
{
    std::atomic<bool> reading{false};
    std::atomic<int> result{-2};
    std::thread reader([&] {
        reading = true;
        result = ReadDataEx(block.data(), 64, 20000);
    });
    while (!reading)
        std::this_thread::yield();
    std::this_thread::sleep_for(milliseconds{20});
    const auto start = Clock::now();
    DeviceClose();
    EXPECT_LT(Since(start), milliseconds{5000});
    reader.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(g_hDevice, -1);
    EXPECT_EQ(::fcntl(slave, F_GETFD), -1);
}

TEST_F(Terminal, IsNotClosedWhileAChildIsBeingStarted)
{
    std::atomic<bool> closed{false};
    std::thread closer;
    {
        const zeka::NoClose starting;
        ASSERT_TRUE(starting.Holds());
        closer = std::thread([&closed] {
            DeviceClose();
            closed = true;
        });
        while (DeviceIsConnected())
            std::this_thread::yield();
        std::this_thread::sleep_for(milliseconds{50});
        EXPECT_FALSE(closed);
        EXPECT_NE(::fcntl(slave, F_GETFD), -1);
    }
    closer.join();
    EXPECT_EQ(::fcntl(slave, F_GETFD), -1);
    EXPECT_TRUE(zeka::NoClose().Holds()); // with no device open
}

TEST_F(Terminal, IsVisibleToTheSearchingThreadAlone)
{
    Send(64);
    const zeka::PrivateDevice searching;
    EXPECT_TRUE(zeka::DeviceUsable());
    std::thread([] {
        std::array<unsigned char, 64> other{};
        EXPECT_FALSE(zeka::DeviceUsable());
        EXPECT_EQ(ReadDataEx(other.data(), 64, 1000), 0);
        EXPECT_EQ(WriteData(other.data(), 64, 1), 0);
        EXPECT_EQ(ZEKAGetDeviceHandle(), -1);
        EXPECT_EQ(ZEKASetAmplitude(2.0), -1);
    }).join();
    EXPECT_EQ(ReadDataEx(block.data(), 64, 1000), 64);
}

TEST_F(Terminal, BudgetsKeepTheirLengthUnderAStormOfSignals)
{
    const zeka::test::SignalStorm storm;
    ASSERT_TRUE(storm.Running());
    const auto start = Clock::now();
    EXPECT_EQ(ReadDataEx(block.data(), 64, 500), -1);
    EXPECT_GE(Since(start), milliseconds{500});
    EXPECT_LT(Since(start), milliseconds{2500});
}

TEST(ClosedDevice, MovesNoBytesAndDescriptorsAbove1023Work)
{
    std::array<unsigned char, 64> block{};
    EXPECT_EQ(ReadDataEx(block.data(), 64, 1000), 0);
    EXPECT_EQ(WriteData(block.data(), 64, 1), 0);
    EXPECT_FALSE(DeviceIsAlive());

    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < 1200)
        GTEST_SKIP() << "the process may not have so many descriptors";
    limit.rlim_cur = limit.rlim_max < 4096 ? limit.rlim_max : 4096;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    const int high = ::fcntl(ends[0], F_DUPFD_CLOEXEC, 1100);
    ASSERT_GE(high, 1100);
    ::close(ends[0]);
    zeka::OpenPort(high);
    ASSERT_EQ(::write(ends[1], "abc", 3), 3);
    EXPECT_EQ(ReadDataEx(block.data(), 3, 1000), 3);
    DeviceClose();
    ::close(ends[1]);
}

} // namespace
