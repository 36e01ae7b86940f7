// text_reader.h - recordings as text: the library's own formats, and CSV.
#pragma once

#include "formats/recording.h"

#include <string>
#include <string_view>

namespace zeka::formats {

/// The library's text formats: sample rate, number of samples, then a value in mV a line; or with the number
/// of channels and their names, and a line of values for each sample. Or CSV as "zeka record" and "zeka
/// waveforms export" write it: names, the first "time_s", those of voltages "mv" or with "_mv" behind them,
/// then a line a sample at even distances in time. Throws FileError, which names `path`.
Recording ReadText(std::string_view text, const std::string& path);

} // namespace zeka::formats
