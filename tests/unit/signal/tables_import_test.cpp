// tables_import_test.cpp - official records are taken sample for sample, and nothing else is taken for one.
// The records are made here: random codes between the two codes that give the published range.
#include "signal/tables/generator/figure_file.h"
#include "signal/tables/generator/wfdb.h"
#include "signal/tables/tables.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {
using namespace zeka::maketables;
namespace fs = std::filesystem;

/// A record as its maker describes it; every member may be falsified before it is written.
struct Draft {
    std::string name = "aami3a";
    std::string record_name = "aami3a";
    std::string signals = "1";
    std::string rate = "720";
    std::string format = "16";
    std::string gain = "130";
    int baseline = 2048;                        // added to the codes; said as the ADC zero
    std::vector<int> codes;                     // 0 is 0 mV
    std::size_t promised = 0;                   // samples according to the header
    int first_error = 0, checksum_error = 0;    // added to what the header says
    std::size_t cut_bytes = 0, extra_bytes = 0; // at the end of the data file
    std::string comment = "# a comment\r\n";
};

std::vector<int> RandomCodes(std::size_t samples, int low, int high)
{
    std::mt19937 random(20061);
    std::uniform_int_distribution<int> code(low, high);
    std::vector<int> codes(samples);
    for (int& c : codes)
        c = code(random);
    codes[samples / 2] = low;
    codes[samples / 3] = high;
    return codes;
}

Draft BigeminyDraft()
{
    Draft draft;
    draft.codes = RandomCodes(43081, -69, 79); // -69/130 mV = -0.531, 79/130 mV = 0.608
    draft.promised = draft.codes.size();
    return draft;
}

std::string Bytes16(const std::vector<int>& codes)
{
    std::string bytes;
    for (const int code : codes) {
        bytes += static_cast<char>(code & 0xFF);
        bytes += static_cast<char>(code >> 8 & 0xFF);
    }
    return bytes;
}

std::string Bytes212(const std::vector<int>& codes)
{
    std::string bytes;
    for (std::size_t k = 0; k < codes.size(); k += 2) {
        const int second = k + 1 < codes.size() ? codes[k + 1] : 0;
        bytes += static_cast<char>(codes[k] & 0xFF);
        bytes += static_cast<char>((codes[k] >> 8 & 0x0F) | (second >> 4 & 0xF0));
        bytes += static_cast<char>(second & 0xFF);
    }
    return bytes;
}

class RecordFolder : public testing::Test {
protected:
    void SetUp() override
    {
        folder_ = fs::path(testing::TempDir()) / ("zeka_records_" + std::to_string(::getpid()));
        fs::create_directories(folder_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    void Write(const Draft& draft) const
    {
        std::vector<int> stored = draft.codes;
        int sum = 0;
        for (int& code : stored)
            sum += code += draft.baseline;
        std::string bytes = draft.format.starts_with("212") ? Bytes212(stored) : Bytes16(stored);
        if (draft.format.ends_with("+24"))
            bytes.insert(0, 24, 'x');
        bytes.resize(bytes.size() - draft.cut_bytes);
        bytes.append(draft.extra_bytes, '\0');
        std::ofstream(folder_ / (draft.name + ".dat"), std::ios::binary) << bytes;
        std::ofstream(folder_ / (draft.name + ".hea"), std::ios::binary)
            << draft.record_name << ' ' << draft.signals << ' ' << draft.rate << ' ' << draft.promised << '\n'
            << draft.name << ".dat " << draft.format << ' ' << draft.gain << " 12 " << draft.baseline << ' '
            << stored.front() + draft.first_error << ' '
            << static_cast<std::int16_t>(sum + draft.checksum_error) << " 0 ECG lead\n"
            << draft.comment;
    }

    [[nodiscard]] Waveform Import(std::size_t index = 0) const
    {
        return ImportRecord(folder_, Records()[index]);
    }

    /// The one line that Import complains with; empty when it does not.
    [[nodiscard]] std::string Complaint() const
    {
        try {
            (void)Import();
        } catch (const InputError& error) {
            return error.what();
        }
        return {};
    }

    static std::vector<Ec13Record> Records()
    {
        return ReadEc13Figures(ReadSections(FIGURES_DIR "/iec60601-2-27.figures", "record"));
    }

    fs::path folder_;
};

void ExpectSame(const Waveform& waveform, const std::vector<int>& codes, int adc_per_mv)
{
    ASSERT_EQ(waveform.size(), codes.size());
    for (std::size_t k = 0; k < codes.size(); ++k) // at 130 per mV no code falls on half a microvolt
        ASSERT_EQ(waveform[k], std::lround(codes[k] * 1000.0 / adc_per_mv)) << k;
}

TEST_F(RecordFolder, BothFormatsAreTakenSampleForSample)
{
    Draft draft = BigeminyDraft();
    Write(draft);
    ExpectSame(Import(), draft.codes, 130);

    draft.format = "212"; // 43081 samples: the last pair is half empty
    draft.baseline = -1500;
    Write(draft);
    ExpectSame(Import(), draft.codes, 130);
    draft.cut_bytes = 1; // some writers leave the empty half away
    Write(draft);
    ExpectSame(Import(), draft.codes, 130);
}

TEST_F(RecordFolder, TheOptionalPartsOfAHeaderAreUnderstood)
{
    Draft draft = BigeminyDraft();
    draft.rate = "720/720(0)";
    draft.format = "16+24";
    draft.gain = "130(2048)/mV";
    Write(draft);
    ExpectSame(Import(), draft.codes, 130);
}

struct Fault {
    const char* name;
    void (*falsify)(Draft&);
    const char* file; // that the complaint names
    const char* reason;
};

class FalseRecord : public RecordFolder, public testing::WithParamInterface<Fault> {};

TEST_P(FalseRecord, IsRefusedWithOneLineThatNamesFileAndReason)
{
    Draft draft = BigeminyDraft();
    GetParam().falsify(draft);
    Write(draft);
    const std::string complaint = Complaint();
    EXPECT_TRUE(complaint.starts_with((folder_ / GetParam().file).string() + ": ")) << complaint;
    EXPECT_NE(complaint.find(GetParam().reason), std::string::npos) << complaint;
    EXPECT_EQ(complaint.find('\n'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, FalseRecord,
    testing::Values(
        Fault{"WrongChecksum", [](Draft& d) { d.checksum_error = 1; }, "aami3a.dat", "checksum"},
        Fault{"WrongFirstCode", [](Draft& d) { d.first_error = -1; }, "aami3a.dat", "begins with code"},
        Fault{"Truncated", [](Draft& d) { d.cut_bytes = 2; }, "aami3a.dat",
              "86160 bytes of samples, not 86162"},
        Fault{"Empty", [](Draft& d) { d.cut_bytes = 2 * d.codes.size(); }, "aami3a.dat", " 0 bytes"},
        Fault{"TooLong", [](Draft& d) { d.extra_bytes = 2; }, "aami3a.dat", "86164 bytes"},
        Fault{"FarTooLong", [](Draft& d) { d.extra_bytes = 1 << 20; }, "aami3a.dat", "far too long"},
        Fault{"OffsetBeyondTheEnd", [](Draft& d) { d.format = "16+99999999"; }, "aami3a.dat", "ends before"},
        Fault{"OtherRecord", [](Draft& d) { d.record_name = "aami3b"; }, "aami3a.hea",
              "'aami3b', not 'aami3a'"},
        Fault{"OtherLength", [](Draft& d) { d.promised = 43080; }, "aami3a.hea", "43080 samples, not 43081"},
        Fault{"OtherRate", [](Draft& d) { d.rate = "360"; }, "aami3a.hea", "720 samples per second"},
        Fault{"TwoSignals", [](Draft& d) { d.signals = "2"; }, "aami3a.hea", "2 signals"},
        Fault{"OtherFormat", [](Draft& d) { d.format = "80"; }, "aami3a.hea", "format 80"},
        Fault{"SeveralSamplesAFrame", [](Draft& d) { d.format = "16x2"; }, "aami3a.hea", "'x2'"},
        Fault{"OtherUnit", [](Draft& d) { d.gain = "130/uV"; }, "aami3a.hea", "unit"},
        Fault{"NoGain", [](Draft& d) { d.gain = "0"; }, "aami3a.hea", "gain"},
        Fault{"GainThatIsNoNumber", [](Draft& d) { d.gain = "nan"; }, "aami3a.hea", "gain"},
        Fault{"OpenBaseline", [](Draft& d) { d.gain = "130(2048"; }, "aami3a.hea", "baseline"},
        Fault{"OtherGain", [](Draft& d) { d.gain = "131"; }, "aami3a.dat", "not -531 to 608 uV"},
        Fault{"OtherSignal", [](Draft& d) { d.codes = RandomCodes(43081, -69, 80); }, "aami3a.dat", "spans"},
        Fault{"ThirdLine", [](Draft& d) { d.comment = "aami3a.dat 16 130 12 2048 0 0 0 ECG\n"; },
              "aami3a.hea", "3 lines"}),
    [](const auto& given) { return given.param.name; });

TEST_F(RecordFolder, AMissingOrSenselessHeaderIsNamed)
{
    EXPECT_NE(Complaint().find("aami3a.hea: cannot be opened"), std::string::npos);
    Write(BigeminyDraft());
    for (const char* text : {"", "\n\n", "aami3a\n", "aami3a 1 720 43081\naami3a.dat 16 130\n",
                             "aami3a 1 fast 43081\naami3a.dat 16 130 12 0 0 0\n",
                             "aami3a 1 720 -1\naami3a.dat 16 130 12 0 0 0\n",
                             "aami3a 1 720 43081\n../aami3a.dat 16 130 12 0 0 0\n",
                             "aami3a 1 720 43081\naami3a.dat 16 130 12 99999999999 0 0\n"}) {
        std::ofstream(folder_ / "aami3a.hea") << text;
        EXPECT_TRUE(Complaint().starts_with((folder_ / "aami3a.hea").string() + ": ")) << text;
    }
    Write(BigeminyDraft());
    fs::remove(folder_ / "aami3a.dat");
    EXPECT_NE(Complaint().find("aami3a.dat: cannot be opened"), std::string::npos);
}

TEST(AdcToMicrovolts, HalvesFallWhereThePublishedTextHasThem)
{
    EXPECT_EQ(AdcToMicrovolts(0, 130), 0);
    EXPECT_EQ(AdcToMicrovolts(24, 130), 185);
    EXPECT_EQ(AdcToMicrovolts(126, 160), 787);   // 787.5
    EXPECT_EQ(AdcToMicrovolts(-62, 160), -388);  // -387.5
    EXPECT_EQ(AdcToMicrovolts(-121, 80), -1512); // -1512.5
    EXPECT_EQ(AdcToMicrovolts(53, 80), 662);     // 662.5
    EXPECT_EQ(AdcToMicrovolts(-121, 40), -3025);
}

/// Runs the generator of the build; the result is its exit status.
int RunMakeTables(const fs::path& output, const fs::path& records, const fs::path& errors)
{
    const std::string command = std::string("'") + MAKE_TABLES + "' '" + FIGURES_DIR + "' '" +
                                output.string() + "' '" + records.string() + "' 2>'" + errors.string() + "'";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(RecordFolder, TheBuildTakesTenRecordsOrStopsWithoutATable)
{
    const fs::path output = folder_ / "tables.cpp";
    const fs::path errors = folder_ / "errors.txt";
    for (const Ec13Record& record : Records()) {
        Draft draft;
        draft.name = draft.record_name = record.name;
        draft.gain = std::to_string(record.adc_per_mv);
        // the codes that print as the ends of the range; a half microvolt may have gone either way
        const auto code_of = [&](int uv) {
            const int near = static_cast<int>(std::lround(uv * record.adc_per_mv / 1000.0));
            for (const int code : {near - 1, near, near + 1})
                if (AdcToMicrovolts(code, record.adc_per_mv) == uv)
                    return code;
            return 9999;
        };
        draft.codes =
            RandomCodes(record.samples, code_of(record.range_uv.low), code_of(record.range_uv.high));
        draft.promised = record.samples;
        Write(draft);
    }
    ASSERT_EQ(RunMakeTables(output, folder_, errors), 0);
    EXPECT_TRUE(fs::exists(output));
    fs::remove(output);

    fs::remove(folder_ / "aami4b_h.dat");
    EXPECT_EQ(RunMakeTables(output, folder_, errors), 1);
    EXPECT_FALSE(fs::exists(output));
    std::ifstream in(errors);
    const std::string said{std::istreambuf_iterator<char>(in), {}};
    EXPECT_EQ(said, "make_tables: " + (folder_ / "aami4b_h.dat").string() + ": cannot be opened\n");
}

TEST(FigureFile, SaysFileAndLineOfWhatItCannotUse)
{
    const auto complaint = [](const std::string& text) -> std::string {
        std::istringstream in(text);
        try {
            for (Section& section : ReadSections(in, "some.figures", "lead")) {
                (void)section.Words("lead", 2);
                (void)section.Ints("range_uV", 2);
                (void)section.Pairs("knots");
                section.ExpectAllUsed();
            }
        } catch (const InputError& error) {
            return error.what();
        }
        return {};
    };
    const std::string good = "# leads\nlead: 0 I\nrange_uV: -197 831 # uV\nknots: 0,0\n  12,-3.5\n";
    EXPECT_EQ(complaint(good), "");
    EXPECT_EQ(complaint(good + "colour: red\n"), "some.figures:6: colour: is no field of this section");
    EXPECT_EQ(complaint(good + "knots: 1,1\n"), "some.figures:6: knots: stands twice in one section");
    EXPECT_EQ(complaint("7\n" + good), "some.figures:1: '7' belongs to no field");
    EXPECT_EQ(complaint("knots: 1,1\n" + good), "some.figures:1: knots: stands before the first 'lead'");
    EXPECT_EQ(complaint("# nothing\n"), "some.figures: holds no 'lead'");
    EXPECT_EQ(complaint("lead: 0 I\nknots: 0,0\n"), "some.figures:1: lead: has no field 'range_uV'");
    EXPECT_EQ(complaint("lead: 0 I\nrange_uV: 1\nknots: 0,0\n"),
              "some.figures:2: range_uV: has 1 values, not 2");
    for (const char* wrong : {"1x", "1.5", "--1", "nan", "99999999999"})
        EXPECT_TRUE(complaint("lead: 0 I\nrange_uV: 1 " + std::string(wrong) + "\nknots: 0,0\n")
                        .starts_with("some.figures:2: range_uV: '"))
            << wrong;
    for (const char* wrong : {"1;2", "1,", ",2", "1,2,3", "1,nan"})
        EXPECT_TRUE(complaint("lead: 0 I\nrange_uV: 0 1\nknots: " + std::string(wrong) + "\n")
                        .starts_with("some.figures:3: knots: '"))
            << wrong;
}
} // namespace
