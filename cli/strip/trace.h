// trace.h - a trace as a line to draw. 40000 samples a second are 1600 per millimetre: what no printer could
// show is left out, but no peak and no edge.
#pragma once

#include <span>
#include <vector>

namespace zeka::cli {

struct Point {
    double x, y; // mm, y upwards from 0 mV
};

/// The line from x = 0 on; no sample is farther than 0.02 mm from it.
std::vector<Point> LineOf(std::span<const double> mv, double mm_per_sample, double mm_per_mv);

} // namespace zeka::cli
