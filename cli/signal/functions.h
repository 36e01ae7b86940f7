// functions.h - the output functions under names for people, and the settings that each of them uses.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace zeka::cli {

/// The settings that an output function uses, as bits.
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
    double highest_hz; // 0: the function has a period of its own
    Variants variants;
    const char* what;
};

/// An output function with the chosen waveform or lead.
struct Selection {
    const OutputFunction* function = nullptr;
    int variant = 0;
    std::string name; // as displayed: "iec-2-27:3"
    [[nodiscard]] bool Is(const char* other) const { return std::string_view(function->name) == other; }
};

std::span<const OutputFunction> OutputFunctions();

/// The names of the variants in the order of their numbers: "aami3a", ..., "V6".
std::span<const char* const> VariantNames(Variants variants);

/// Finds a function by name; a waveform or lead follows the colon by number or name. Throws Failure(kUsage).
Selection FindFunction(const std::string& text);

/// Sets the waveform or lead in the library. REQUIRES: the function is not selected yet.
void ApplyVariant(const Selection& selection);

/// All functions with a line of explanation each, for --help.
std::string FunctionHelp();

} // namespace zeka::cli
