// strip_text.cpp - see strip_text.h.
#include "cli/strip_text.h"

#include <memory>

namespace zeka::cli {
namespace {

constexpr double kBetween = 5.0; // two pieces
constexpr double kMarkRoom = 3.4;
constexpr double kMarkAt = 1.2; // in that room
constexpr double kApneaSample = 2.4;

struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
    void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
};

/// Where there is nothing to draw on but something to measure.
class Measure {
public:
    [[nodiscard]] cairo_t* Cairo() const { return cairo_.get(); }

private:
    std::unique_ptr<cairo_surface_t, Destroy> surface_{
        cairo_recording_surface_create(CAIRO_CONTENT_ALPHA, nullptr)};
    std::unique_ptr<cairo_t, Destroy> cairo_{cairo_create(surface_.get())};
};

double WidthOf(cairo_t* cairo, const Piece& piece)
{
    return cli::WidthOf(cairo, piece.text) + (piece.mark ? kMarkRoom : 0.0);
}

void SetPiece(cairo_t* cairo, const Piece& piece, double x, double baseline)
{
    double text_x = x;
    if (piece.mark) {
        const bool lasts = *piece.mark == TickKind::kApnea;
        DrawMark(cairo, *piece.mark, lasts ? x : x + kMarkAt, baseline, lasts ? kApneaSample : 0.0);
        text_x += kMarkRoom;
    }
    SetText(cairo, text_x, baseline, piece.text);
}

} // namespace

void UseColour(cairo_t* cairo, const Colour& colour)
{
    cairo_set_source_rgb(cairo, colour.red, colour.green, colour.blue);
}

void UseFont(cairo_t* cairo, double size, bool bold)
{
    cairo_select_font_face(cairo, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, size);
    const std::unique_ptr<cairo_font_options_t, Destroy> options(cairo_font_options_create());
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_set_font_options(cairo, options.get());
}

double WidthOf(cairo_t* cairo, const std::string& text)
{
    cairo_text_extents_t extents;
    cairo_text_extents(cairo, text.c_str(), &extents);
    return extents.x_advance;
}

void SetText(cairo_t* cairo, double x, double baseline, const std::string& text)
{
    UseColour(cairo, kLettering);
    cairo_move_to(cairo, x, baseline);
    cairo_show_text(cairo, text.c_str());
    cairo_new_path(cairo); // it leaves a current point, from which the next line would begin
}

int SetPieces(cairo_t* cairo, const std::vector<Piece>& pieces, double left, double baseline, double width)
{
    if (pieces.empty())
        return 0;
    const Measure measure;
    cairo_t* const ruler = cairo != nullptr ? cairo : measure.Cairo();
    UseFont(ruler, strip::kTextSize);
    int lines = 1;
    double x = 0.0;
    for (const Piece& piece : pieces) {
        const double wide = WidthOf(ruler, piece);
        if (x > 0.0 && x + wide > width) {
            ++lines;
            x = 0.0;
        }
        if (cairo != nullptr)
            SetPiece(cairo, piece, left + x, baseline + (lines - 1) * strip::kLineStep);
        x += wide + kBetween;
    }
    return lines;
}

void DrawMark(cairo_t* cairo, TickKind kind, double x, double foot, double length)
{
    constexpr double kHeight = 2.2;
    constexpr double kHalf = 0.9;
    switch (kind) {
    case TickKind::kBeat:
        UseColour(cairo, kLettering);
        cairo_move_to(cairo, x, foot);
        cairo_line_to(cairo, x - kHalf, foot - kHeight);
        cairo_line_to(cairo, x + kHalf, foot - kHeight);
        cairo_close_path(cairo);
        cairo_fill(cairo);
        break;
    case TickKind::kPacing:
        UseColour(cairo, kPacingInk);
        cairo_set_line_width(cairo, 0.4);
        cairo_move_to(cairo, x, foot);
        cairo_line_to(cairo, x, foot - kHeight);
        cairo_stroke(cairo);
        break;
    case TickKind::kApnea:
        UseColour(cairo, kApneaInk);
        cairo_set_line_width(cairo, 0.8);
        cairo_move_to(cairo, x, foot - kHeight / 2.0);
        cairo_line_to(cairo, x + length, foot - kHeight / 2.0);
        cairo_stroke(cairo);
        break;
    }
}

} // namespace zeka::cli
