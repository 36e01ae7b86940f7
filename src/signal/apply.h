// apply.h (signal) - the apply step: turns the stored parameters into the working values, starts and stops
// the stream.
#pragma once

#include "signal/state.h"

/// The apply step. Not reentrant: a call from code that the step itself runs returns at once.
void _Change() ZEKA_NEEDS_LOCK;

/// Applies now, or near the end of the running period while a function streams.
void _ChangeRequested() ZEKA_NEEDS_LOCK;

/// After every sample, with its time within the period (s): applies a waiting change less than 0.4 ms before
/// the end of the period, below 0.15 Hz at once.
void _CheckIfChangeRequired(double t) ZEKA_NEEDS_LOCK;
