// readers.h - a recording out of a file of any format that is read here: the library's text and binary
// formats, CSV, WFDB, EDF, EDF+, BDF and BDF+.
#pragma once

#include "formats/recording.h"

#include <string>

namespace zeka::formats {

/// Reads the file; its name and its first bytes tell the format. Nothing that the file says is believed
/// unchecked: a file that is not right ends in a FileError of one line. Texts of the recording hold no
/// control characters and are valid UTF-8.
Recording ReadRecording(const std::string& path);

} // namespace zeka::formats
