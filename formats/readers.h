// readers.h - reads a recording of any format that is supported: the library's text and binary formats, CSV,
// WFDB, EDF, EDF+, BDF and BDF+.
#pragma once

#include "formats/recording.h"

#include <string>

namespace zeka::formats {

/// Reads the file, whose format follows from its name and its first bytes. Checks everything that
/// the file says: an invalid file ends in a FileError of one line. Texts of the recording are valid
/// UTF-8 without control characters.
Recording ReadRecording(const std::string& path);

} // namespace zeka::formats
