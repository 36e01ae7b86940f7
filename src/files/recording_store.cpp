// recording_store.cpp (files) - the only place that exchanges the arrays of the loaded recording.
// Plain pointers own them, because the stream reads them by these names. Called by the loaders;
// each function states its lock.
#include "files/recordings.h"

#include <sys/mman.h>

#include <limits>
#include <new>
#include <utility>

namespace zeka {

namespace {

constexpr std::uintptr_t kHugePage = 2 * 1024 * 1024;

/// Long recordings are filled once, from end to end. With huge pages that takes a five-hundredth of the page
/// faults, which otherwise cost as much as reading the file. Applies only to pages that lie wholly inside
/// the array; ignores a refusal.
void PreferHugePages(double* samples, std::size_t count) noexcept
{
    const auto address = reinterpret_cast<std::uintptr_t>(samples);
    const std::uintptr_t from = (address + kHugePage - 1) / kHugePage * kHugePage;
    const std::uintptr_t to = (address + count * sizeof(double)) / kHugePage * kHugePage;
    if (from < to)
        (void)::madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
}

} // namespace

Samples AllocateSamples(std::int64_t count) noexcept
{
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    if (count < 0 || count > kMost)
        return nullptr;
    const auto size = static_cast<std::size_t>(count);
    Samples samples{new (std::nothrow) double[size]};
    if (samples != nullptr)
        PreferHugePages(samples.get(), size);
    return samples;
}

Samples ExchangeRecording(Samples samples, std::int32_t count) noexcept
{
    ECGFileSize = count;
    return Samples{std::exchange(ECGFile, samples.release())};
}

Samples ExchangeDcChannel(Samples samples, std::int32_t count) noexcept
{
    dc_raw_size = count;
    return Samples{std::exchange(g_DcRawData, samples.release())};
}

void PublishFileRate(double samples_per_second)
{
    const CAutoCriticalSection lock(g_CriticalSection);
    ECGFileFreq = samples_per_second;
}

int FinishLoad(Samples samples, std::int32_t count)
{
    Samples former;
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        former = ExchangeRecording(std::move(samples), count);
        ECGFileUnitMV = true;
    }
    return count;
}

int FailForMemory(int code)
{
    Samples former;
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        former = ExchangeRecording(nullptr, ECGFileSize);
    }
    return code;
}

} // namespace zeka
