// families.h - draws the pictures of the standard test waveforms, one family each,
// from the library's own accessors.
#pragma once

#include <string>

namespace zeka::waveforms {

/// Each function writes its PNG files into the folder. Throws std::runtime_error.
void DrawIec227(const std::string& folder);
void DrawIec251(const std::string& folder);
void DrawAne20000(const std::string& folder);
void DrawIec247(const std::string& folder);

} // namespace zeka::waveforms
