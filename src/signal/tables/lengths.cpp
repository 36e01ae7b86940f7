// lengths.cpp - the length of each IEC 60601-2-27 waveform. The build makes the samples (tables_data.cpp).
#include "signal/tables/tables.h"

namespace {
constexpr double Seconds(std::size_t waveform)
{
    return static_cast<double>(zeka::wave227::kSamples[waveform]) / zeka::wave227::kRateHz;
}
} // namespace

constinit const double IEC227WL[zeka::wave227::kCount] = {Seconds(0), Seconds(1), Seconds(2), Seconds(3),
                                                          Seconds(4), Seconds(5), Seconds(6), Seconds(7),
                                                          Seconds(8), Seconds(9)};
