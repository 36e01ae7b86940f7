// strip.h - draws an ECG strip true to scale: grid of 1 mm, calibration pulse, trace, marks, and what it is
// in words. Knows no instrument and no file: one unit of the drawing is one millimetre.
#pragma once

#include "cli/strip_layout.h"

#include <cairo/cairo.h>
#include <string>
#include <vector>

namespace zeka::cli {

enum class TickKind {
    kBeat,   // an R peak: a triangle above the trace
    kPacing, // a pacing pulse: a bar below it
    kApnea   // from its begin to its end: a line below the trace
};

struct Tick {
    TickKind kind = TickKind::kBeat;
    double at_s = 0.0;
    double to_s = 0.0; // of what lasts
};

struct StripChart {
    double rate = 0.0; // samples per second
    std::vector<double> mv;
    double start_s = 0.0;    // of the first sample in the whole signal
    std::vector<Tick> ticks; // since the first sample
    std::string title;
    std::vector<std::string> settings; // below the title
    std::vector<std::string> origin;   // below the grid, behind speed and gain

    [[nodiscard]] double Seconds() const { return static_cast<double>(mv.size()) / rate; }
};

/// A strip with everything in its place. Throws Failure(kUsage) when it does not fit.
class StripDrawing {
public:
    StripDrawing(const StripChart& chart, const StripStyle& style);

    [[nodiscard]] const StripLayout& Layout() const { return layout_; }

    /// Page 0 to Layout().pages - 1, in a context whose unit is the millimetre.
    void Draw(cairo_t* cairo, int page) const;

private:
    void DrawRow(cairo_t* cairo, int row, double top) const;
    void DrawTicks(cairo_t* cairo, int row, double top) const;

    const StripChart& chart_; // the caller's
    StripStyle style_;
    StripLayout layout_;
};

} // namespace zeka::cli
