// calibration.h (make_tables) - the IEC 60601-2-51 waveforms from their figures: calibration and ANE20000.
#pragma once

#include "signal/tables/generator/ec13.h"
#include <string>
#include <vector>

namespace zeka::maketables {

/// P or T: a raised cosine.
struct Wave {
    int start_ms, length_ms, height_uv;
};

enum class QrsShape { kRs100, kRs36, kSingle56 };

struct CalibrationFigure {
    std::string name;
    int cycle_ms;
    Wave p, t;
    QrsShape qrs;
    int qrs_start_ms, qrs_height_uv;
    int st_uv;
    Range range_uv;
};

struct LeadFigure {
    std::string name;
    std::vector<Pair> knots;
    Range range_uv;
};

std::vector<CalibrationFigure> ReadCalibrationFigures(std::vector<Section> sections);
std::vector<LeadFigure> ReadLeadFigures(std::vector<Section> sections);

/// The waveforms, one second each. Throws InputError unless each has exactly its
/// figure's range and begins at 0 uV.
std::vector<Waveform> BuildCalibration(const std::vector<CalibrationFigure>& figures);
std::vector<Waveform> BuildLeads(const std::vector<LeadFigure>& figures);

} // namespace zeka::maketables
