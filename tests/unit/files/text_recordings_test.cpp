// The two text formats: what is read, and every code.
#include "recording_support.h"

#include <gtest/gtest.h>

namespace {

using zeka::test::Loaded;
using zeka::test::TempDir;
using zeka::test::TempFile;
using zeka::test::WhatIsLoaded;
using Values = std::vector<double>;

std::string Multi(std::string_view header, std::string_view lines)
{
    return std::string(header).append(lines);
}

constexpr std::string_view kThreeChannels = "500\n3\n3\nI,II,III\n";

TEST(MultiChannelText, TakesTheFieldOfTheChannel)
{
    const TempFile file(Multi(kThreeChannels, "1,2,-1\n0.5,0.25,0.125\n-1,-2,2\n"));
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 0), 3);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{1.0, 0.5, -1.0}));
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 2), 3);
    const Loaded loaded = WhatIsLoaded();
    EXPECT_EQ(loaded.ac, (Values{-1.0, 0.125, 2.0}));
    EXPECT_EQ(loaded.rate, 500.0);
    EXPECT_TRUE(loaded.millivolts);
}

TEST(MultiChannelText, FurtherFieldsAreIgnoredAndEmptyOnesAreFields)
{
    const TempFile file(Multi(kThreeChannels, "1,,2,2.25,rest\n,,0.5\n , 2 ,\t-0.5x\n"));
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 2), 3);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{2.0, 0.5, -0.5}));
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 1), 3);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{0.0, 0.0, 2.0}));
}

TEST(MultiChannelText, AFileThatEndsEarlyIsAcceptedWithWhatItHas)
{
    std::string content = "1000\n1000\n1\nII\n";
    for (int i = 0; i < 600; ++i)
        content += "0.001\n";
    const TempFile file(content);
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 0), 600);
    EXPECT_EQ(WhatIsLoaded().ac, Values(600, 0.001));
}

TEST(MultiChannelText, LinesBehindTheDeclaredCountAreLeft)
{
    const TempFile file("1000\n2\n1\nII\n1\n2\n2.5\n");
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 0), 2);
}

TEST(MultiChannelText, ValuesAreLimitedAndNeverNotANumber)
{
    const TempFile file("1000\n8\n1\nII\n3.7\n-9\nnan\ninf\n-inf\n1e999\n-nan(7)\n2.5\n");
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 0), 8);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{2.5, -2.5, 0.0, 2.5, -2.5, 2.5, 0.0, 2.5}));
}

TEST(MultiChannelText, ADataLineWithTooFewFieldsEndsTheLoadWithNothing)
{
    const TempFile good("1000\n1\n1\nII\n1\n");
    ASSERT_EQ(LoadECGtxt(good.Path().c_str(), 0), 1);
    const TempFile file(Multi(kThreeChannels, "1,2,3\n1,2\n1,2,3\n"));
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 2), -7);
    const Loaded loaded = WhatIsLoaded();
    EXPECT_TRUE(loaded.empty);
    EXPECT_EQ(loaded.size, -7);
    EXPECT_TRUE(loaded.millivolts);
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), 1), 3) << "the other fields are there";
}

struct CodeCase {
    const char* name;
    std::string_view content;
    int channel;
    int code;
    double rate_after;
};
void PrintTo(const CodeCase& test, std::ostream* out) { *out << test.name; }
constexpr double kRateBefore = 777.0;

class RejectedHeader : public testing::TestWithParam<CodeCase> {
protected:
    void SetUp() override
    {
        const TempFile before("777\n2\n1\nII\n1\n-1\n");
        ASSERT_EQ(LoadECGtxt(before.Path().c_str(), 0), 2);
    }
    static void ExpectOnlyTheRateChanged()
    {
        const Loaded loaded = WhatIsLoaded();
        EXPECT_EQ(loaded.ac, (Values{1.0, -1.0}));
        EXPECT_EQ(loaded.rate, GetParam().rate_after);
    }
};

std::string NameOf(const testing::TestParamInfo<CodeCase>& info) { return info.param.name; }

using RejectedMultiHeader = RejectedHeader;

TEST_P(RejectedMultiHeader, LeavesTheFormerRecording)
{
    const TempFile file(GetParam().content);
    EXPECT_EQ(LoadECGtxt(file.Path().c_str(), GetParam().channel), GetParam().code);
    ExpectOnlyTheRateChanged();
}

INSTANTIATE_TEST_SUITE_P(
    Codes, RejectedMultiHeader,
    testing::Values(CodeCase{"Empty", "", 0, -2, kRateBefore},
                    CodeCase{"RateZero", "0\n1\n1\nI\n1\n", 0, -2, 0.0},
                    CodeCase{"RateNoNumber", "fast\n1\n1\nI\n1\n", 0, -2, 0.0},
                    CodeCase{"RateBelow", "99.9\n1\n1\nI\n1\n", 0, -2, 99.9},
                    CodeCase{"RateAbove", "40000.5\n1\n1\nI\n1\n", 0, -2, 40000.5},
                    CodeCase{"RateNotANumber", "nan\n1\n1\nI\n1\n", 0, -2, 0.0},
                    CodeCase{"RateInfinite", "1e999\n1\n1\nI\n1\n", 0, -2, 0.0},
                    CodeCase{"CountMissing", "250\n", 0, -3, 250.0},
                    CodeCase{"CountZero", "250\n0\n1\nI\n1\n", 0, -3, 250.0},
                    CodeCase{"ChannelsMissing", "250\n1\n", 0, -4, 250.0},
                    CodeCase{"ChannelsZero", "250\n1\nx\nI\n1\n", 0, -4, 250.0},
                    CodeCase{"ChannelBehindTheLast", "250\n1\n3\nI,II,III\n1,2,3\n", 3, -7, 250.0},
                    CodeCase{"ChannelNegative", "250\n1\n3\nI,II,III\n1,2,3\n", -1, -7, 250.0},
                    CodeCase{"ChannelsNegative", "250\n1\n-3\nI\n1\n", 0, -7, 250.0},
                    CodeCase{"NamesMissing", "250\n1\n1\n", 0, -5, 250.0}),
    NameOf);

using RejectedSingleHeader = RejectedHeader;

TEST_P(RejectedSingleHeader, LeavesTheFormerRecording)
{
    const TempFile file(GetParam().content);
    EXPECT_EQ(LoadECGtxt(file.Path().c_str()), GetParam().code); // the overload of the header
    ExpectOnlyTheRateChanged();
}

INSTANTIATE_TEST_SUITE_P(Codes, RejectedSingleHeader,
                         testing::Values(CodeCase{"Empty", "", 0, -2, kRateBefore},
                                         CodeCase{"RateZero", "0.0\n1\n1\n", 0, -2, 0.0},
                                         CodeCase{"RateInfinite", "inf\n1\n1\n", 0, -2, 0.0},
                                         CodeCase{"CountMissing", "5\n", 0, -3, 5.0},
                                         CodeCase{"CountZero", "5\n-0\n1\n", 0, -3, 5.0}),
                         NameOf);

TEST(SingleChannelText, HasNoLimitsOnTheRate)
{
    const TempFile file("0.5 Hz\n4 samples\n1\n\n-0.25\nx");
    EXPECT_EQ(LoadECGtxtSingle(file.Path().c_str()), 4);
    const Loaded loaded = WhatIsLoaded();
    EXPECT_EQ(loaded.ac, (Values{1.0, 0.0, -0.25, 0.0}));
    EXPECT_EQ(loaded.rate, 0.5);
}

TEST(TextCounts, ANegativeCountIsARequestThatNoMemoryFulfils)
{
    const TempFile good("1000\n3\n1\nII\n1\n1\n1\n");
    const TempFile single("250\n-1\n1\n");
    const TempFile multi("250\n-1\n1\nI\n1\n");
    for (const bool is_multi : {false, true}) {
        ASSERT_EQ(LoadECGtxt(good.Path().c_str(), 0), 3);
        EXPECT_EQ(is_multi ? LoadECGtxt(multi.Path().c_str(), 0) : LoadECGtxtSingle(single.Path().c_str()),
                  is_multi ? -6 : -4);
        EXPECT_TRUE(WhatIsLoaded().empty);
        EXPECT_EQ(WhatIsLoaded().size, 3) << "the size stays";
    }
}

struct Names {
    std::vector<char*> entries = std::vector<char*>(8, nullptr);
    ~Names()
    {
        for (char* const entry : entries)
            std::free(entry);
    }
};

TEST(ChannelNames, KeepTheLineFeedOfTheLastOne)
{
    const TempFile file("360\n10\n3\nI,II,III\n");
    Names names;
    EXPECT_EQ(CheckECGTxtChannel(file.WidePath().c_str(), names.entries.data()), 3);
    EXPECT_STREQ(names.entries[0], "I");
    EXPECT_STREQ(names.entries[1], "II");
    EXPECT_STREQ(names.entries[2], "III\n");
    EXPECT_EQ(names.entries[3], nullptr);
    EXPECT_EQ(WhatIsLoaded().rate, 360.0);
}

TEST(ChannelNames, AreAsManyAsTheLineHasAndAtMostAsManyAsDeclared)
{
    const std::string longest(127, 'n');
    const TempFile fewer("360\n10\n4\n" + longest + "\n");
    const TempFile more("360\n10\n1\nI,II\n");
    Names names;
    EXPECT_EQ(CheckECGTxtChannel(fewer.WidePath().c_str(), names.entries.data()), 4);
    EXPECT_EQ(names.entries[0], longest);
    EXPECT_EQ(names.entries[1], nullptr);
    EXPECT_EQ(CheckECGTxtChannel(more.WidePath().c_str(), nullptr), 1);
    Names one;
    EXPECT_EQ(CheckECGTxtChannel(more.WidePath().c_str(), one.entries.data()), 1);
    EXPECT_STREQ(one.entries[0], "I");
    EXPECT_EQ(one.entries[1], nullptr);
}

TEST(ChannelNames, HaveTheirCodes)
{
    const auto check = [](std::string_view content) {
        Names names;
        const TempFile file(content);
        const int code = CheckECGTxtChannel(file.WidePath().c_str(), names.entries.data());
        EXPECT_EQ(names.entries[0], nullptr);
        return code;
    };
    EXPECT_EQ(CheckECGTxtChannel(L"/nonexistent/file", nullptr), -1);
    EXPECT_EQ(CheckECGTxtChannel(nullptr, nullptr), -1);
    EXPECT_EQ(check("0\n1\n1\nI\n"), -2);
    EXPECT_EQ(check("50\n\n1\nI\n"), -3) << "the rate has no limits here";
    EXPECT_EQ(check("50\n1\n0\nI\n"), -4);
    EXPECT_EQ(check("50\n1\n-2\nI\n"), -4);
    EXPECT_EQ(check("50\n1\n1\n"), -5);
}

TEST(GetFileSize, IsAlwaysMinusOne)
{
    const TempFile file("12345");
    EXPECT_EQ(getFileSize(file.Path().c_str()), -1);
    EXPECT_EQ(getFileSize(nullptr), -1);
}

} // namespace
