// sample_stream.cpp (stream) - answers one request of the instrument with one burst of 700 samples,
// 17.5 ms of signal. Called under g_CriticalSection by the poll thread, and once by the apply step when
// a stream starts. The burst lives on the stack because a callback that restarts the stream builds a
// burst of its own inside this one.
#include "stream/sample_stream.h"

#include <array>

#include "link/serial_link.h"
#include "signal/frame.h"
#include "signal/notify.h"
#include "signal/numeric.h"
#include "signal/sweep.h"
#include "stream/burst.h"
#include "stream/end_of_playback.h"
#include "zeka/zeka.h"

namespace {

void EndFile() ZEKA_NEEDS_LOCK
{
    const zeka::WithoutRequestWait inside_a_burst; // no request can come for a stream's first burst
    (void)ZEKASetOutputFunction(ZEKA_FUNCTION_NONE);
    zeka::Notify(g_StandardStopCB);
}

} // namespace

void _SendNextPacket()
{
    if (IsEndOfFile()) {
        EndFile();
        return;
    }
    if (g_fOutputTime == 0.0)
        uiCounter = 0; // the first sample of a stream is shown

    std::array<std::uint8_t, zeka::kBurstBytes> burst{};
    zeka::BuildBurst(burst);
    // Ignores the result, because the clock has moved on and a burst sent twice would show in the signal.
    (void)WriteData(burst.data(), static_cast<int>(burst.size()), 1);

    if (g_RespirationEnabled)
        EnableApneaByTime(zeka::TruncToInt(g_fOutputTimeGraph));
    _UpdateFreqScanIfRequired();
}
