// mark.cpp - see mark.h.
#include "cli/formats/mark.h"

#include <fmt/format.h>

namespace zeka::cli {

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

} // namespace zeka::cli
