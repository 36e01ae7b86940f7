// The binary format: every number high byte first, microvolts to millivolts, and every code.
#include "recording_support.h"

#include <gtest/gtest.h>

namespace {

using zeka::test::TempFile;
using zeka::test::WhatIsLoaded;
using Values = std::vector<double>;

std::string Word(unsigned value)
{
    return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}
std::string Header(unsigned rate, unsigned count) { return Word(rate) + Word(count >> 16) + Word(count); }
int Load(const std::string& content) { return LoadECGBin(TempFile(content).WidePath().c_str()); }

TEST(BinaryRecording, WordsAreMicrovoltsLimitedTo2500)
{
    EXPECT_EQ(Load(Header(500, 7) + Word(0xFC18) + Word(0x2710) + Word(0) + Word(1) + Word(0x8000) +
                   Word(0x7FFF) + Word(2501)),
              7);
    const auto loaded = WhatIsLoaded();
    EXPECT_EQ(loaded.ac, (Values{-1.0, 2.5, 0.0, 0.001, -2.5, 2.5, 2.5}));
    EXPECT_EQ(loaded.rate, 500.0);
    EXPECT_TRUE(loaded.millivolts);
}

TEST(BinaryRecording, EveryWordIsTheQuotientByAThousand)
{
    std::string content = Header(1000, 65536);
    Values expected;
    for (int word = 0; word < 65536; ++word) {
        content += Word(static_cast<unsigned>(word));
        const int microvolts = word < 32768 ? word : word - 65536;
        expected.push_back(std::min(2.5, std::max(-2.5, microvolts / 1000.0)));
    }
    EXPECT_EQ(Load(content), 65536);
    EXPECT_EQ(WhatIsLoaded().ac, expected);
}

TEST(BinaryRecording, AnEarlyEndIsAcceptedAndALastOddByteIsNoSample)
{
    EXPECT_EQ(Load(Header(500, 100) + Word(1000) + Word(2000) + "\x01"), 2);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{1.0, 2.0}));
    EXPECT_EQ(Load(Header(500, 1) + Word(1000) + Word(2000)), 1);
    EXPECT_EQ(Load(Header(500, 3)), 0);
    EXPECT_EQ(WhatIsLoaded().size, 0);
}

struct HeaderCase {
    const char* name;
    std::string content;
    int code;
};
void PrintTo(const HeaderCase& test, std::ostream* out) { *out << test.name; }

class BinaryHeader : public testing::TestWithParam<HeaderCase> {};

TEST_P(BinaryHeader, HasItsCodeAndARejectedOneLeavesTheFormerRecording)
{
    ASSERT_EQ(Load(Header(777, 2) + Word(1) + Word(2)), 2);
    EXPECT_EQ(Load(GetParam().content), GetParam().code);
    EXPECT_EQ(WhatIsLoaded().ac, GetParam().code < 0 ? (Values{0.001, 0.002}) : (Values{0.003}));
}

INSTANTIATE_TEST_SUITE_P(Codes, BinaryHeader,
                         testing::Values(HeaderCase{"Empty", "", -2}, HeaderCase{"HalfARate", "\x01", -2},
                                         HeaderCase{"RateZero", Header(0, 1) + Word(3), -2},
                                         HeaderCase{"Rate29", Header(29, 1) + Word(3), -2},
                                         HeaderCase{"Rate30", Header(30, 1) + Word(3), 1},
                                         HeaderCase{"Rate5000", Header(5000, 1) + Word(3), 1},
                                         HeaderCase{"Rate5001", Header(5001, 1) + Word(3), -2},
                                         HeaderCase{"HalfACount", Word(500) + Word(0) + "\x05", -3},
                                         HeaderCase{"CountZero", Header(500, 0) + Word(3), -3},
                                         HeaderCase{"CountNegative", Header(500, 0xFFFFFFFF) + Word(3), -3},
                                         HeaderCase{"CountMost", Header(500, 20000000) + Word(3), 1},
                                         HeaderCase{"CountTooMany", Header(500, 20000001) + Word(3), -3}),
                         [](const auto& test) { return test.param.name; });

TEST(BinaryRecording, TheRateIsKnownAsSoonAsItIsRead)
{
    EXPECT_EQ(Load(Word(29)), -2);
    EXPECT_EQ(WhatIsLoaded().rate, 29.0);
    EXPECT_EQ(LoadECGBin(L"/nonexistent/file"), -1);
    EXPECT_EQ(WhatIsLoaded().rate, 29.0);
}

} // namespace
