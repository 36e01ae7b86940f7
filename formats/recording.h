// recording.h - a recording that somebody made, in memory: channels of values, and annotations.
#pragma once

#include <string>
#include <vector>

namespace zeka::formats {

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

struct Recording {
    std::string format; // "text", "CSV", "binary", "WFDB", "EDF+", "EDF"
    std::vector<RecordedChannel> channels;
    std::vector<Annotation> annotations;
};

/// The channel of that number, counted from 0, or else of that name. Throws FileError that lists what there
/// is.
const RecordedChannel& FindChannel(const Recording& recording, const std::string& channel);

/// Millivolts in one of the unit; 0.0 when the unit is no voltage.
double MillivoltsPer(const std::string& unit);

} // namespace zeka::formats
