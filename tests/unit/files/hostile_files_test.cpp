// Files and paths that are not what a loader hopes for: each ends in a sensible result or code, quickly and
// without memory that the file cannot fill.
#include "recording_support.h"
#include "support/fixture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace {

using zeka::test::TempDir;
using zeka::test::TempFile;
using zeka::test::WhatIsLoaded;
using Values = std::vector<double>;

int LoadSingle(std::string_view content) { return LoadECGtxtSingle(TempFile(content).Path().c_str()); }

TEST(HostileText, ByteOrderMarkAndCarriageReturnsDoNotMatter)
{
    EXPECT_EQ(LoadSingle("\xEF\xBB\xBF"
                         "250\r\n3\r\n1.5\r\n-0.5\r\n0.25"),
              3);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{1.5, -0.5, 0.25}));
    EXPECT_EQ(WhatIsLoaded().rate, 250.0);
}

TEST(HostileText, ANulByteEndsTheTextOfItsLineOnly)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(LoadSingle("250\n3\n1\0.5\n\0002\n2\n"sv), 3);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{1.0, 0.0, 2.0}));
    const TempFile multi("250\n2\n2\nI,II\n1,2\n1\0,2\n"sv);
    EXPECT_EQ(LoadECGtxt(multi.Path().c_str(), 1), -7) << "the comma behind the NUL is not seen";
}

TEST(HostileText, ALongLineCountsInPieces)
{
    const std::string exact = "1." + std::string(124, '0');    // 126 characters: with its line feed one piece
    const std::string one_more = "1." + std::string(125, '0'); // 127: the line feed is a piece of its own
    const std::string longest = "1." + std::string(125, '0') + "2" + std::string(126, '0') + "1.5";
    EXPECT_EQ(LoadSingle("250\n9\n" + exact + "\n2\n"), 2);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{1.0, 2.0}));
    EXPECT_EQ(LoadSingle("250\n9\n" + one_more + "\n2\n"), 3);
    EXPECT_EQ(WhatIsLoaded().ac, (Values{1.0, 0.0, 2.0}));
    EXPECT_EQ(LoadSingle("250\n9\n" + longest + "\n"), 3);
    EXPECT_EQ(WhatIsLoaded().ac,
              (Values{1.0, 2.5, 1.5})); // the second piece is a number of 127 digits, limited
}

/// Pieces as they lie across the blocks in which the file is read.
TEST(HostileText, NoLineIsLostBetweenBlocks)
{
    std::string content = "1000\n100000\n";
    Values expected;
    for (int i = 0; i < 60000; ++i) {
        const double value = (i % 5000 - 2500) / 1000.0;
        std::string line = std::to_string(value) + std::string(static_cast<std::size_t>(i % 7), '0');
        line += i % 3 == 0 ? " \n" : "\n";
        content += line;
        expected.push_back(std::strtod(line.c_str(), nullptr));
    }
    EXPECT_EQ(LoadSingle(content), 60000);
    EXPECT_EQ(WhatIsLoaded().ac, expected);
}

/// Pages of the process that are backed by memory or promised to it.
std::size_t AddressSpace()
{
    std::ifstream file("/proc/self/statm");
    std::size_t pages = 0;
    file >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST(HostileCount, TakesNoMemoryThatTheFileCannotFill)
{
    using namespace std::string_view_literals;
    const TempFile text("250\n2000000000\n1\n2\n");
    const TempFile multi("250\n99999999999\n1\nI\n1\n");
    const TempFile binary(
        "\x01\xF4\x01\x31\x2D\x00" // 500 samples/s, 20000000 samples, of which there are seven
        "\x00\x01\x00\x02\x00\x03\x00\x04\x00\x05\x00\x06\x00\x07"sv);
    const std::size_t before = AddressSpace();
    EXPECT_EQ(LoadECGtxtSingle(text.Path().c_str()), 2);
    EXPECT_EQ(LoadECGtxt(multi.Path().c_str(), 0), 1);
    EXPECT_EQ(LoadECGBin(binary.WidePath().c_str()), 7);
    EXPECT_LT(AddressSpace(), before + (4u << 20));
}

TEST(WhatIsNoRegularFile, CountsAsNotToBeOpened)
{
    const TempDir dir;
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto started = std::chrono::steady_clock::now();
    for (const std::string& path :
         {std::string("/"), std::string("/dev/zero"), fifo, std::string(), (dir / "missing").string()}) {
        const std::wstring wide(path.begin(), path.end());
        EXPECT_EQ(LoadECGtxt(path.c_str(), 0), -1) << path;
        EXPECT_EQ(LoadECGtxtSingle(path.c_str()), -1) << path;
        EXPECT_EQ(LoadECGBin(wide.c_str()), -1) << path;
        EXPECT_EQ(CheckECGTxtChannel(wide.c_str(), nullptr), -1) << path;
    }
    EXPECT_EQ(LoadECGtxt(nullptr, 0), -1);
    EXPECT_EQ(LoadECGBin(nullptr), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10))
        << "the FIFO was waited for";
}

TEST(Paths, BeyondAsciiAreOpenedAsUtf8)
{
    const TempDir dir;
    const std::string name = "Aufnahme-\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    std::ofstream(dir / name) << "250\n1\n1\nI\n1\n";
    EXPECT_EQ(LoadECGtxt((dir / name).c_str(), 0), 1);
    const std::string folder = (dir / "").string();
    const std::wstring wide = std::wstring(folder.begin(), folder.end()) + L"Aufnahme-\u00E4\u20AC\U0001F600";
    EXPECT_EQ(CheckECGTxtChannel(wide.c_str(), nullptr), 1);
    EXPECT_EQ(CheckECGTxtChannel((wide + wchar_t(0xD800)).c_str(), nullptr), -1) << "no character";
    EXPECT_EQ(CheckECGTxtChannel((wide + wchar_t(0x110000)).c_str(), nullptr), -1) << "no character";
}

TEST(Paths, HaveAtMost511Characters)
{
    const TempFile file("250\n1\n1\nI\n1\n");
    const std::string path = file.Path();
    const std::string padded = std::string(511 - path.size(), '/') + path;
    EXPECT_EQ(LoadECGtxt(padded.c_str(), 0), 1);
    EXPECT_EQ(LoadECGtxt(("/" + padded).c_str(), 0), -1);
    const std::wstring wide(padded.begin(), padded.end());
    EXPECT_EQ(CheckECGTxtChannel(wide.c_str(), nullptr), 1);
    EXPECT_EQ(CheckECGTxtChannel((L"/" + wide).c_str(), nullptr), -1);
}

TEST(ChangingFile, GrowingAndShrinkingWhileItIsReadEndsInAResult)
{
    const TempDir dir;
    const std::string path = dir / "changing";
    std::string lines = "1000\n20000\n";
    for (int i = 0; i < 20000; ++i)
        lines += "1.25\n";
    std::ofstream(path) << lines;
    std::atomic<bool> done = false;
    std::thread changer([&] {
        const auto whole = static_cast<off_t>(lines.size());
        while (!done)
            for (const off_t size : {whole / 2, whole * 2, off_t{12}, whole})
                EXPECT_EQ(::truncate(path.c_str(), size), 0);
    });
    for (int i = 0; i < 200; ++i) {
        const int count = LoadECGtxtSingle(path.c_str());
        EXPECT_TRUE(count >= 0 && count <= 20000) << count;
        EXPECT_EQ(WhatIsLoaded().size, count);
    }
    done = true;
    changer.join();
}

TEST(EveryReturn, ClosesTheFile)
{
    using namespace std::string_view_literals;
    const auto before = zeka::test::OpenDescriptors();
    for (const std::string_view content :
         {""sv, "0\n"sv, "250\n"sv, "250\n1\n"sv, "250\n1\n1\n"sv, "250\n-1\n1\nI\n"sv, "250\n1\n2\nI\n1\n"sv,
          "250\n1\n2\nI\n1,1\n"sv, "\x01\xF4\x00\x00\x00\x01\x00\x01"sv, "\x01\xF4\x00"sv}) {
        const TempFile file(content);
        (void)LoadECGtxt(file.Path().c_str(), 1);
        (void)LoadECGtxtSingle(file.Path().c_str());
        (void)LoadECGBin(file.WidePath().c_str());
        (void)CheckECGTxtChannel(file.WidePath().c_str(), nullptr);
    }
    EXPECT_EQ(zeka::test::OpenDescriptors(), before);
}

} // namespace
