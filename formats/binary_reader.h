// binary_reader.h - recordings in the library's binary format.
#pragma once

#include "formats/recording.h"

#include <string>

namespace zeka::formats {

/// Reads one channel: rate (16 bits), number of values (32 bits), then the values in microvolts (16 bits,
/// signed), all high byte first. Throws FileError, which names `path`.
Recording ReadBinary(const std::string& bytes, const std::string& path);

} // namespace zeka::formats
