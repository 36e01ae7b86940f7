// file.h - writes a strip as the bytes of a PDF, SVG or PNG file. Its millimetres are those of the paper: in
// the PDF and SVG by their units, in the PNG by its resolution.
#pragma once

#include "cli/strip/drawing.h"

namespace zeka::cli {

enum class StripFormat { kPdf, kSvg, kPng };

/// The format by the suffix of the name. Throws Failure(kUsage) for an unknown one.
StripFormat StripFormatOf(const std::string& path);

/// Throws Failure when there are more pages than the format allows, or more pixels than a picture may have.
std::string FileOf(const StripDrawing& drawing, StripFormat format, double dpi);

} // namespace zeka::cli
