// drawing.h - draws an ECG strip true to scale: grid of 1 mm, calibration pulse, trace, marks and texts.
// Knows no instrument and no file; one unit of the drawing is one millimetre.
#pragma once

#include "cli/strip/chart.h"
#include "cli/strip/layout.h"

#include <cairo/cairo.h>

namespace zeka::cli {

/// Lays the strip out. Throws Failure(kUsage) when it does not fit.
class StripDrawing {
public:
    StripDrawing(const StripChart& chart, const StripStyle& style);

    [[nodiscard]] const StripLayout& Layout() const { return layout_; }

    /// Draws one page, 0 to Layout().pages - 1, in a context whose unit is the millimetre.
    void Draw(cairo_t* cairo, int page) const;

private:
    void DrawRow(cairo_t* cairo, int row, double top) const;
    void DrawTicks(cairo_t* cairo, int row, double top) const;

    const StripChart& chart_; // owned by the caller
    StripStyle style_;
    StripLayout layout_;
};

} // namespace zeka::cli
