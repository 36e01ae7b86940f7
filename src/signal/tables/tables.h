// tables.h (signal/tables) - the standard test waveforms as stored data, and the sizes by which
// they are indexed. Constant from load to unload: any thread reads them without a lock. The build
// makes the samples from the files in figures/ (generator/), or takes them from the official
// records in the folder ZEKA_EC13_DIR.
#pragma once

#include <array>
#include <cstddef>

namespace zeka {
namespace wave227 { // test waveforms of IEC 60601-2-27: six rhythms, two of them also at half and double size
inline constexpr std::size_t kCount = 10;
inline constexpr std::size_t kSlots = 66000; // room for one waveform; zero behind its last sample
inline constexpr std::size_t kTotal = kCount * kSlots;
inline constexpr unsigned kRateHz = 720;
inline constexpr std::array<std::size_t, kCount> kSamples{43081, 43142, 43144, 34511, 65211,
                                                          65214, 65207, 65238, 65239, 65237};
} // namespace wave227

namespace wave251 { // calibration waveforms of IEC 60601-2-51, one second each
inline constexpr std::size_t kCount = 16;
inline constexpr std::size_t kSlots = 1000;
inline constexpr std::size_t kTotal = kCount * kSlots;
inline constexpr unsigned kRateHz = 1000;
} // namespace wave251

namespace ane20000 { // leads I, II, III, V1 to V6 of the analytic ECG of IEC 60601-2-51, one second each
inline constexpr std::size_t kLeads = 9;
inline constexpr std::size_t kSlots = 1000;
inline constexpr std::size_t kTotal = kLeads * kSlots;
inline constexpr unsigned kRateHz = 1000;
} // namespace ane20000

namespace pattern247 { // patterns of IEC 60601-2-47, synthesised on first use (patterns247.h)
inline constexpr std::size_t kCount = 5;
inline constexpr unsigned kRateHz = 1000;
inline constexpr std::size_t kBeatSamples = 360;
inline constexpr std::size_t kMinute = 60000; // samples of patterns 0 to 3, and those played of pattern 4
inline constexpr std::size_t kHour = 3600000; // samples of pattern 4, whose rhythm swings once an hour

/// Samples of a pattern; every number but 4 counts as a pattern of one minute.
constexpr std::size_t Samples(int pattern) noexcept { return pattern == 4 ? kHour : kMinute; }
} // namespace pattern247
} // namespace zeka

extern const int IEC227W[zeka::wave227::kTotal];       // uV  waveform i starts at i * 66000
extern const double IEC227WL[zeka::wave227::kCount];   // s   length of waveform i
extern const int IEC251W[zeka::wave251::kTotal];       // uV  waveform i starts at i * 1000
extern const int ANE20000[zeka::ane20000::kTotal];     // uV  lead i starts at i * 1000
extern const double rravg[zeka::pattern247::kCount];   // s   mean RR interval
extern const double rrdev[zeka::pattern247::kCount];   // s   depth of the RR modulation
extern const double hrvfreq[zeka::pattern247::kCount]; // Hz  frequency of the RR modulation
