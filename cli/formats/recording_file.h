// recording_file.h (formats) - a recording that somebody made, in memory. Whatever a file says is checked
// before it is believed; a file that is not right ends in a Failure of one line.
#pragma once

#include <string>
#include <vector>

namespace zeka::cli {

struct RecordedChannel {
    std::string name;
    std::string unit;    // as the file has it; empty: none
    double rate = 0.0;   // values a second
    bool voltage = true; // the values are mV; else they are in the file's own unit
    std::vector<double> values;
};

struct Annotation {
    double seconds = 0.0; // since the beginning
    double duration_s = 0.0;
    std::string text; // WFDB: the annotation's mnemonic, then what it says
};

struct RecordingFile {
    std::string format; // "text", "CSV", "binary", "WFDB", "EDF+", "EDF"
    std::vector<RecordedChannel> channels;
    std::vector<Annotation> annotations;
};

/// Told by its name and its first bytes. Throws Failure.
RecordingFile ReadRecording(const std::string& path);

/// By its number, counted from 0, or its name. Throws Failure that lists what there is.
const RecordedChannel& FindChannel(const RecordingFile& recording, const std::string& channel);

/// mV in one of the unit; 0: it is no voltage.
double MillivoltsPer(const std::string& unit);

/// The whole file. Throws Failure, also when it is longer than `limit` bytes.
std::string ReadWholeFile(const std::string& path, std::size_t limit);

} // namespace zeka::cli
