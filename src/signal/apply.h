// apply.h (signal) - the apply step: derives the working values from the stored parameters,
// starts and stops the stream.
#pragma once

#include "signal/state.h"

/// The apply step. Not reentrant: a call from code that the step runs returns at once; where a function
/// streams, the change then takes effect at the end of the running period.
void _Change() ZEKA_NEEDS_LOCK;

/// Applies the change at the end of the running period while a function streams, else now.
void _ChangeRequested() ZEKA_NEEDS_LOCK;

/// Called after every sample with its time within the period (s): applies a waiting change when less than 0.4
/// ms of the period is left, with a frequency below 0.15 Hz at once.
void _CheckIfChangeRequired(double t) ZEKA_NEEDS_LOCK;
