// mapping.h (platform) - how long the library's code stays where it is.
#pragma once

namespace zeka {

/// From here on dlclose() leaves this library loaded, until the process ends: a thread that has to be left
/// behind would come back into code that is gone. Not from a destructor of the library: dlclose() has decided
/// by then. Nothing happens where the library is part of the program.
void StayMapped() noexcept;

} // namespace zeka
