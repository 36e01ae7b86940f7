// ec13.h (make_tables) - the IEC 60601-2-27 test waveforms from their figures.
#pragma once

#include "signal/tables/generator/figure_file.h"
#include <array>
#include <optional>
#include <string>
#include <vector>

namespace zeka::maketables {

struct Range {
    int low, high;
};

/// Triangular calibration pulses before the first beat, in converter codes.
struct Head {
    int samples, base_adc, peak_adc;
};

/// A loop that repeats to the end of the recording.
struct Loop {
    double period_ms;
    Range limits_adc;
    std::vector<double> onsets_ms;
    std::vector<Pair> knots;
    std::vector<Pair> pins_adc;
};

/// A loop that another record owns, converted with this record's own gain.
struct BorrowedLoop {
    int owner;
    std::vector<int> insert_adc;
    int drop_codes;
};

struct Ec13Record {
    std::string name;
    std::size_t samples;
    int adc_per_mv;
    Range range_uv;
    std::optional<Head> head;
    // Invariant: exactly one of these two is set.
    std::optional<Loop> loop;
    std::optional<BorrowedLoop> borrowed;
};

using Waveform = std::vector<int>; // uV

/// The records in the order of the table; throws InputError when the file does not describe exactly those.
std::vector<Ec13Record> ReadEc13Figures(std::vector<Section> sections);

/// All waveforms, each of its record's length and range; throws InputError when one is not.
std::vector<Waveform> BuildEc13(const std::vector<Ec13Record>& records);

/// A converter code in uV, computed through mV printed with three decimals.
int AdcToMicrovolts(int code, double adc_per_mv);

/// Throws InputError unless the waveform has this length and exactly this range.
void ExpectShape(const std::string& name, const Waveform& waveform, std::size_t samples, Range range_uv);

} // namespace zeka::maketables
