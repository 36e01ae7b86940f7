// sim_test.cpp - zeka sim: faults on demand, the same ones for the same seed, and what was played in a file;
// and zeka bench, which lives on the virtual instrument alone.
#include "command.h"
#include "temporary_file.h"

#include <gmock/gmock.h>

namespace zeka::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

std::vector<std::string> SimWith(std::vector<std::string> words, const std::vector<std::string>& program)
{
    words.insert(words.begin(), "sim");
    words.insert(words.end(), {"--", ZEKA_COMMAND});
    words.insert(words.end(), program.begin(), program.end());
    return words;
}

TEST(SimFaults, AreMetByTheProgram)
{
    const Outcome pulled = RunZeka(SimWith({"--fault", "unplug@20"}, {"play", "sine", "--seconds", "60"}));
    EXPECT_EQ(pulled.status, 6) << pulled.err;
    EXPECT_THAT(pulled.err, HasSubstr("fault unplug struck 1 times"));

    const Outcome mute = RunZeka(SimWith({"--fault", "stop-asking@5"}, {"play", "sine", "--seconds", "60"}));
    EXPECT_THAT(mute.status, testing::AnyOf(6, 7)) << mute.err;

    // The library's second reading lands on the right reply.
    const Outcome late = RunZeka(SimWith({"--fault", "late-reply:250@6"}, {"info", "--json"}));
    EXPECT_EQ(late.status, 0) << late.err;
    EXPECT_EQ(late.Json().at("instrument").at("serial"), "ZZE023A-210345");
    EXPECT_THAT(late.err, HasSubstr("fault late-reply struck 1 times"));
}

TEST(SimFaults, StrikeAlikeForTheSameSeed)
{
    const auto struck = [](const std::string& seed) {
        const std::string err =
            RunZeka(SimWith({"--fault", "single-bytes:1", "--seed", seed}, {"set", "--lead", "1"})).err;
        const std::size_t line = err.find("fault single-bytes struck");
        return line == std::string::npos ? "" : err.substr(line, err.find('\n', line) - line);
    };
    const std::string once = struck("5");
    EXPECT_THAT(once, AllOf(HasSubstr("struck"), testing::Not(HasSubstr("struck 0 "))));
    EXPECT_EQ(struck("5"), once);
}

TEST(SimCapture, WritesWhatWasPlayed)
{
    const TemporaryFile file;
    const Outcome outcome = RunZeka(SimWith({"--clock", "fast", "--capture", file.path, "-q"},
                                            {"play", "square", "--frequency", "10", "--amplitude", "2",
                                             "--dc-offset", "100", "--seconds", "0.5", "-q"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto rows = CsvRows(file.Text());
    ASSERT_GE(rows.size(), 20000u);
    for (const std::size_t i : {0u, 1990u, 2010u, 3990u, 4010u, 19990u}) {
        EXPECT_NEAR(rows[i].at(0), static_cast<double>(i) / 40000.0, 1e-6);
        EXPECT_NEAR(rows[i].at(1), i % 4000 < 2000 ? 1.0 : -1.0, 1.0 / 6400.0) << i;
        EXPECT_NEAR(rows[i].at(2), 100.0, 2000.0 / 65535.0);
    }
    const Outcome nowhere = RunZeka(SimWith({"--capture", "/no/such/folder/x.csv"}, {"info"}));
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_THAT(nowhere.err, HasSubstr("/no/such/folder/x.csv"));
}

// Whoever reads stdout can read all of it: the program's own words are on stderr.
TEST(SimJson, TellsWhereItIsAndWhatItMeasured)
{
    const Outcome outcome = RunZeka(SimWith(
        {"--json", "--report", "--port", "3", "--fault", "garbage@2"},
        {"play", "square", "--frequency", "10", "--amplitude", "2", "--seconds", "0.5", "--json", "-q"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("\"command\": \"play\""));
    std::istringstream lines(outcome.out);
    std::vector<nlohmann::json> events;
    for (std::string line; std::getline(lines, line);)
        events.push_back(nlohmann::json::parse(line));
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].at("event"), "plugged");
    EXPECT_EQ(events[0].at("node"), "/dev/ttyACM3");
    EXPECT_EQ(events[0].at("clock"), "real");
    EXPECT_EQ(events[1].at("event"), "ended");
    EXPECT_EQ(events[1].at("sequence_gaps"), 0);
    EXPECT_GT(events[1].at("bursts"), 20);
    EXPECT_GT(events[1].at("answer_ms").at("worst"), 0.0);
    EXPECT_EQ(events[1].at("faults"), nlohmann::json::parse(R"([{"fault": "garbage", "struck": 1}])"));
    EXPECT_NEAR(events[1].at("measured").at("ac").at("peak_to_peak_mv"), 2.0, 0.001);
    EXPECT_TRUE(events[1].at("measured").at("dc").at("frequency_hz").is_null());
    EXPECT_EQ(events[1].at("exit_status"), 0);

    const Outcome failed = RunZeka({"sim", "--json", "--", "/bin/sh", "-c", "exit 7"});
    EXPECT_EQ(failed.status, 7);
    const nlohmann::json end = nlohmann::json::parse(failed.out.substr(failed.out.find('\n') + 1));
    EXPECT_EQ(end.at("exit_status"), 7);
    EXPECT_TRUE(end.at("answer_ms").is_null());
    EXPECT_FALSE(end.contains("measured"));
}

TEST(SimInSim, NamesTheWayOut)
{
    const Outcome twice = RunZeka(SimWith({"-q"}, {"sim", "-q", "--", "/bin/true"}));
    EXPECT_EQ(twice.status, 5);
    EXPECT_THAT(twice.err,
                AllOf(testing::StartsWith("zeka: "), HasSubstr("/dev/ttyACM0"), HasSubstr("--port")));
    EXPECT_EQ(RunZeka(SimWith({"-q"}, {"sim", "-q", "--port", "1", "--", "/bin/true"})).status, 0);
}

// How fast is the machine's affair; that the figures are there, and fit together, is ours.
TEST(BenchCommand, GivesPercentilesForEverySignal)
{
    const Outcome outcome = RunZeka({"bench", "--seconds", "0.3", "--json"});
    ASSERT_THAT(outcome.status, testing::AnyOf(0, 1)) << outcome.err;
    const nlohmann::json result = outcome.Json();
    EXPECT_EQ(result.at("burst_ms"), 17.5);
    ASSERT_EQ(result.at("signals").size(), 5u);
    for (const nlohmann::json& signal : result.at("signals")) {
        const nlohmann::json& answer = signal.at("answer_ms");
        EXPECT_GT(answer.at("p50"), 0.0);
        EXPECT_LE(answer.at("p50"), answer.at("p99"));
        EXPECT_LE(answer.at("p99"), answer.at("worst"));
        EXPECT_GT(signal.at("answers"), 0);
        EXPECT_NEAR(signal.at("samples_per_second").get<double>() * signal.at("burst_us").get<double>(),
                    700e6, 1.0);
    }
}

} // namespace
} // namespace zeka::test
