// writers.h - makes the writer of each format that is supported.
#pragma once

#include "formats/recording_writer.h"

#include <memory>
#include <string>

namespace zeka::formats {

enum class Format { kCsv, kEdf, kWfdb, kFloat, kJsonLines };

/// Creates the file and returns its writer. Throws FileError.
std::unique_ptr<RecordingWriter> OpenRecording(Format format, const RecordingPlan& plan);

/// The format by the suffix of the name: .edf, .hea, .dat, .f32, .jsonl; anything else is CSV.
Format FormatOfName(const std::string& path);
/// "csv", "edf", "wfdb", "float", "jsonl"
const char* NameOf(Format format);

} // namespace zeka::formats
