// text_reader.h - recordings as text: the library's own formats, and CSV.
#pragma once

#include "formats/recording.h"

#include <string>
#include <string_view>

namespace zeka::formats {

/// Reads the library's text formats: sample rate, number of samples, then a value in mV per line; or with
/// the number of channels, their names and a line of values for each sample. Also reads CSV as "zeka
/// record" and "zeka waveforms export" write it: a line of names, of which the first is "time_s" and those
/// of voltages are "mv" or end in "_mv", then a line per sample at equal distances in time. Throws
/// FileError, which names `path`.
Recording ReadText(std::string_view text, const std::string& path);

} // namespace zeka::formats
