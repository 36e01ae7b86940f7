// end_of_playback.cpp (stream) - what is played once ends: when that is, who is told, and in which order.
// Standard waveforms end inside the generator, at the first sample past their end: the application hears of
// it before the function is switched off. Files end at the first request after their end: there the function
// goes first.
#include "stream/end_of_playback.h"

#include "signal/frame.h"
#include "signal/functions.h"
#include "signal/notify.h"
#include "util/peek.h"

namespace {

constexpr double kStopMarkerS = -1.0; // a time that no sample has

void EndUnlessRepeated(bool repeat) ZEKA_NEEDS_LOCK
{
    if (repeat || !(g_fOutputTime > g_fTimePeriod))
        return;
    zeka::Notify(g_StandardStopCB);
    // In a burst that answers a request there is nothing to wait for, and in a stream's first burst no
    // request can come.
    const zeka::WithoutRequestWait inside_a_burst;
    (void)ZEKASetOutputFunction(ZEKA_FUNCTION_NONE);
}

} // namespace

void _CheckStandardLoop() { EndUnlessRepeated(zeka::Peek(s_loopPlay)); }

void _CheckFileLoop() { EndUnlessRepeated(zeka::Peek(s_loopFile)); }

void StopCallback() { zeka::Notify(g_GraphCB, kStopMarkerS, 0.0); }
