// functions.h - the output functions under names that people know, and what can be set for each.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace zeka::cli {

/// What an output function makes of the settings; a function names those that it heeds.
enum Heeds : unsigned {
    kAmplitude = 1u << 0,
    kFrequency = 1u << 1,
    kPulseWidth = 1u << 2,
    kQrs = 1u << 3,       // QRS duration and T wave height
    kEcgTiming = 1u << 4, // P, PR, ST, T, QT
    kPacing = 1u << 5,
    kDcOffset = 1u << 6,
    kNoise = 1u << 7,
    kDrift = 1u << 8,
    kRespiration = 1u << 9,
    kDynamicRange = 1u << 10,
    kOnce = 1u << 11,
};

enum class Variants { kNone, kIec27, kIec51, kIec47, kLead };

struct OutputFunction {
    const char* name;
    int number; // for ZEKASetOutputFunction
    unsigned heeds;
    double highest_hz; // 0: it has a period of its own
    Variants variants;
    const char* what;
};

/// An output function with the waveform or lead that was chosen.
struct Selection {
    const OutputFunction* function = nullptr;
    int variant = 0;
    std::string name; // as it is shown: "iec-2-27:3"
    [[nodiscard]] bool Is(const char* other) const { return std::string_view(function->name) == other; }
};

std::span<const OutputFunction> OutputFunctions();

/// The names of the variants in the order of their numbers: "aami3a", ..., "V6".
std::span<const char* const> VariantNames(Variants variants);

/// What follows the colon may be the number or the name. Throws Failure(kUsage).
Selection FindFunction(const std::string& text);

/// Tells the library which waveform or lead; before the function is selected.
void ApplyVariant(const Selection& selection);

/// All functions with a line of explanation each, for --help.
std::string FunctionHelp();

} // namespace zeka::cli
