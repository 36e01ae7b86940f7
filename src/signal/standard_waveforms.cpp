// standard_waveforms.cpp - the standard test waveforms: their selection, the lookup of one sample (40000/s,
// under g_CriticalSection) and the whole arrays for applications (any thread, no lock).
#include "signal/standard_waveforms.h"

#include <array>
#include <atomic>
#include <cassert>
#include <cmath>
#include <mutex>
#include <new>
#include <span>

#include "signal/apply.h"
#include "signal/numeric.h"
#include "signal/tables/patterns247.h"
#include "signal/tables/tables.h"
#include "util/peek.h"

constinit double ECG227[360] = {};
constinit double* pattern1 = nullptr;
constinit double* pattern2 = nullptr;
constinit double* pattern3 = nullptr;
constinit double* pattern4 = nullptr;
constinit double* pattern5 = nullptr;

namespace zeka {
namespace {

static_assert(std::size(ECG227) == pattern247::kBeatSamples);

constexpr double kMicrovoltsPerMv = 1000.0;

// The patterns' memory belongs to the library's image: its pages are mapped when a pattern is built, no
// allocation can fail, and the memory ends with the unloading, when no thread can play from it any more.
constinit std::array<std::array<double, pattern247::kMinute>, pattern247::kCount - 1> minutes = {};
constinit std::array<double, pattern247::kHour> hour = {};

constinit std::once_flag pattern_built[pattern247::kCount];
constinit std::once_flag beat_built;

constexpr bool IsPattern(int pattern)
{
    return pattern >= 0 && pattern < static_cast<int>(pattern247::kCount);
}

double*& PatternSlot(int pattern)
{
    assert(IsPattern(pattern));
    double** const slots[] = {&pattern1, &pattern2, &pattern3, &pattern4, &pattern5};
    return *slots[pattern];
}

std::span<double> PatternMemory(int pattern)
{
    assert(IsPattern(pattern));
    if (pattern == static_cast<int>(minutes.size()))
        return hour;
    return minutes[static_cast<std::size_t>(pattern)];
}

/// The pattern when it is complete, else null. Never waits, because a burst is being built.
const double* BuiltPattern(int pattern)
{
    return std::atomic_ref(PatternSlot(pattern)).load(std::memory_order_acquire);
}

/// Builds the pattern on the first call; a second caller waits for the first.
void BuildPattern(int pattern)
{
    if (!IsPattern(pattern))
        return;
    std::call_once(pattern_built[pattern], [pattern] {
        const std::span<double> memory = PatternMemory(pattern);
        FillPattern247(pattern, memory);
        std::atomic_ref(PatternSlot(pattern)).store(memory.data(), std::memory_order_release);
    });
}

/// Sample `at` of the waveform `index`, uV to mV; 0.0 for an index outside the table. From the selection
/// of a function to the end of the running period the time still follows the former, maybe longer period.
/// The lookup then runs on into the waveforms behind the selected one, as on every instrument of the
/// family, but never out of the table.
double SampleMv(std::span<const int> table, std::size_t slots, int index, double at)
{
    assert(slots > 0 && table.size() % slots == 0);
    if (index < 0 || static_cast<std::size_t>(index) >= table.size() / slots ||
        !(at > -1.0)) // rounding may put a time just below 0
        return 0.0;
    const double element = static_cast<double>(index) * static_cast<double>(slots) + Trunc(at);
    if (element >= static_cast<double>(table.size()))
        return 0.0;
    return table[static_cast<std::size_t>(element)] / kMicrovoltsPerMv;
}

/// Stores the one index of three families of waveforms; the output function decides
/// which family it selects from.
int SelectWaveform(int index)
{
    {
        const CAutoCriticalSection lock(g_CriticalSection);
        Publish(g_nSpecialWaveform, index);
        _Change();
    }
    if (Peek(g_MainOutput) == ZEKA_FUNCTION_IEC60601_2_47)
        BuildPattern(index); // another thread has selected the function meanwhile
    return 0;
}

/// Selection by the setter of one of the two families that function 16 does not play.
int SelectOtherWaveform(int index)
{
    if (Peek(g_MainOutput) == ZEKA_FUNCTION_IEC60601_2_47)
        BuildPattern(index);
    return SelectWaveform(index);
}

void Tell(unsigned int* where, std::size_t value)
{
    if (where != nullptr)
        *where = static_cast<unsigned int>(value);
}

} // namespace

double Wave227At(double t) { return SampleMv(IEC227W, wave227::kSlots, g_nSpecialWaveform, 720.0 * t); }

double Wave251At(double t) { return SampleMv(IEC251W, wave251::kSlots, g_nSpecialWaveform, 1000.0 * t); }

double Ane20000At(double t)
{
    return SampleMv(ANE20000, ane20000::kSlots, g_nANE20000ChannelNumber, 1000.0 * t);
}

double Wave247At(double t)
{
    const int pattern = g_nSpecialWaveform;
    if (!IsPattern(pattern))
        return 0.0;
    const double* const samples = BuiltPattern(pattern);
    const double at = Trunc(1000.0 * t);
    if (samples == nullptr || !(at >= 0.0) || at >= static_cast<double>(pattern247::Samples(pattern)))
        return 0.0;
    return samples[static_cast<std::size_t>(at)];
}

double Wave227Period(double fallback)
{
    const int index = g_nSpecialWaveform;
    return index >= 0 && index < static_cast<int>(wave227::kCount) ? IEC227WL[index] : fallback;
}

void PreparePattern247() { BuildPattern(Peek(g_nSpecialWaveform)); }

} // namespace zeka

// --- selection

int SetSpecialWave227(int index) { return zeka::SelectOtherWaveform(index); }
int SetSpecialWave251(int index) { return zeka::SelectOtherWaveform(index); }

int SetSpecialWave247(int index)
{
    zeka::BuildPattern(index); // before the lock, because a burst must not wait for 3.6 million samples
    return zeka::SelectWaveform(index);
}

int GetSpecialWave227() { return zeka::Peek(g_nSpecialWaveform); }
int GetSpecialWave251() { return zeka::Peek(g_nSpecialWaveform); }
int GetSpecialWave247() { return zeka::Peek(g_nSpecialWaveform); }

int SetANE20000Lead(int lead)
{
    if (lead < 0 || lead >= static_cast<int>(zeka::ane20000::kLeads))
        return -1;
    const CAutoCriticalSection lock(g_CriticalSection);
    zeka::Publish(g_nANE20000ChannelNumber, lead);
    _Change();
    return 0;
}

int GetANE20000Lead() { return zeka::Peek(g_nANE20000ChannelNumber); }

// --- whole waveforms; the pointers lead into the library's own storage, which applications must not write

int* GetSpecialWave227Array(int index, unsigned int* length, unsigned int* rate)
{
    zeka::Tell(rate, zeka::wave227::kRateHz);
    zeka::Tell(length, 0);
    if (index < 0 || index >= static_cast<int>(zeka::wave227::kCount))
        return nullptr;
    zeka::Tell(length, static_cast<std::size_t>(0.5 + IEC227WL[index] * 720.0));
    return const_cast<int*>(&IEC227W[static_cast<std::size_t>(index) * zeka::wave227::kSlots]);
}

int* GetSpecialWave251Array(int index, unsigned int* length, unsigned int* rate)
{
    zeka::Tell(rate, zeka::wave251::kRateHz);
    zeka::Tell(length, 0);
    if (index < 0 || index >= static_cast<int>(zeka::wave251::kCount))
        return nullptr;
    zeka::Tell(length, zeka::wave251::kSlots);
    return const_cast<int*>(&IEC251W[static_cast<std::size_t>(index) * zeka::wave251::kSlots]);
}

double* GetSpecialWave247Array(int pattern, unsigned int* length, unsigned int* rate)
{
    zeka::Tell(rate, zeka::pattern247::kRateHz);
    zeka::Tell(length, zeka::IsPattern(pattern) ? zeka::pattern247::Samples(pattern) : 0);
    return getIEC47RawArray(pattern);
}

double* getIEC47RawArray(IEC247_PATTERN pattern)
{
    if (!zeka::IsPattern(pattern))
        return nullptr;
    zeka::BuildPattern(pattern);
    return zeka::PatternMemory(pattern).data();
}

double* getArray(IEC247_PATTERN pattern)
{
    if (!zeka::IsPattern(pattern))
        return nullptr;
    const std::size_t count = zeka::pattern247::Samples(pattern);
    double* const samples = new (std::nothrow) double[count];
    if (samples != nullptr)
        zeka::FillPattern247(pattern, std::span(samples, count));
    return samples; // the caller's: delete[]
}

double* getECG227Array()
{
    std::call_once(zeka::beat_built, [] { zeka::FillBeat227(ECG227); });
    return ECG227;
}

double* getRRavgArray() { return const_cast<double*>(rravg); }
double* getRRdevArray() { return const_cast<double*>(rrdev); }
double* getHRVfreqArray() { return const_cast<double*>(hrvfreq); }
