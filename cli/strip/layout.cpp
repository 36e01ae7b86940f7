// layout.cpp - divides a page into rows, lanes and margins, all in whole squares of the grid.
#include "cli/strip/layout.h"

#include "cli/shell/failure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

namespace zeka::cli {
namespace {

constexpr double kA4Width = 297.0;
constexpr double kA4Height = 210.0;
constexpr double kA4Margin = 10.0;
constexpr double kFitMargin = 7.0;
constexpr double kUsualTrace = 250.0;  // 10 s at 25 mm/s; fills A4 together with the calibration pulse
constexpr double kLongestRow = 2000.0; // mm of trace, for a page of its own size
constexpr double kHighestPage = 2000.0;
constexpr double kNarrowestFit = 95.0; // of the grid, so that the text fits
constexpr double kUsualRow = 80.0;     // the gain is chosen for rows no higher than this
constexpr double kPulse = 10.0;        // height of the calibration pulse where 1 mV would be too small
constexpr double kGap = 2.0;           // between the trace and what lies above or below
constexpr double kSlack = 1e-9;
constexpr std::array kGains{10.0, 5.0, 2.0, 1.0, 0.5, 0.2, 0.1, 0.05, 0.02};

double WholeSquares(double mm) { return std::ceil(mm / strip::kSquare - kSlack) * strip::kSquare; }

struct RowShape {
    double above = 0.0;
    double height = 0.0;
    double pulse_mv = 0.0;
};

RowShape ShapeOf(const StripExtent& extent, double gain)
{
    RowShape shape;
    shape.pulse_mv = gain >= 5.0 ? 1.0 : kPulse / gain;
    const double highest = std::max(extent.high_mv, shape.pulse_mv) * gain;
    const double lowest = std::max(-extent.low_mv, 0.0) * gain;
    shape.above = WholeSquares(highest + kGap + strip::kLane);
    shape.height = shape.above + WholeSquares(lowest + kGap + (extent.lower_marks ? strip::kLane : 0.0));
    return shape;
}

double ChooseGain(const StripExtent& extent)
{
    for (const double gain : kGains)
        if (ShapeOf(extent, gain).height <= kUsualRow)
            return gain;
    return kGains.back();
}

double RowSeconds(const StripStyle& style, double seconds)
{
    const bool a4 = style.paper == Paper::kA4;
    const double usual = kUsualTrace / style.speed;
    const double row_seconds = style.rows > 0 ? seconds / style.rows : std::min(usual, a4 ? usual : seconds);
    const double longest = (a4 ? kUsualTrace : kLongestRow) / style.speed;
    if (row_seconds > longest + kSlack)
        throw Failure(Exit::kUsage,
                      fmt::format("--rows {}: a row would take {:.4g} s, and {} mm/s leave room for {:.4g}; "
                                  "give at least {} rows{}",
                                  style.rows, row_seconds, style.speed, longest,
                                  std::ceil(seconds / longest - kSlack), a4 ? ", or --paper fit" : ""));
    return row_seconds;
}

} // namespace

double StripLayout::TraceLeft() const { return left + strip::kCalibration; }

int StripLayout::RowsOn(int page) const { return std::min(rows_per_page, rows - page * rows_per_page); }

StripLayout LayOut(const StripStyle& style, const StripExtent& extent, const TextLines& text)
{
    const bool a4 = style.paper == Paper::kA4;
    const double margin = a4 ? kA4Margin : kFitMargin;
    StripLayout layout;
    layout.row_seconds = RowSeconds(style, extent.seconds);
    layout.rows = static_cast<int>(std::ceil(extent.seconds / layout.row_seconds - kSlack));
    const double trace = WholeSquares(layout.row_seconds * style.speed);
    layout.width =
        strip::kCalibration + (a4 ? kUsualTrace : std::max(trace, kNarrowestFit - strip::kCalibration));
    layout.page_width = a4 ? kA4Width : layout.width + 2.0 * margin;
    layout.left = (layout.page_width - layout.width) / 2.0;

    layout.gain = style.gain > 0.0 ? style.gain : ChooseGain(extent);
    const RowShape shape = ShapeOf(extent, layout.gain);
    layout.above = shape.above;
    layout.row_height = shape.height;
    layout.pulse_mv = shape.pulse_mv;

    // Whole millimetres put the lines of the grid on whole pixels.
    const double head = std::ceil(strip::kTitleSize + text.head(layout.width) * strip::kLineStep + kGap);
    const double foot = std::ceil(text.foot(layout.width) * strip::kLineStep + kGap);
    layout.top = margin + head;
    const double free = (a4 ? kA4Height : kHighestPage) - 2.0 * margin - head - foot;
    layout.rows_per_page = static_cast<int>(free / layout.row_height + kSlack);
    if (layout.rows_per_page < 1)
        throw Failure(
            Exit::kUsage,
            fmt::format("{:.4g} to {:.4g} mV at {} mm/mV need {} mm, the page has {:.0f}; give a lower "
                        "--gain, or leave it out",
                        extent.low_mv, extent.high_mv, layout.gain, layout.row_height, free));
    layout.pages = (layout.rows + layout.rows_per_page - 1) / layout.rows_per_page;
    if (!a4 && layout.pages > 1)
        throw Failure(
            Exit::kUsage,
            fmt::format("{:.4g} s are too long for one page: {:.4g} s at most; give --paper a4 and write a "
                        "PDF, or fewer --seconds",
                        extent.seconds, layout.rows_per_page * layout.row_seconds));
    layout.page_height = a4 ? kA4Height : 2.0 * margin + head + layout.rows * layout.row_height + foot;
    return layout;
}

} // namespace zeka::cli
