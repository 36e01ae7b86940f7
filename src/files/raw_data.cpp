// raw_data.cpp (files) - a recording from the application's memory, with a DC channel of its own
// (function 18). The application's arrays are copied and limited before the lock is taken, so a stream
// waits only for the exchange.
#include <span>
#include <utility>

#include "device/output_stage.h"
#include "files/recordings.h"
#include "signal/frame.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr int kNoArrays = -1; // or no memory for the copies
constexpr int kBadFrequency = -2;

constexpr Interval kRates{100.0, 40000.0};

struct Copy {
    Samples samples;
    bool any_other_than_zero = false;
};

Copy CopyLimited(const double* from, std::int32_t count, double limit) noexcept
{
    Copy copy{AllocateSamples(count)};
    if (copy.samples == nullptr)
        return copy;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        copy.samples[i] = Limited(from[i], limit);
        copy.any_other_than_zero |= copy.samples[i] != 0.0;
    }
    return copy;
}

/// The former channels, exchanged in one step and released after the lock.
struct Former {
    Samples ac;
    Samples dc;
};

Former ForgetBoth() ZEKA_NEEDS_LOCK
{
    return {ExchangeRecording(nullptr, ECGFileSize), ExchangeDcChannel(nullptr, 0)};
}

} // namespace
} // namespace zeka

int ZEKALoadRawData(RAW_WAVEFORM_DATA* data)
{
    if (data == nullptr || data->ac == nullptr || data->dc == nullptr)
        return zeka::kNoArrays;
    const std::int32_t count = data->count;
    zeka::Copy ac = zeka::CopyLimited(data->ac, count, zeka::kRawAcLimitMv);
    zeka::Copy dc = zeka::CopyLimited(data->dc, count, zeka::kRawDcLimitMv);

    zeka::Former former;
    const CAutoCriticalSection lock(g_CriticalSection);
    if (ac.samples == nullptr || dc.samples == nullptr) {
        former = zeka::ForgetBoth();
        return zeka::kNoArrays;
    }
    former = {zeka::ExchangeRecording(std::move(ac.samples), count),
              zeka::ExchangeDcChannel(std::move(dc.samples), count)};
    if (dc.any_other_than_zero)
        g_bRawVariableDC = true;
    if (!g_bRawVariableDC)
        g_bVariableDC = false;
    ECGFileUnitMV = true;
    // Finite, because a period is a length divided by it.
    ECGFileFreq = std::isfinite(data->frequency) ? data->frequency : 0.0;
    SetRelays(true);
    return zeka::kRates.Contains(data->frequency) ? count : zeka::kBadFrequency;
}
