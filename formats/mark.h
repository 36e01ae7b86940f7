// mark.h - a point of the signal that the reader of a recording looks for.
#pragma once

#include <cstdint>
#include <string>

namespace zeka::formats {

enum class MarkKind { kRPeak, kQrsOnset, kQrsEnd, kPacing, kApneaBegin, kApneaEnd, kPlayMark };

struct Mark {
    MarkKind kind{};
    std::uint64_t sample = 0;  // number of the sample at 40000/s, from 0
    double width_ms = 0.0;     // of a pacing pulse
    double amplitude_mv = 0.0; // of a pacing pulse: height at its first sample, signed
};

/// "R", "QRS on", "pacing 2.000 ms 5.00 mV", ...
std::string TextOf(const Mark& mark);

} // namespace zeka::formats
