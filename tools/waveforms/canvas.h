// canvas.h - a PNG with ECG paper: panels whose grid is true to their scale, traces, titles and axes.
#pragma once

#include <cairo/cairo.h>
#include <memory>
#include <span>
#include <string>

namespace zeka::waveforms {

inline constexpr double kPixelsPerMm = 4.0;

/// How a panel shows its signal: paper speed and gain, and the part of the signal.
struct Scale {
    double mm_per_s;
    double mm_per_mv;
    double from_s;
    double to_s;
    double low_mv;
    double high_mv;

    [[nodiscard]] double Width() const { return (to_s - from_s) * mm_per_s * kPixelsPerMm; }
    [[nodiscard]] double Height() const { return (high_mv - low_mv) * mm_per_mv * kPixelsPerMm; }
};

/// Samples in mV.
struct Trace {
    std::span<const double> millivolts;
    double rate;
};

/// The distances of the labels on the axes.
struct Ticks {
    double s;
    double mv;
};

class Canvas {
public:
    Canvas(double width, double height);

    void Text(double x, double y, const std::string& text, double size = 12.0, bool bold = false);

    /// Draws paper, axes and trace with the upper left corner of the paper at x, y;
    /// `grid` rules it in millimetres.
    void Panel(double x, double y, const Scale& scale, const Trace& trace, const Ticks& ticks,
               bool grid = true);

    /// Draws points joined by lines in a plain frame: x from 0 to `x_end`, y from `low` to `high`.
    struct Frame {
        double x, y, width, height;
        double x_end, low, high;
        std::string x_label, y_label;
        std::string low_label, high_label;
    };
    void Plot(const Frame& frame, std::span<const double> xs, std::span<const double> ys);

    /// Writes the PNG file. Throws std::runtime_error when that fails.
    void Write(const std::string& path) const;

private:
    void Grid(double x, double y, double width, double height);
    void Axes(double x, double y, const Scale& scale, const Ticks& ticks);
    void TextEndingAt(double x, double y, const std::string& text, double size);
    void TextAround(double x, double y, const std::string& text, double size);

    struct Release {
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
        void operator()(cairo_t* context) const { cairo_destroy(context); }
    };
    std::unique_ptr<cairo_surface_t, Release> surface_;
    std::unique_ptr<cairo_t, Release> cairo_;
};

} // namespace zeka::waveforms
