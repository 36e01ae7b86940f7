// trace.h - a trace as a line to draw. 40000 samples a second are 1600 to the millimetre: what no
// printer could show is left out, peaks and edges never.
#pragma once

#include <span>
#include <vector>

namespace zeka::cli {

struct Point {
    double x, y; // mm, y upwards from 0 mV
};

/// From x = 0 on; no point of the samples is further than 0.02 mm from the line.
std::vector<Point> LineOf(std::span<const double> mv, double mm_per_sample, double mm_per_mv);

} // namespace zeka::cli
