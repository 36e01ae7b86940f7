// bench_test.cpp - what a bench does around playing: finding ports, switches of the output stage, sweeps,
// recordings, tables, and the doctor.
#include "command.h"
#include "support/fixture.h"
#include "temporary_file.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>
#include <unistd.h>

namespace zeka::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr double kAcCount = 1.0 / 6400.0;

TEST(List, FindsNothingWhereNothingIs)
{
    const Outcome outcome = RunZeka({"list"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(RunZeka({"doctor"}).status, 1);
}

class Bench : public InstrumentTest {
protected:
    Bench() : InstrumentTest(FastClock()) {}
};

TEST_F(Bench, ListsThePortAndItsHolder)
{
    const std::filesystem::path lock = "/var/lock/kestrava.ACM0.lock";
    const std::int32_t holder = ::getpid();
    std::ofstream(lock, std::ios::binary).write(reinterpret_cast<const char*>(&holder), sizeof holder);
    const Outcome held = RunZeka({"list", "--probe", "--json"});
    const Outcome doctor = RunZeka({"doctor"});
    std::filesystem::remove(lock);

    EXPECT_EQ(held.status, 0);
    const nlohmann::json port = held.Json().at("ports").at(0);
    EXPECT_EQ(port.at("node"), "/dev/ttyACM0");
    EXPECT_EQ(port.at("lock").at("state"), "held");
    EXPECT_EQ(port.at("lock").at("pid"), holder);
    EXPECT_TRUE(port.at("instrument").is_null()) << "a held port must not be asked";
    EXPECT_EQ(doctor.status, 1);
    EXPECT_THAT(doctor.out,
                AllOf(HasSubstr("is held by cli_test"), HasSubstr("kill " + std::to_string(holder))));
}

TEST_F(Bench, ListAsksOnlyWhenToldTo)
{
    const Outcome silent = RunZeka({"list"});
    EXPECT_EQ(silent.status, 0);
    EXPECT_THAT(silent.out, AllOf(HasSubstr("/dev/ttyACM0"), Not(HasSubstr("ZZE023A"))));
    EXPECT_EQ(instrument.Stats().bytes_received, 0u);
    EXPECT_THAT(RunZeka({"list", "--probe"}).out, HasSubstr("ZZE023A-210345"));
}

TEST_F(Bench, SetsTheSwitchesOfOneChannelAndOfAll)
{
    constexpr std::size_t kChannel2 = 32 + 8 * 2; // its group in the control block
    const Outcome one =
        RunZeka({"set", "--channel", "2", "--lead", "1", "--impedance", "3", "--ground", "on"});
    ASSERT_EQ(one.status, 0) << one.err;
    const sim::Block block = instrument.State().control_block;
    EXPECT_EQ(block[kChannel2 + 3], 0x00); // lead flag: set only for lead 0
    EXPECT_EQ(block[kChannel2 + 4], 0xFF); // impedance mode 3
    EXPECT_EQ(block[kChannel2 + 5], 0xFF); // ground
    EXPECT_EQ(block[32 + 3], 0xFF) << "channel 0 was not to be touched";

    ASSERT_EQ(RunZeka({"set", "--ground", "off", "--reset"}).status, 0);
    EXPECT_EQ(instrument.State().control_block[kChannel2 + 5], 0x00);
    EXPECT_EQ(instrument.State().status_resets, 1u);
    EXPECT_EQ(RunZeka({"set"}).status, 2);
}

TEST_F(Bench, HoldsTheDcSourceWhileItRuns)
{
    constexpr std::size_t kDcSource = 32 + 8 * 1 + 2; // of channel 1
    const auto source = [this] { return instrument.State().control_block[kDcSource]; };
    Command command({"set", "--channel", "1", "--dc-variable", "off", "--dc-offset", "-300", "--hold"});
    EXPECT_TRUE(instrument.WaitFor([&] { return source() == 0x02; }, kPatience)); // fixed -300 mV
    command.Signal(SIGINT);
    EXPECT_EQ(command.Wait().status, 0);
    EXPECT_EQ(source(), 0x00);
    EXPECT_EQ(RunZeka({"set", "--dc-offset", "300"}).status, 2) << "it would end at once";
}

TEST_F(Bench, TellsTheInstrumentHowToBreathe)
{
    ASSERT_EQ(RunZeka({"set", "--resp-rate", "20", "--resp-variation", "2", "--resp-ratio", "1",
                       "--resp-baseline", "2000", "--resp-stopped"})
                  .status,
              0);
    const sim::Respiration told = instrument.State().respiration;
    EXPECT_EQ(told.frequency, 20);
    EXPECT_EQ(told.variation, 2);
    EXPECT_EQ(told.ratio, 1);
    EXPECT_EQ(told.baseline, 3); // 500 ohm each, from 0 on
    EXPECT_TRUE(told.apnea);
}

TEST_F(Bench, RecordsWhatIsSent)
{
    const TemporaryFile file;
    const Outcome outcome = RunZeka({"record", "sine", "--frequency", "2", "--amplitude", "4", "--dc-offset",
                                     "100", "--seconds", "1", "-o", file.path, "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.Json().at("seconds"), 1.0);
    const auto rows = CsvRows(file.Text());
    ASSERT_EQ(rows.size(), 40000u);
    for (std::size_t i = 0; i < rows.size(); i += 1111) {
        const double t = static_cast<double>(i) / 40000.0;
        EXPECT_NEAR(rows[i].at(0), t, 1e-6);
        EXPECT_NEAR(rows[i].at(1), 2.0 * std::sin(2.0 * 6.2831853 * t), kAcCount);
        EXPECT_EQ(rows[i].at(2), 100.0);
    }
}

// A mean over whole periods of a square wave is nought, over its halves the level itself.
TEST_F(Bench, RecordsAtALowerRateAsMeans)
{
    const Outcome outcome =
        RunZeka({"record", "square", "--frequency", "10", "--seconds", "1", "--rate-out", "20", "-q"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto rows = CsvRows(outcome.out);
    ASSERT_EQ(rows.size(), 20u);
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_NEAR(rows[i].at(1), i % 2 == 0 ? 0.5 : -0.5, 0.001) << i;
}

TEST(Record, RefusesAFileThatCannotBe)
{
    const Outcome outcome = RunZeka(
        {"record", "sine", "--seconds", "0.2", "-o", "/no/such/folder/x.csv", "--sim", "--clock", "fast"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("/no/such/folder/x.csv"));
    EXPECT_EQ(RunZeka({"record", "sine", "--seconds", "1", "--rate-out", "300", "--sim"}).status, 2);
}

TEST(Sweep, RunsFromStartToEndAndStops)
{
    const Outcome outcome = RunZeka({"sweep", "sine", "--from", "1", "--to", "20", "--seconds", "10", "--sim",
                                     "--clock", "fast", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    const nlohmann::json result = outcome.Json();
    EXPECT_NEAR(Row(result, "duration").at("measured").get<double>(), 10.0, 0.11);
    EXPECT_NEAR(Row(result, "periods").at("measured").get<double>(), 105.0, 4.0); // 10.5 Hz in the mean
    EXPECT_EQ(RunZeka({"sweep", "sine", "--from", "20", "--to", "1", "--sim"}).status, 2);
    EXPECT_EQ(RunZeka({"sweep", "ecg", "--seconds", "20", "--sim"}).status, 2);
}

TEST(Waveforms, AreListedAndWritten)
{
    const Outcome list = RunZeka({"waveforms", "list", "--json"});
    ASSERT_EQ(list.status, 0);
    const nlohmann::json waveforms = list.Json().at("waveforms");
    ASSERT_EQ(waveforms.size(), 10u + 16u + 5u);
    EXPECT_EQ(waveforms.at(0), nlohmann::json({{"name", "iec-2-27:aami3a"},
                                               {"samples", 43081},
                                               {"rate", 720},
                                               {"min_mv", -0.531},
                                               {"max_mv", 0.608}}));

    const TemporaryFile file;
    ASSERT_EQ(RunZeka({"waveforms", "export", "iec-2-47:0", "-o", file.path}).status, 0);
    const auto rows = CsvRows(file.Text());
    ASSERT_EQ(rows.size(), 60000u);
    EXPECT_EQ(rows[1025].at(0), 1.025);
    EXPECT_EQ(rows[1025].at(1), 0.5); // half way up the triangle that begins every second
    EXPECT_EQ(RunZeka({"waveforms", "export", "sine"}).status, 2);
    EXPECT_EQ(RunZeka({"waveforms"}).status, 2);

    const Outcome show = RunZeka({"waveforms", "show", "iec-2-47:0"});
    EXPECT_THAT(show.out, HasSubstr("60000 samples at 1000 per s, 60.0000 s"));
    EXPECT_THAT(show.out,
                testing::ContainsRegex("\n +0\\.000 \\|[# ]*# *#")); // two triangles stand on the zero line
    EXPECT_EQ(RunZeka({"waveforms", "show", "iec-2-47:0", "--json"}).Json().at("rate"), 1000);
}

TEST(Completion, KnowsSubcommandsOptionsAndFunctions)
{
    const TemporaryFile file;
    std::ofstream(file.path) << RunZeka({"completion", "bash"}).out;
    const auto complete = [&](const std::string& words, int at) {
        const std::string script = "source '" + file.path.string() + "'; COMP_WORDS=(" + words +
                                   "); COMP_CWORD=" + std::to_string(at) +
                                   "; _zeka; echo \"${COMPREPLY[@]}\"";
        std::FILE* shell = ::popen(("exec bash <<'END'\n" + script + "\nEND\n").c_str(), "r");
        std::string text;
        for (int c = std::fgetc(shell); c != EOF; c = std::fgetc(shell))
            text.push_back(static_cast<char>(c));
        EXPECT_EQ(::pclose(shell), 0);
        return text;
    };
    EXPECT_EQ(complete("zeka pl", 1), "play plot\n");
    EXPECT_EQ(complete("zeka play ecg", 2), "ecg ecg-custom\n");
    EXPECT_EQ(complete("zeka play ecg --pacing-w", 3), "--pacing-width\n");
    EXPECT_EQ(complete("zeka waveforms ex", 2), "export\n");
    EXPECT_EQ(complete("zeka upload ecg --le", 3), "--leave\n");
    EXPECT_EQ(complete("zeka plot ecg --gain 0.0", 4), "0.05 0.02\n");
    EXPECT_EQ(complete("zeka plot -o s", 3), "\n") << "a file";
    EXPECT_EQ(complete("zeka sweep ''", 2).substr(0, 9), "sine ecg ");
    EXPECT_EQ(complete("zeka play iec-2-27 : aami3", 4), "aami3a aami3b aami3c aami3d\n");
    EXPECT_EQ(complete("zeka waveforms export --js", 3), "--json\n");
    EXPECT_EQ(complete("zeka ma", 1), "\n") << "man is for the build alone";
}

} // namespace
} // namespace zeka::test
