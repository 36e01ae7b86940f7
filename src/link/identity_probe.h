// identity_probe.h (link) - what the search needs from the room above it: is the open port the instrument?
#pragma once

/// Identity exchange with the port that has just been opened; fills the model and hardware information.
bool IsTargetDevice();
