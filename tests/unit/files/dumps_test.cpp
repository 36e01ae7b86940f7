// Dumps: what stands in the file, and what is said when it cannot be written.
#include "recording_support.h"
#include "support/fixture.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>

namespace {

using zeka::test::ReadAll;
using zeka::test::TempDir;

std::string Printed(const std::vector<double>& values)
{
    std::string text;
    char line[400];
    for (const double value : values) {
        (void)std::snprintf(line, sizeof line, "%.3f\n", value); // the test runs in the C locale
        text += line;
    }
    return text;
}

TEST(Dump, RawDataIsTheValuesOnly)
{
    const TempDir dir;
    std::vector<double> values = {0.0,
                                  -0.0,
                                  0.0005,
                                  0.0015,
                                  -1.25,
                                  2.0004999,
                                  123456.7895,
                                  1e300,
                                  5e-324,
                                  std::numeric_limits<double>::max(),
                                  std::numeric_limits<double>::lowest(),
                                  std::numeric_limits<double>::infinity(),
                                  -std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN()};
    EXPECT_EQ(DumpRawData(values.data(), static_cast<unsigned>(values.size()), (dir / "d").wstring().c_str()),
              0);
    EXPECT_EQ(ReadAll(dir / "d"), Printed(values));
    EXPECT_EQ(DumpRawData(nullptr, 0, (dir / "d").wstring().c_str()), 0);
    EXPECT_EQ(ReadAll(dir / "d"), "") << "an existing file is truncated";
}

TEST(Dump, OutputRawHasTheHeaderOfTheMultiChannelFormat)
{
    const TempDir dir;
    double values[] = {0.5, -1.25, 2.0};
    EXPECT_EQ(OutputRaw(1000, 3, values, "II", (dir / "d").wstring().c_str()), 0);
    EXPECT_EQ(ReadAll(dir / "d"), "1000\n3\n1\nII\n0.500\n-1.250\n2.000\n");
    EXPECT_EQ(OutputRaw(-1, 0, nullptr, nullptr, (dir / "d").wstring().c_str()), 0);
    EXPECT_EQ(ReadAll(dir / "d"), "-1\n0\n1\n\n");
}

TEST(Dump, StandardWaveformsAreMicrovoltsAsMillivolts)
{
    const TempDir dir;
    int table[] = {1500, -250, 0, 1, std::numeric_limits<int>::min()};
    EXPECT_EQ(DumpStandardWaveform(table, 5, 720, "AAMI", (dir / "d").wstring().c_str()), 0);
    EXPECT_EQ(ReadAll(dir / "d"), "720\n5\n1\nAAMI\n1.500\n-0.250\n0.000\n0.001\n-2147483.648\n");
    EXPECT_EQ(DumpStandardWaveform(table, -1, 720, "AAMI", (dir / "d").wstring().c_str()), 0);
    EXPECT_EQ(ReadAll(dir / "d"), "720\n-1\n1\nAAMI\n");
}

TEST(Dump, OfMoreThanABlockIsLoadedBackAsItWas)
{
    const TempDir dir;
    std::vector<double> values;
    for (int i = 0; i < 50000; ++i)
        values.push_back((i % 5001 - 2500) / 1000.0);
    ASSERT_EQ(OutputRaw(250, 50000, values.data(), "II", (dir / "d").wstring().c_str()), 0);
    ASSERT_EQ(LoadECGtxt((dir / "d").c_str(), 0), 50000);
    EXPECT_EQ(zeka::test::WhatIsLoaded().ac, values);
    EXPECT_EQ(zeka::test::WhatIsLoaded().rate, 250.0);
}

TEST(Dump, HasAPointUnderALocaleWithCommas)
{
    const TempDir dir;
    if (!zeka::test::SetCommaLocale(dir))
        GTEST_SKIP() << "no locale with a decimal comma, and none can be made here";
    double value = 1234.5;
    EXPECT_EQ(DumpRawData(&value, 1, (dir / "d").wstring().c_str()), 0);
    EXPECT_EQ(ReadAll(dir / "d"), "1234.500\n");
}

TEST(Dump, AFullDiskIsReportedWhereverItShows)
{
    // A device that takes no byte: a small dump meets it when it is closed, a large one in the middle.
    const auto before = zeka::test::OpenDescriptors();
    std::vector<double> many(100000, 1.0);
    std::vector<int> table(100000, 1000);
    for (const unsigned count : {0u, 1u, 100000u}) {
        const int expected = count == 0 ? 0 : -6;
        EXPECT_EQ(DumpRawData(many.data(), count, L"/dev/full"), expected) << count;
        EXPECT_EQ(OutputRaw(1000, count, many.data(), "II", L"/dev/full"), -6)
            << "the header alone is too much";
        EXPECT_EQ(DumpStandardWaveform(table.data(), static_cast<int>(count), 720, "II", L"/dev/full"), -6);
    }
    EXPECT_EQ(zeka::test::OpenDescriptors(), before);
}

TEST(Dump, WhatCannotBeOpenedIsReportedAndNothingWaits)
{
    const TempDir dir;
    const std::wstring fifo = (dir / "fifo").wstring();
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    const std::wstring too_long = L"/tmp/" + std::wstring(507, L'/') + L"x";
    const auto before = zeka::test::OpenDescriptors();
    double value = 1.0;
    int entry = 1;
    for (const wchar_t* const path : {static_cast<const wchar_t*>(nullptr), L"", L"/", L"/nonexistent/file",
                                      fifo.c_str(), too_long.c_str()}) {
        EXPECT_EQ(DumpRawData(&value, 1, path), -3);
        EXPECT_EQ(OutputRaw(1, 1, &value, "I", path), -3);
        EXPECT_EQ(DumpStandardWaveform(&entry, 1, 1, "I", path), -3);
    }
    EXPECT_EQ(zeka::test::OpenDescriptors(), before);
}

TEST(Dump, WithoutValuesTheFileIsLeftAlone)
{
    const zeka::test::TempFile file("keep");
    EXPECT_EQ(DumpRawData(nullptr, 1, file.WidePath().c_str()), -6);
    EXPECT_EQ(OutputRaw(1, 1, nullptr, "I", file.WidePath().c_str()), -6);
    EXPECT_EQ(DumpStandardWaveform(nullptr, 1, 1, "I", file.WidePath().c_str()), -6);
    EXPECT_EQ(ReadAll(file.Path()), "keep");
}

} // namespace
