// info_test.cpp - who the instrument is, and why it cannot be reached: every cause has its exit status and
// words that say what to do.
#include "command.h"
#include "support/fixture.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeka::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(NoInstrument, IsToldAtOnceAndNamesTheVirtualOne)
{
    const Outcome outcome = RunZeka({"info"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("no instrument"), HasSubstr("--sim")));
}

TEST(NoInstrument, IsAlsoADeviceThatDoesNotAnswer)
{
    sim::InstrumentConfig foreign;
    foreign.identity.letter = 'X';
    sim::Instrument device(foreign);
    device.Plug(2);
    const Outcome any = RunZeka({"info", "--wait", "1"});
    EXPECT_EQ(any.status, 3);
    EXPECT_THAT(any.err, HasSubstr("/dev/ttyACM2"));
    const Outcome named = RunZeka({"info", "--port", "2", "--wait", "1"});
    EXPECT_EQ(named.status, 7);
    EXPECT_THAT(named.err, HasSubstr("/dev/ttyACM2"));
}

class Info : public InstrumentTest {};

TEST_F(Info, SaysWhoItIs)
{
    const Outcome text = RunZeka({"info"});
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_THAT(text.out,
                AllOf(HasSubstr("ZZE023A-210345"), HasSubstr("/dev/ttyACM0"), HasSubstr("1.0.5.2")));

    const Outcome outcome = RunZeka({"info", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const nlohmann::json result = outcome.Json();
    EXPECT_EQ(result.at("instrument").at("model"), "ZE023A");
    EXPECT_EQ(result.at("instrument").at("node"), "/dev/ttyACM0");
    const sim::Identity identity; // what the virtual instrument has been given
    EXPECT_EQ(result.at("hardware").at("stored"),
              nlohmann::json({identity.stored_info0, identity.stored_info1}));
    EXPECT_EQ(result.at("hardware").at("query"), identity.query_info);
}

sim::InstrumentConfig WithDcSources()
{
    constexpr std::size_t kFirstSource = 34;
    sim::InstrumentConfig config;
    for (std::size_t channel = 0; const int source : {0x01, 0x02, 0x10, 0x2A})
        config.control_block[kFirstSource + 8 * channel++] = static_cast<std::uint8_t>(source);
    return config;
}

class InfoOfChannels : public InstrumentTest {
protected:
    InfoOfChannels() : InstrumentTest(WithDcSources()) {}

    /// How often connecting reads the block: each time to write it. The command's own reading comes next.
    unsigned ReadingsBefore()
    {
        unsigned readings = 0;
        EXPECT_EQ(RunZeka({"info"}).status, 0);
        const std::vector<sim::CommandRecord> commands = instrument.Commands();
        for (std::size_t i = 0; i + 1 < commands.size(); ++i)
            if (commands[i].command == sim::Command::kControlRead) {
                if (commands[i + 1].command != sim::Command::kControlWrite)
                    return readings;
                ++readings;
            }
        ADD_FAILURE() << "the command did not read it";
        return readings;
    }
};

TEST_F(InfoOfChannels, AreWhatTheInstrumentAnswers)
{
    const Outcome outcome = RunZeka({"info", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const nlohmann::json channels = outcome.Json().at("channels");
    ASSERT_EQ(channels.size(), 4u);
    for (std::size_t number = 0; const char* source : {"+300 mV", "-300 mV", "variable", "unknown (0x2A)"}) {
        EXPECT_EQ(channels[number].at("dc_source"), source);
        EXPECT_EQ(channels[number].at("lead"), 0);
        EXPECT_EQ(channels[number++].at("impedance_mode"), 0);
    }
    const Outcome text = RunZeka({"info"}); // the end of the first connection has reset the sources
    EXPECT_THAT(text.out, HasSubstr("lead 0, input impedance mode 0, signal ground open, DC source none"));
}

TEST_F(InfoOfChannels, AreNotMadeUpWithoutAnAnswer)
{
    const unsigned before = ReadingsBefore();
    const auto strike = [&](sim::Fault fault) {
        instrument.ClearFaults();
        instrument.Inject(
            {.fault = fault, .limit = 1, .command = sim::Command::kControlRead, .skip = before});
        return RunZeka({"info"});
    };
    const Outcome ahead = strike(sim::Fault::kRequestAhead);
    EXPECT_EQ(ahead.status, 0) << ahead.err;
    EXPECT_THAT(ahead.out, HasSubstr("channel 3       lead 0, input impedance mode 0"));
    const Outcome outcome = strike(sim::Fault::kNoReply);
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/dev/ttyACM0 did not tell"), HasSubstr("run this again")));
}

TEST_F(Info, WaitsForAnInstrumentThatComesLater)
{
    instrument.Unplug();
    Command command({"info", "--wait", "40", "--json"});
    EXPECT_FALSE(WaitUntil([] { return false; }, milliseconds(1500))); // it is looking by now
    instrument.Plug(1);
    const Outcome outcome = command.Wait();
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.Json().at("instrument").at("node"), "/dev/ttyACM1");
}

TEST_F(Info, TellsWhoHoldsTheInstrument)
{
    const std::filesystem::path lock = "/var/lock/kestrava.ACM0.lock";
    const std::int32_t holder = ::getpid(); // this test
    std::ofstream(lock, std::ios::binary).write(reinterpret_cast<const char*>(&holder), sizeof holder);
    const Outcome outcome = RunZeka({"info"});
    std::filesystem::remove(lock);
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("/dev/ttyACM0"), HasSubstr(std::to_string(holder)), HasSubstr("cli_test")));
}

TEST_F(Info, TakesOverTheLockOfADeadProgram)
{
    const std::filesystem::path lock = "/var/lock/kestrava.ACM0.lock";
    const std::int32_t nobody = 0x7FFFFFFF; // no process can have that number
    std::ofstream(lock, std::ios::binary).write(reinterpret_cast<const char*>(&nobody), sizeof nobody);
    EXPECT_EQ(RunZeka({"info"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(lock));
}

TEST_F(Info, TellsWhoMayNotOpenThePort)
{
    constexpr uid_t kNobody = 65534;
    constexpr int kCannotRun = 126;
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become somebody else";
    struct stat node {};
    ASSERT_EQ(::stat("/dev/ttyACM0", &node), 0);
    const struct group* owner = ::getgrgid(node.st_gid);
    const std::string group = owner != nullptr ? owner->gr_name : std::to_string(node.st_gid);
    const Outcome outcome = RunZeka({"info"}, {.user = kNobody});
    if (outcome.status == kCannotRun)
        GTEST_SKIP() << "this root cannot become somebody else, or nobody may run the command";
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/dev/ttyACM0"), HasSubstr("usermod -aG " + group + " $USER")));
}

} // namespace
} // namespace zeka::test
