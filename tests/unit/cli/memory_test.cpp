// memory_test.cpp - zeka upload, save and default: what the instrument plays from its own memory, and that a
// period which did not get there is never called done.
#include "command.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

namespace zeka::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr double kAcCount = 1.0 / 6400.0;

TEST(UploadSim, MeasuresWhatIsPlayedFromMemory)
{
    const Outcome outcome = RunZeka({"upload", "ecg", "--rate", "72", "--amplitude", "2", "--pacing", "5",
                                     "--seconds", "6", "--sim", "--clock", "fast", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    const nlohmann::json result = outcome.Json();
    EXPECT_EQ(result.at("uploaded"), nlohmann::json({{"samples", 1666}, {"rate", 2000}, {"packets", 119}}));
    EXPECT_EQ(result.at("confirmed"), true);
    EXPECT_EQ(result.at("output_off"), true);
    EXPECT_NEAR(Row(result, "heart rate").at("measured").get<double>(), 72.0, 0.05);
    // The R peak can lie half a sample from the nearest one: 2 mV in 50 ms at 2000 samples per second.
    EXPECT_NEAR(Row(result, "highest (R wave)").at("measured").get<double>(), 1.75, 0.011);
    EXPECT_EQ(Row(result, "told: pacing height").at("measured"), 5.0);
    EXPECT_EQ(Row(result, "told: pacing rate").at("measured"), 72.0) << "pulses go with the beats";
    for (const nlohmann::json& row : result.at("measured"))
        EXPECT_EQ(row.at("ok"), true) << row;
}

// 666.67 samples a period: the missing two thirds have to come back, or the rate would be off.
TEST(UploadSim, KeepsTheFrequencyWhereAPeriodIsNoWholeNumberOfSamples)
{
    const Outcome outcome = RunZeka({"upload", "sine", "--frequency", "60", "--amplitude", "3", "--seconds",
                                     "2", "--sim", "--clock", "fast", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    EXPECT_NEAR(Row(outcome.Json(), "frequency").at("measured").get<double>(), 60.0, 0.005);
    EXPECT_NEAR(Row(outcome.Json(), "highest").at("measured").get<double>(), 1.5, 2 * kAcCount);
}

/// The instrument is in the test's hands, as a real one would be.
class Memory : public InstrumentTest {
protected:
    bool Plays(bool plays)
    {
        return instrument.WaitFor([&] { return instrument.State().memory_playing == plays; }, kPatience);
    }
};

TEST_F(Memory, PlaysUntilInterrupted)
{
    Command command({"upload", "square", "--frequency", "2", "--json"});
    ASSERT_TRUE(Plays(true));
    command.Signal(SIGINT);
    const Outcome outcome = command.Wait();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(outcome.Json().at("confirmed"), true);
    EXPECT_EQ(outcome.Json().at("interrupted"), true);
    EXPECT_FALSE(instrument.State().memory_playing);
}

TEST_F(Memory, GoesOnWithoutTheCommandAndIsStopped)
{
    const Outcome left = RunZeka({"upload", "triangle", "--leave"});
    ASSERT_EQ(left.status, 0) << left.err;
    EXPECT_THAT(left.out,
                AllOf(HasSubstr("triangle, 1 Hz, 1 mV"), HasSubstr("2000 samples at 2000 per second")));
    EXPECT_TRUE(instrument.State().memory_playing);
    EXPECT_EQ(RunZeka({"upload", "--stop"}).status, 0);
    EXPECT_FALSE(instrument.State().memory_playing);
}

// The library's own result is the same whether the instrument took the period or not.
TEST_F(Memory, TellsAnUploadThatWasNotTaken)
{
    const int fault = instrument.Inject(
        {.fault = sim::Fault::kWrongAck, .limit = 1, .command = sim::Command::kWaveformData, .skip = 10});
    const Outcome packet = RunZeka({"upload", "sine", "--seconds", "1"});
    EXPECT_EQ(packet.status, 7);
    EXPECT_THAT(packet.err, HasSubstr("acknowledged 10 of the 143 packets"));
    instrument.Clear(fault);
    instrument.Inject({.fault = sim::Fault::kNoReply, .limit = 1, .command = sim::Command::kOutputStart});
    const Outcome start = RunZeka({"upload", "sine", "--seconds", "1"});
    EXPECT_EQ(start.status, 7);
    EXPECT_THAT(start.err, HasSubstr("did not confirm that it plays"));
    EXPECT_FALSE(instrument.State().memory_playing);
}

TEST_F(Memory, IsStored)
{
    const Outcome outcome =
        RunZeka({"save", "exponential", "--frequency", "3", "--amplitude", "-2", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.Json().at("stored").at("samples"), 1666);
    const sim::InstrumentState state = instrument.State();
    EXPECT_EQ(state.rom_stores.at(1), 1u);
    EXPECT_EQ(state.rom_waveform->function, 6u);
    EXPECT_EQ(state.rom_waveform->frequency_hz, 3.0);
    EXPECT_EQ(sim::GetSample(state.rom_image, 0).ac, -2 * 6400);
    EXPECT_FALSE(state.memory_playing);
}

TEST_F(Memory, TellsAStoreThatWasNotDone)
{
    instrument.Inject({.fault = sim::Fault::kNoReply, .limit = 1, .command = sim::Command::kRomStore});
    const Outcome outcome = RunZeka({"save", "sine"});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("did not confirm"));
}

TEST(SaveSim, MeasuresWhatIsStored)
{
    const Outcome outcome = RunZeka({"default", "--sim", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    EXPECT_NEAR(Row(outcome.Json(), "highest (R wave)").at("measured").get<double>(), 1.75, 0.011);
    EXPECT_NEAR(Row(outcome.Json(), "heart rate").at("measured").get<double>(), 60.0, 0.05);
    for (const nlohmann::json& row : outcome.Json().at("measured"))
        EXPECT_EQ(row.at("ok"), true) << row;
}

// With nothing set before, the library would give a flat line.
TEST(SaveSim, StoresAnEcgAsItIsAtTheStart)
{
    const Outcome outcome = RunZeka({"save", "ecg", "--sim", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NEAR(Row(outcome.Json(), "highest (R wave)").at("measured").get<double>(), 0.875, 0.0055);
}

TEST(SaveSim, ShowsABarOnATerminalAlone)
{
    const std::vector<std::string> words{"save", "sine", "--frequency", "0.02", "--sim"}; // 3572 packets
    const Outcome terminal = RunZeka(words, {.streams = Streams::kTerminal, .environment = {"TERM=xterm"}});
    EXPECT_EQ(terminal.status, 0) << terminal.out;
    EXPECT_THAT(terminal.out, AllOf(HasSubstr("of 3572"), HasSubstr("[#")));
    const Outcome pipe = RunZeka(words);
    EXPECT_EQ(pipe.status, 0) << pipe.err;
    EXPECT_THAT(pipe.err, testing::Not(HasSubstr("[#")));
}

} // namespace
} // namespace zeka::test
