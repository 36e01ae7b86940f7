// spectrum.h - harmonics and spurious components of a sine over a whole number of its periods.
#pragma once

#include <cstddef>
#include <span>

namespace zeka::accuracy {

struct Purity {
    double thd_db;      // harmonics 2 to 10, as a whole, against the fundamental
    double spurious_db; // the largest other component, DC left out
    double rest_db;     // everything but DC and the fundamental, as a whole
};

/// `signal` holds exactly `periods` periods.
Purity PurityOf(std::span<const double> signal, std::size_t periods);

} // namespace zeka::accuracy
