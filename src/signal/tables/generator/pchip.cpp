// pchip.cpp - slopes and evaluation of the monotone cubic.
#include "signal/tables/generator/pchip.h"

#include <algorithm>
#include <cassert>
#include <iterator>

namespace zeka::maketables {
namespace {
// Knots repeated beyond each end of a period; a slope depends on two knots to each side.
constexpr std::size_t kOverlap = 4;

double SlopeBetween(const Pair& before, const Pair& here, const Pair& after)
{
    const double h0 = here.at - before.at;
    const double h1 = after.at - here.at;
    const double secant0 = (here.value - before.value) / h0;
    const double secant1 = (after.value - here.value) / h1;
    if (secant0 * secant1 <= 0.0)
        return 0.0;
    const double w0 = 2 * h1 + h0;
    const double w1 = h1 + 2 * h0;
    return (w0 + w1) / (w0 / secant0 + w1 / secant1);
}
} // namespace

Pchip::Pchip(const std::vector<Pair>& knots)
{
    assert(knots.size() >= 2);
    for (std::size_t i = 0; i < knots.size(); ++i) {
        const bool inside = i > 0 && i + 1 < knots.size();
        const double slope = inside ? SlopeBetween(knots[i - 1], knots[i], knots[i + 1]) : 0.0;
        knots_.push_back({knots[i].at, knots[i].value, slope});
    }
}

Pchip Pchip::Periodic(const std::vector<Pair>& knots, double period)
{
    assert(knots.size() >= kOverlap);
    std::vector<Pair> wide;
    for (auto knot = knots.end() - kOverlap; knot != knots.end(); ++knot)
        wide.push_back({knot->at - period, knot->value});
    std::ranges::copy(knots, std::back_inserter(wide));
    for (auto knot = knots.begin(); knot != knots.begin() + kOverlap; ++knot)
        wide.push_back({knot->at + period, knot->value});
    return Pchip(wide);
}

double Pchip::At(double x) const
{
    const auto beyond = std::ranges::upper_bound(knots_, x, {}, &Knot::x);
    const auto after = std::clamp(beyond, knots_.begin() + 1, knots_.end() - 1);
    const Knot& a = *(after - 1);
    const Knot& b = *after;
    const double h = b.x - a.x;
    const double u = (x - a.x) / h;
    const double v = 1 - u;
    return a.y * (1 + 2 * u) * v * v + h * a.slope * u * v * v + b.y * u * u * (3 - 2 * u) -
           h * b.slope * u * u * v;
}

} // namespace zeka::maketables
