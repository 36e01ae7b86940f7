// fast_burst.cpp (stream) - one burst in runs of samples. Runs under g_CriticalSection.
//
// A run ends where anything but the clock may change: at the end of a period or a beat, at a sample that
// goes to a callback, near a pacing mark, at the end of a playback. Such a sample takes the plain path; so
// do all samples while a change waits or a recording into the application's buffers runs. The next run
// begins with the state that the plain path left. Invariant: a run leaves no state behind but what the
// plain path would have left too.
#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <span>

#include "signal/pacing.h"
#include "signal/staircase.h"
#include "stream/burst.h"
#include "stream/fast_signal.h"
#include "stream/fast_sweep.h"
#include "stream/fast_words.h"
#include "stream/sample_run.h"
#include "stream/scaling.h"
#include "util/peek.h"
#include "zeka/zeka.h"

namespace zeka {
namespace {

constexpr int kWorthARun = 4; // fewer samples cost less one by one

/// Where the DC words of a run come from.
enum class DcSource {
    kOneVoltage, // the same for all samples
    kMainSignal, // baseline overload: the main signal goes to the DC channel
    kOwnChannel, // the recording's own channel
    kPacing,     // pulses, and an overshoot on the AC channel
};

bool Recording() ZEKA_NEEDS_LOCK
{
    return s_EnableRecord && s_RecordIndex < s_RecordLength && s_AcBuffer != nullptr && s_DcBuffer != nullptr;
}

/// Samples before the next one that goes to a callback.
int UnseenSamples(int limit) ZEKA_NEEDS_LOCK
{
    if (Peek(g_GraphCB) == nullptr)
        return limit;
    if (uiCounter <= 0)
        return 0;
    return std::min(limit, std::max(s_freqDivider - uiCounter, 1));
}

void AdvanceDivider(int samples) ZEKA_NEEDS_LOCK
{
    if (uiCounter >= 0 && uiCounter < s_freqDivider) {
        uiCounter = (uiCounter + samples) % s_freqDivider;
        return;
    }
    for (int i = 0; i < samples; ++i)
        uiCounter = uiCounter < s_freqDivider - 1 ? uiCounter + 1 : 0;
}

DcSource SourceOfDc() ZEKA_NEEDS_LOCK
{
    if (g_MainOutput == ZEKA_FUNCTION_RAW_DATA)
        return DcSource::kOwnChannel;
    if (s_PulsesRequired >= 1)
        return DcSource::kPacing;
    return g_MainOutput == ZEKA_FUNCTION_SINE && g_BaseLineOverload != 0 ? DcSource::kMainSignal
                                                                         : DcSource::kOneVoltage;
}

/// DC words of pulses. Nearly all samples of a second are at 0 mV, so that word is computed once.
void ConvertPulses(std::span<const double> dc_mv, WordBuffer& words)
{
    const std::uint16_t zero = ECG_DC_VoltageToDAC(0.0);
    for (std::size_t i = 0; i < dc_mv.size(); ++i)
        words[i] = dc_mv[i] == 0.0 ? zero : ECG_DC_VoltageToDAC(dc_mv[i]);
}

/// Writes the headers of the packets that begin within the slots from .. to - 1.
void PutHeaders(Burst burst, std::size_t from, std::size_t to) ZEKA_NEEDS_LOCK
{
    constexpr std::size_t k = sample_packet::kSamples;
    for (std::size_t packet = (from + k - 1) / k; packet * k < to; ++packet)
        PutHeader(burst, packet, g_nSequenceCheck++);
}

/// Counts per mV. The plain path multiplies a voltage by 4 and then by 1600 / attenuation. A multiplication
/// by 4 only changes the exponent, so it may be applied to the other factor. Voltages so small or so large
/// that the exponent underflows or overflows become word 0 or the limit either way.
double CountsPerMv() ZEKA_NEEDS_LOCK { return kAcGain * (kAcScale / GetAttenuation()); }

/// The main voltage and the DC words of one run.
struct RunWords {
    RunBuffer mv;
    WordBuffer dc;
};

void AddPacing(RunWords& words, std::size_t count) ZEKA_NEEDS_LOCK
{
    RunBuffer dc_mv, overshoot;
    QuietPacing(std::span(dc_mv).first(count), std::span(overshoot).first(count));
    for (std::size_t i = 0; i < count; ++i)
        words.mv[i] = overshoot[i] + words.mv[i];
    ConvertPulses(std::span(dc_mv).first(count), words.dc);
}

void MoveToDc(RunWords& words, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        words.dc[i] = ECG_DC_VoltageToDAC(words.mv[i]);
    std::fill_n(words.mv.begin(), count, 0.0);
}

/// Writes headers, DC words and AC words of the run whose main voltage and own DC words are in `words`.
void PutRun(Burst burst, std::size_t first, std::size_t count, DcSource source,
            RunWords& words) ZEKA_NEEDS_LOCK
{
    if (source == DcSource::kPacing)
        AddPacing(words, count);
    if (source == DcSource::kMainSignal)
        MoveToDc(words, count);

    assert(first + count <= kBurstSamples);
    PutHeaders(burst, first, first + count);
    const auto mv = std::span<const double>(words.mv).first(count);
    if (g_nDcDACValue >= 0)
        PutSlots(burst, first, mv, CountsPerMv(), static_cast<std::uint16_t>(g_nDcDACValue & 0xFFFF));
    else if (source == DcSource::kOneVoltage)
        PutSlots(burst, first, mv, CountsPerMv(), ECG_DC_VoltageToDAC(UnpacedDc(StaircaseLevel)));
    else
        PutSlots(burst, first, mv, CountsPerMv(), std::span<const std::uint16_t>(words.dc).first(count));
}

/// A run of a frequency sweep, which advances its clock itself.
int BuildSweepRun(Burst burst, std::size_t first, int limit, DcSource source) ZEKA_NEEDS_LOCK
{
    if (!CanSweepFast() || (source != DcSource::kOneVoltage && source != DcSource::kMainSignal))
        return 0;
    RunWords words;
    SweepMainVoltage(limit, words.mv);
    PutRun(burst, first, static_cast<std::size_t>(limit), source, words);
    return limit;
}

/// A run on the plainly accumulated clock.
int BuildSteadyRun(Burst burst, std::size_t first, int limit, DcSource source) ZEKA_NEEDS_LOCK
{
    assert(g_nSampleRate > 0 && limit >= kWorthARun);
    const double dt = 1.0 / g_nSampleRate;
    const LinearClock graph_clock = LinearClockFrom(g_fOutputTimeGraph, dt, limit);
    const bool together = g_fOutputTime == g_fOutputTimeGraph; // they differ only after a sweep
    const LinearClock clock = together ? graph_clock : LinearClockFrom(g_fOutputTime, dt, limit);
    limit = std::min(clock.samples, graph_clock.samples);
    if (limit < kWorthARun)
        return 0;

    SampleRun run(clock, limit);
    double base = 0.0;
    LimitRun(run, base);
    if (run.Count() < kWorthARun)
        return 0;

    RunWords words;
    FillMainVoltage(run, base, words.mv);
    if (source == DcSource::kOwnChannel)
        FillRawDcWords(run, base, words.dc);
    PutRun(burst, first, static_cast<std::size_t>(run.Count()), source, words);
    g_fOutputTime = clock.At(run.Count());
    g_fOutputTimeGraph = graph_clock.At(run.Count());
    return run.Count();
}

/// Builds the longest run that begins with slot `first`; returns its length, 0 when that
/// sample takes the plain path.
int BuildRun(Burst burst, std::size_t first) ZEKA_NEEDS_LOCK
{
    assert(first < kBurstSamples);
    if (s_ChangeOnNextCycle || Recording())
        return 0;
    int limit = UnseenSamples(static_cast<int>(kBurstSamples - first));
    const DcSource source = SourceOfDc();
    if (source == DcSource::kPacing) {
        if (g_MainOutput == ZEKA_FUNCTION_SINE && g_BaseLineOverload != 0)
            return 0; // pacing and overload at once: the plain path drops the overshoot
        limit = QuietPacingSamples(limit);
    }
    if (limit < kWorthARun)
        return 0;

    const int built = s_FreqScanOn ? BuildSweepRun(burst, first, limit, source)
                                   : BuildSteadyRun(burst, first, limit, source);
    assert(built >= 0 && built <= limit);
    AdvanceDivider(built);
    return built;
}

} // namespace

void BuildBurst(Burst burst)
{
    for (std::size_t n = 0; n < kBurstSamples;) {
        const int built = BuildRun(burst, n);
        if (built > 0)
            n += static_cast<std::size_t>(built);
        else
            PlainSample(burst, n++);
    }
}

} // namespace zeka
