// usage_test.cpp - the command line: what is refused, in which words, and that help tells what there is.
#include "command.h"

#include <gmock/gmock.h>

namespace zeka::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

struct Mistake {
    const char* name;
    std::vector<std::string> words;
    const char* says;
};

class Refused : public testing::TestWithParam<Mistake> {};

TEST_P(Refused, InOneLineThatNamesTheThing)
{
    const Outcome outcome = RunZeka(GetParam().words);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, AllOf(StartsWith("zeka: "), HasSubstr(GetParam().says), EndsWith("\n")));
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
}

INSTANTIATE_TEST_SUITE_P(
    Usage, Refused,
    testing::Values(
        Mistake{"Nothing", {}, "zeka --help"}, Mistake{"UnknownSubcommand", {"plya"}, "plya"},
        Mistake{"UnknownOption", {"play", "sine", "--sim", "--colour"}, "--colour"},
        Mistake{"NoFunction", {"play", "--sim"}, "function"},
        Mistake{"UnknownFunction", {"play", "sinus", "--sim"}, "sinus"},
        Mistake{"UnknownLead", {"play", "ane20000:V7", "--sim"}, "V1"},
        Mistake{"WaveformNumberTooHigh", {"play", "iec-2-27:10", "--sim"}, "aami4b_h"},
        Mistake{"VariantOfNothing", {"play", "sine:2", "--sim"}, ":2"},
        Mistake{"AboveTheRange", {"play", "sine", "--amplitude", "10.001", "--sim"}, "-10 to 10 mV"},
        Mistake{"NotANumber", {"play", "sine", "--amplitude", "nan", "--sim"}, "--amplitude"},
        Mistake{"NoNumberAtAll", {"play", "sine", "--amplitude", "1mV", "--sim"}, "1mV"},
        Mistake{
            "WholeNumbersOnly", {"play", "ecg", "--pacing", "5", "--pacing-rate", "60.5", "--sim"}, "whole"},
        Mistake{
            "TooFastForPulses", {"play", "rectangular-pulse", "--frequency", "5.5", "--sim"}, "at most 5"},
        Mistake{"TooFastForAHeart", {"play", "ecg", "--frequency", "6.5", "--sim"}, "at most 6"},
        Mistake{"NotHeeded", {"play", "sine", "--qrs", "80", "--sim"}, "--qrs means nothing to sine"},
        Mistake{"NoiseOnASine", {"play", "sine", "--noise", "50", "--sim"}, "--noise"},
        Mistake{"RateAndFrequency", {"play", "ecg", "--rate", "60", "--frequency", "1", "--sim"}, "--rate"},
        Mistake{"PacingOptionAlone", {"play", "ecg", "--pacing-width", "1", "--sim"}, "--pacing"},
        Mistake{
            "OffsetAndPacing", {"play", "ecg", "--pacing", "5", "--dc-offset", "10", "--sim"}, "--dc-offset"},
        Mistake{"PortTooHigh", {"info", "--port", "128"}, "--port"},
        Mistake{"ClockOfTheRealOne", {"play", "sine", "--clock", "fast"}, "--sim"},
        Mistake{"ProgramForPlay", {"play", "sine", "--sim", "--", "ls"}, "zeka sim"},
        Mistake{"NoMemoryForIt", {"upload", "iec-2-27", "--sim"}, "zeka play"},
        Mistake{"NoPartOfAPeriod", {"save", "ecg", "--drift", "2", "--sim"}, "--drift"},
        Mistake{"HalfAMillisecondInMemory",
                {"upload", "ecg", "--pacing", "5", "--pacing-width", "0.5", "--sim"},
                "round it"},
        Mistake{"HalfAPulseInMemory", {"save", "ecg", "--rate", "72.5", "--pacing", "5", "--sim"}, "72.5"},
        Mistake{"CsvIsNoJson", {"record", "sine", "--seconds", "1", "--format", "csv", "--json"}, "csv"},
        Mistake{"UnknownFault", {"sim", "--fault", "fire"}, "fire"},
        Mistake{"FaultValueTooHigh", {"sim", "--fault", "late-reply:70000"}, "60000 ms"},
        Mistake{"FaultThatTakesNoValue", {"sim", "--fault", "no-reply:3"}, "VALUE"},
        Mistake{"FaultBeforeTheFirstOccasion", {"sim", "--fault", "unplug@0"}, "from 1"},
        Mistake{"SimWithoutItsProgram", {"sim", "--"}, "program"}),
    [](const auto& mistake) { return mistake.param.name; });

TEST(Help, ListsWhatThereIs)
{
    const Outcome top = RunZeka({"--help"});
    EXPECT_EQ(top.status, 0);
    EXPECT_EQ(top.err, "");
    for (const char* word : {"play", "info", "sim", "130"})
        EXPECT_THAT(top.out, HasSubstr(word));

    const Outcome play = RunZeka({"play", "--help"});
    EXPECT_EQ(play.status, 0);
    for (const char* word : {"rectangular-pulse", "ecg-custom", "iec-2-27", "ane20000", "--pacing-rate",
                             "[10 to 360 per minute", "--sim"})
        EXPECT_THAT(play.out, HasSubstr(word));
}

} // namespace
} // namespace zeka::test
