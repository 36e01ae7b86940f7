// end_of_playback.h (stream) - detects the end of what is played once, reports it and stops the stream.
#pragma once

#include "signal/functions.h"
#include "signal/state.h"
#include "util/peek.h"

/// Whether a recording that plays once has run past its end.
inline bool IsEndOfFile() ZEKA_NEEDS_LOCK
{
    return !zeka::Peek(s_loopFile) && g_fOutputTime > g_fTimePeriod &&
           zeka::KindOf(g_MainOutput) == zeka::Kind::kRecording;
}

/// Check whether a standard waveform or a recording that plays once has ended; if so, report it and stop.
void _CheckStandardLoop() ZEKA_NEEDS_LOCK;
void _CheckFileLoop() ZEKA_NEEDS_LOCK;

/// Calls the signal callback with the end marker: time -1.0, value 0.0.
void StopCallback();
