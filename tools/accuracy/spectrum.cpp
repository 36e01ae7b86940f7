// spectrum.cpp - lines of a spectrum with FFTW. Over whole periods every component falls on
// one line, so no window is used.
#include "tools/accuracy/spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <fftw3.h>
#include <vector>

namespace zeka::accuracy {

Purity PurityOf(std::span<const double> signal, std::size_t periods)
{
    std::vector<double> in(signal.begin(), signal.end());
    std::vector<std::complex<double>> lines(signal.size() / 2 + 1);
    // fftw_complex has the layout of std::complex<double>; FFTW documents this cast.
    const fftw_plan plan = fftw_plan_dft_r2c_1d(static_cast<int>(in.size()), in.data(),
                                                reinterpret_cast<fftw_complex*>(lines.data()), FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);

    constexpr std::size_t kLastHarmonic = 10;
    const double fundamental = std::norm(lines.at(periods));
    double harmonics = 0.0;
    double largest = 0.0;
    double rest = 0.0;
    for (std::size_t line = 1; line < lines.size(); ++line) {
        if (line == periods)
            continue;
        const double power = std::norm(lines[line]);
        rest += power;
        largest = std::max(largest, power);
        if (line % periods == 0 && line / periods <= kLastHarmonic)
            harmonics += power;
    }
    const auto db = [fundamental](double power) { return 10.0 * std::log10(power / fundamental); };
    return {db(harmonics), db(largest), db(rest)};
}

} // namespace zeka::accuracy
