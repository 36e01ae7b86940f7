// trace.cpp - reduces the points of a trace before it is drawn: first to the extremes of every narrow column,
// then to those of them that a straight line between the neighbours does not show.
#include "cli/strip/trace.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace zeka::cli {
namespace {

constexpr double kColumn = 0.01;    // mm
constexpr double kTolerance = 0.01; // mm; together with a column the 0.02 mm of the header

/// Keeps at most four points per column: its first, lowest, highest and last sample.
std::vector<Point> Thinned(std::span<const double> mv, double mm_per_sample, double mm_per_mv)
{
    std::vector<Point> points;
    const auto add = [&](std::size_t i) {
        points.push_back({static_cast<double>(i) * mm_per_sample, mv[i] * mm_per_mv});
    };
    for (std::size_t first = 0; first < mv.size();) {
        const double column = std::floor(static_cast<double>(first) * mm_per_sample / kColumn);
        const auto next = static_cast<std::size_t>(std::ceil((column + 1.0) * kColumn / mm_per_sample));
        const std::size_t end = std::min(mv.size(), std::max(next, first + 1));
        const auto part = mv.subspan(first, end - first);
        const auto [low, high] = std::ranges::minmax_element(part);
        std::array at{first, first + static_cast<std::size_t>(low - part.begin()),
                      first + static_cast<std::size_t>(high - part.begin()), end - 1};
        std::ranges::sort(at);
        for (std::size_t k = 0; k < at.size(); ++k)
            if (k == 0 || at[k] != at[k - 1])
                add(at[k]);
        first = end;
    }
    return points;
}

double Distance(const Point& point, const Point& from, const Point& to)
{
    const double dx = to.x - from.x;
    const double dy = to.y - from.y;
    const double length = std::hypot(dx, dy);
    if (length == 0.0)
        return std::hypot(point.x - from.x, point.y - from.y);
    return std::abs((point.x - from.x) * dy - (point.y - from.y) * dx) / length;
}

/// Adds the point farthest from the line between two kept points, until none is farther than the tolerance.
std::vector<Point> Simplified(const std::vector<Point>& points)
{
    if (points.size() < 3)
        return points;
    std::vector<bool> kept(points.size());
    kept.front() = kept.back() = true;
    struct Stretch {
        std::size_t first, last;
    };
    std::vector<Stretch> open{{0, points.size() - 1}};
    while (!open.empty()) {
        const auto [first, last] = open.back();
        open.pop_back();
        double worst = kTolerance;
        std::size_t at = first;
        for (std::size_t i = first + 1; i < last; ++i)
            if (const double distance = Distance(points[i], points[first], points[last]); distance > worst) {
                worst = distance;
                at = i;
            }
        if (at == first)
            continue;
        kept[at] = true;
        open.push_back({first, at});
        open.push_back({at, last});
    }
    std::vector<Point> line;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (kept[i])
            line.push_back(points[i]);
    return line;
}

} // namespace

std::vector<Point> LineOf(std::span<const double> mv, double mm_per_sample, double mm_per_mv)
{
    return Simplified(Thinned(mv, mm_per_sample, mm_per_mv));
}

} // namespace zeka::cli
