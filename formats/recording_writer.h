// recording_writer.h - a recording on its way into a file: samples and marks are taken as they come, so that
// its length does not matter.
#pragma once

#include "formats/mark.h"

#include <cstdint>
#include <span>
#include <string>

namespace zeka::formats {

struct RecordingPlan {
    std::string path; // empty: stdout, not for EDF and WFDB
    std::string title;
    int rate = 40000;   // values a second in the file; 40000 is a whole multiple of it
    std::string filter; // how the values were made from 40000 samples a second; empty: they are them
    double marks_per_second = 0.0; // at most
};

class RecordingWriter {
public:
    RecordingWriter() = default;
    virtual ~RecordingWriter() = default;
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;

    /// The next values of both channels, mV; spans of equal length. Throws FileError.
    virtual void Take(std::span<const double> ac_mv, std::span<const double> dc_mv) = 0;
    /// In the order of time, each at most `kMarkLag` samples of 40000/s after its own has been taken.
    virtual void Note(const Mark& mark) = 0;
    /// Makes the file whole. Throws FileError.
    virtual void End() = 0;

    static constexpr std::uint64_t kMarkLag = 100'000;
};

} // namespace zeka::formats
