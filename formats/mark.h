// mark.h - a point of the signal that a reader of a recording wants to find.
#pragma once

#include <cstdint>
#include <string>

namespace zeka::formats {

enum class MarkKind { kRPeak, kQrsOnset, kQrsEnd, kPacing, kApneaBegin, kApneaEnd, kPlayMark };

struct Mark {
    MarkKind kind{};
    std::uint64_t sample = 0;  // of 40000/s, from the first sample on
    double width_ms = 0.0;     // pacing
    double amplitude_mv = 0.0; // pacing: height at its first sample, signed
};

/// "R", "QRS on", "pacing 2.000 ms 5.00 mV", ...
std::string TextOf(const Mark& mark);

} // namespace zeka::formats
