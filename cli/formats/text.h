// text.h (formats) - recordings as text.
#pragma once

#include "cli/formats/recording_file.h"

#include <string>
#include <string_view>

namespace zeka::cli {

/// The library's text formats: sample rate, number of samples, then a value in mV a line; or with the number
/// of channels and their names, and a line of values for each sample. Or CSV as "zeka record" and "zeka
/// waveforms export" write it: names, the first "time_s", those of voltages "mv" or with "_mv" behind them,
/// then a line a sample at even distances in time. Throws Failure, which names `path`.
RecordingFile ReadText(std::string_view text, const std::string& path);

} // namespace zeka::cli
