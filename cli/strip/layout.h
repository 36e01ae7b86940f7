// layout.h - positions on an ECG strip, in millimetres from the page's upper left corner. Pure arithmetic,
// for the drawing and the tests.
#pragma once

#include <functional>

namespace zeka::cli {

enum class Paper {
    kA4, // landscape, as many pages as necessary
    kFit // one page, as large as the strip needs
};

struct StripStyle {
    double speed = 25.0; // mm/s
    double gain = 0.0;   // mm/mV; 0: the highest that fits, at most 10
    int rows = 0;        // 0: as many as necessary
    Paper paper = Paper::kA4;
};

/// What must be placed.
struct StripExtent {
    double seconds = 0.0;
    double low_mv = 0.0;
    double high_mv = 0.0;
    bool lower_marks = false; // ticks below the trace
};

/// How many lines a text takes on a page with so many mm free for it.
struct TextLines {
    std::function<int(double width)> head;
    std::function<int(double width)> foot;
};

struct StripLayout {
    double page_width = 0.0;
    double page_height = 0.0;
    double left = 0.0; // of the grid
    double top = 0.0;
    double width = 0.0;       // of the grid, whole multiples of 5 mm
    double row_height = 0.0;  // of a row, in whole multiples of 5 mm
    double above = 0.0;       // from a row's upper edge to 0 mV
    double row_seconds = 0.0; // of signal per row
    double gain = 0.0;        // mm/mV
    double pulse_mv = 0.0;    // height of the calibration pulse
    int rows = 0;
    int rows_per_page = 0;
    int pages = 0;

    [[nodiscard]] double TraceLeft() const;
    [[nodiscard]] int RowsOn(int page) const;
};

/// Sizes that drawing and layout share, mm.
namespace strip {
inline constexpr double kSquare = 5.0;       // between two heavy lines of the grid
inline constexpr double kCalibration = 20.0; // in front of the trace, for the calibration pulse
inline constexpr double kPulseAt = 5.0;      // within kCalibration
inline constexpr double kPulseSeconds = 0.2;
inline constexpr double kLane = 4.0; // for marks above or below the trace
inline constexpr double kTitleSize = 4.2;
inline constexpr double kTextSize = 3.0;
inline constexpr double kLineStep = 4.4;
} // namespace strip

/// Throws Failure(kUsage), which names the limit, when the strip does not fit.
StripLayout LayOut(const StripStyle& style, const StripExtent& extent, const TextLines& text);

} // namespace zeka::cli
