// recording_writer.h - writes a recording into a file. It takes samples and marks as they come, so that the
// length of the recording does not matter.
#pragma once

#include "formats/mark.h"

#include <cstdint>
#include <span>
#include <string>

namespace zeka::formats {

struct RecordingPlan {
    std::string path; // empty: stdout, but not for EDF and WFDB
    std::string title;
    int rate = 40000;              // values per second in the file; divides 40000
    std::string filter;            // how the values were made from 40000 samples per second; empty: unchanged
    double marks_per_second = 0.0; // upper limit
};

class RecordingWriter {
public:
    RecordingWriter() = default;
    virtual ~RecordingWriter() = default;
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;

    /// Takes the next values of both channels in mV; spans of equal length. Throws FileError.
    virtual void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) = 0;
    /// Takes a mark. REQUIRES: marks come in the order of time, each at most `kMarkLag` samples (40000/s)
    /// after its own sample was taken.
    virtual void Note(const Mark& mark) = 0;
    /// Completes the file. Throws FileError.
    virtual void End() = 0;

    static constexpr std::uint64_t kMarkLag = 100'000;
};

} // namespace zeka::formats
