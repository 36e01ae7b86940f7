// private_world_test.cpp - programs in a private /dev and /var/lock, and with an instrument plugged in. These
// tests run in a private world themselves, so each one takes the mark off first and makes a world within the
// world.
#include "sim/private_dev.h"
#include "sim/run.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace zeka::test {
namespace {

constexpr const char* kMark = "ZEKA_PRIVATE_DEV";
constexpr int kNoWorld = 125;
constexpr unsigned kOrdinaryUser = 65534;

/// Runs `work` in a forked process and returns its exit status.
int InChild(const std::function<int()>& work)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(work());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

int Shell(const std::string& script)
{
    ::unsetenv(kMark);
    std::string copy = script;
    char* const argv[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), copy.data(), nullptr};
    return sim::RunInPrivateDev(argv, sim::NoPrivateDev::kFail);
}

bool BecomeOrdinaryUser()
{
    if (::geteuid() != 0)
        return true;
    return ::setresgid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) == 0 &&
           ::setresuid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) == 0;
}

constexpr const char* kLookAround = "test -c /dev/null && test -c /dev/ptmx && test -d /dev/pts && "
                                    "echo x > /dev/null && : > /dev/ttyACM77 && : > /var/lock/zeka-trace && "
                                    "test -z \"$(ls /dev/ttyACM* | grep -v 77)\" && "
                                    "test \"$(ls /var/lock)\" = zeka-trace && exit 42";

TEST(PrivateWorld, HasItsOwnNodesAndLocks)
{
    const int status = InChild([] { return Shell(kLookAround); });
    if (status == kNoWorld)
        GTEST_SKIP() << "no namespaces here";
    EXPECT_EQ(status, 42);
    EXPECT_FALSE(std::filesystem::exists("/dev/ttyACM77"));
    EXPECT_FALSE(std::filesystem::exists("/var/lock/zeka-trace"));
}

TEST(PrivateWorld, IsOpenToAnOrdinaryUser)
{
    const int status = InChild([] { return BecomeOrdinaryUser() ? Shell(kLookAround) : kNoWorld; });
    if (status == kNoWorld)
        GTEST_SKIP() << "no user namespaces for ordinary users here";
    EXPECT_EQ(status, 42);
}

TEST(PrivateWorld, TellsHowAProgramEnded)
{
    EXPECT_EQ(InChild([] { return Shell("exit 7"); }), 7);
    EXPECT_EQ(InChild([] { return Shell("kill -9 $$"); }), 128 + SIGKILL);
    EXPECT_EQ(InChild([] {
                  ::unsetenv(kMark);
                  char* const argv[] = {const_cast<char*>("/no/such/program"), nullptr};
                  return sim::RunInPrivateDev(argv, sim::NoPrivateDev::kFail);
              }),
              127);
}

TEST(PrivateWorld, PassesSignalsOnAndEndsWithItsMaker)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const auto start = [&ends](const std::string& script) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::dup2(ends[1], 1);
            ::close(ends[0]);
            ::close(ends[1]);
            ::_exit(Shell(script));
        }
        char byte = 0;
        EXPECT_EQ(::read(ends[0], &byte, 1), 1);
        return child;
    };
    int status = 0;
    const pid_t told = start("trap 'exit 9' TERM; echo; while :; do sleep 0.05; done");
    ::kill(told, SIGTERM);
    ::waitpid(told, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 9);

    const pid_t killed = start("echo; while :; do sleep 0.05; done");
    ::kill(killed, SIGKILL);
    ::waitpid(killed, &status, 0);
    ::close(ends[1]);
    char rest = 0;
    while (::read(ends[0], &rest, 1) > 0) {
    } // ends when nobody in the world has the pipe any more
    ::close(ends[0]);
}

TEST(SimulatedRun, ShowsTheProgramAnInstrument)
{
    sim::SimOptions options;
    options.quiet = true;
    options.instrument.port = 4;
    options.program = {"sh", "-c", "test -c /dev/ttyACM4 && exit 23"};
    EXPECT_EQ(InChild([&] { return sim::RunSim(options); }), 23);
    options.program = {"sh", "-c", "kill -2 $$"};
    EXPECT_EQ(InChild([&] { return sim::RunSim(options); }), 128 + SIGINT);
    options.program = {"/no/such/program"};
    EXPECT_EQ(InChild([&] { return sim::RunSim(options); }), 127);
    EXPECT_FALSE(std::filesystem::is_symlink("/dev/ttyACM4"));
}

TEST(SimulatedRun, LastsUntilInterrupted)
{
    sim::SimOptions options;
    options.quiet = true;
    options.instrument.port = 6;
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(sim::RunSim(options));
    while (!std::filesystem::is_symlink("/dev/ttyACM6"))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ::kill(child, SIGINT);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(std::filesystem::is_symlink("/dev/ttyACM6"));
}

TEST(SimulatedRun, ReportsWhatWasPlayed)
{
    sim::InstrumentStats stats;
    stats.stream.bursts = 12;
    std::vector<sim::Sample> played; // begins high: 99 rising edges
    for (int i = 0; i < 40000; ++i)
        played.push_back({32768, static_cast<std::int16_t>(i % 400 < 200 ? 3200 : -3200)});
    const std::string text = sim::ReportText(stats, sim::Measure(played));
    EXPECT_THAT(text, testing::HasSubstr("bursts 12"));
    EXPECT_THAT(text, testing::HasSubstr("min -0.5000 mV  max 0.5000 mV  peak-to-peak 1.0000 mV"));
    EXPECT_THAT(text, testing::HasSubstr("frequency 100.00000 Hz over 98 periods"));
}

} // namespace
} // namespace zeka::test
