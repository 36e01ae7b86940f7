// text_test.cpp - UTF-8 decoding, trimming in place, version packing.
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include "util/text.h"

namespace {

constexpr wchar_t kInvalid = 0x22E0;

struct Sequence {
    const char* name;
    std::string bytes;
    wchar_t character;
    int length;
};

class Utf8Sequence : public testing::TestWithParam<Sequence> {};

TEST_P(Utf8Sequence, GivesItsCharacterAndItsLength)
{
    int length = -1;
    EXPECT_EQ(UTF8ToUnicodeChar(GetParam().bytes.c_str(), &length), GetParam().character);
    EXPECT_EQ(length, GetParam().length);
    EXPECT_EQ(UTF8ToUnicodeChar(GetParam().bytes.c_str(), nullptr), GetParam().character);
}

INSTANTIATE_TEST_SUITE_P(Of, Utf8Sequence,
                         testing::Values(Sequence{"OneByte", "A", L'A', 1},
                                         Sequence{"LastOneByte", "\x7F", 0x7F, 1},
                                         Sequence{"Terminator", "", 0, 1},
                                         Sequence{"TwoBytes", "\xC3\xA9", 0xE9, 2},
                                         Sequence{"ThreeBytes", "\xE2\x82\xAC", 0x20AC, 3},
                                         Sequence{"LastThreeBytes", "\xEF\xBF\xBF", 0xFFFF, 3},
                                         Sequence{"OverlongPasses", "\xC0\xAF", 0x2F, 2},
                                         Sequence{"SurrogatePasses", "\xED\xA0\x80", 0xD800, 3},
                                         Sequence{"FourBytes", "\xF0\x9F\x98\x80", kInvalid, 0},
                                         Sequence{"StrayContinuation", "\x80", kInvalid, 0},
                                         Sequence{"NoLead", "\xFF", kInvalid, 0},
                                         Sequence{"TwoBytesCutShort", "\xC3", kInvalid, 0},
                                         Sequence{"ThreeBytesCutShort", "\xE2\x82", kInvalid, 0},
                                         Sequence{"SecondByteWrong",
                                                  "\xE2"
                                                  "A\xAC",
                                                  kInvalid, 0}),
                         [](const auto& row) { return row.param.name; });

TEST(Utf8Text, IsDecodedUpToTheFirstSequenceThatCannotBe)
{
    const auto decode = [](const char* s) {
        std::vector<wchar_t> out((s != nullptr ? std::strlen(s) : 0) + 1, L'#');
        UTF8ToUnicodeBuf(s, out.data());
        return std::wstring(out.data());
    };
    EXPECT_EQ(decode("a\xC3\xA9\xE2\x82\xAC"), L"a\u00E9\u20AC");
    EXPECT_EQ(decode(""), L"");
    EXPECT_EQ(decode(nullptr), L"");
    EXPECT_EQ(decode("ab\xF0\x9F\x98\x80zz"), (std::wstring{L'a', L'b', kInvalid}));
    EXPECT_EQ(decode("ab\xE2\x82"), (std::wstring{L'a', L'b', kInvalid})) << "cut short at the very end";
    int length = -1;
    EXPECT_EQ(UTF8ToUnicodeChar(nullptr, &length), kInvalid);
    EXPECT_EQ(length, 0);
}

std::string Edited(void (*edit)(char*), const std::string& text)
{
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0'); // exactly as long as the text: a byte too far is seen by the address sanitizer
    edit(buffer.data());
    return buffer.data();
}

TEST(Trimming, TakesWhiteSpaceOffTheEndsItNames)
{
    EXPECT_EQ(Edited(StringTrim, "  ab\t\n"), "ab");
    EXPECT_EQ(Edited(StringTrimRight, "  a b\v\f\r "), "  a b");
    EXPECT_EQ(Edited(StringTrimLeft, "\n\v a b "), "a b ");
    for (const auto edit : {StringTrim, StringTrimLeft, StringTrimRight}) {
        EXPECT_EQ(Edited(edit, " \t\n "), "");
        EXPECT_EQ(Edited(edit, ""), "");
        EXPECT_EQ(Edited(edit, "\xA0x\x85"), "\xA0x\x85") << "bytes above 127 are no white space";
        EXPECT_EQ(Edited(edit, "\x08x\x0E"), "\x08x\x0E") << "the neighbours of the white-space characters";
    }
}

TEST(Version, PacksOneNumberAByteAndCountsMissingOnesAsZero)
{
    EXPECT_EQ(ConvertVersion("1.0.5.2"), 0x01000502u);
    EXPECT_EQ(ConvertVersion(nullptr), 0u);
    EXPECT_EQ(ConvertVersion(""), 0u);
    EXPECT_EQ(ConvertVersion("x"), 0u);
    EXPECT_EQ(ConvertVersion("7"), 0x07000000u);
    EXPECT_EQ(ConvertVersion("1.2"), 0x01020000u);
    EXPECT_EQ(ConvertVersion("1.2."), 0x01020000u);
    EXPECT_EQ(ConvertVersion("1.2 .3"), 0x01020000u) << "nothing stands between number and point";
    EXPECT_EQ(ConvertVersion("1.2.3.4.5"), 0x01020304u);
    EXPECT_EQ(ConvertVersion("1.256.0.0"), 0x01000000u | 0x01000000u) << "256 spills into the byte before";
    EXPECT_EQ(ConvertVersion("0.511.0.0"), 0x01FF0000u);
    EXPECT_EQ(ConvertVersion("0.0.0.-1"), 0xFFFFFFFFu);
    (void)ConvertVersion("99999999999999999999.1.1.1"); // any number, no undefined behaviour
}

} // namespace
