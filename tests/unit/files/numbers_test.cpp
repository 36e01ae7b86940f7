// Numbers in text: the same doubles as the C library's conversion, bit for bit, whatever locale is set.
#include "files/decimal.h"
#include "recording_support.h"

#include <bit>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <random>

namespace {

using zeka::ReadInteger;
using zeka::ReadReal;

std::uint64_t Bits(double value) { return std::bit_cast<std::uint64_t>(value); }

void ExpectAsTheLibrary(const std::string& text)
{
    const double expected = std::strtod(text.c_str(), nullptr); // the test runs in the C locale
    const double got = ReadReal(text);
    if (std::isnan(expected))
        EXPECT_TRUE(std::isnan(got)) << '"' << text << '"';
    else
        EXPECT_EQ(Bits(got), Bits(expected)) << '"' << text << "\" is " << expected << ", read as " << got;
}

TEST(RealNumber, EverySpellingReadsAsTheLibraryReadsIt)
{
    for (const char* const text : {"",
                                   " ",
                                   "-",
                                   "+",
                                   ".",
                                   "-.",
                                   "x",
                                   "0",
                                   "-0",
                                   "+0",
                                   "00012",
                                   "1.",
                                   ".5",
                                   "-.5",
                                   "+.5",
                                   "1.5.5",
                                   "1,5",
                                   " \t\v\f\r\n 7",
                                   "250 Hz",
                                   "--1",
                                   "+-1",
                                   "1e",
                                   "1e+",
                                   "1e5",
                                   "1E-5",
                                   "1.5e3x",
                                   "1e400",
                                   "-1e400",
                                   "1e-400",
                                   "4.9e-324",
                                   "2.2250738585072011e-308",
                                   "1.7976931348623157e308",
                                   "1.7976931348623159e308",
                                   "0x10",
                                   "0x1p-3",
                                   "0x",
                                   "0x.8",
                                   "-0XaP1",
                                   "inf",
                                   "-INFINITY",
                                   "infinit",
                                   "nan",
                                   "nan(123)",
                                   "NAN",
                                   "9007199254740992",
                                   "9007199254740993",
                                   "9007199254740993.0",
                                   "123456789012345678",
                                   "1234567890123456789",
                                   "12345678901234567890",
                                   "0.1234567890123456789",
                                   "0.00000000000000000001",
                                   "0.000000000000000000000000000000000001",
                                   "100000000000000000000000",
                                   "1e22",
                                   "1e23",
                                   "8.5e22",
                                   "3.14159265358979323846",
                                   "18446744073709551616",
                                   "99999999999999999999999999999999999999999999",
                                   "0.1\r\n",
                                   "0e999999999",
                                   "1e-99999999999",
                                   "1e99999999999",
                                   "0.0000e5"})
        ExpectAsTheLibrary(text);
}

TEST(RealNumber, TextEndsWhereItIsSaidToEnd)
{
    const std::string_view text = "12345";
    EXPECT_EQ(ReadReal(text.substr(0, 2)), 12.0);
    EXPECT_EQ(ReadReal(std::string_view("1e5").substr(0, 2)), 1.0);
    EXPECT_EQ(ReadReal(std::string_view("-1").substr(0, 1)), 0.0);
}

TEST(RealNumber, RandomDoublesInAllCommonFormatsReadAsTheLibraryReadsThem)
{
    std::mt19937_64 random(20260101);
    std::uniform_real_distribution<double> millivolts(-5.0, 5.0);
    char text[512];
    for (int i = 0; i < 20000; ++i) {
        const double any = std::bit_cast<double>(random());
        const double value = millivolts(random);
        const int digits = static_cast<int>(random() % 21);
        for (const char* const format : {"%.*f", "%.*e", "%.*g", "%.*a"}) {
            (void)std::snprintf(text, sizeof text, format, digits, value);
            ExpectAsTheLibrary(text);
        }
        (void)std::snprintf(text, sizeof text, "%.17g", any);
        ExpectAsTheLibrary(text);
    }
}

TEST(RealNumber, IsReadWithAPointUnderALocaleWithCommas)
{
    const zeka::test::TempDir dir;
    if (!zeka::test::SetCommaLocale(dir))
        GTEST_SKIP() << "no locale with a decimal comma, and none can be made here";
    ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);
    EXPECT_EQ(ReadReal("1.5"), 1.5);
    EXPECT_EQ(ReadReal("1,5"), 1.0);
    EXPECT_EQ(ReadReal("0x1.8p0"), 1.5);
    EXPECT_EQ(ReadReal("1.23456789012345678901"), 0x1.3c0ca428c59fbp+0);
}

TEST(Integer, LeadingBlanksAndSignsAreTakenAndTheRestIsLeft)
{
    EXPECT_EQ(ReadInteger(" \t\n\v\f\r+12.9"), 12);
    EXPECT_EQ(ReadInteger("-7 channels"), -7);
    EXPECT_EQ(ReadInteger("- 7"), 0);
    EXPECT_EQ(ReadInteger("0x10"), 0);
    EXPECT_EQ(ReadInteger(""), 0);
}

TEST(Integer, BeyondThirtyTwoBitsIsTheEndOfTheRange)
{
    EXPECT_EQ(ReadInteger("2147483647"), INT32_MAX);
    EXPECT_EQ(ReadInteger("2147483648"), INT32_MAX);
    EXPECT_EQ(ReadInteger("-2147483648"), INT32_MIN);
    EXPECT_EQ(ReadInteger("-99999999999999999999999999999"), INT32_MIN);
    EXPECT_EQ(ReadInteger("18446744073709551617"), INT32_MAX);
}

} // namespace
