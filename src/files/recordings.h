// recordings.h (files) - the loaded recording: the owner of its arrays, and their exchange under a running
// stream. A loader reads its file without the lock, into an array of its own, and exchanges that for the
// former one in one step under the lock. The loader gets the former array and releases it when the lock is
// free again, because giving 160 MB back to the system would delay the next burst of a running stream.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "signal/state.h"

namespace zeka {

using Samples = std::unique_ptr<double[]>;

inline constexpr double kFileLimitMv = 2.5;     // files: values beyond it become the limit
inline constexpr double kRawAcLimitMv = 5.0;    // AC channel of raw data
inline constexpr double kRawDcLimitMv = 1000.0; // DC channel of raw data

/// A value from outside as a sample: limited on both sides, NaN as 0.0.
[[nodiscard]] inline double Limited(double value, double limit) noexcept
{
    return std::isnan(value) ? 0.0 : std::clamp(value, -limit, limit);
}

/// Room for that many samples, not initialised; null when there is no memory or the count is negative.
[[nodiscard]] Samples AllocateSamples(std::int64_t count) noexcept;

/// Makes these samples (mV) the loaded recording and returns the former ones.
[[nodiscard]] Samples ExchangeRecording(Samples samples, std::int32_t count) noexcept ZEKA_NEEDS_LOCK;

/// The same for the DC channel of raw data.
[[nodiscard]] Samples ExchangeDcChannel(Samples samples, std::int32_t count) noexcept ZEKA_NEEDS_LOCK;

// The changes that the file loaders make to the shared state. Each takes the lock itself, once.

/// Stores the sample rate of a file as soon as it is read, whether or not it will be accepted: it takes
/// effect with the next sample of a recording that plays.
void PublishFileRate(double samples_per_second);

/// Makes the samples that were read the loaded recording. Returns count.
int FinishLoad(Samples samples, std::int32_t count);

/// For samples without memory: drops the former recording, whose size stays. Returns code.
int FailForMemory(int code);

} // namespace zeka
