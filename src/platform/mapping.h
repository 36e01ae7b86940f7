// mapping.h (platform) - keeps the code of the library mapped.
#pragma once

namespace zeka {

/// Keeps the library loaded over dlclose() until the process ends, because a thread that has to be left
/// behind would return into unmapped code. Has no effect where the library is part of the program.
/// REQUIRES: not in a destructor of the library, because dlclose() has decided by then.
void StayMapped() noexcept;

} // namespace zeka
