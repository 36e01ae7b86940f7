// spectrum.h - harmonics and spurious components of a sine over a whole number of periods.
#pragma once

#include <cstddef>
#include <span>

namespace zeka::accuracy {

struct Purity {
    double thd_db;      // harmonics 2 to 10 in total, relative to the fundamental
    double spurious_db; // the largest other component without DC
    double rest_db;     // everything but DC and the fundamental, in total
};

/// REQUIRES: `signal` holds exactly `periods` periods.
Purity PurityOf(std::span<const double> signal, std::size_t periods);

} // namespace zeka::accuracy
