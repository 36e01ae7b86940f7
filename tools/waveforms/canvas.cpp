// canvas.cpp - draws grid, traces and texts with Cairo into a PNG file.
#include "tools/waveforms/canvas.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace zeka::waveforms {
namespace {

struct Colour {
    double red, green, blue;
};
constexpr Colour kPaper{1.0, 0.985, 0.98};
constexpr Colour kFine{0.985, 0.89, 0.88};
constexpr Colour kCoarse{0.94, 0.72, 0.70};
constexpr Colour kInk{0.07, 0.12, 0.28};
constexpr Colour kLettering{0.15, 0.15, 0.15};
constexpr double kLabelSize = 10.5;

void Use(cairo_t* cairo, Colour colour)
{
    cairo_set_source_rgb(cairo, colour.red, colour.green, colour.blue);
}

std::string Label(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", std::abs(value) < 1e-9 ? 0.0 : value);
    return text;
}

} // namespace

Canvas::Canvas(double width, double height)
    : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(std::ceil(width)),
                                          static_cast<int>(std::ceil(height)))),
      cairo_(cairo_create(surface_.get()))
{
    cairo_set_source_rgb(cairo_.get(), 1.0, 1.0, 1.0);
    cairo_paint(cairo_.get());
}

void Canvas::Text(double x, double y, const std::string& text, double size, bool bold)
{
    cairo_t* c = cairo_.get();
    cairo_select_font_face(c, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(c, size);
    Use(c, kLettering);
    cairo_move_to(c, x, y);
    cairo_show_text(c, text.c_str());
}

void Canvas::TextEndingAt(double x, double y, const std::string& text, double size)
{
    cairo_set_font_size(cairo_.get(), size);
    cairo_text_extents_t extents;
    cairo_text_extents(cairo_.get(), text.c_str(), &extents);
    Text(x - extents.x_advance, y + size * 0.36, text, size);
}

void Canvas::TextAround(double x, double y, const std::string& text, double size)
{
    cairo_set_font_size(cairo_.get(), size);
    cairo_text_extents_t extents;
    cairo_text_extents(cairo_.get(), text.c_str(), &extents);
    Text(x - extents.x_advance / 2.0, y, text, size);
}

void Canvas::Grid(double x, double y, double width, double height)
{
    cairo_t* c = cairo_.get();
    cairo_set_antialias(c, CAIRO_ANTIALIAS_NONE);
    cairo_set_line_width(c, 1.0);
    constexpr int kCoarseMm = 5;
    for (const bool coarse : {false, true}) {
        Use(c, coarse ? kCoarse : kFine);
        for (int mm = 0; mm * kPixelsPerMm <= width + 0.5; mm += coarse ? kCoarseMm : 1) {
            cairo_move_to(c, x + mm * kPixelsPerMm + 0.5, y);
            cairo_rel_line_to(c, 0.0, height);
        }
        for (int mm = 0; mm * kPixelsPerMm <= height + 0.5; mm += coarse ? kCoarseMm : 1) {
            cairo_move_to(c, x, y + mm * kPixelsPerMm + 0.5);
            cairo_rel_line_to(c, width, 0.0);
        }
        cairo_stroke(c);
    }
    cairo_set_antialias(c, CAIRO_ANTIALIAS_DEFAULT);
}

void Canvas::Axes(double x, double y, const Scale& scale, const Ticks& ticks)
{
    constexpr double kSlack = 1e-9;
    constexpr double kGap = 5.0;
    const double bottom = y + scale.Height();
    for (double t = std::ceil(scale.from_s / ticks.s - kSlack) * ticks.s; t <= scale.to_s + kSlack;
         t += ticks.s)
        TextAround(x + (t - scale.from_s) * scale.mm_per_s * kPixelsPerMm, bottom + kLabelSize + kGap,
                   Label(t) + (t + ticks.s > scale.to_s + kSlack ? " s" : ""), kLabelSize);
    for (double v = std::ceil(scale.low_mv / ticks.mv - kSlack) * ticks.mv; v <= scale.high_mv + kSlack;
         v += ticks.mv)
        TextEndingAt(x - kGap, bottom - (v - scale.low_mv) * scale.mm_per_mv * kPixelsPerMm,
                     Label(v) + (v + ticks.mv > scale.high_mv + kSlack ? " mV" : ""), kLabelSize);
}

void Canvas::Panel(double x, double y, const Scale& scale, const Trace& trace, const Ticks& ticks, bool grid)
{
    cairo_t* c = cairo_.get();
    Use(c, kPaper);
    cairo_rectangle(c, x, y, scale.Width(), scale.Height());
    cairo_fill(c);
    if (grid) {
        Grid(x, y, scale.Width(), scale.Height());
    } else {
        Use(c, kCoarse);
        cairo_set_line_width(c, 1.0);
        cairo_rectangle(c, x + 0.5, y + 0.5, scale.Width(), scale.Height());
        cairo_stroke(c);
    }
    Axes(x, y, scale, ticks);

    cairo_save(c);
    cairo_rectangle(c, x, y, scale.Width(), scale.Height());
    cairo_clip(c);
    const auto first = static_cast<std::size_t>(std::max(0.0, std::floor(scale.from_s * trace.rate)));
    const auto last =
        std::min(trace.millivolts.size(), static_cast<std::size_t>(std::ceil(scale.to_s * trace.rate)) + 1);
    for (std::size_t i = first; i < last; ++i)
        cairo_line_to(
            c, x + (static_cast<double>(i) / trace.rate - scale.from_s) * scale.mm_per_s * kPixelsPerMm,
            y + (scale.high_mv - trace.millivolts[i]) * scale.mm_per_mv * kPixelsPerMm);
    Use(c, kInk);
    cairo_set_line_width(c, grid ? 1.4 : 0.7);
    cairo_set_line_join(c, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(c);
    cairo_restore(c);
}

void Canvas::Plot(const Frame& frame, std::span<const double> xs, std::span<const double> ys)
{
    cairo_t* c = cairo_.get();
    Use(c, kPaper);
    cairo_rectangle(c, frame.x, frame.y, frame.width, frame.height);
    cairo_fill_preserve(c);
    Use(c, kCoarse);
    cairo_set_line_width(c, 1.0);
    cairo_stroke(c);
    for (std::size_t i = 0; i < xs.size(); ++i)
        cairo_line_to(c, frame.x + xs[i] / frame.x_end * frame.width,
                      frame.y + (frame.high - ys[i]) / (frame.high - frame.low) * frame.height);
    Use(c, kInk);
    cairo_set_line_width(c, 1.2);
    cairo_stroke(c);
    constexpr double kGap = 5.0;
    const double below = frame.y + frame.height + kLabelSize + kGap;
    TextAround(frame.x, below, "0", kLabelSize);
    TextAround(frame.x + frame.width, below, frame.x_label, kLabelSize);
    TextEndingAt(frame.x - kGap, frame.y + 4.0, frame.high_label, kLabelSize);
    TextEndingAt(frame.x - kGap, frame.y + frame.height - 4.0, frame.low_label, kLabelSize);
    Text(frame.x, frame.y - kGap, frame.y_label, kLabelSize);
}

void Canvas::Write(const std::string& path) const
{
    const cairo_status_t status = cairo_surface_write_to_png(surface_.get(), path.c_str());
    if (status != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error(path + ": " + cairo_status_to_string(status));
}

} // namespace zeka::waveforms
