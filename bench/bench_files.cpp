// bench_files.cpp - the file loaders against plain ways to read the same files, as ratios within one run.
//
//   text:    against a loop of fgets and atof                             aim: at least 6 times as fast
//   binary:  against reading two bytes at a time                          aim: at least 3 times as fast
//            against touching the memory of the result once               aim: at most 1.7 times its cost
//   memory:  peak memory of a load beyond its result                      aim: at most 1 MiB
//
// Usage: bench_files [folder] [rounds]. Writes files of up to 130 MB into the folder (default: the temporary
// one) and removes them. Each figure is the best processor time of the rounds. The ways alternate, so that
// all run under the same conditions.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "files/recordings.h"
#include "zeka/zeka.h"

namespace {

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

constexpr double kLimitMv = 2.5;

/// Value i of a recording like those of instruments: slow waves with noise, three decimals.
int MicrovoltsAt(int i)
{
    static std::uint32_t noise = 1;
    noise = noise * 1664525u + 1013904223u;
    return (i % 2000 < 1000 ? i % 2000 : 2000 - i % 2000) - 500 + static_cast<int>(noise >> 25);
}

void WriteText(const std::string& path, int count)
{
    const FilePtr file(std::fopen(path.c_str(), "w"), &std::fclose);
    std::fprintf(file.get(), "500\n%d\n", count);
    for (int i = 0; i < count; ++i)
        std::fprintf(file.get(), "%.3f\n", MicrovoltsAt(i) / 1000.0);
}

void WriteMulti(const std::string& path, int count)
{
    const FilePtr file(std::fopen(path.c_str(), "w"), &std::fclose);
    std::fprintf(file.get(), "500\n%d\n3\nI,II,III\n", count);
    for (int i = 0; i < count; ++i)
        std::fprintf(file.get(), "%.3f,%.3f,%.3f\n", MicrovoltsAt(i) / 1000.0, MicrovoltsAt(i) / 1000.0, 0.5);
}

void WriteBinary(const std::string& path, int count)
{
    const FilePtr file(std::fopen(path.c_str(), "wb"), &std::fclose);
    const auto put = [&](int value) {
        std::fputc(value >> 8 & 0xFF, file.get());
        std::fputc(value & 0xFF, file.get());
    };
    put(500);
    put(count >> 16);
    put(count);
    for (int i = 0; i < count; ++i)
        put(MicrovoltsAt(i));
}

// --- the plain ways

std::unique_ptr<double[]> NaiveText(const std::string& path)
{
    const FilePtr file(std::fopen(path.c_str(), "r"), &std::fclose);
    char line[128];
    (void)std::fgets(line, sizeof line, file.get());
    (void)std::fgets(line, sizeof line, file.get());
    const int count = std::atoi(line);
    std::unique_ptr<double[]> samples(new double[static_cast<std::size_t>(count)]);
    for (int i = 0; i < count && std::fgets(line, sizeof line, file.get()) != nullptr; ++i)
        samples[static_cast<std::size_t>(i)] = std::clamp(std::atof(line), -kLimitMv, kLimitMv);
    return samples;
}

std::unique_ptr<double[]> NaiveBinary(const std::string& path)
{
    const FilePtr file(std::fopen(path.c_str(), "rb"), &std::fclose);
    unsigned char word[4];
    (void)std::fread(word, 1, 2, file.get());
    (void)std::fread(word, 1, 4, file.get());
    const auto count = static_cast<std::size_t>(word[0] << 24 | word[1] << 16 | word[2] << 8 | word[3]);
    std::unique_ptr<double[]> samples(new double[count]);
    for (std::size_t i = 0; i < count && std::fread(word, 1, 2, file.get()) == 2; ++i)
        samples[i] =
            std::clamp(static_cast<std::int16_t>(word[0] << 8 | word[1]) / 1000.0, -kLimitMv, kLimitMv);
    return samples;
}

std::unique_ptr<double[]> TouchOnce(std::size_t count)
{
    std::unique_ptr<double[]> samples(new double[count]);
    std::fill_n(samples.get(), count, 1.0);
    benchmark::DoNotOptimize(samples.get());
    benchmark::ClobberMemory();
    return samples;
}

// --- measuring

void Release()
{
    const CAutoCriticalSection lock(g_CriticalSection);
    (void)zeka::ExchangeRecording(nullptr, 0);
}

/// Processor time of this process with its time in the kernel, which other
/// programs on the machine disturb least.
double ProcessorMs()
{
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

double Milliseconds(const std::function<void()>& work)
{
    const double started = ProcessorMs();
    work();
    return ProcessorMs() - started;
}

/// The value of a line of /proc/self/status, in bytes.
long StatusBytes(std::string_view name)
{
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);)
        if (std::string_view(line).starts_with(name))
            return std::atol(line.c_str() + name.size() + 1) * 1024;
    return -1;
}

/// Peak memory during the work beyond what it keeps, in bytes.
long ExtraPeak(const std::function<void()>& work, long result_bytes)
{
    std::ofstream("/proc/self/clear_refs") << "5"; // resets the peak
    const long before = StatusBytes("VmRSS");
    work();
    return StatusBytes("VmHWM") - before - result_bytes;
}

struct Way {
    const char* name;
    std::function<void()> run;
    double best = 1e300;
};

void TakeTurns(std::vector<Way>& ways, int rounds)
{
    for (int round = 0; round < rounds; ++round)
        for (Way& way : ways) {
            way.best = std::min(way.best, Milliseconds(way.run));
            Release();
        }
}

void Check(int count, int expected, const std::vector<double>* reference = nullptr)
{
    if (count == expected &&
        (reference == nullptr || std::equal(reference->begin(), reference->end(), ECGFile)))
        return;
    std::fprintf(stderr, "loaded %d of %d samples, or other values\n", count, expected);
    std::exit(1);
}

void Compare(const std::string& folder, int count, int rounds)
{
    const std::string text = folder + "/zeka-bench.txt";
    const std::string multi = folder + "/zeka-bench-multi.txt";
    const std::string binary = folder + "/zeka-bench.bin";
    const std::wstring wide(binary.begin(), binary.end());
    const auto samples = static_cast<std::size_t>(count);
    const auto result = static_cast<long>(samples * sizeof(double));
    WriteText(text, count);
    WriteMulti(multi, count);
    WriteBinary(binary, count);

    for (const bool is_text : {true, false}) { // both give the same doubles, bit for bit
        const auto values = is_text ? NaiveText(text) : NaiveBinary(binary);
        const std::vector<double> reference(values.get(), values.get() + samples);
        Check(is_text ? LoadECGtxtSingle(text.c_str()) : LoadECGBin(wide.c_str()), count, &reference);
        Release();
    }

    std::vector<Way> ways = {
        {"text: fgets and atof", [&] { (void)NaiveText(text); }},
        {"text: LoadECGtxt, one channel", [&] { Check(LoadECGtxtSingle(text.c_str()), count); }},
        {"text: LoadECGtxt, third of three channels", [&] { Check(LoadECGtxt(multi.c_str(), 2), count); }},
        {"binary: two bytes at a time", [&] { (void)NaiveBinary(binary); }},
        {"binary: LoadECGBin", [&] { Check(LoadECGBin(wide.c_str()), count); }},
        {"touching the result once", [&] { (void)TouchOnce(samples); }},
    };
    TakeTurns(ways, rounds);
    const long text_peak = ExtraPeak([&] { (void)LoadECGtxtSingle(text.c_str()); }, result);
    Release();
    const long binary_peak = ExtraPeak([&] { (void)LoadECGBin(wide.c_str()); }, result);
    Release();

    std::printf("%d samples, best of %d\n", count, rounds);
    for (const Way& way : ways)
        std::printf("  %-42s %9.2f ms  %7.2f ns/sample\n", way.name, way.best, way.best * 1e6 / count);
    std::printf("  text, times as fast                 %6.2f  (aim: 6 or more)\n",
                ways[0].best / ways[1].best);
    std::printf("  binary, times as fast               %6.2f  (aim: 3 or more)\n",
                ways[3].best / ways[4].best);
    std::printf("  binary, cost of touching            %6.2f  (aim: 1.7 or less)\n",
                ways[4].best / ways[5].best);
    std::printf("  memory beyond the result, text      %6ld KiB, binary %ld KiB  (aim: 1024 or less)\n",
                text_peak / 1024, binary_peak / 1024);
    for (const std::string& path : {text, multi, binary})
        std::filesystem::remove(path);
}

} // namespace

int main(int argc, char** argv)
{
    const std::string folder = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    // Maps every result anew, as in a program that loads one file.
    ::mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    Compare(folder, 1'000'000, rounds);
    Compare(folder, 20'000'000, rounds);
    return 0;
}
