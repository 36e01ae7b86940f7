// mark.cpp - describes a mark in words, the same in every format that has a place for texts.
#include "formats/mark.h"

#include <fmt/format.h>

namespace zeka::formats {

std::string TextOf(const Mark& mark)
{
    switch (mark.kind) {
    case MarkKind::kRPeak:
        return "R";
    case MarkKind::kQrsOnset:
        return "QRS on";
    case MarkKind::kQrsEnd:
        return "QRS off";
    case MarkKind::kPacing:
        return fmt::format("pacing {:.3f} ms {:.2f} mV", mark.width_ms, mark.amplitude_mv);
    case MarkKind::kApneaBegin:
        return "apnea on";
    case MarkKind::kApneaEnd:
        return "apnea off";
    case MarkKind::kPlayMark:
        break;
    }
    return "play";
}

} // namespace zeka::formats
