// binary_recordings.cpp (files) - the binary format: a header, then one signed 16-bit word per sample in
// microvolts, all numbers high byte first. Any thread may load; the file is read without the lock.
#include <array>
#include <span>
#include <utility>

#include "files/input_file.h"
#include "files/paths.h"
#include "files/recordings.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr int kCannotOpen = -1;
constexpr int kBadRate = -2;
constexpr int kBadCount = -3;
constexpr int kNoMemory = -4;

constexpr std::size_t kRateBytes = 2;
constexpr std::size_t kCountBytes = 4;
constexpr std::size_t kSampleBytes = 2;
constexpr std::int64_t kHeaderBytes = kRateBytes + kCountBytes;

constexpr unsigned kLowestRate = 30;
constexpr unsigned kHighestRate = 5000;
constexpr std::uint32_t kMaxCount = 20'000'000;

constexpr double kMicrovoltsPerMillivolt = 1000.0;
// 2.5 mV exactly, so limiting before the division gives the same values.
constexpr int kLimitMicrovolts = 2500;
static_assert(kLimitMicrovolts / kMicrovoltsPerMillivolt == kFileLimitMv);

constexpr std::uint32_t Be16(const std::uint8_t* at) noexcept
{
    return static_cast<std::uint32_t>(at[0] << 8 | at[1]);
}
constexpr std::uint32_t Be32(const std::uint8_t* at) noexcept { return Be16(at) << 16 | Be16(at + 2); }

/// Converts words to millivolts by one division each, because multiplying by 0.001 would change last bits.
void Convert(std::span<const std::uint8_t> words, double* out) noexcept
{
    for (std::size_t i = 0; i + 1 < words.size(); i += kSampleBytes) {
        const int microvolts = static_cast<std::int16_t>(Be16(&words[i]));
        *out++ = std::clamp(microvolts, -kLimitMicrovolts, kLimitMicrovolts) / kMicrovoltsPerMillivolt;
    }
}

/// Reads until the room is full or the file ends; returns the number of samples
/// read. A last odd byte is dropped.
std::int32_t ReadSamples(InputFile& file, std::span<std::uint8_t> block, double* samples,
                         std::int64_t room) noexcept
{
    std::int64_t count = 0;
    while (count < room) {
        const auto wanted = std::min(block.size(), static_cast<std::size_t>(room - count) * kSampleBytes);
        const std::size_t got = file.Read(block.data(), wanted);
        Convert(block.first(got), samples + count);
        count += static_cast<std::int64_t>(got / kSampleBytes);
        if (got < wanted)
            break;
    }
    return static_cast<std::int32_t>(count);
}

int Load(InputFile& file)
{
    std::array<std::uint8_t, kRateBytes> rate_bytes;
    if (file.Read(rate_bytes.data(), rate_bytes.size()) < rate_bytes.size())
        return kBadRate;
    const unsigned rate = Be16(rate_bytes.data());
    PublishFileRate(rate);
    if (rate < kLowestRate || rate > kHighestRate)
        return kBadRate;

    std::array<std::uint8_t, kCountBytes> count_bytes;
    if (file.Read(count_bytes.data(), count_bytes.size()) < count_bytes.size())
        return kBadCount;
    const std::uint32_t declared = Be32(count_bytes.data());
    if (declared == 0 || declared > kMaxCount) // includes negative ones
        return kBadCount;

    const std::int64_t stored =
        std::max<std::int64_t>(file.Size() - kHeaderBytes, 0) / std::int64_t{kSampleBytes};
    const std::int64_t room = std::min<std::int64_t>(declared, stored);
    Samples samples = AllocateSamples(room);
    const std::unique_ptr<std::uint8_t[]> block{new (std::nothrow) std::uint8_t[kBlockSize]};
    if (samples == nullptr || block == nullptr)
        return FailForMemory(kNoMemory);
    const std::int32_t count = ReadSamples(file, {block.get(), kBlockSize}, samples.get(), room);
    return FinishLoad(std::move(samples), count);
}

} // namespace
} // namespace zeka

int LoadECGBin(const wchar_t* path)
{
    const zeka::Utf8Path utf8_path(path);
    zeka::InputFile file(utf8_path.Get());
    return file.IsOpen() ? zeka::Load(file) : zeka::kCannotOpen;
}
