// end_of_playback.cpp (stream) - what is played once ends: when that is, who is told, and in which order.
// Standard waveforms end inside the generator, at the first sample past their end: the application hears of
// it before the function is switched off. Files end at the first request after their end: there the function
// goes first.
#include "signal/frame.h"
#include "signal/notify.h"
#include "stream/sample_stream.h"
#include "zeka/zeka.h"

namespace {

constexpr double kStopMarkerS = -1.0; // a time that no sample has

bool IsFile(int function) { return function == 14 || function == 18; }

void EndUnlessRepeated(bool repeat) ZEKA_NEEDS_LOCK
{
    if (repeat || !(g_fOutputTime > g_fTimePeriod))
        return;
    zeka::Notify(g_StandardStopCB);
    // In a burst that answers a request there is nothing to wait for, and in a stream's first burst no
    // request can come.
    const zeka::WithoutRequestWait inside_a_burst;
    (void)ZEKASetOutputFunction(0);
}

} // namespace

bool IsEndOfFile()
{
    return IsFile(g_MainOutput) && !zeka::Peek(s_loopFile) && g_fOutputTime > g_fTimePeriod;
}

void _CheckStandardLoop() { EndUnlessRepeated(zeka::Peek(s_loopPlay)); }

void _CheckFileLoop() { EndUnlessRepeated(zeka::Peek(s_loopFile)); }

void StopCallback() { zeka::Notify(g_GraphCB, kStopMarkerS, 0.0); }
