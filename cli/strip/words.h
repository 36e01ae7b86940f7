// words.h - the words and the marks on a strip. A text is pieces, set one behind the other, that go on
// in the next line where the page ends; a piece may show the mark that it explains. Millimetres throughout.
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
    std::optional<TickKind> mark = {}; // drawn in front of it
};

void UseColour(cairo_t* cairo, const Colour& colour);

/// One font, and nothing that depends on the resolution: a text is as long on paper as on a screen.
void UseFont(cairo_t* cairo, double size, bool bold = false);

double WidthOf(cairo_t* cairo, const std::string& text);
void SetText(cairo_t* cairo, double x, double baseline, const std::string& text);

/// From (left, baseline) on; answers the number of lines. With a null context it only counts.
int SetPieces(cairo_t* cairo, const std::vector<Piece>& pieces, double left, double baseline, double width);

/// A triangle on its tip, a bar, or a line of that length; `foot` is the lower end of the lane that it stands
/// in.
void DrawMark(cairo_t* cairo, TickKind kind, double x, double foot, double length = 0.0);

} // namespace zeka::cli
