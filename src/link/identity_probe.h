// identity_probe.h (link) - what the search needs from the room above: whether the
// open port is the instrument.
#pragma once

/// Runs the identity exchange with the port that has just been opened. Fills the model and hardware
/// information; false when the port does not answer as the instrument.
bool IsTargetDevice();
