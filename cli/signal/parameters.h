// parameters.h - every setting of a signal that is one number: its option, unit, range, and the library's
// setter and getter. Options, help and calls are made from this one table.
#pragma once

#include "cli/signal/functions.h"

#include <array>
#include <optional>
#include <span>

namespace zeka::cli {

enum class Id {
    kAmplitude,
    kFrequency,
    kPulseWidth,
    kQrsDuration,
    kTWave,
    kPrInterval,
    kPDuration,
    kPWave,
    kQtInterval,
    kStDeviation,
    kStSegment,
    kTDuration,
    kDcOffset,
    kPacing,
    kPacingWidth,
    kPacingRate,
    kOvershoot,
    kOvershootTime,
    kCount
};

struct Parameter {
    Id id;
    const char* option;
    double low, high; // both ends accepted
    const char* unit;
    bool whole; // whole numbers only
    unsigned heeded_by;
    const char* group; // in --help
    const char* what;
    int (*set)(double);
    double (*get)();

    [[nodiscard]] bool Accepts(double value) const; // NaN: never
    [[nodiscard]] std::string RangeText() const;
};

/// All parameters, in the order in which they are set.
std::span<const Parameter> Parameters();
const Parameter& ParameterOf(Id id);

/// The values from the command line.
class ParameterValues {
public:
    std::optional<double>& operator[](Id id) { return values_[static_cast<std::size_t>(id)]; }
    [[nodiscard]] bool Has(Id id) const { return values_[static_cast<std::size_t>(id)].has_value(); }
    /// The given value, else the library's.
    [[nodiscard]] double Asked(Id id) const
    {
        const std::optional<double>& value = values_[static_cast<std::size_t>(id)];
        return value ? *value : ParameterOf(id).get();
    }

private:
    std::array<std::optional<double>, static_cast<std::size_t>(Id::kCount)> values_;
};

} // namespace zeka::cli
