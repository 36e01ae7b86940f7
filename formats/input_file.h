// input_file.h - the bytes of a file, read with a limit.
#pragma once

#include <cstddef>
#include <string>

namespace zeka::formats {

/// Reads the whole file. Throws FileError, also when it is longer than `limit` bytes.
std::string ReadWholeFile(const std::string& path, std::size_t limit);

/// Returns the first bytes of the file, at most `count`; fewer where it is shorter or cannot be read.
std::string ReadHead(const std::string& path, std::size_t count);

} // namespace zeka::formats
