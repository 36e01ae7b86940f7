// drawing.cpp - draws page by page: the grid, then rows of trace with calibration
// pulse and marks, then the texts.
#include "cli/strip/drawing.h"

#include "cli/strip/trace.h"
#include "cli/strip/words.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace zeka::cli {
namespace {

constexpr Colour kPaperColour{1.0, 0.985, 0.98};
constexpr Colour kFine{0.975, 0.85, 0.84};
constexpr Colour kHeavy{0.90, 0.62, 0.60};
constexpr Colour kInk{0.07, 0.12, 0.28};
constexpr double kTraceWidth = 0.3;
constexpr double kLabelSize = 2.4;

bool Has(const StripChart& chart, TickKind kind)
{
    return std::ranges::any_of(chart.ticks, [&](const Tick& tick) { return tick.kind == kind; });
}

StripExtent ExtentOf(const StripChart& chart)
{
    const auto [low, high] = std::ranges::minmax(chart.mv);
    return {chart.Seconds(), low, high, Has(chart, TickKind::kPacing) || Has(chart, TickKind::kApnea)};
}

std::vector<Piece> Head(const StripChart& chart)
{
    std::vector<Piece> pieces;
    for (const std::string& setting : chart.settings)
        pieces.push_back({setting});
    return pieces;
}

std::vector<Piece> Foot(const StripChart& chart, const StripStyle& style, double gain, int page, int pages)
{
    std::vector<Piece> pieces{{fmt::format("{:g} mm/s", style.speed)}, {fmt::format("{:g} mm/mV", gain)}};
    for (const std::string& word : chart.origin)
        pieces.push_back({word});
    if (Has(chart, TickKind::kBeat))
        pieces.push_back({"R peak", TickKind::kBeat});
    if (Has(chart, TickKind::kPacing))
        pieces.push_back({"pacing pulse", TickKind::kPacing});
    if (Has(chart, TickKind::kApnea))
        pieces.push_back({"apnea", TickKind::kApnea});
    if (pages > 1)
        pieces.push_back({fmt::format("page {} of {}", page + 1, pages)});
    return pieces;
}

void Lines(cairo_t* cairo, const StripLayout& layout, double height, bool heavy)
{
    const int step = heavy ? static_cast<int>(strip::kSquare) : 1;
    for (int mm = 0; mm <= std::lround(layout.width); mm += step) {
        cairo_move_to(cairo, layout.left + mm, layout.top);
        cairo_line_to(cairo, layout.left + mm, layout.top + height);
    }
    for (int mm = 0; mm <= std::lround(height); mm += step) {
        cairo_move_to(cairo, layout.left, layout.top + mm);
        cairo_line_to(cairo, layout.left + layout.width, layout.top + mm);
    }
    UseColour(cairo, heavy ? kHeavy : kFine);
    cairo_set_line_width(cairo, heavy ? 0.16 : 0.1);
    cairo_stroke(cairo);
}

void Grid(cairo_t* cairo, const StripLayout& layout, double height)
{
    UseColour(cairo, kPaperColour);
    cairo_rectangle(cairo, layout.left, layout.top, layout.width, height);
    cairo_fill(cairo);
    cairo_set_line_cap(cairo, CAIRO_LINE_CAP_BUTT);
    Lines(cairo, layout, height, false);
    Lines(cairo, layout, height, true);
}

void Ink(cairo_t* cairo)
{
    UseColour(cairo, kInk);
    cairo_set_line_width(cairo, kTraceWidth);
    cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(cairo);
}

/// Draws a text on a patch of plain paper, so that it is legible on the grid.
void Label(cairo_t* cairo, double x, double baseline, const std::string& text)
{
    UseFont(cairo, kLabelSize);
    UseColour(cairo, kPaperColour);
    constexpr double kRoom = 0.4;
    constexpr double kCapital = 0.73; // height of a capital, as a share of the font's size
    const double height = kLabelSize * kCapital + 2.0 * kRoom;
    cairo_rectangle(cairo, x - kRoom, baseline + kRoom - height, WidthOf(cairo, text) + 2.0 * kRoom, height);
    cairo_fill(cairo);
    SetText(cairo, x, baseline, text);
}

void CalibrationPulse(cairo_t* cairo, const StripLayout& layout, double zero, double speed)
{
    const double from = layout.left + strip::kPulseAt;
    const double to = from + strip::kPulseSeconds * speed;
    const double high = zero - layout.pulse_mv * layout.gain;
    cairo_move_to(cairo, from - 2.0, zero);
    cairo_line_to(cairo, from, zero);
    cairo_line_to(cairo, from, high);
    cairo_line_to(cairo, to, high);
    cairo_line_to(cairo, to, zero);
    cairo_line_to(cairo, to + 2.0, zero);
    Ink(cairo);
    Label(cairo, from - 2.0, zero + kLabelSize + 0.9, fmt::format("{:g} mV", layout.pulse_mv));
}

} // namespace

StripDrawing::StripDrawing(const StripChart& chart, const StripStyle& style) : chart_(chart), style_(style)
{
    constexpr int kMany = 99; // pages: the text that decides on their number must not depend on it
    const TextLines text{[&](double width) { return SetPieces(nullptr, Head(chart), 0.0, 0.0, width); },
                         [&](double width) {
                             return SetPieces(nullptr, Foot(chart, style, 0.05, kMany - 1, kMany), 0.0, 0.0,
                                              width);
                         }};
    layout_ = LayOut(style, ExtentOf(chart), text);
}

void StripDrawing::Draw(cairo_t* cairo, int page) const
{
    cairo_set_source_rgb(cairo, 1.0, 1.0, 1.0);
    cairo_paint(cairo);
    const int rows = layout_.RowsOn(page);
    const double height = rows * layout_.row_height;
    Grid(cairo, layout_, height);

    const std::vector<Piece> head = Head(chart_);
    const int lines = SetPieces(nullptr, head, 0.0, 0.0, layout_.width);
    const double first = layout_.top - 2.0 - (lines - 1) * strip::kLineStep;
    SetPieces(cairo, head, layout_.left, first, layout_.width);
    UseFont(cairo, strip::kTitleSize, true);
    if (const double wide = WidthOf(cairo, chart_.title); wide > layout_.width)
        UseFont(cairo, strip::kTitleSize * layout_.width / wide, true);
    SetText(cairo, layout_.left, lines == 0 ? layout_.top - 2.5 : first - strip::kLineStep - 0.4,
            chart_.title);
    SetPieces(cairo, Foot(chart_, style_, layout_.gain, page, layout_.pages), layout_.left,
              layout_.top + height + strip::kLineStep, layout_.width);

    for (int i = 0; i < rows; ++i)
        DrawRow(cairo, page * layout_.rows_per_page + i, layout_.top + i * layout_.row_height);
}

void StripDrawing::DrawRow(cairo_t* cairo, int row, double top) const
{
    const double zero = top + layout_.above;
    CalibrationPulse(cairo, layout_, zero, style_.speed);
    if (layout_.rows > 1 || chart_.start_s > 0.0)
        Label(cairo, layout_.left + 1.0, top + kLabelSize + 0.6,
              fmt::format("{:.6g} s", chart_.start_s + row * layout_.row_seconds));

    const double samples = layout_.row_seconds * chart_.rate;
    const auto at = [&](int number) {
        return std::min(chart_.mv.size(), static_cast<std::size_t>(std::llround(number * samples)));
    };
    const std::span<const double> part(chart_.mv.begin() + static_cast<std::ptrdiff_t>(at(row)),
                                       chart_.mv.begin() + static_cast<std::ptrdiff_t>(at(row + 1)));
    for (const Point& point : LineOf(part, style_.speed / chart_.rate, layout_.gain))
        cairo_line_to(cairo, layout_.TraceLeft() + point.x, zero - point.y);
    Ink(cairo);
    DrawTicks(cairo, row, top);
}

void StripDrawing::DrawTicks(cairo_t* cairo, int row, double top) const
{
    const double from = row * layout_.row_seconds;
    const double to = std::min(from + layout_.row_seconds, chart_.Seconds());
    const auto x = [&](double s) { return layout_.TraceLeft() + (s - from) * style_.speed; };
    const double upper = top + strip::kLane - 0.8;
    const double lower = top + layout_.row_height - 0.9;
    for (const Tick& tick : chart_.ticks) {
        if (tick.kind == TickKind::kApnea) {
            const double begin = std::max(tick.at_s, from);
            const double end = std::min(tick.to_s, to);
            if (begin < end)
                DrawMark(cairo, tick.kind, x(begin), lower, (end - begin) * style_.speed);
        } else if (tick.at_s >= from && tick.at_s < to) {
            DrawMark(cairo, tick.kind, x(tick.at_s), tick.kind == TickKind::kBeat ? upper : lower);
        }
    }
}

} // namespace zeka::cli
