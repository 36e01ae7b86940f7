// files_scenario.cpp - the library's loaders and dumps, the writers and readers of recordings, and
// a full disk. What is reported as written must be in the file byte for byte; what is reported as
// read must be what was written.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <span>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

#include "faults/scenario.h"
#include "formats/file_error.h"
#include "formats/readers.h"
#include "formats/writers.h"
#include "support/fixture.h"
#include "zeka/zeka.h"

namespace zeka::faults {
namespace {

namespace fs = std::filesystem;
using formats::Format;

constexpr int kRate = 500;
constexpr std::size_t kSamples = 2 * kRate;
constexpr unsigned kFileMs = 2000;
constexpr std::array kFormats{Format::kCsv, Format::kEdf, Format::kWfdb, Format::kFloat, Format::kJsonLines};
constexpr std::array kReadBack{Format::kCsv, Format::kEdf, Format::kWfdb};

/// A temporary folder that is removed with the object.
class Folder {
public:
    Folder() : path_(fs::temp_directory_path() / ("zeka-faults-" + std::to_string(::getpid())))
    {
        fs::create_directories(path_);
    }
    ~Folder()
    {
        std::error_code gone;
        fs::remove_all(path_, gone);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] std::string Of(const std::string& name) const { return path_ / name; }

private:
    fs::path path_;
};

std::string BytesOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

const std::vector<double>& Values()
{
    static const std::vector<double> values = [] {
        std::vector<double> made(kSamples);
        for (std::size_t i = 0; i < made.size(); ++i)
            made[i] = std::sin(static_cast<double>(i) * 0.1);
        return made;
    }();
    return values;
}

std::string FileOf(Format format)
{
    return std::string("recording.") + (format == Format::kWfdb ? "hea" : formats::NameOf(format));
}

/// The contents of all files of the format, without the time of day in the header of EDF.
std::string Written(Format format, const Folder& folder)
{
    std::string all = BytesOf(folder.Of(FileOf(format)));
    if (format == Format::kWfdb)
        all += BytesOf(folder.Of("recording.dat")) + BytesOf(folder.Of("recording.atr"));
    constexpr std::size_t kDateAt = 88;
    constexpr std::size_t kDateBytes = 96;
    if (format == Format::kEdf && all.size() > kDateAt + kDateBytes)
        all.replace(kDateAt, kDateBytes, kDateBytes, ' ');
    return all;
}

void Write(Format format, const Folder& folder)
{
    formats::RecordingPlan plan;
    plan.path = folder.Of(FileOf(format));
    plan.title = "faults";
    plan.rate = kRate;
    plan.marks_per_second = 4.0;
    const auto writer = formats::OpenRecording(format, plan);
    const std::span<const double> values = Values();
    for (std::size_t at = 0; at < kSamples; at += kRate / 2) {
        writer->Take(values.subspan(at, kRate / 2), values.subspan(at, kRate / 2));
        writer->Note({formats::MarkKind::kRPeak, at * 40000 / kRate});
    }
    writer->End();
}

/// Whether the work was done. A refusal with a message, or for lack of memory, is a proper end, too.
template <typename Work> bool Done(Work work)
{
    try {
        work();
        return true;
    } catch (const formats::FileError&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/// `hidden`: the annotation file is reported as missing.
bool AreAlike(const formats::Recording& a, const formats::Recording& b, bool hidden)
{
    const auto alike = [](const formats::RecordedChannel& x, const formats::RecordedChannel& y) {
        return x.name == y.name && x.unit == y.unit && x.rate == y.rate && x.values == y.values;
    };
    return a.format == b.format && std::ranges::equal(a.channels, b.channels, alike) &&
           (a.annotations.size() == b.annotations.size() || (hidden && a.annotations.empty()));
}

void CompareDescriptors(const std::vector<std::string>& before, Report& report)
{
    const auto present = test::OpenDescriptors();
    report.Expect(present == before, std::to_string(present.size()) + " descriptors instead of " +
                                         std::to_string(before.size()));
}

std::wstring Wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

struct Dump {
    const char* name;
    int (*write)(const wchar_t* path);
};
constexpr int kCannotOpen = -3;
constexpr int kWriteFailed = -6;
constexpr std::array kDumps{
    Dump{"DumpRawData",
         [](const wchar_t* path) {
             return DumpRawData(const_cast<double*>(Values().data()), kSamples, path);
         }},
    Dump{"OutputRaw",
         [](const wchar_t* path) {
             return OutputRaw(kRate, kSamples, const_cast<double*>(Values().data()), "II", path);
         }},
    Dump{"DumpStandardWaveform",
         [](const wchar_t* path) {
             std::array<int, 100> table{1, 2, 3};
             return DumpStandardWaveform(table.data(), static_cast<int>(table.size()), kRate, "II", path);
         }},
};

/// Made before anything fails.
struct Paths {
    explicit Paths(const Folder& folder)
        : text(folder.Of("two.txt")), wide_text(Wide(text)), binary(Wide(folder.Of("one.bin"))),
          dump(Wide(folder.Of("dump")))
    {
    }
    std::string text;
    std::wstring wide_text;
    std::wstring binary;
    std::wstring dump;
};

/// A loader, which returns the number of samples or channels of its file.
struct Loader {
    const char* name;
    int whole;
    int (*load)(const Paths& paths);
};
constexpr int kLowestCode = -7;
constexpr std::string_view kBinary("\x01\xF4\x00\x00\x00\x02\x00\x10\x00\x20", 10); // 500/s, 2 values
constexpr std::array kLoaders{
    Loader{"LoadECGtxt", kSamples, [](const Paths& paths) { return LoadECGtxt(paths.text.c_str(), 1); }},
    Loader{"LoadECGBin", 2, [](const Paths& paths) { return LoadECGBin(paths.binary.c_str()); }},
    Loader{"CheckECGTxtChannel", 2,
           [](const Paths& paths) {
               std::array<char*, 128> names{};
               const int result = CheckECGTxtChannel(paths.wide_text.c_str(), names.data());
               for (char* const name : names)
                   std::free(name);
               return result;
           }},
    Loader{"ZEKALoadRawData", kSamples,
           [](const Paths&) {
               auto* const values = const_cast<double*>(Values().data());
               RAW_WAVEFORM_DATA data{kRate, kSamples, values, values};
               return ZEKALoadRawData(&data);
           }},
};

void WriteRecordings(const Folder& folder)
{
    std::ofstream text(folder.Of("two.txt"));
    text << kRate << "\n" << kSamples << "\n2\nI,II\n";
    for (const double value : Values())
        text << value << "," << -value << "\n";
    std::ofstream(folder.Of("one.bin"), std::ios::binary) << kBinary;
}

/// Numbers of bytes after which the disk is full: each of the first ones, then in growing steps.
std::vector<std::size_t> DiskSizes(std::size_t largest)
{
    std::vector<std::size_t> sizes;
    for (std::size_t n = 0; n <= largest; n += 1 + n / 16)
        sizes.push_back(n);
    sizes.insert(sizes.end(), {largest - 1, largest, largest + 1});
    return sizes;
}

std::string Fits(bool done, std::size_t n, std::size_t size)
{
    return std::string(done ? " is said to fit" : " does not fit") + " into " + std::to_string(n) + " of " +
           std::to_string(size) + " bytes";
}

template <typename Work> void WithDiskOf(std::size_t bytes, Work work)
{
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit{bytes, former.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    work();
    ::setrlimit(RLIMIT_FSIZE, &former);
}

} // namespace

void RunFiles(const Plan& plan, int /*slot*/, Report& report)
{
    const Folder folder;
    const Paths paths(folder);
    WriteRecordings(folder);
    std::vector<std::string> wanted;
    for (const Dump& dump : kDumps) {
        (void)dump.write(paths.dump.c_str());
        wanted.push_back(BytesOf(folder.Of("dump")));
    }
    const auto before = test::OpenDescriptors();

    Arm(plan);
    for (std::size_t i = 0; i < kDumps.size(); ++i) {
        const Dump& dump = kDumps[i];
        int result = 0;
        report.Call(dump.name, kFileMs, [&] { result = dump.write(paths.dump.c_str()); });
        report.Expect(result == 0 || result == kCannotOpen || result == kWriteFailed,
                      std::string(dump.name) + " returned " + std::to_string(result));
        report.Expect(result != 0 || BytesOf(folder.Of("dump")) == wanted[i],
                      std::string(dump.name) + " returned 0 and wrote something else");
    }
    for (const Loader& loader : kLoaders) {
        int result = 0;
        report.Call(loader.name, kFileMs, [&] { result = loader.load(paths); });
        report.Expect(result >= kLowestCode && result <= loader.whole,
                      std::string(loader.name) + " returned " + std::to_string(result));
    }
    Disarm();
    for (const Loader& loader : kLoaders)
        report.Expect(loader.load(paths) == loader.whole,
                      std::string(loader.name) + " fails without a fault");
    CompareDescriptors(before, report);
}

void RunFormats(const Plan& plan, int /*slot*/, Report& report)
{
    const Folder whole;
    std::array<std::string, kFormats.size()> wanted;
    std::array<formats::Recording, kReadBack.size()> read;
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        Write(kFormats[i], whole);
        wanted[i] = Written(kFormats[i], whole);
    }
    for (std::size_t i = 0; i < kReadBack.size(); ++i)
        read[i] = formats::ReadRecording(whole.Of(FileOf(kReadBack[i])));
    const auto before = test::OpenDescriptors();

    Arm(plan);
    for (std::size_t i = 0; i < kReadBack.size(); ++i) {
        std::optional<formats::Recording> recording;
        const std::string path = whole.Of(FileOf(kReadBack[i]));
        report.Call(formats::NameOf(kReadBack[i]), kFileMs,
                    [&] { (void)Done([&] { recording = formats::ReadRecording(path); }); });
        report.Expect(!recording || AreAlike(*recording, read[i], plan.error == ENOENT),
                      std::string(formats::NameOf(kReadBack[i])) + " is read as something else");
    }
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        bool done = false;
        report.Call(formats::NameOf(kFormats[i]), kFileMs,
                    [&] { done = Done([&] { Write(kFormats[i], whole); }); });
        report.Expect(!done || Written(kFormats[i], whole) == wanted[i],
                      std::string(formats::NameOf(kFormats[i])) + " is said to be written and is not");
    }
    Disarm();
    CompareDescriptors(before, report);
}

void FillDisk(Report& report)
{
    (void)std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit then fails as on a full disk
    const Folder folder;
    for (const Format format : kFormats) {
        Write(format, folder);
        const std::string wanted = Written(format, folder);
        std::size_t size = fs::file_size(folder.Of(FileOf(format)));
        if (format == Format::kWfdb)
            size = std::max(size, fs::file_size(folder.Of("recording.dat")));
        for (const std::size_t n : DiskSizes(size)) {
            bool done = false;
            WithDiskOf(n, [&] { done = Done([&] { Write(format, folder); }); });
            report.Expect(done == (n >= size) && (!done || Written(format, folder) == wanted),
                          std::string(formats::NameOf(format)) + Fits(done, n, size));
        }
    }
    for (const Dump& dump : kDumps) {
        const std::wstring path = Wide(folder.Of("dump"));
        (void)dump.write(path.c_str());
        const std::size_t size = fs::file_size(folder.Of("dump"));
        for (const std::size_t n : DiskSizes(size)) {
            int result = 0;
            WithDiskOf(n, [&] { result = dump.write(path.c_str()); });
            report.Expect(result == (n >= size ? 0 : kWriteFailed),
                          std::string(dump.name) + Fits(result == 0, n, size));
        }
    }
}

} // namespace zeka::faults
