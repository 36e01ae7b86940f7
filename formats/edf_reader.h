// edf_reader.h - EDF, EDF+, BDF and BDF+, read with EDFlib, which checks a file through and through before it
// hands anything out.
#pragma once

#include "formats/recording.h"

#include <string>

namespace zeka::formats {

/// Throws FileError.
Recording ReadEdf(const std::string& path);

} // namespace zeka::formats
