// wfdb_reader.h - reads WFDB records: a header (.hea), signals (.dat, format 16 or 212) and annotations
// (.atr), by the public description of the formats.
#pragma once

#include "formats/recording.h"

#include <cstdint>
#include <functional>

namespace zeka::formats {

/// The contents of a signal line of a header.
struct WfdbSignal {
    std::string file;
    int format = 0;
    std::uint64_t offset = 0; // bytes before the samples
    double gain = 0.0;        // counts per unit
    double baseline = 0.0;    // count at 0 units
    std::string unit;
    std::string name;
};

struct WfdbHeader {
    std::string record;
    double rate = 0.0;
    std::uint64_t samples = 0; // of each signal; 0: not given
    std::vector<WfdbSignal> signals;
};

/// These functions take any bytes. Invalid ones throw FileError, whose text begins with `name`.
WfdbHeader ParseWfdbHeader(const std::string& text, const std::string& name);
/// Returns the counts of all signals that share a file, one vector for each.
std::vector<std::vector<std::int16_t>> ParseWfdbSamples(const std::string& bytes, int format,
                                                        std::size_t signals, const std::string& name);
std::vector<Annotation> ParseWfdbAnnotations(const std::string& bytes, double rate, const std::string& name);

/// Returns the contents of the file of that name beside the header; throws FileError where it cannot be read.
using WfdbSource = std::function<std::string(const std::string& file)>;
/// Reads the signals that a header describes.
std::vector<RecordedChannel> ReadWfdbSignals(const WfdbHeader& header, const WfdbSource& source,
                                             const std::string& name);

/// Reads the header, the signal files and, if there is one, the annotation file. Throws FileError.
Recording ReadWfdb(const std::string& header_path);

} // namespace zeka::formats
