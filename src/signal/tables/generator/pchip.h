// pchip.h (make_tables) - a curve through knots that never overshoots them. Piecewise cubic Hermite. The
// slope at a knot is the weighted harmonic mean of its neighbouring secants, or 0 at an extreme, so the
// highest and lowest knots are the highest and lowest values of the curve.
#pragma once

#include "signal/tables/generator/figure_file.h"
#include <vector>

namespace zeka::maketables {
class Pchip {
public:
    /// Knots in rising order, at least two. Slope 0 at both ends; valid from the first to the last knot.
    explicit Pchip(const std::vector<Pair>& knots);
    /// A periodic curve: knots within one period, at least four, continued on both sides.
    static Pchip Periodic(const std::vector<Pair>& knots, double period);

    [[nodiscard]] double At(double x) const;

private:
    struct Knot {
        double x, y, slope;
    };
    std::vector<Knot> knots_;
};
} // namespace zeka::maketables
