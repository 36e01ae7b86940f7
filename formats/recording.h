// recording.h - a recording from a file, in memory: channels of values, and annotations.
#pragma once

#include <string>
#include <vector>

namespace zeka::formats {

struct RecordedChannel {
    std::string name;
    std::string unit;    // as in the file; empty: none
    double rate = 0.0;   // values per second
    bool voltage = true; // the values are mV; else they are in the file's own unit
    std::vector<double> values;
};

struct Annotation {
    double seconds = 0.0; // since the beginning of the recording
    double duration_s = 0.0;
    std::string text; // WFDB: the annotation's mnemonic, then its text
};

struct Recording {
    std::string format; // "text", "CSV", "binary", "WFDB", "EDF+", "EDF"
    std::vector<RecordedChannel> channels;
    std::vector<Annotation> annotations;
};

/// Finds a channel by its number, counted from 0, or else by its name. Throws
/// FileError that lists the channels.
const RecordedChannel& FindChannel(const Recording& recording, const std::string& channel);

/// The mV of one such unit; 0.0 when the unit is no voltage.
double MillivoltsPer(const std::string& unit);

} // namespace zeka::formats
