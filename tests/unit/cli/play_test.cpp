// play_test.cpp - zeka play: the signal that arrives is the one that was asked for, and the command's own
// measurement says the same as one that is made here.
#include "command.h"
#include "support/fixture.h"

#include <gmock/gmock.h>

namespace zeka::test {
namespace {

using testing::DoubleNear;
using testing::HasSubstr;

constexpr double kAcCount = 1.0 / 6400.0;     // mV per count of the AC word
constexpr double kDcCount = 2000.0 / 65535.0; // of the DC word

std::vector<std::string> Fast(std::vector<std::string> words)
{
    words.insert(words.begin(), "play");
    words.insert(words.end(), {"--sim", "--clock", "fast", "--json", "--quiet"});
    return words;
}

TEST(PlaySim, MeasuresASineAsItWasAskedFor)
{
    const Outcome outcome =
        RunZeka(Fast({"sine", "--frequency", "10", "--amplitude", "3", "--seconds", "2"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    const nlohmann::json result = outcome.Json();
    EXPECT_EQ(result.at("schema"), 1);
    EXPECT_EQ(result.at("instrument").at("serial"), "ZZE023A-210345");
    EXPECT_EQ(result.at("output_off"), true);
    EXPECT_GE(result.at("seconds").get<double>(), 2.0);
    EXPECT_NEAR(Row(result, "frequency").at("measured").get<double>(), 10.0, 0.001);
    // A peak lies on a sample: 4000 samples a period.
    EXPECT_NEAR(Row(result, "highest").at("measured").get<double>(), 1.5, kAcCount);
    EXPECT_NEAR(Row(result, "lowest").at("measured").get<double>(), -1.5, kAcCount);
    for (const nlohmann::json& row : result.at("measured"))
        EXPECT_EQ(row.at("ok"), true) << row;
}

TEST(PlaySim, MeasuresHeartAndPacemaker)
{
    const Outcome outcome = RunZeka(Fast({"ecg", "--rate", "75", "--amplitude", "2", "--pacing", "-100",
                                          "--pacing-width", "1.5", "--pacing-rate", "90", "--seconds", "6"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    const nlohmann::json result = outcome.Json();
    EXPECT_NEAR(Row(result, "heart rate").at("measured").get<double>(), 75.0, 0.01);
    EXPECT_NEAR(Row(result, "highest (R wave)").at("measured").get<double>(), 0.875 * 2.0, 0.002);
    EXPECT_NEAR(Row(result, "lowest (S wave)").at("measured").get<double>(), -0.125 * 2.0, 0.002);
    EXPECT_NEAR(Row(result, "pacing rate").at("measured").get<double>(), 90.0, 0.01);
    EXPECT_NEAR(Row(result, "pacing width").at("measured").get<double>(), 1.5, 0.025);
    EXPECT_NEAR(Row(result, "pacing height").at("measured").get<double>(), -100.0, kDcCount);
}

TEST(PlaySim, MeasuresPulsesOfEitherSign)
{
    const Outcome outcome = RunZeka(Fast({"rectangular-pulse", "--frequency", "2", "--amplitude", "-1.5",
                                          "--pulse-width", "40", "--dc-offset", "-250", "--seconds", "2"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    const nlohmann::json result = outcome.Json();
    EXPECT_NEAR(Row(result, "lowest").at("measured").get<double>(), -1.5, kAcCount);
    EXPECT_EQ(Row(result, "highest").at("measured").get<double>(), 0.0);
    EXPECT_NEAR(Row(result, "width at half height").at("measured").get<double>(), 40.0, 0.0251);
    EXPECT_NEAR(Row(result, "DC level").at("measured").get<double>(), -250.0, kDcCount);
}

// Without a known shape there is nothing to fail, but also nothing to call right.
TEST(PlaySim, JudgesNothingThatItCannotForetell)
{
    const Outcome outcome = RunZeka(Fast({"ecg", "--noise", "50", "--seconds", "2"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    EXPECT_TRUE(Row(outcome.Json(), "highest (R wave)").at("ok").is_null());
}

TEST(PlaySim, EndsWithAWaveformPlayedOnce)
{
    const Outcome outcome = RunZeka(Fast({"iec-2-51:CAL20110", "--once"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err << outcome.out;
    const double seconds = outcome.Json().at("seconds").get<double>();
    // The waveform takes 1 s. The burst in which it ends reaches the instrument behind the switching off.
    EXPECT_GT(seconds, 1.0 - 2 * 0.0175);
    EXPECT_LT(seconds, 1.0 + 2 * 0.0175);
}

/// The command drives an instrument that the test holds in its hands.
class Play : public InstrumentTest {
protected:
    bool Streaming()
    {
        return instrument.WaitFor([this] { return instrument.Stats().stream.bursts >= 20; }, kPatience);
    }
};

TEST_F(Play, FindsTheInstrumentByItself)
{
    instrument.StartCapture(80000);
    const Outcome outcome =
        RunZeka({"play", "triangle", "--frequency", "5", "--amplitude", "2", "--seconds", "2.5"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("ZZE023A-210345"));
    EXPECT_THAT(outcome.err, HasSubstr("/dev/ttyACM0"));
    const sim::Report report = sim::Measure(instrument.Captured());
    EXPECT_THAT(report.ac.frequency_hz, testing::Optional(DoubleNear(5.0, 0.001)));
    EXPECT_NEAR(report.ac.peak_to_peak, 2.0, 0.001);
    EXPECT_FALSE(instrument.State().output_on);
    EXPECT_EQ(instrument.Stats().stream.sequence_gaps, 0u);
}

TEST_F(Play, SwitchesTheOutputOffWhenInterrupted)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        instrument.ResetStats();
        Command command({"play", "square", "--json"});
        ASSERT_TRUE(Streaming());
        EXPECT_TRUE(instrument.State().output_on);
        command.Signal(signal);
        const Outcome outcome = command.Wait();
        EXPECT_EQ(outcome.status, 130);
        EXPECT_FALSE(instrument.State().output_on);
        EXPECT_EQ(outcome.Json().at("interrupted"), true);
        EXPECT_THAT(outcome.err, HasSubstr("the output is off"));
    }
}

TEST_F(Play, SwitchesTheOutputOffWhenNobodyTakesTheResult)
{
    const Outcome outcome = RunZeka({"play", "sine", "--seconds", "0.5"}, {.streams = Streams::kNobodyReads});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write the result"));
    EXPECT_GT(instrument.Stats().stream.bursts, 0u);
    EXPECT_FALSE(instrument.State().output_on);
}

TEST_F(Play, TellsALostInstrument)
{
    Command command({"play", "sine"});
    ASSERT_TRUE(Streaming());
    instrument.Unplug();
    const Outcome outcome = command.Wait();
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, HasSubstr("lost"));
    EXPECT_EQ(outcome.out, "");
}

// Back at once is lost all the same: the signal had a hole, and the instrument has forgotten what it was set
// to.
TEST_F(Play, TellsALossThatIsOverSoon)
{
    Command command({"play", "sine"});
    ASSERT_TRUE(Streaming());
    instrument.Replug();
    EXPECT_EQ(command.Wait().status, 6);
}

TEST_F(Play, TellsAnInstrumentThatAsksForNothing)
{
    Command command({"play", "sine"});
    ASSERT_TRUE(Streaming());
    instrument.Inject({.fault = sim::Fault::kStopAsking});
    const Outcome outcome = command.Wait();
    // The library may have given the connection up before the command has lost its patience.
    EXPECT_THAT(outcome.status, testing::AnyOf(6, 7));
    EXPECT_THAT(outcome.err, HasSubstr("\nzeka: the "));
}

} // namespace
} // namespace zeka::test
