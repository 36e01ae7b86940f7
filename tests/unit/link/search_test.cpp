// search_test.cpp - which port is taken, what a failed search leaves behind, and a presence check that cannot
// be made.
#include "link/bounded_call.h"
#include "link/foreign_ports.h"
#include "link/serial_link.h"
#include "link/unseen_shell.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
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

// What exists and cannot be opened: ENXIO.
bool MakeSocketFile(const char* path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    const int end = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool made = ::bind(end, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(end);
    return made;
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

TEST_F(Search, OfANodeThatHasJustAppearedTriesAgainAndTakesItsTime)
{
    instrument.Plug(0);
    const std::string terminal = instrument.State().terminal;
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::filesystem::path node = folder / ("node." + std::to_string(::getpid()));
    const std::filesystem::path ready = folder / ("ready." + std::to_string(::getpid()));
    for (const int error : {ENXIO, ENODEV}) {
        if (error == ENODEV ? ::mknod(node.c_str(), S_IFCHR | 0600, makedev(10, 254)) != 0
                            : !MakeSocketFile(node.c_str()))
            continue; // not everyone may make a device node
        const int direct = ::open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (direct >= 0)
            ::close(direct);
        else if (errno == error) {
            std::thread driver([&] {
                std::this_thread::sleep_for(std::chrono::milliseconds{100});
                std::filesystem::create_symlink(terminal, ready);
                std::filesystem::rename(ready, node);
            });
            const int fd = zeka::OpenNode(node.c_str(), 20000);
            EXPECT_GE(fd, 0) << error;
            ::close(fd);
            driver.join();
        }
        std::filesystem::remove(node);
    }
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(DoFindDevice(0));
    // Between request and reply of the information page 20 ms, of the module query 40 ms.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{60});
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

TEST(ForeignPorts, AreLeftAloneForTenSecondsAtMostUntilTheyAnswerOrAreReplaced)
{
    using std::chrono::seconds;
    zeka::ForeignPorts ports;
    const zeka::NodeId modem{1, 2, 3, 4};
    const zeka::NodeId plugged_again{1, 2, 3, 5};
    zeka::ForeignPorts::Time now{};
    const zeka::ForeignPorts::Time begin = now;
    const auto ask_until = [&](seconds end) {
        int asked = 0;
        for (; now < begin + end; now += seconds{1})
            if (ports.MayAsk(5, modem, now)) {
                ports.NoteSilence(5, modem, now);
                ++asked;
            }
        return asked;
    };
    EXPECT_EQ(ask_until(seconds{3}), 3);  // at 0, 1 and 2 s: as often as the search comes by
    EXPECT_EQ(ask_until(seconds{20}), 4); // at 3, 5, 9 and 17 s
    EXPECT_EQ(ask_until(seconds{120}), 10);
    EXPECT_FALSE(ports.MayAsk(5, modem, now));
    EXPECT_TRUE(ports.MayAsk(6, modem, now));
    EXPECT_TRUE(ports.MayAsk(5, plugged_again, now));
    EXPECT_TRUE(ports.MayAsk(5, modem, now + seconds{10}));
    ports.NoteAnswer(5, plugged_again);
    for (int round = 0; round < 9; ++round)
        ports.NoteSilence(5, plugged_again, now);
    EXPECT_TRUE(ports.MayAsk(5, plugged_again, now)); // it has answered before: it is only mute
}

TEST(UsbIds, TellAnotherDeviceOnlyWhereTheNodeIsCertainlyIts)
{
    const std::filesystem::path sysfs =
        std::filesystem::temp_directory_path() / ("usb-ids." + std::to_string(::getpid()));
    const std::filesystem::path device = sysfs / "devices/usb1/1-2";
    std::filesystem::create_directories(device / "1-2:1.0/tty/ttyACM3");
    std::filesystem::create_directories(sysfs / "class/tty");
    std::filesystem::create_directory_symlink(device / "1-2:1.0/tty/ttyACM3", sysfs / "class/tty/ttyACM3");
    std::filesystem::create_directory_symlink("../..", device / "1-2:1.0/tty/ttyACM3/device");
    const auto write = [](const std::filesystem::path& path, const char* text) {
        std::ofstream(path) << text << '\n';
    };
    write(device / "1-2:1.0/tty/ttyACM3/dev", "166:3");
    write(device / "idVendor", "2341");
    write(device / "idProduct", "0043");
    const auto is_another = [&](int port, unsigned minor, const char* vendor, const char* product) {
        zeka::NodeId node;
        node.device = makedev(166, minor);
        return zeka::IsAnotherUsbDevice(sysfs.string(), port, node, {vendor, product});
    };
    EXPECT_TRUE(is_another(3, 3, "1209", "abcd"));
    EXPECT_TRUE(is_another(3, 3, "2341", "abcd"));
    EXPECT_FALSE(is_another(3, 3, "2341", "0043"));
    EXPECT_FALSE(is_another(3, 3, "", "")); // not configured
    EXPECT_FALSE(is_another(4, 4, "1209", "abcd"));
    EXPECT_FALSE(is_another(3, 7, "1209", "abcd")); // the node is another one's: a virtual instrument, say
    std::filesystem::remove_all(sysfs);
}

TEST_F(Search, AsksAMutePortLessAndLessAndFindsWhatIsPluggedInsteadAtOnce)
{
    instrument.Plug(0);
    const int mute = instrument.Inject({.fault = Fault::kNoReply});
    for (int round = 0; round < 8; ++round)
        EXPECT_FALSE(FindDevice(-1));
    EXPECT_EQ(instrument.Commands().size(), 4u); // pings
    EXPECT_FALSE(FindDevice(0));                 // named: asked all the same
    EXPECT_EQ(instrument.Commands().size(), 5u);
    instrument.Clear(mute);
    instrument.Replug();
    EXPECT_TRUE(FindDevice(-1));
}

} // namespace
