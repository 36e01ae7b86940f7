// words.h - the texts and the marks on a strip. A text is a sequence of pieces that continues on the next
// line where the page ends; a piece may show the mark that it explains. All lengths in mm.
#pragma once

#include "cli/strip/chart.h"

#include <cairo/cairo.h>
#include <optional>
#include <string>
#include <vector>

namespace zeka::cli {

struct Colour {
    double red, green, blue;
};
inline constexpr Colour kLettering{0.15, 0.15, 0.15};
inline constexpr Colour kPacingInk{0.0, 0.35, 0.85};
inline constexpr Colour kApneaInk{0.0, 0.5, 0.3};

struct Piece {
    std::string text;
    std::optional<TickKind> mark = {}; // drawn in front of the text
};

void UseColour(cairo_t* cairo, const Colour& colour);

/// Selects the font. Its metrics do not depend on the resolution: a text is as long on paper as on a screen.
void UseFont(cairo_t* cairo, double size, bool bold = false);

double WidthOf(cairo_t* cairo, const std::string& text);
void SetText(cairo_t* cairo, double x, double baseline, const std::string& text);

/// Sets the pieces from (left, baseline) on; returns the number of lines. With a null context it only counts.
int SetPieces(cairo_t* cairo, const std::vector<Piece>& pieces, double left, double baseline, double width);

/// Draws a triangle on its tip, a bar, or a line of that length; `foot` is the lower end of its lane.
void DrawMark(cairo_t* cairo, TickKind kind, double x, double foot, double length = 0.0);

} // namespace zeka::cli
