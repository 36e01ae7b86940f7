// record_test.cpp - zeka record without an instrument, and zeka file: what the files hold is the signal that
// was asked for, with its marks where arithmetic puts them, and a file is played as it stands.
#include "command.h"
#include "formats/readers.h"
#include "support/fixture.h"

#include <cmath>
#include <cstring>
#include <edflib.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <map>

namespace zeka::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

constexpr double kAcCount = 1.0 / 6400.0;

class RecordOffline : public testing::Test {
protected:
    RecordOffline()
    {
        std::string name = std::filesystem::temp_directory_path() / "zeka-record-XXXXXX";
        folder_ = ::mkdtemp(name.data());
    }
    ~RecordOffline() override { std::filesystem::remove_all(folder_); }

    [[nodiscard]] std::string Path(const std::string& name) const { return folder_ / name; }
    Outcome Record(std::vector<std::string> words, const std::string& name) const
    {
        words.insert(words.begin(), "record");
        words.insert(words.end(), {"--offline", "--json", "--quiet", "-o", Path(name)});
        return RunZeka(words);
    }

private:
    std::filesystem::path folder_;
};

/// As another program reads it.
struct Edf {
    explicit Edf(const std::string& path)
    {
        if (edfopen_file_readonly(path.c_str(), &header, EDFLIB_READ_ALL_ANNOTATIONS) != 0)
            throw std::runtime_error("EDFlib refuses " + path);
        for (int n = 0; n < header.annotations_in_file; ++n) {
            edf_annotation_struct note{};
            edf_get_annotation(header.handle, n, &note);
            marks[note.annotation].push_back(static_cast<double>(note.onset) / EDFLIB_TIME_DIMENSION);
        }
    }
    ~Edf() { edfclose_file(header.handle); }
    std::vector<double> Samples(int signal)
    {
        std::vector<double> samples(static_cast<std::size_t>(header.signalparam[signal].smp_in_file));
        edfread_physical_samples(header.handle, signal, static_cast<int>(samples.size()), samples.data());
        return samples;
    }
    edf_hdr_struct header{};
    std::map<std::string, std::vector<double>> marks; // s
};

TEST_F(RecordOffline, EcgInEdfWithItsMarks)
{
    const Outcome outcome =
        Record({"ecg", "--rate", "75", "--amplitude", "2", "--qrs", "80", "--pacing", "-100",
                "--pacing-width", "1.5", "--overshoot", "3", "--overshoot-time", "20", "--seconds", "8"},
               "x.edf");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    Edf file(Path("x.edf"));
    // A beat every 0.8 s: the QRS begins 10 ms into it, R stands at 7/16 of the QRS, the pulse 30 ms before
    // the onset.
    constexpr double kSample = 1.0 / 40000.0;
    for (const auto& [name, offset] :
         {std::pair{"QRS on", 0.01}, {"R", 0.01 + 0.4375 * 0.08}, {"QRS off", 0.09}}) {
        ASSERT_THAT(file.marks[name], SizeIs(10)) << name;
        for (std::size_t beat = 0; beat < 10; ++beat)
            EXPECT_NEAR(file.marks[name][beat], 0.8 * static_cast<double>(beat) + offset, 1.5 * kSample)
                << name;
    }
    ASSERT_THAT(file.marks["pacing 1.500 ms -100.00 mV"], SizeIs(testing::Ge(9u)));
    const std::vector<double> ac = file.Samples(0);
    const std::vector<double> dc = file.Samples(1);
    ASSERT_THAT(ac, SizeIs(8 * 40000));
    for (const double at : file.marks["pacing 1.500 ms -100.00 mV"]) {
        const auto first = static_cast<std::size_t>(std::llround(at * 40000.0));
        EXPECT_NEAR(std::remainder(at + 0.02, 0.8), 0.0, 0.00011);
        EXPECT_EQ(dc[first], -100.0);
        EXPECT_EQ(dc.at(first + 60), 0.0);
        EXPECT_NEAR(ac.at(first + 60), 3.0, 2.0 * kAcCount); // the overshoot opposes the pulse
    }
}

// The steepness tells the beats that no setting does.
TEST_F(RecordOffline, FindsBeatsOfStandardWaveforms)
{
    ASSERT_EQ(Record({"iec-2-51:CAL20000", "--seconds", "9"}, "cal.edf").status, 0);
    Edf cal(Path("cal.edf"));
    ASSERT_THAT(cal.marks["R"], SizeIs(9));
    for (std::size_t beat = 1; beat < 9; ++beat)
        EXPECT_NEAR(cal.marks["R"][beat] - cal.marks["R"][beat - 1], 1.0, 0.001);
    EXPECT_THAT(cal.marks["play"], SizeIs(9));
    ASSERT_EQ(Record({"ecg", "--rate", "100", "--breaths", "12", "--breath-rate", "20", "--apnea", "50",
                      "--seconds", "20", "--rate-out", "500"},
                     "breath.edf")
                  .status,
              0);
    Edf breath(Path("breath.edf"));
    EXPECT_THAT(breath.marks["apnea on"], testing::ElementsAre(10.0));
    const std::vector<double>& peaks = breath.marks["R"];
    EXPECT_NEAR(static_cast<double>(peaks.size()), 33.0, 4.0);
    for (std::size_t beat = 1; beat < peaks.size(); ++beat)
        EXPECT_THAT(peaks[beat] - peaks[beat - 1], AllOf(testing::Ge(0.6 / 1.21), testing::Le(0.6 / 0.79)));
}

TEST_F(RecordOffline, FloatsAreTheSamples)
{
    const Outcome outcome = Record(
        {"sine", "--frequency", "10", "--amplitude", "3", "--dc-offset", "-250", "--seconds", "1"}, "x.f32");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.Json().at("format"), "float");
    EXPECT_EQ(outcome.Json().at("seconds"), 1.0);
    std::vector<float> values(2 * 40000);
    std::ifstream file(Path("x.f32"), std::ios::binary);
    file.read(reinterpret_cast<char*>(values.data()),
              static_cast<std::streamsize>(values.size() * sizeof(float)));
    ASSERT_TRUE(file && file.peek() == EOF);
    for (std::size_t i = 0; i < 40000; i += 997) {
        EXPECT_NEAR(values[2 * i], 1.5 * std::sin(2.0 * 3.14159265 * 10.0 * static_cast<double>(i) / 40000.0),
                    2e-6);
        EXPECT_EQ(values[2 * i + 1], -250.0F);
    }
}

TEST_F(RecordOffline, StdoutIsJsonLinesWhereJsonIsAskedFor)
{
    const Outcome outcome = RunZeka({"record", "ecg", "--rate", "120", "--pacing", "5", "--seconds", "2",
                                     "--rate-out", "500", "--offline", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    std::istringstream lines(outcome.out);
    std::vector<nlohmann::json> objects;
    for (std::string line; std::getline(lines, line);)
        objects.push_back(nlohmann::json::parse(line));
    EXPECT_EQ(objects.front().at("schema"), 1);
    EXPECT_EQ(objects.back().at("marks").at("r_peaks"), 4);
    EXPECT_EQ(std::ranges::count_if(objects, [](const auto& one) { return one.contains("ac_mv"); }), 1000);
    const auto pulse =
        std::ranges::find_if(objects, [](const auto& one) { return one.value("mark", "") == "pacing"; });
    ASSERT_NE(pulse, objects.end());
    EXPECT_EQ(pulse->at("width_ms"), 2.0);
    EXPECT_EQ(pulse->at("amplitude_mv"), 5.0);
}

TEST_F(RecordOffline, NamesThatCannotBe)
{
    EXPECT_EQ(RunZeka({"record", "sine", "--seconds", "1", "--offline", "--sim"}).status, 2);
    const Outcome outcome = RunZeka({"record", "sine", "--seconds", "1", "--offline", "--format", "edf"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("--output"));
    EXPECT_EQ(Record({"sine", "--seconds", "1"}, "a b.hea").status, 2);
    EXPECT_EQ(Record({"sine", "--seconds", "1"}, "none/x.edf").status, 1);
}

// Recorded, played and captured at the instrument's end: every sample of the file is held until the next.
TEST_F(RecordOffline, AFileIsPlayedAsItStands)
{
    ASSERT_EQ(
        Record({"ecg", "--rate", "120", "--pacing", "5", "--seconds", "2", "--rate-out", "2000"}, "x.hea")
            .status,
        0);
    std::vector<std::int16_t> file(2 * 4000);
    std::ifstream data(Path("x.dat"), std::ios::binary);
    data.read(reinterpret_cast<char*>(file.data()), static_cast<std::streamsize>(file.size() * 2));
    ASSERT_TRUE(data);

    sim::Instrument instrument(FastClock());
    instrument.Plug();
    instrument.StartCapture(2 * 40000);
    const Outcome outcome = RunZeka(
        {"file", Path("x.hea"), "--channel", "AC", "--dc-channel", "1", "--gain", "-2", "--once", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const nlohmann::json result = outcome.Json();
    EXPECT_EQ(result.at("format"), "WFDB");
    EXPECT_EQ(result.at("rate"), 2000.0);
    EXPECT_EQ(result.at("recording_seconds"), 2.0);
    EXPECT_THAT(result.at("resampling").get<std::string>(), HasSubstr("held"));
    const std::vector<sim::Sample> played = instrument.Captured();
    ASSERT_THAT(played, SizeIs(2 * 40000));
    for (std::size_t i = 10; i < played.size(); i += 20) {
        EXPECT_NEAR(sim::AcMillivolts(played[i].ac), -2.0 * file[2 * (i / 20)] / 6400.0, kAcCount) << i;
        EXPECT_NEAR(sim::DcMillivolts(played[i].dc), file[2 * (i / 20) + 1] / 32.0, 0.031) << i;
    }
}

TEST_F(RecordOffline, AFileThatIsNoneEndsInOneLine)
{
    const Outcome outcome = RunZeka({"file", Path("none.edf"), "--sim"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("none.edf"), testing::EndsWith("\n")));
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1);
}

// Samples so slow that playing them would take all the memory there is.
TEST_F(RecordOffline, AFileOfHardlyAnySamplesASecondIsNoSignal)
{
    std::ofstream(Path("slow.txt")) << "1e-300\n2\n0\n1\n";
    const Outcome outcome = RunZeka({"file", Path("slow.txt"), "--sim", "--quiet"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("too few"));
}

/// A signal that would play for ever, while something happens to the instrument.
class Losing : public InstrumentTest, public testing::WithParamInterface<const char*> {
protected:
    Losing()
    {
        std::string name = std::filesystem::temp_directory_path() / "zeka-losing-XXXXXX";
        folder_ = ::mkdtemp(name.data());
        std::ofstream text(folder_ / "ramp.txt");
        text << "100\n200\n";
        for (int i = 0; i < 200; ++i)
            text << i * 0.01 << '\n';
    }
    ~Losing() override { std::filesystem::remove_all(folder_); }

    /// How it ends when that happens while it streams.
    Outcome Meet(const std::function<void()>& happening)
    {
        std::vector<std::string> words{"file", folder_ / "ramp.txt", "--quiet"};
        if (GetParam() == std::string("record"))
            words = {"record", "ecg", "--seconds", "600", "-o", folder_ / "x.hea", "--quiet"};
        Command command(words);
        EXPECT_TRUE(instrument.WaitFor([&] { return instrument.Stats().stream.bursts > 20; }, kPatience));
        happening();
        return command.Wait();
    }
    [[nodiscard]] std::string Kept() const { return folder_ / "x.hea"; }

private:
    std::filesystem::path folder_;
};

TEST_P(Losing, ThePulledCableIsToldInOneLine)
{
    const Outcome outcome = Meet([this] { instrument.Unplug(); });
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, AllOf(testing::StartsWith("zeka: "), HasSubstr("lost")));
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1);
    if (GetParam() == std::string("record")) { // an hour is not to be lost with its last second
        EXPECT_GE(formats::FindChannel(formats::ReadRecording(Kept()), "AC").values.size(), 20u * 700u);
    }
}

// The library may have given the connection up before the command has lost its patience.
TEST_P(Losing, AnInstrumentThatAsksForNothingIsToldInOneLine)
{
    const Outcome outcome = Meet([this] { instrument.Inject({.fault = sim::Fault::kStopAsking}); });
    EXPECT_THAT(outcome.status, testing::AnyOf(6, 7));
    EXPECT_THAT(outcome.err, testing::StartsWith("zeka: the "));
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1);
}

INSTANTIATE_TEST_SUITE_P(Commands, Losing, testing::Values("file", "record"),
                         [](const auto& one) { return std::string(one.param); });

} // namespace
} // namespace zeka::test
