// chart.h - the contents of a strip: samples, marks and texts. Data only.
#pragma once

#include <string>
#include <vector>

namespace zeka::cli {

enum class TickKind {
    kBeat,   // an R peak: a triangle above the trace
    kPacing, // a pacing pulse: a bar below it
    kApnea   // from beginning to end: a line below the trace
};

struct Tick {
    TickKind kind = TickKind::kBeat;
    double at_s = 0.0;
    double to_s = 0.0; // end, for a mark that lasts
};

struct StripChart {
    double rate = 0.0; // samples per second
    std::vector<double> mv;
    double start_s = 0.0;    // time of the first sample in the whole signal
    std::vector<Tick> ticks; // times since the first sample
    std::string title;
    std::vector<std::string> settings; // below the title
    std::vector<std::string> origin;   // below the grid, after speed and gain

    [[nodiscard]] double Seconds() const { return static_cast<double>(mv.size()) / rate; }
};

} // namespace zeka::cli
