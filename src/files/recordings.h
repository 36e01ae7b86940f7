// recordings.h (files) - the loaded recording: who owns its arrays and how they are exchanged under a running
// stream. A loader reads its file without the lock, into an array of its own, and exchanges it for the former
// one in one step. The former array comes back to the loader and is released when the lock is free again:
// giving 160 MB back to the system would cost a running stream its next burst.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "signal/state.h"

namespace zeka {

using Samples = std::unique_ptr<double[]>;

inline constexpr double kFileLimitMv = 2.5;     // files: beyond it the end value
inline constexpr double kRawAcLimitMv = 5.0;    // AC channel of raw data
inline constexpr double kRawDcLimitMv = 1000.0; // DC channel of raw data

/// A number of foreign origin, fit for a sample: limited to both sides, 0.0 for what is no number.
[[nodiscard]] inline double Limited(double value, double limit) noexcept
{
    return std::isnan(value) ? 0.0 : std::clamp(value, -limit, limit);
}

/// Room for that many samples, without touching it; null when there is no memory or the count is negative.
[[nodiscard]] Samples AllocateSamples(std::int64_t count) noexcept;

/// Makes these samples (mV) the loaded recording and hands the former ones back. One step under the lock.
[[nodiscard]] Samples ExchangeRecording(Samples samples, std::int32_t count) noexcept ZEKA_NEEDS_LOCK;

/// The same for the DC channel of raw data.
[[nodiscard]] Samples ExchangeDcChannel(Samples samples, std::int32_t count) noexcept ZEKA_NEEDS_LOCK;

// What the file loaders do to the shared state, each in one step with the lock taken inside.

/// The sample rate is known as soon as it is read, whether or not it will be accepted.
void PublishFileRate(double samples_per_second);

/// A file came to its end: its samples are the recording from now on. Returns count.
int FinishLoad(Samples samples, std::int32_t count);

/// There is no memory for the samples: the former recording goes, its size stays. Returns code.
int FailForMemory(int code);

} // namespace zeka
