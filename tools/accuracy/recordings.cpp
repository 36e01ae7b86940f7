// recordings.cpp - functions 14 and 18: a recording from a file and one from memory; and the
// function numbers that play nothing.
#include "tools/accuracy/sections.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <unistd.h>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr double kRate = 500.0; // of the recordings
constexpr int kCount = 1250;    // samples of them, 2.5 s
constexpr double kTopMv = 2.0;

/// A file that is removed with the object.
class TemporaryFile {
public:
    TemporaryFile()
        : path_(std::filesystem::temp_directory_path() / fmt::format("zeka-accuracy-{}.txt", ::getpid()))
    {
    }
    ~TemporaryFile()
    {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// Value k of the recording: four periods of a sine.
double Value(int k) { return kTopMv * std::sin(2.0 * std::numbers::pi * k * 4.0 / kCount); }

void AddTimes(Report& report, const std::string& name, std::span<const double> ac)
{
    // Each value of the recording is held for 80 samples; this is the edge at
    // which it passes half of the top.
    constexpr double kPeriodS = kCount / kRate / 4.0;
    const auto rises = Rises(ac, kTopMv / 2.0, kTopMv / 2.0);
    std::vector<double> first_of_each; // one per pass of the recording
    for (std::size_t i = 0; i < rises.size(); i += 4)
        first_of_each.push_back(rises[i]);
    const Intervals found = Between(first_of_each, 4.0 * kPeriodS);
    report.Add({name, fmt::format("interval, ms, worst of {}", found.count), kCount / kRate * 1000.0,
                found.worst * 1000.0, kSampleMs, kBySample});
    report.Add({name, "frequency, Hz", kRate / kCount, 1.0 / found.mean,
                kSampleS / static_cast<double>(found.count) * std::pow(kRate / kCount, 2), kBySample});
}

void FromFile(Bench& bench, Report& report)
{
    const TemporaryFile file;
    {
        std::ofstream text(file.Path());
        text << kRate << '\n' << kCount << '\n';
        for (int k = 0; k < kCount; ++k)
            text << fmt::format("{:.3f}\n", Value(k));
        if (!text.flush())
            throw std::runtime_error(fmt::format("cannot write {}", file.Path().string()));
    }
    if (LoadECGtxtSingle(file.Path().c_str()) != kCount)
        throw std::runtime_error("the recording was not loaded");
    const auto ac = Ac(bench.Play(14, 10.5));
    const std::string name = "14 recording, 2.5 s at 500/s";
    report.Add({name, "highest, mV", kTopMv, Highest(ac), kAcCountMv + 0.0005,
                "1 AC count, 3 decimals in the file"});
    report.Add(
        {name, "lowest, mV", -kTopMv, Lowest(ac), kAcCountMv + 0.0005, "1 AC count, 3 decimals in the file"});
    AddTimes(report, name, ac);
}

void FromMemory(Bench& bench, Report& report)
{
    constexpr double kDcMv = 900.0;
    std::vector<double> ac_values(kCount);
    std::vector<double> dc_values(kCount);
    for (int k = 0; k < kCount; ++k) {
        ac_values[static_cast<std::size_t>(k)] = Value(k);
        dc_values[static_cast<std::size_t>(k)] = Value(k) > 0.0 ? kDcMv : -kDcMv;
    }
    RAW_WAVEFORM_DATA data{kRate, kCount, ac_values.data(), dc_values.data()};
    if (ZEKALoadRawData(&data) != kCount)
        throw std::runtime_error("the raw data was not loaded");
    const Samples samples = bench.Play(18, 10.5);
    const std::string name = "18 raw data, 2.5 s at 500/s";
    const auto ac = Ac(samples);
    report.Add({name, "highest, mV", kTopMv, Highest(ac), kAcCountMv, kByAcCount});
    report.Add({name, "lowest, mV", -kTopMv, Lowest(ac), kAcCountMv, kByAcCount});
    AddTimes(report, name, ac);
    const auto dc = Dc(samples);
    report.Add({name, "DC highest, mV", kDcMv, Highest(dc), kDcCountMv / 2.0, kByDcCount});
    report.Add({name, "DC lowest, mV", -kDcMv, Lowest(dc), kDcCountMv / 2.0, kByDcCount});
}

} // namespace

void Recordings(Bench& bench, Report& report, Extent)
{
    report.Heading("Recordings, and the numbers that play nothing");
    FromFile(bench, report);
    FromMemory(bench, report);
    for (const int function : {11, 12, 19}) {
        const auto ac = Ac(bench.Play(function, 0.1));
        report.Add({fmt::format("{} flat", function), "highest, mV", 0.0, Highest(ac), 0.0, kExact});
        report.Add({fmt::format("{} flat", function), "lowest, mV", 0.0, Lowest(ac), 0.0, kExact});
    }
    bench.Defaults();
}

} // namespace zeka::accuracy
