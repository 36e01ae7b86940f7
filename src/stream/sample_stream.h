// sample_stream.h (stream) - one burst of samples for the instrument.
#pragma once

#include "signal/state.h"

/// Builds one burst of 700 samples and writes it, or ends a file that has been played once.
void _SendNextPacket() ZEKA_NEEDS_LOCK;
