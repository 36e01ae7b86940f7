// words.cpp - sets text into lines, piece by piece, and draws the marks.
#include "cli/strip/words.h"

#include "cli/strip/layout.h"

#include <algorithm>
#include <memory>
#include <string_view>

namespace zeka::cli {
namespace {

constexpr double kBetween = 5.0; // between two pieces
constexpr double kMarkRoom = 3.4;
constexpr double kMarkAt = 1.2; // in kMarkRoom
constexpr double kApneaSample = 2.4;

struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
    void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
};

/// A surface for measuring where there is none to draw on.
class Measure {
public:
    [[nodiscard]] cairo_t* Cairo() const { return cairo_.get(); }

private:
    std::unique_ptr<cairo_surface_t, Destroy> surface_{
        cairo_recording_surface_create(CAIRO_CONTENT_ALPHA, nullptr)};
    std::unique_ptr<cairo_t, Destroy> cairo_{cairo_create(surface_.get())};
};

/// The bytes of a well-formed UTF-8 character at the beginning of the text; 0 where there is none.
std::size_t CharacterLength(std::string_view text)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80                    ? 1
                               : first >= 0xC2 && first < 0xE0 ? 2
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xF0 && first < 0xF5 ? 4
                                                               : 0;
    if (length == 0 || length > text.size())
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    const bool unlikely = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0) ||
                          (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90);
    return unlikely ? 0 : length; // overlong, a surrogate, or beyond the last character
}

/// Cairo takes UTF-8 only; labels in recordings are often Latin-1, whose bytes are the code points.
std::string Utf8(std::string_view text)
{
    std::string valid;
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        if (length > 0) {
            valid += text.substr(0, length);
        } else {
            const auto byte = static_cast<unsigned char>(text.front());
            valid += static_cast<char>(0xC0 | byte >> 6);
            valid += static_cast<char>(0x80 | (byte & 0x3F));
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}

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
    cairo_text_extents(cairo, Utf8(text).c_str(), &extents);
    return extents.x_advance;
}

void SetText(cairo_t* cairo, double x, double baseline, const std::string& text)
{
    UseColour(cairo, kLettering);
    cairo_move_to(cairo, x, baseline);
    cairo_show_text(cairo, Utf8(text).c_str());
    cairo_new_path(cairo); // otherwise the next line would begin at a point that the text left
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
