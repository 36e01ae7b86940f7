// file.cpp - draws the pages of a strip on Cairo's PDF, SVG and PNG surfaces in memory, so that a
// failure leaves no file behind.
#include "cli/strip/file.h"

#include "cli/shell/failure.h"

#include <cairo/cairo-pdf.h>
#include <cairo/cairo-svg.h>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <string_view>

namespace zeka::cli {
namespace {

constexpr double kMmPerInch = 25.4;
constexpr double kPointsPerInch = 72.0;
constexpr double kMostPixels = 30000.0; // per side; Cairo allows 32767
constexpr double kMostOfAll = 100.0e6;  // pixels of 4 bytes

struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
};
using Surface = std::unique_ptr<cairo_surface_t, Destroy>;
using Pen = std::unique_ptr<cairo_t, Destroy>;

/// Cairo's write function; `bytes` is a std::string.
cairo_status_t Append(void* bytes, const unsigned char* data, unsigned count)
try {
    static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), count);
    return CAIRO_STATUS_SUCCESS;
} catch (const std::bad_alloc&) {
    return CAIRO_STATUS_NO_MEMORY;
}

void Check(cairo_status_t status)
{
    if (status != CAIRO_STATUS_SUCCESS)
        throw Failure(Exit::kCheckFailed, fmt::format("the strip cannot be drawn: {}; give fewer --seconds",
                                                      cairo_status_to_string(status)));
}

void DrawPages(const StripDrawing& drawing, cairo_surface_t* surface, double unit, double shift)
{
    const Pen pen(cairo_create(surface));
    cairo_translate(pen.get(), shift, shift);
    if (unit != 1.0) // an SVG without a scale has plain millimetres in all its paths
        cairo_scale(pen.get(), unit, unit);
    for (int page = 0; page < drawing.Layout().pages; ++page) {
        drawing.Draw(pen.get(), page);
        cairo_show_page(pen.get());
    }
    Check(cairo_status(pen.get()));
}

std::string Pdf(const StripDrawing& drawing)
{
    constexpr double kUnit = kPointsPerInch / kMmPerInch;
    const StripLayout& layout = drawing.Layout();
    std::string bytes;
    const Surface surface(cairo_pdf_surface_create_for_stream(&Append, &bytes, layout.page_width * kUnit,
                                                              layout.page_height * kUnit));
    DrawPages(drawing, surface.get(), kUnit, 0.0);
    cairo_surface_finish(surface.get());
    Check(cairo_surface_status(surface.get()));
    return bytes;
}

std::string Svg(const StripDrawing& drawing)
{
    const StripLayout& layout = drawing.Layout();
    std::string bytes;
    const Surface surface(
        cairo_svg_surface_create_for_stream(&Append, &bytes, layout.page_width, layout.page_height));
    cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_MM);
    DrawPages(drawing, surface.get(), 1.0, 0.0);
    cairo_surface_finish(surface.get());
    Check(cairo_surface_status(surface.get()));
    return bytes;
}

std::string BigEndian(std::uint32_t value)
{
    std::string bytes;
    for (const int shift : {24, 16, 8, 0})
        bytes.push_back(static_cast<char>(value >> shift & 0xFF));
    return bytes;
}

/// The checksum of PNG: the reflected polynomial 0xEDB88320 over type and data of a chunk.
std::uint32_t Crc32(std::string_view bytes)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
    }
    return ~crc;
}

/// Adds the resolution, because Cairo's PNG does not give its size on paper.
void InsertResolution(std::string& png, double dpi)
{
    constexpr std::size_t kBehindHeader = 8 + 4 + 4 + 13 + 4; // signature; length, type, data and CRC of IHDR
    constexpr double kInchesPerMetre = 1000.0 / kMmPerInch;
    const std::string per_metre = BigEndian(static_cast<std::uint32_t>(std::lround(dpi * kInchesPerMetre)));
    const std::string chunk = "pHYs" + per_metre + per_metre + '\1'; // 1: the unit is the metre
    png.insert(kBehindHeader,
               BigEndian(static_cast<std::uint32_t>(chunk.size() - 4)) + chunk + BigEndian(Crc32(chunk)));
}

std::string Png(const StripDrawing& drawing, double dpi)
{
    const double unit = dpi / kMmPerInch;
    const StripLayout& layout = drawing.Layout();
    const double width = std::ceil(layout.page_width * unit);
    const double height = std::ceil(layout.page_height * unit);
    if (std::max(width, height) > kMostPixels || width * height > kMostOfAll)
        throw Failure(Exit::kUsage,
                      fmt::format("{} x {} pixels are too many for a PNG ({} a side, {:.0f} million in "
                                  "all); give a lower --dpi, or write a PDF or SVG",
                                  width, height, kMostPixels, kMostOfAll / 1e6));
    const Surface surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width), static_cast<int>(height)));
    DrawPages(drawing, surface.get(), unit, 0.5); // puts a grid line in the middle of its pixel
    std::string bytes;
    Check(cairo_surface_write_to_png_stream(surface.get(), &Append, &bytes));
    InsertResolution(bytes, dpi);
    return bytes;
}

} // namespace

StripFormat StripFormatOf(const std::string& path)
{
    for (const auto& [ending, format] :
         {std::pair{".pdf", StripFormat::kPdf}, {".svg", StripFormat::kSvg}, {".png", StripFormat::kPng}})
        if (path.ends_with(ending))
            return format;
    throw Failure(Exit::kUsage,
                  fmt::format("--output {}: its ending says nothing; name a file that ends with .pdf, "
                              ".svg or .png",
                              path));
}

std::string FileOf(const StripDrawing& drawing, StripFormat format, double dpi)
{
    if (format != StripFormat::kPdf && drawing.Layout().pages > 1)
        throw Failure(Exit::kUsage,
                      fmt::format("the strip takes {} pages, and only a PDF has more than one; write a "
                                  "PDF, give fewer --seconds, or --paper fit",
                                  drawing.Layout().pages));
    switch (format) {
    case StripFormat::kSvg:
        return Svg(drawing);
    case StripFormat::kPng:
        return Png(drawing, dpi);
    case StripFormat::kPdf:
        break;
    }
    return Pdf(drawing);
}

} // namespace zeka::cli
