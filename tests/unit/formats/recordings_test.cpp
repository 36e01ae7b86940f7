// formats_test.cpp - recordings of other software and for it: what is written is read back, also by programs
// that are not ours; files that are not what they say end in one line.
#include "formats/counts.h"
#include "formats/file_error.h"
#include "formats/readers.h"
#include "formats/writers.h"
#include "support/fixture.h"

#include <cmath>
#include <cstdlib>
#include <edflib.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <random>

namespace zeka::formats {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pointwise;
using testing::SizeIs;
using testing::ThrowsMessage;

/// A folder for the files of one case.
class Formats : public testing::Test {
protected:
    Formats()
    {
        std::string name = std::filesystem::temp_directory_path() / "zeka-formats-XXXXXX";
        folder_ = ::mkdtemp(name.data());
    }
    ~Formats() override { std::filesystem::remove_all(folder_); }

    [[nodiscard]] std::string Path(const std::string& name) const { return folder_ / name; }
    std::string Put(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(Path(name), std::ios::binary) << bytes;
        return Path(name);
    }
    [[nodiscard]] std::string Get(const std::string& name) const
    {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path folder_;
};

const std::vector<Mark> kMarks{{MarkKind::kPlayMark, 0},     {MarkKind::kPacing, 401, 0.125, -700.0},
                               {MarkKind::kQrsOnset, 1600},  {MarkKind::kRPeak, 3350},
                               {MarkKind::kQrsEnd, 5600},    {MarkKind::kApneaBegin, 70'000},
                               {MarkKind::kApneaEnd, 89'999}};

/// Two and a quarter seconds at 40000/s, in uneven pieces; marks as late as they may come.
struct Written {
    std::vector<double> ac_mv, dc_mv;
};

Written Write(Format format, const RecordingPlan& plan, std::size_t samples = 90'000)
{
    Written written;
    for (std::size_t i = 0; i < samples; ++i) {
        const double t = static_cast<double>(i) / plan.rate;
        written.ac_mv.push_back(5.0 * std::sin(6.2831853 * 7.0 * t));
        written.dc_mv.push_back(i % 400 < 50 ? -700.0 : 0.0);
    }
    const auto writer = OpenRecording(format, plan);
    std::size_t at = 0;
    for (std::size_t piece = 1; at < samples; piece = piece * 3 % 7001 + 1) {
        const std::size_t count = std::min(piece, samples - at);
        writer->Take(std::span(written.ac_mv).subspan(at, count),
                     std::span(written.dc_mv).subspan(at, count));
        at += count;
    }
    for (const Mark& mark : kMarks)
        writer->Note(mark);
    writer->End();
    return written;
}

RecordingPlan PlanFor(const std::string& path, int rate)
{
    return {path, "ecg", rate, rate == 40000 ? "" : "mean of some", 20.0};
}

constexpr double kAcStepMv = 1.0 / kAcCountsPerMv;
constexpr double kDcStepMv = 1.0 / kDcCountsPerMv;

TEST_F(Formats, EdfIsReadByEdfLibAsItWasWritten)
{
    const Written written = Write(Format::kEdf, PlanFor(Path("x.edf"), 40000));
    const Recording read = ReadRecording(Path("x.edf"));
    EXPECT_EQ(read.format, "EDF+");
    ASSERT_THAT(read.channels, SizeIs(2));
    EXPECT_EQ(read.channels[0].name, "AC");
    EXPECT_EQ(read.channels[1].rate, 40000.0);
    EXPECT_THAT(read.channels[0].values, Pointwise(DoubleNear(0.51 * kAcStepMv), written.ac_mv));
    EXPECT_THAT(read.channels[1].values,
                Pointwise(DoubleNear(0.01 * kDcStepMv), written.dc_mv)); // whole counts
    ASSERT_THAT(read.annotations, SizeIs(kMarks.size()));
    for (std::size_t i = 0; i < kMarks.size(); ++i) {
        EXPECT_NEAR(read.annotations[i].seconds, static_cast<double>(kMarks[i].sample) / 40000.0, 1e-7);
        EXPECT_EQ(read.annotations[i].text, TextOf(kMarks[i]));
    }
    EXPECT_NEAR(read.annotations[1].duration_s, 0.000125, 1e-7);
    EXPECT_EQ(read.annotations[1].text, "pacing 0.125 ms -700.00 mV");
}

// A data record is of one length: the rest of the last one stands still.
TEST_F(Formats, EdfFillsItsLastDataRecord)
{
    Write(Format::kEdf, PlanFor(Path("x.edf"), 500), 1300);
    const Recording read = ReadRecording(Path("x.edf"));
    ASSERT_THAT(read.channels[0].values, SizeIs(1500));
    EXPECT_EQ(read.channels[0].values[1499], read.channels[0].values[1299]);
    edf_hdr_struct header{};
    ASSERT_EQ(edfopen_file_readonly(Path("x.edf").c_str(), &header, EDFLIB_DO_NOT_READ_ANNOTATIONS), 0);
    EXPECT_THAT(header.signalparam[0].prefilter, HasSubstr("mean of some"));
    edfclose_file(header.handle);
}

// More marks at one place than a data record has room for: they move on with their times.
TEST_F(Formats, EdfLosesNoMarkWhereManyMeet)
{
    const auto writer = OpenRecording(Format::kEdf, {Path("x.edf"), "ecg", 40000, "", 20.0});
    const std::vector<double> samples(90'000, 0.0);
    writer->Take(samples, samples);
    for (int i = 0; i < 40; ++i)
        writer->Note({MarkKind::kRPeak, 20'001});
    writer->End();
    const Recording read = ReadRecording(Path("x.edf"));
    ASSERT_THAT(read.annotations, SizeIs(40));
    for (const Annotation& annotation : read.annotations)
        EXPECT_NEAR(annotation.seconds, 20'001 / 40000.0, 1e-7);
}

TEST_F(Formats, WfdbIsReadAsItWasWritten)
{
    const Written written = Write(Format::kWfdb, PlanFor(Path("rec.hea"), 40000));
    for (const char* name : {"rec.hea", "rec.dat", "rec"}) {
        const Recording read = ReadRecording(Path(name));
        EXPECT_EQ(read.format, "WFDB");
        ASSERT_THAT(read.channels, SizeIs(2));
        EXPECT_EQ(read.channels[1].name, "DC");
        EXPECT_THAT(read.channels[0].values, Pointwise(DoubleNear(0.501 * kAcStepMv), written.ac_mv));
        EXPECT_THAT(read.channels[1].values, Pointwise(DoubleNear(1e-9), written.dc_mv));
        std::vector<std::string> texts;
        for (std::size_t i = 0; i < read.annotations.size(); ++i) {
            texts.push_back(read.annotations[i].text);
            EXPECT_EQ(std::llround(read.annotations[i].seconds * 40000.0), kMarks.at(i).sample);
        }
        EXPECT_THAT(texts, ElementsAre("\" play", "^ pacing 0.125 ms -700.00 mV", "(", "N", ")",
                                       "\" apnea on", "\" apnea off"));
    }
}

// Bytes laid out by hand from the description of the formats.
TEST_F(Formats, WfdbReadsWhatOthersWrite)
{
    Put("r.hea", "# made by hand\r\nr 3 360/1000(5) 2 12:00:00\r\n"
                 "a.dat 212 200(10)/mV 11 1024 0 0 0 first lead\r\n"
                 "a.dat 212 100/uV 12 -8 0 0 0 second\r\n"
                 "b.dat 16+4 0 16 0 0 0 0\r\n");
    // Values 0x123, -0x0FE | -1, 0x7FF: low byte, both high halves, low byte.
    Put("a.dat", std::string("\x23\xF1\x02\xFF\x7F\xFF", 6));
    Put("b.dat", std::string("skipM\x01\xFF\xFF", 8));
    // 5 samples on "V"; 100000 on "^" with a text of an odd length; the end.
    Put("r.atr", std::string("\x05\x14\x00\xEC\x01\x00\xA0\x86\x00\x68\x03\xFC"
                             "abc\0\0\0",
                             18));
    const Recording read = ReadRecording(Path("r.hea"));
    ASSERT_THAT(read.channels, SizeIs(3));
    EXPECT_EQ(read.channels[0].rate, 360.0);
    EXPECT_EQ(read.channels[0].name, "first lead");
    EXPECT_THAT(read.channels[0].values,
                Pointwise(DoubleNear(1e-12), {(0x123 - 10) / 200.0, (-1 - 10) / 200.0}));
    EXPECT_THAT(read.channels[1].values,
                Pointwise(DoubleNear(1e-12), {(-0x0FE + 8) / 100.0 / 1000.0, (0x7FF + 8) / 100.0 / 1000.0}));
    EXPECT_THAT(read.channels[2].values, Pointwise(DoubleNear(1e-12), {0x14D / 200.0, -1 / 200.0}));
    ASSERT_THAT(read.annotations, SizeIs(2));
    EXPECT_EQ(read.annotations[0].text, "V");
    EXPECT_DOUBLE_EQ(read.annotations[0].seconds, 5 / 360.0);
    EXPECT_EQ(read.annotations[1].text, "^ abc");
    EXPECT_DOUBLE_EQ(read.annotations[1].seconds, 100005 / 360.0);
}

TEST_F(Formats, TheLibrarysOwnFilesAreTold)
{
    const Recording single = ReadRecording(Put("s.txt", "250\n3\n0.5\n-1\n+2e-1\n9\n"));
    ASSERT_THAT(single.channels, SizeIs(1));
    EXPECT_THAT(single.channels[0].values, ElementsAre(0.5, -1.0, 0.2));
    const Recording multi = ReadRecording(Put("m.txt", "500\r\n2\r\n2\r\nI,V 1\r\n1, 2\r\n3,4\r\n"));
    ASSERT_THAT(multi.channels, SizeIs(2));
    EXPECT_EQ(FindChannel(multi, "V 1").values, FindChannel(multi, "1").values);
    EXPECT_THAT(multi.channels[1].values, ElementsAre(2.0, 4.0));
    const Recording binary =
        ReadRecording(Put("b.bin", std::string("\x01\x68\0\0\0\x02\x03\xE8\xFF\xFF", 10)));
    EXPECT_EQ(binary.format, "binary");
    EXPECT_EQ(binary.channels[0].rate, 360.0);
    EXPECT_THAT(binary.channels[0].values, ElementsAre(1.0, DoubleNear(-0.001, 1e-12)));
}

TEST_F(Formats, CsvIsReadAsItWasWritten)
{
    for (const int rate : {360, 40'000}) {
        const std::string path = Path(std::to_string(rate) + ".csv");
        const Written written = Write(Format::kCsv, PlanFor(path, rate), 9'000);
        const Recording read = ReadRecording(path);
        EXPECT_EQ(read.format, "CSV");
        EXPECT_EQ(read.channels.at(0).rate, rate);
        EXPECT_THAT(FindChannel(read, "ac").values, Pointwise(DoubleNear(5.1e-7), written.ac_mv));
        EXPECT_THAT(FindChannel(read, "dc").values, Pointwise(DoubleNear(5.1e-5), written.dc_mv));
    }
}

TEST_F(Formats, WhatIsNoRecordingIsSaidInOneLine)
{
    const auto refused = [](const std::string& path) {
        try {
            (void)ReadRecording(path);
        } catch (const FileError& failure) {
            return std::string(failure.what());
        }
        return std::string("it was read");
    };
    EXPECT_THAT(refused(Path("none.edf")), HasSubstr("No such file"));
    EXPECT_THAT(refused(Put("empty", "")), HasSubstr("\"\" is no sample rate"));
    EXPECT_THAT(refused(Put("words.txt", "many words\n")), HasSubstr("is no sample rate"));
    EXPECT_THAT(refused(Put("still.csv", "time_s,mv\n1,2\n1,3\n")), HasSubstr("do not grow"));
    EXPECT_THAT(refused(Put("gap.csv", "time_s,mv\n0,1\n1,2\n5,3\n6,3\n")), HasSubstr("line 4"));
    EXPECT_THAT(refused(Put("bare.csv", "time_s\n0\n1\n")), HasSubstr("0 columns"));
    EXPECT_THAT(refused(Put("wide.csv", "time_s,mv\n-1e308,1\n1e308,2\n")), HasSubstr("do not grow"));
    EXPECT_THAT(refused(Put("more.txt", "500\n2\n99999\na,b\n1\n")), HasSubstr("99999 channels"));
    EXPECT_THAT(refused(Put("noise.bin", std::string("\x01\x68\x7F\xFF\xFF\xFF\0\0", 8))),
                HasSubstr("neither"));
    EXPECT_THAT(refused(Put("head.edf", "0       X X X X")), HasSubstr("cut off or no proper EDF+"));
    EXPECT_THAT(refused(Put("far.hea", "far 1 360\n../secret 16 200 16 0\n")),
                HasSubstr("beside the header"));
    EXPECT_THAT(refused(Put("many.hea", "many 4000000000 360\n")), HasSubstr("record line"));
    EXPECT_THAT(refused(Put("short.hea", "short 2 360\nshort.dat 16 200\n")), HasSubstr("1 of 2 signals"));
    EXPECT_THAT(refused(Put("flac.hea", "flac 1 360\nflac.dat 516 200\n")), HasSubstr("\"516\""));
    EXPECT_THAT(refused(Put("gain.hea", "gain 1 360\ngain.dat 16 1e-308\n")), HasSubstr("no voltage"));
    EXPECT_THAT(refused(Put("slow.hea", "slow 1 1e-300\nslow.dat 16 1\n")), HasSubstr("no sample rate"));
    Put("a.dat", "1234");
    Put("b.dat", "1234");
    EXPECT_THAT(refused(Put("again.hea", "again 3 360\na.dat 16 1\nb.dat 16 1\na.dat 16 1\n")),
                HasSubstr("stand together"));
    EXPECT_THAT(refused(Put("parts.hea", "parts/3 1 360\n")), HasSubstr("several records"));
    Put("bare.dat", "");
    EXPECT_THAT(refused(Put("bare.hea", "bare 1 360\nbare.dat 16 200\n")), HasSubstr("not one sample"));
    Put("cut.dat", "1234");
    Put("cut.atr", std::string("\x00\xEC\x01", 3));
    EXPECT_THAT(refused(Put("cut.hea", "cut 1 360\ncut.dat 16 200\n")), HasSubstr("within an annotation"));
}

TEST_F(Formats, JsonLinesEscapeWhatATitleHolds)
{
    (void)OpenRecording(Format::kJsonLines, {Path("x.jsonl"), "a\"b\\\n\x01\xFF \xC3\xA4", 500, "", 0.0});
    EXPECT_EQ(Get("x.jsonl"), "{\"schema\":1,\"recording\":\"a\\\"b\\\\\\n\\u0001\xEF\xBF\xBD \xC3\xA4\","
                              "\"rate\":500,\"filter\":\"none\",\"unit\":\"mV\"}\n");
}

// Any change to a good file is read or refused, never more.
TEST_F(Formats, DamagedFilesAreReadOrRefused)
{
    Write(Format::kEdf, PlanFor(Path("x.edf"), 100), 300);
    Write(Format::kWfdb, PlanFor(Path("x.hea"), 100), 300);
    std::mt19937 random(20260321);
    const auto damage = [&random](std::string bytes) {
        for (int i = 0; i < 4; ++i)
            bytes[random() % std::min<std::size_t>(bytes.size(), 1100)] = static_cast<char>(random());
        return random() % 4 == 0 ? bytes.substr(0, random() % bytes.size()) : bytes;
    };
    int read = 0;
    int refused = 0;
    for (int round = 0; round < 400; ++round) {
        const char* name = round % 2 == 0 ? "y.edf" : "y.hea";
        Put("y.edf", damage(Get("x.edf")));
        Put("y.hea", round % 3 == 0 ? damage(Get("x.hea")) : Get("x.hea"));
        Put("y.atr", damage(Get("x.atr")));
        try {
            (void)ReadRecording(Path(name));
            ++read;
        } catch (const FileError&) {
            ++refused;
        }
    }
    EXPECT_GT(read, 20);
    EXPECT_GT(refused, 20);
}

TEST_F(Formats, WhatWouldConfuseATerminalIsNotPassedOn)
{
    Put("r.dat", "1234");
    const Recording read =
        ReadRecording(Put("r.hea", "r 2 360\nr.dat 16 1/\xB5V 16 0 0 0 0 \x1b[31mred\xFF\n"
                                   "r.dat 16 1/\xC2\xB5V 16 0 0 0 0 L\xC3\xA4nge \xED\xA0\x80\n"));
    ASSERT_THAT(read.channels, SizeIs(2));
    EXPECT_EQ(read.channels[0].name, "?[31mred?");
    EXPECT_EQ(read.channels[0].unit, "?V");
    EXPECT_TRUE(read.channels[0].voltage);
    EXPECT_EQ(read.channels[1].name, "L\xC3\xA4nge ???");
    EXPECT_EQ(read.channels[1].unit, "\xC2\xB5V");
}

// It writes six digits, so half a count and a little.
constexpr double kAcNear = 0.55 * kAcStepMv;

/// What save2gdf of Debian's biosig-tools makes of a file.
class Biosig : public Formats {
protected:
    void SetUp() override
    {
        if (std::system("command -v save2gdf >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "save2gdf of Debian's biosig-tools is not installed";
    }
    void Run(const std::string& words) const
    {
        const std::string command = "cd '" + Path(".") + "' && save2gdf " + words + " >told 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    [[nodiscard]] std::vector<double> Column(const std::string& name) const
    {
        std::ifstream file(Path(name));
        return {std::istream_iterator<double>(file), {}};
    }
    /// The numbers behind that name in what it told as JSON; those in quotes are hexadecimal.
    [[nodiscard]] std::vector<double> Told(const std::string& name) const
    {
        const std::string text = Get("told");
        std::vector<double> numbers;
        for (std::size_t at = 0; (at = text.find('"' + name + '"', at)) != std::string::npos;) {
            at = text.find_first_of("0123456789-", at + name.size() + 2);
            numbers.push_back(std::strtod(text.c_str() + at, nullptr));
        }
        return numbers;
    }
};

TEST_F(Biosig, ReadsTheSamplesOfEdf)
{
    const Written written = Write(Format::kEdf, PlanFor(Path("x.edf"), 1000), 3000);
    Run("-f=ASCII x.edf out");
    EXPECT_THAT(Column("out.a01"), Pointwise(DoubleNear(kAcNear), written.ac_mv));
    EXPECT_THAT(Column("out.a02"), Pointwise(DoubleNear(0.02 * kDcStepMv), written.dc_mv));
}

TEST_F(Biosig, ReadsHeaderAndAnnotationsOfWfdb)
{
    Write(Format::kWfdb, PlanFor(Path("x.hea"), 40000));
    Run("-JSON x.hea"); // without the samples, see below
    EXPECT_THAT(Told("NumberOfSamples"), ElementsAre(90'000));
    EXPECT_THAT(Told("Samplingrate"), ElementsAre(40000, 40000, 40000)); // of the record and both signals
    EXPECT_THAT(Told("scaling"), ElementsAre(DoubleNear(kAcStepMv, 1e-7), DoubleNear(kDcStepMv, 1e-7)));
    EXPECT_THAT(Get("told"), testing::AllOf(HasSubstr("\"AC\""), HasSubstr("\"DC\""), HasSubstr("\"mV\"")));
    EXPECT_THAT(Told("TYP"), ElementsAre(22, 26, 39, 1, 40, 22, 22));
    const std::vector<double> times = Told("POS");
    ASSERT_THAT(times, SizeIs(kMarks.size()));
    for (std::size_t i = 1; i < kMarks.size(); ++i) // it counts samples from 1, which the first one is not
        EXPECT_NEAR(times[i] * 40000.0, static_cast<double>(kMarks[i].sample) - 1.0, 0.05);
}

// Of two signals in format 16 it takes every third word for the next: a header of the test's own calls them
// one signal of twice the rate.
TEST_F(Biosig, ReadsTheSamplesOfWfdb)
{
    const Written written = Write(Format::kWfdb, PlanFor(Path("x.hea"), 1000), 3000);
    Put("y.hea", "y 1 2000 6000\nx.dat 16 6400(0)/mV 16 0 0 0 0 both\n");
    Run("-f=ASCII y.hea out");
    const std::vector<double> both = Column("out.a01");
    ASSERT_THAT(both, SizeIs(6000));
    for (std::size_t i = 0; i < 3000; ++i) {
        EXPECT_NEAR(both[2 * i], written.ac_mv[i], kAcNear);
        EXPECT_NEAR(both[2 * i + 1] * kAcCountsPerMv / kDcCountsPerMv, written.dc_mv[i],
                    0.02 * kDcStepMv * 200);
    }
}

} // namespace
} // namespace zeka::formats
