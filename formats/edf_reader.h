// edf_reader.h - reads EDF, EDF+, BDF and BDF+ with EDFlib, which checks the whole
// file before it returns any of it.
#pragma once

#include "formats/recording.h"

#include <string>

namespace zeka::formats {

/// Reads the file. Throws FileError.
Recording ReadEdf(const std::string& path);

} // namespace zeka::formats
