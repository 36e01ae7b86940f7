// plugging_test.cpp - the node and the terminal behind it: appearing, hanging up, being left behind by a
// killed process, and a thread that sleeps while nothing happens.
#include "twin.h"

#include <csignal>
#include <filesystem>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace zeka::test {
namespace {

namespace fs = std::filesystem;

bool NodeThere(int port) { return fs::is_symlink("/dev/ttyACM" + std::to_string(port)); }

TEST_F(Twin, HangsUpAndItsNodeGoes)
{
    instrument.Unplug();
    EXPECT_TRUE(host->HungUp(kPatience));
    EXPECT_FALSE(NodeThere(0));
    EXPECT_EQ(host->Write(kPing), 0u);
    instrument.Plug(5);
    EXPECT_TRUE(NodeThere(5));
    host.emplace("/dev/ttyACM5");
    EXPECT_EQ(host->Exchange(kPing, 12).size(), 12u);
}

TEST_F(Twin, StartsFromPowerUpWhenPluggedInAgain)
{
    SetOutput(true);
    instrument.Replug();
    EXPECT_FALSE(instrument.State().output_on);
    host.emplace("/dev/ttyACM0");
    EXPECT_EQ(host->Exchange(kControlRead, 64).at(2), 0x08);
    EXPECT_FALSE(Asked(milliseconds(40)));
}

TEST_F(Twin, LeavesNothingBehindAfterManyPlugs)
{
    instrument.Replug();
    host.reset();
    const std::size_t threads = ThreadCount();
    const std::size_t descriptors = OpenDescriptors().size();
    for (int i = 0; i < 100; ++i)
        instrument.Replug(i % 3);
    EXPECT_EQ(ThreadCount(), threads);
    EXPECT_EQ(OpenDescriptors().size(), descriptors);
    EXPECT_EQ(NodeThere(0) + NodeThere(1) + NodeThere(2), 1);
}

TEST_F(Twin, KeepsItsSettingsAndAnswersHostsThatComeAndGo)
{
    for (int i = 0; i < 20; ++i) {
        host.reset();
        host.emplace("/dev/ttyACM0");
        ASSERT_EQ(host->Exchange(kPing, 12).size(), 12u) << i;
    }
}

TEST_F(Twin, SleepsWhileNobodyIsThere)
{
    ASSERT_EQ(host->Exchange(kPing, 12).size(), 12u);
    host.reset();
    std::this_thread::sleep_for(milliseconds(50)); // the closing itself wakes it
    const std::uint64_t before = instrument.Stats().wakeups;
    std::this_thread::sleep_for(milliseconds(300));
    EXPECT_LT(instrument.Stats().wakeups - before, 10u);
}

TEST_F(Twin, TakesAnotherInstrumentsPortForTaken)
{
    sim::Instrument second;
    EXPECT_THROW(second.Plug(0), std::system_error);
    second.Plug(1);
    Host other("/dev/ttyACM1");
    EXPECT_EQ(other.Exchange(kPing, 12).size(), 12u);
    EXPECT_EQ(host->Exchange(kPing, 12).size(), 12u);
}

class CookedTwin : public Twin {
protected:
    CookedTwin()
        : Twin([] {
              sim::InstrumentConfig config;
              config.cooked = true;
              return config;
          }())
    {
    }
};

TEST_F(CookedTwin, StartsAsADriverDoes)
{
    termios attributes{};
    ASSERT_EQ(::tcgetattr(host->Descriptor(), &attributes), 0);
    EXPECT_NE(attributes.c_lflag & ICANON, 0u);
    EXPECT_NE(attributes.c_lflag & ECHO, 0u);
    EXPECT_NE(attributes.c_iflag & ICRNL, 0u);
}

/// A process with an instrument on `port`; returns when that is plugged in.
pid_t StartInstrumentProcess(int port, bool guarded)
{
    int ready[2];
    EXPECT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        sim::InstrumentConfig config;
        config.guard_node = guarded;
        sim::Instrument instrument(config);
        instrument.Plug(port);
        (void)!::write(ready[1], "!", 1);
        for (;;)
            ::pause();
    }
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    return child;
}

void Kill(pid_t child)
{
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST(KilledInstrument, ItsGuardedNodeGoes)
{
    const pid_t child = StartInstrumentProcess(7, true);
    EXPECT_TRUE(NodeThere(7));
    Host host("/dev/ttyACM7");
    Kill(child);
    EXPECT_TRUE(host.HungUp(kPatience));
    EXPECT_TRUE(WaitUntil([] { return !NodeThere(7); }));
}

TEST(KilledInstrument, ItsLeftNodeIsReplaced)
{
    if (::geteuid() == 0 && !NodeThere(8) && ::getenv("ZEKA_PRIVATE_DEV") == nullptr)
        GTEST_SKIP() << "in the machine's own /dev every node is guarded";
    Kill(StartInstrumentProcess(8, false));
    EXPECT_TRUE(NodeThere(8));
    sim::Instrument next;
    next.Plug(8);
    Host host("/dev/ttyACM8");
    EXPECT_EQ(host.Exchange(kPing, 12).size(), 12u);
}

TEST(PublishedNode, NeverTakesTheNameOfSomethingElse)
{
    fs::create_symlink("/dev/null", "/dev/ttyACM9");
    sim::Instrument instrument;
    EXPECT_THROW(instrument.Plug(9), std::system_error);
    EXPECT_EQ(fs::read_symlink("/dev/ttyACM9"), "/dev/null");
    EXPECT_FALSE(instrument.State().plugged);
    fs::remove("/dev/ttyACM9");
}

} // namespace
} // namespace zeka::test
