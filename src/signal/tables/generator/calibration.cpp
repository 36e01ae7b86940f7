// calibration.cpp - pieces of the calibration waveforms, and the leads of ANE20000 along their knots. Inside
// a piece the published samples are the start value plus the increment truncated toward zero, so the integer
// divisions and the casts here are part of the waveform.
#include "signal/tables/generator/calibration.h"

#include "signal/tables/generator/pchip.h"
#include "signal/tables/tables.h"
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <numbers>
#include <span>

namespace zeka::maketables {
namespace {
constexpr int kSecond = static_cast<int>(wave251::kSlots); // samples, 1 ms each
constexpr int kMaxUv = 1000000;                            // all heights in these figures are below a volt

int Truncated(double x) { return static_cast<int>(x); }

/// A straight piece ends at sample j (after the start of the QRS) on this level.
struct Corner {
    int j, uv;
};

/// The value at sample j along straight pieces; the first piece begins at the first corner.
int Along(std::span<const Corner> corners, int j)
{
    std::size_t end = 1;
    while (end + 1 < corners.size() && j > corners[end].j)
        ++end;
    const Corner& a = corners[end - 1];
    const Corner& b = corners[end];
    return a.uv + Truncated(static_cast<double>(b.uv - a.uv) * (j - a.j) / (b.j - a.j));
}

/// The first and last 7 ms of every QRS: a parabola that touches the level it comes from, `reach` uV high.
int Foot(double reach, int distance) { return Truncated(reach * distance * distance / 49); }

int Rs100(int j, int height)
{
    const int q = 9 * height / 100;
    const int h = 9 * height / 10;
    if (j < 7)
        return Foot(0.09 * height, j);
    if (j > 93)
        return -Foot(0.09 * height, 100 - j);
    const std::array<Corner, 10> corners{{{7, q},
                                          {16, h},
                                          {24, height},
                                          {32, height},
                                          {40, h},
                                          {60, -h},
                                          {68, -height},
                                          {76, -height},
                                          {84, -h},
                                          {93, -q}}};
    return Along(corners, j);
}

int Rs36(int j, int height)
{
    if (j > 18) // the second half mirrors the first
        return -Rs36(36 - j, height);
    if (j < 7)
        return Foot(0.45 * height, j);
    const int h = 9 * height / 10;
    const std::array<Corner, 6> corners{
        {{7, 45 * height / 100}, {8, h}, {10, height}, {14, height}, {16, h}, {20, -h}}};
    return Along(corners, j);
}

int Single56(int j, int height, int st)
{
    const int h = Truncated(0.9 * height);
    const int landing = static_cast<int>(std::lround(0.09 * height + 0.9 * st));
    if (j < 7)
        return Foot(0.09 * height, j);
    if (j > 49)
        return st + Foot(landing - st, 56 - j);
    const std::array<Corner, 6> corners{
        {{7, Truncated(0.09 * height)}, {16, h}, {24, height}, {32, height}, {40, h}, {49, landing}}};
    return Along(corners, j);
}

int QrsLength(QrsShape shape)
{
    switch (shape) {
    case QrsShape::kRs100:
        return 100;
    case QrsShape::kRs36:
        return 36;
    case QrsShape::kSingle56:
        return 56;
    }
    return 0;
}

int QrsAt(const CalibrationFigure& figure, int j)
{
    switch (figure.qrs) {
    case QrsShape::kRs100:
        return Rs100(j, figure.qrs_height_uv);
    case QrsShape::kRs36:
        return Rs36(j, figure.qrs_height_uv);
    case QrsShape::kSingle56:
        return Single56(j, figure.qrs_height_uv, figure.st_uv);
    }
    return 0;
}

double RaisedCosine(double u) { return 0.5 - 0.5 * std::cos(2 * std::numbers::pi * u); }

/// Where k lies in a wave: 0 at its first sample, 1 at its last.
double Within(const Wave& wave, int k) { return static_cast<double>(k - wave.start_ms) / wave.length_ms; }

int SampleAt(const CalibrationFigure& figure, int k)
{
    const int qrs_end = figure.qrs_start_ms + QrsLength(figure.qrs);
    if (const double u = Within(figure.p, k); u > 0 && u < 1)
        return Truncated(figure.p.height_uv * RaisedCosine(u));
    if (k < figure.qrs_start_ms)
        return 0;
    if (k <= qrs_end)
        return QrsAt(figure, k - figure.qrs_start_ms);
    const double u = Within(figure.t, k);
    if (u <= 0)
        return figure.st_uv;
    if (u < 0.5) // rises from the ST level, falls to the baseline
        return figure.st_uv + Truncated((figure.t.height_uv - figure.st_uv) * RaisedCosine(u));
    return u < 1 ? Truncated(figure.t.height_uv * RaisedCosine(u)) : 0;
}

Wave ReadWave(Section& section, std::string_view name)
{
    const std::vector<int> values = section.Ints(name, 3);
    if (values[1] <= 0)
        section.Fail(std::string(name) + " has no length");
    return {values[0], values[1], values[2]};
}

QrsShape ShapeNamed(const Section& section, std::string_view name)
{
    if (name == "RS100")
        return QrsShape::kRs100;
    if (name == "RS36")
        return QrsShape::kRs36;
    if (name == "W56")
        return QrsShape::kSingle56;
    section.Fail(Quoted(name) + " is no QRS shape");
}

std::string ReadTitle(Section& section, std::string_view field, std::size_t index)
{
    const std::vector<std::string> title = section.Words(field, 2);
    if (title[0] != std::to_string(index))
        section.Fail("must be numbered in the order of the table from 0");
    return title[1];
}

CalibrationFigure ReadCalibrationFigure(Section& section, std::size_t index)
{
    const std::vector<int> qrs = section.Ints("qrs", 2);
    const std::vector<int> range = section.Ints("range_uV", 2);
    CalibrationFigure figure{.name = ReadTitle(section, "waveform", index),
                             .cycle_ms = section.Int("cycle_ms"),
                             .p = ReadWave(section, "p"),
                             .t = ReadWave(section, "t"),
                             .qrs = ShapeNamed(section, section.Words("qrs_shape", 1).front()),
                             .qrs_start_ms = qrs[0],
                             .qrs_height_uv = qrs[1],
                             .st_uv = section.Int("st_uV"),
                             .range_uv = {range[0], range[1]}};
    if (figure.cycle_ms <= 0 || std::abs(figure.qrs_height_uv) > kMaxUv || std::abs(figure.st_uv) > kMaxUv)
        section.Fail("cycle_ms, qrs or st_uV is out of reach");
    section.ExpectAllUsed();
    return figure;
}

LeadFigure ReadLeadFigure(Section& section, std::size_t index)
{
    const std::vector<int> range = section.Ints("range_uV", 2);
    LeadFigure figure{ReadTitle(section, "lead", index), section.Pairs("knots"), {range[0], range[1]}};
    double before = -std::numeric_limits<double>::infinity();
    for (const Pair& knot : figure.knots) {
        if (!(knot.at > before) || !(std::abs(knot.value) <= kMaxUv))
            section.Fail("knots must rise in time and stay below a volt");
        before = knot.at;
    }
    if (figure.knots.size() < 2 || figure.knots.front().at > 0 || before < kSecond - 1)
        section.Fail("knots must cover the whole second");
    section.ExpectAllUsed();
    return figure;
}

Waveform Checked(const std::string& name, Waveform waveform, Range range_uv)
{
    ExpectShape(name, waveform, wave251::kSlots, range_uv);
    if (waveform.front() != 0)
        throw InputError(name + ": starts at " + std::to_string(waveform.front()) + " uV, not 0");
    return waveform;
}
} // namespace

std::vector<CalibrationFigure> ReadCalibrationFigures(std::vector<Section> sections)
{
    if (sections.size() != wave251::kCount)
        sections.back().Fail("is the last of " + std::to_string(sections.size()) +
                             " waveforms, not of sixteen");
    std::vector<CalibrationFigure> figures;
    for (std::size_t i = 0; i < sections.size(); ++i)
        figures.push_back(ReadCalibrationFigure(sections[i], i));
    return figures;
}

std::vector<LeadFigure> ReadLeadFigures(std::vector<Section> sections)
{
    if (sections.size() != ane20000::kLeads)
        sections.back().Fail("is the last of " + std::to_string(sections.size()) + " leads, not of nine");
    std::vector<LeadFigure> figures;
    for (std::size_t i = 0; i < sections.size(); ++i)
        figures.push_back(ReadLeadFigure(sections[i], i));
    return figures;
}

std::vector<Waveform> BuildCalibration(const std::vector<CalibrationFigure>& figures)
{
    std::vector<Waveform> waveforms;
    for (const CalibrationFigure& figure : figures) {
        Waveform waveform;
        for (int n = 0; n < kSecond; ++n)
            waveform.push_back(SampleAt(figure, n % figure.cycle_ms));
        waveforms.push_back(Checked(figure.name, std::move(waveform), figure.range_uv));
    }
    return waveforms;
}

std::vector<Waveform> BuildLeads(const std::vector<LeadFigure>& figures)
{
    std::vector<Waveform> waveforms;
    for (const LeadFigure& figure : figures) {
        const Pchip curve(figure.knots);
        Waveform waveform;
        for (int n = 0; n < kSecond; ++n)
            waveform.push_back(static_cast<int>(std::lround(curve.At(n))));
        waveforms.push_back(Checked(figure.name, std::move(waveform), figure.range_uv));
    }
    return waveforms;
}

} // namespace zeka::maketables
