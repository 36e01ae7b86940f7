// counts.cpp - rounds millivolts to the counts that EDF and WFDB files hold. Called for every value written.
#include "formats/counts.h"

#include <algorithm>
#include <cmath>

namespace zeka::formats {

std::int16_t Counts(double mv, double counts_per_mv)
{
    constexpr double kLimit = 32767.0; // WFDB readers take -32768 for "no value"
    const double counts = mv * counts_per_mv;
    if (std::isnan(counts))
        return 0;
    return static_cast<std::int16_t>(std::lrint(std::clamp(counts, -kLimit, kLimit)));
}

} // namespace zeka::formats
