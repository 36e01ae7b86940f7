// end_of_playback.cpp (stream) - the end of what is played once. Standard waveforms end inside the generator,
// at the first sample past their end: the signal callback gets the end marker before 0 is selected, so 0
// replaces a function that the callback selects. Recordings end at the first request after their end: 0 is
// selected before the callback gets the marker, so a function that it selects plays. Under g_CriticalSection.
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
    // No wait for a request: the burst answers one, or starts the stream, and then none can come.
    const zeka::WithoutRequestWait inside_a_burst;
    (void)ZEKASetOutputFunction(ZEKA_FUNCTION_NONE);
}

} // namespace

void _CheckStandardLoop() { EndUnlessRepeated(zeka::Peek(s_loopPlay)); }

void _CheckFileLoop() { EndUnlessRepeated(zeka::Peek(s_loopFile)); }

void StopCallback() { zeka::Notify(g_GraphCB, kStopMarkerS, 0.0); }
