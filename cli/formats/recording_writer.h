// recording_writer.h (formats) - a recording on its way into a file: samples and marks as they come, so that
// its length does not matter.
#pragma once

#include "cli/formats/mark.h"

#include <memory>
#include <span>
#include <string>

namespace zeka::cli {

enum class Format { kCsv, kEdf, kWfdb, kFloat, kJsonLines };

struct RecordingPlan {
    std::string path; // empty: stdout, not for EDF and WFDB
    std::string title;
    int rate = 40000;   // values a second in the file; 40000 is a whole multiple of it
    std::string filter; // how the values were made from 40000 samples a second; empty: they are them
    double marks_per_second = 0.0; // at most
};

/// Scale of the formats that keep whole numbers of 16 bits, in counts per mV. An AC count is the instrument's
/// own; DC at +-1000 mV fits.
inline constexpr double kAcCountsPerMv = 6400.0;
inline constexpr double kDcCountsPerMv = 32.0;

class RecordingWriter {
public:
    RecordingWriter() = default;
    virtual ~RecordingWriter() = default;
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;

    /// The next values of both channels, mV; spans of equal length. Throws Failure.
    virtual void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) = 0;
    /// In the order of time, each at most `kMarkLag` samples of 40000/s after its own has been taken.
    virtual void Note(const Mark& mark) = 0;
    /// Makes the file whole. Throws Failure.
    virtual void End() = 0;

    static constexpr std::uint64_t kMarkLag = 100'000;
};

/// Creates the file. Throws Failure.
std::unique_ptr<RecordingWriter> OpenRecording(Format format, const RecordingPlan& plan);

/// From the suffix of the name: .edf, .hea, .dat, .f32, .jsonl; anything else is CSV.
Format FormatOfName(const std::string& path);
/// "csv", "edf", "wfdb", "float", "jsonl"
const char* NameOf(Format format);

} // namespace zeka::cli
