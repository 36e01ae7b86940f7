// manners_test.cpp - what the command does to the terminal, pipes and machine around it.
#include "command.h"
#include "support/fixture.h"
#include "temporary_file.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <map>

namespace zeka::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const std::vector<std::string> kShortPlay{"play", "sine", "--seconds", "1", "--sim"};

TEST(Manners, NoProgressAndNoColourInAPipe)
{
    const Outcome outcome = RunZeka(kShortPlay);
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    for (const std::string& text : {outcome.out, outcome.err}) {
        EXPECT_THAT(text, Not(HasSubstr("\r")));
        EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    }
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("frequency"), Not(HasSubstr("found"))));
    EXPECT_THAT(outcome.err, HasSubstr("found ZZE023A-210345"));
}

TEST(Manners, ALiveLineAndColourOnATerminal)
{
    const Outcome outcome =
        RunZeka(kShortPlay, {.streams = Streams::kTerminal, .environment = {"TERM=xterm", "NO_COLOR"}});
    ASSERT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("worst answer"), HasSubstr("\r "), HasSubstr("\x1b[32mok")));
}

TEST(Manners, NoColourWhereItIsNotWanted)
{
    const Outcome outcome =
        RunZeka(kShortPlay, {.streams = Streams::kTerminal, .environment = {"TERM=xterm", "NO_COLOR=1"}});
    ASSERT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("ok"), Not(HasSubstr("\x1b[32m"))));
}

TEST(Manners, QuietLeavesTheResultAlone)
{
    std::vector<std::string> words = kShortPlay;
    words.emplace_back("--quiet");
    const Outcome outcome = RunZeka(words);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, HasSubstr("frequency"));
}

// A wrapped line cannot be rewritten. This terminal says nothing of its width: 80 columns.
TEST(Manners, TheLiveLineFitsItsTerminal)
{
    const Outcome outcome = RunZeka({"sweep", "sine", "--seconds", "60", "--sim", "--clock", "fast"},
                                    {.streams = Streams::kTerminal, .environment = {"TERM=xterm"}});
    ASSERT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_THAT(outcome.out, HasSubstr("s left"));
    const std::string erase = "\x1b[K";
    for (std::size_t end = outcome.out.find(erase); end != std::string::npos;
         end = outcome.out.find(erase, end + 1))
        EXPECT_LT(end - outcome.out.rfind('\r', end), 81u) << outcome.out;
}

TEST(Manners, AFullDiskIsNoSuccess)
{
    for (const char* words : {"--help", "--version"})
        EXPECT_EQ(RunZeka({words}, {.streams = Streams::kFull}).status, 1) << words;
}

/// The subcommands that `zeka <command> --help` lists.
std::vector<std::string> SubcommandsOf(std::vector<std::string> command)
{
    command.emplace_back("--help");
    std::istringstream help(RunZeka(command).out);
    std::vector<std::string> names;
    std::string line;
    while (std::getline(help, line) && line != "Subcommands:") {
    }
    while (std::getline(help, line) && line.starts_with("  "))
        names.push_back(line.substr(2, line.find(' ', 2) - 2));
    return names;
}

/// What stdout carries: an object, or one a line. Anything else fails the test by its exception.
std::vector<nlohmann::json> ObjectsOf(const std::string& out)
{
    if (nlohmann::json::accept(out))
        return {nlohmann::json::parse(out)};
    std::vector<nlohmann::json> objects;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);)
        objects.push_back(nlohmann::json::parse(line));
    return objects;
}

// A new subcommand has to name here how it is called, with the virtual instrument where it wants one.
TEST(Manners, EverySubcommandAnswersJsonAlone)
{
    const TemporaryFile file;
    std::ofstream(file.path) << "1000\n4\n0.0\n1.0\n0.0\n-1.0\n";
    const std::string drawing = file.path.string() + ".svg";
    const std::map<std::string, std::vector<std::string>> calls{
        {"bench", {"--seconds", "0.2"}},
        {"completion bash", {}},
        {"default", {"--sim"}},
        {"doctor", {}},
        {"file", {file.path, "--once", "--sim"}},
        {"info", {"--sim"}},
        {"list", {"--probe"}},
        {"play", {"sine", "--seconds", "0.2", "--sim"}},
        {"plot", {"sine", "--seconds", "1", "-o", drawing}},
        {"record", {"sine", "--seconds", "0.1", "--rate-out", "1000", "--offline"}},
        {"save", {"sine", "--sim"}},
        {"set", {"--lead", "1", "--dc-offset", "300", "--seconds", "0.1", "--sim"}},
        {"sim", {"--report", "--fault", "garbage@2", "--", ZEKA_COMMAND, "list"}},
        {"sweep", {"sine", "--seconds", "10", "--sim", "--clock", "fast"}},
        {"upload", {"sine", "--seconds", "0.2", "--sim"}},
        {"waveforms export", {"iec-2-51:CAL20110"}},
        {"waveforms list", {}},
        {"waveforms show", {"iec-2-51:CAL20110"}},
    };
    std::size_t called = 0;
    const auto check = [&](std::vector<std::string> words, const std::string& name) {
        ASSERT_TRUE(calls.contains(name)) << "how is it called here: zeka " << name;
        words.emplace_back("--json");
        words.insert(words.end(), calls.at(name).begin(), calls.at(name).end());
        const Outcome outcome = RunZeka(words);
        EXPECT_THAT(outcome.status, testing::AnyOf(0, 1)) << name << ": " << outcome.err;
        const std::vector<nlohmann::json> objects = ObjectsOf(outcome.out);
        ASSERT_FALSE(objects.empty()) << name << ": " << outcome.err;
        EXPECT_EQ(objects.back().value("schema", 0), 1) << name;
        EXPECT_EQ(objects.back().value("command", ""), name);
        ++called;
    };
    for (const std::string& command : SubcommandsOf({})) {
        const std::vector<std::string> leaves = SubcommandsOf({command});
        if (leaves.empty())
            check({command}, command);
        for (const std::string& leaf : leaves)
            check({command, leaf}, command + " " + leaf);
    }
    EXPECT_EQ(called, calls.size());
    std::filesystem::remove(drawing);
}

class ClosedStreams : public InstrumentTest {};

// Their numbers would go to the port that is opened next, and the messages to the instrument.
TEST_F(ClosedStreams, AreNotTakenForTheInstrument)
{
    EXPECT_EQ(RunZeka({"play", "sine", "--seconds", "0.5"}, {.streams = Streams::kClosed}).status, 1);
    const sim::InstrumentStats stats = instrument.Stats();
    EXPECT_GT(stats.stream.bursts, 0u);
    EXPECT_EQ(stats.unknown_bytes, 0u);
}

TEST(Sim, RunsAProgramThatFindsTheInstrument)
{
    const Outcome outcome = RunZeka({"sim", "--port", "3", "--", ZEKA_COMMAND, "info", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.Json().at("instrument").at("node"), "/dev/ttyACM3");
    EXPECT_FALSE(std::filesystem::exists("/dev/ttyACM3"));
}

TEST(Sim, EndsAsItsProgramEnds)
{
    EXPECT_EQ(RunZeka({"sim", "--", "/bin/sh", "-c", "exit 7"}).status, 7);
    EXPECT_EQ(RunZeka({"sim", "--", "/bin/sh", "-c", "kill -TERM $$"}).status, 128 + SIGTERM);
    EXPECT_EQ(RunZeka({"sim", "--", "/no/such/program"}).status, 127);
}

TEST(Sim, StaysUntilInterrupted)
{
    Command command({"sim", "--port", "4"});
    ASSERT_TRUE(WaitUntil([] { return std::filesystem::is_symlink("/dev/ttyACM4"); }));
    command.Signal(SIGINT);
    EXPECT_EQ(command.Wait().status, 0);
    EXPECT_FALSE(std::filesystem::is_symlink("/dev/ttyACM4"));
}

// Without the mark of the test's private world the command has to make one of its own, as it does for
// everybody.
TEST(Sim, LeavesNothingBehindWhenKilled)
{
    Command command({"play", "sine", "--sim", "--quiet"}, {.environment = {"ZEKA_PRIVATE_DEV"}});
    const pid_t group = command.Pid();
    const auto processes = [group] {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename();
            if (name.find_first_not_of("0123456789") == std::string::npos &&
                ::getpgid(std::stoi(name)) == group)
                ++count;
        }
        return count;
    };
    ASSERT_TRUE(WaitUntil([&] { return processes() >= 2; })) << "the command did not run itself again";
    command.Signal(SIGKILL);
    EXPECT_EQ(command.Wait().status, 128 + SIGKILL);
    EXPECT_TRUE(WaitUntil([&] { return processes() == 0; }));
    EXPECT_FALSE(std::filesystem::is_symlink("/dev/ttyACM0"));
}

} // namespace
} // namespace zeka::test
