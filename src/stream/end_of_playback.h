// end_of_playback.h (stream) - when what is played once is over, and who is told.
#pragma once

#include "signal/functions.h"
#include "signal/state.h"
#include "util/peek.h"

/// True when a file that plays once has run past its end.
inline bool IsEndOfFile() ZEKA_NEEDS_LOCK
{
    return !zeka::Peek(s_loopFile) && g_fOutputTime > g_fTimePeriod &&
           zeka::KindOf(g_MainOutput) == zeka::Kind::kRecording;
}

/// End-of-playback checks of standard waveforms and files that play once: tell the application, stop the
/// stream.
void _CheckStandardLoop() ZEKA_NEEDS_LOCK;
void _CheckFileLoop() ZEKA_NEEDS_LOCK;

/// Tells the signal callback that playback has ended: time -1.0, value 0.0.
void StopCallback();
