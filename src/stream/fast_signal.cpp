// fast_signal.cpp (stream) - the main voltage over a run of samples, and where a run must end. Runs under
// g_CriticalSection, once or a few times per burst. signal/shapes.h defines what is drawn.
#include "stream/fast_signal.h"

#include <algorithm>
#include <limits>

#include "signal/file_playback.h"
#include "signal/functions.h"
#include "signal/shapes.h"
#include "signal/staircase.h"
#include "stream/run_pen.h"
#include "stream/scaling.h"
#include "util/peek.h"

namespace zeka {
namespace {

bool PlaysOnce(Kind kind)
{
    return (kind == Kind::kStandard && !Peek(s_loopPlay)) || (kind == Kind::kRecording && !Peek(s_loopFile));
}

} // namespace

void LimitRun(SampleRun& run, double& base)
{
    if (!(g_fTimePeriod > 0.0) || !(g_fTimePeriod <= std::numeric_limits<double>::max())) {
        run.Shorten(0);
        return;
    }
    const Turn period = TurnAt(run, g_fTimePeriod, 0);
    base = period.base;
    run.Shorten(period.end);

    const Kind kind = KindOf(g_MainOutput);
    if (PlaysOnce(kind) && period.number != 0.0)
        run.Shorten(0); // past the end: the plain path reports it and stops the stream
    if (kind == Kind::kEcg && !LimitEcgRun(run))
        run.Shorten(0);
    if (kind == Kind::kStaircase)
        run.Shorten(RunTimes(run, 0.0).FirstAt(StaircaseRestsUntil(run.Time(0)), 0));
}

void FillMainVoltage(const SampleRun& run, double base, RunBuffer& mv)
{
    if (KindOf(g_MainOutput) == Kind::kEcg)
        return FillEcg(run, base, mv);
    RunPen pen(run, base, mv);
    Draw(g_MainOutput, pen);
}

void FillRawDcWords(const SampleRun& run, double base, WordBuffer& words)
{
    const RunTimes times(run, base);
    double (*const dc_at)(double) = FileDcVoltageAt; // called below, under the lock that is held here
    ForEachHeld(run, times, ECGFileFreq, [&times, &words, dc_at](int from, int to) {
        std::fill_n(words.begin() + from, to - from, ECG_DC_VoltageToDAC(dc_at(times(from))));
    });
}

} // namespace zeka
