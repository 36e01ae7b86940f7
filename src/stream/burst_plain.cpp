// burst_plain.cpp (stream) - one burst, sample by sample: the definition of what is sent and of what a sample
// leaves behind in the shared state. Runs under g_CriticalSection on the poll thread, or on the thread that
// starts the stream. A callback may call any setter, so no value read before a callback is used after it,
// except the time within the period, which belongs to the sample.
#include "stream/burst.h"

#include <algorithm>
#include <cassert>

#include "platform/cancellation.h"
#include "signal/apply.h"
#include "signal/file_playback.h"
#include "signal/generator.h"
#include "signal/numeric.h"
#include "signal/pacing.h"
#include "stream/end_of_playback.h"
#include "stream/scaling.h"
#include "util/peek.h"
#include "zeka/zeka.h"

constinit std::int32_t uiCounter = 0;

namespace zeka {
namespace {

/// Voltages of the two output channels, mV.
struct Voltages {
    double main_mv, dc_mv;
};

Voltages VoltagesAt(double t) ZEKA_NEEDS_LOCK
{
    double overshoot = 0.0;
    double main = IsEndOfFile() ? 0.0 : _GetMainFunctionVoltage(t);
    double dc = 0.0;
    if (g_MainOutput != ZEKA_FUNCTION_RAW_DATA)
        dc = _GetPacingV5(overshoot);
    else if (!IsEndOfFile())
        dc = FileDcVoltageAt(t);
    if (!(g_MainOutput == ZEKA_FUNCTION_SINE && g_BaseLineOverload != 0))
        main = overshoot + main;
    return {main, dc};
}

/// The rectangle of a pacing pulse, for a display that joins the points.
void DrawPacingPulse() ZEKA_NEEDS_LOCK
{
    auto* const draw = Peek(g_PacingGraphCB);
    if (draw == nullptr || !s_PacingIndicationNeeded)
        return;
    const double width_s = g_PacingDuration / 1000.0;
    const CancelStateOfOwner while_it_runs;
    draw(g_fOutputTimeGraph, 0.0);
    draw(g_fOutputTimeGraph, g_PA);
    draw(g_fOutputTimeGraph + width_s, g_PA);
    draw(g_fOutputTimeGraph + width_s, 0.0);
    s_PacingIndicationNeeded = false;
}

void Display(double main_mv) ZEKA_NEEDS_LOCK
{
    auto* const show = Peek(g_GraphCB);
    if (show != nullptr && uiCounter == 0) {
        {
            const CancelStateOfOwner while_it_runs;
            show(g_fOutputTimeGraph, main_mv);
        }
        DrawPacingPulse();
    }
    if (uiCounter < s_freqDivider - 1)
        ++uiCounter;
    else
        uiCounter = 0;
}

void AdvanceClocks() ZEKA_NEEDS_LOCK
{
    const double dt = 1.0 / g_nSampleRate;
    g_fOutputTime += dt;
    g_fOutputTimeGraph += dt;
    if (!s_FreqScanOn)
        return;
    // The sweep: every sample has a new frequency, and the clock is set so that the phase
    // within the period continues.
    const double periods = g_fOutputTime / g_fTimePeriod;
    const double phase = periods - Trunc(periods);
    Publish(g_F, g_F + s_Fd);
    g_fTimePeriod = 1.0 / g_F;
    g_fOutputTime = g_fTimePeriod * phase;
}

void Record(double ac_counts, double dc_mv) ZEKA_NEEDS_LOCK
{
    if (!s_EnableRecord || s_RecordIndex >= s_RecordLength || s_AcBuffer == nullptr || s_DcBuffer == nullptr)
        return;
    assert(s_RecordIndex >= 0);
    s_AcBuffer[s_RecordIndex] = ac_counts;
    s_DcBuffer[s_RecordIndex] = dc_mv;
    ++s_RecordIndex;
}

} // namespace

void PlainSample(Burst burst, std::size_t n)
{
    assert(n < kBurstSamples && g_nSampleRate > 0);
    if (n % sample_packet::kSamples == 0)
        PutHeader(burst, n / sample_packet::kSamples, g_nSequenceCheck++);

    const double t = TimeInPeriod(g_fOutputTime, g_fTimePeriod);
    auto [main_mv, dc_mv] = VoltagesAt(t);
    Display(main_mv);

    if (g_BaseLineOverload != 0 && g_MainOutput == ZEKA_FUNCTION_SINE) {
        dc_mv = main_mv; // the overload goes to the DC channel
        main_mv = 0.0;
    }
    const std::uint16_t dc_word =
        g_nDcDACValue >= 0 ? static_cast<std::uint16_t>(g_nDcDACValue & 0xFFFF) : ECG_DC_VoltageToDAC(dc_mv);
    const double counts =
        std::clamp(main_mv * kAcGain * (kAcScale / GetAttenuation()), kAcWordLow, kAcWordHigh);
    PutSlot(burst, n, dc_word, AcWord(counts));

    AdvanceClocks();
    Record(counts, dc_mv);
    _CheckIfChangeRequired(t);
}

void BuildBurstPlain(Burst burst)
{
    for (std::size_t n = 0; n < kBurstSamples; ++n)
        PlainSample(burst, n);
}

} // namespace zeka
