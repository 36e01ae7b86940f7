// functions.cpp - the table of the output functions, and the look-up by name, number or waveform.
#include "cli/signal/functions.h"

#include "cli/shell/failure.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/format.h>
#include <optional>
#include <strings.h>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr unsigned kPeriodic = kAmplitude | kFrequency | kPacing | kDcOffset;
constexpr unsigned kEcg = kPeriodic | kQrs | kNoise | kDrift | kRespiration;
constexpr unsigned kStandard = kPacing | kDcOffset | kOnce;

constexpr std::array kFunctions{
    OutputFunction{"sine", 1, kPeriodic, 500.0, Variants::kNone, "sine"},
    OutputFunction{"triangle", 2, kPeriodic | kDynamicRange, 500.0, Variants::kNone, "triangle"},
    OutputFunction{"square", 3, kPeriodic | kDynamicRange, 500.0, Variants::kNone, "square wave"},
    OutputFunction{"rectangular-pulse", 4, kPeriodic | kPulseWidth, 5.0, Variants::kNone,
                   "one rectangular pulse in every period"},
    OutputFunction{"triangular-pulse", 5, kPeriodic | kPulseWidth, 5.0, Variants::kNone,
                   "one triangular pulse in every period"},
    OutputFunction{"exponential", 6, kPeriodic, 5.0, Variants::kNone,
                   "decay with a time constant of 50 ms in every period"},
    OutputFunction{"biphasic", 13, kAmplitude | kPacing | kDcOffset, 0.0, Variants::kNone,
                   "two decays of opposite sign in every second"},
    OutputFunction{"ecg", 7, kEcg, 6.0, Variants::kNone, "ECG of QRS and T wave"},
    OutputFunction{"ecg-custom", 8, kEcg | kEcgTiming, 6.0, Variants::kNone,
                   "ECG with adjustable P, QRS, ST and T"},
    OutputFunction{"iec-2-27", 9, kStandard, 0.0, Variants::kIec27,
                   "IEC 60601-2-27 test waveform, iec-2-27:0 to :9 or by name"},
    OutputFunction{"iec-2-51", 10, kStandard, 0.0, Variants::kIec51,
                   "IEC 60601-2-51 calibration waveform, iec-2-51:0 to :15 or by name"},
    OutputFunction{"iec-2-47", 16, kStandard, 0.0, Variants::kIec47,
                   "IEC 60601-2-47 pattern, iec-2-47:0 to :4"},
    OutputFunction{"ane20000", 17, kStandard | kNoise, 0.0, Variants::kLead,
                   "IEC 60601-2-51 waveform ANE20000, one lead: ane20000:I, :II, :III, :V1 to :V6"},
    OutputFunction{"dynamic-range-input", 15, 0, 0.0, Variants::kNone,
                   "input dynamic range: DC from -300 to 300 mV and back in 1220 s"},
};

constexpr std::array kIec27Names{"aami3a",   "aami3b",   "aami3c", "aami3d",   "aami4a",
                                 "aami4a_d", "aami4a_h", "aami4b", "aami4b_d", "aami4b_h"};
constexpr std::array kIec51Names{"CAL05000", "CAL10000", "CAL15000", "CAL20000", "CAL30000", "CAL50000",
                                 "CAL20002", "CAL20100", "CAL20110", "CAL20160", "CAL20200", "CAL20210",
                                 "CAL20260", "CAL20500", "CAL20502", "CAL40000"};
constexpr std::array kIec47Names{"triangles", "rr-0.8s", "rr-1.0s", "rr-3.0s", "rr-1.5s"};
constexpr std::array kLeadNames{"I", "II", "III", "V1", "V2", "V3", "V4", "V5", "V6"};

std::optional<int> FindVariant(Variants variants, const std::string& text)
{
    const auto names = VariantNames(variants);
    int number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc{} && end == text.data() + text.size() && number >= 0 &&
        number < static_cast<int>(names.size()))
        return number;
    const auto same = [&](const char* name) { return ::strcasecmp(name, text.c_str()) == 0; };
    const auto found = std::ranges::find_if(names, same);
    if (found == names.end())
        return std::nullopt;
    return static_cast<int>(found - names.begin());
}

} // namespace

std::span<const OutputFunction> OutputFunctions() { return kFunctions; }

std::span<const char* const> VariantNames(Variants variants)
{
    switch (variants) {
    case Variants::kIec27:
        return kIec27Names;
    case Variants::kIec51:
        return kIec51Names;
    case Variants::kIec47:
        return kIec47Names;
    case Variants::kLead:
        return kLeadNames;
    case Variants::kNone:
        break;
    }
    return {};
}

Selection FindFunction(const std::string& text)
{
    const std::string name = text.substr(0, text.find(':'));
    const auto found = std::ranges::find_if(kFunctions, [&](const auto& f) { return name == f.name; });
    if (found == kFunctions.end())
        throw Failure(
            Exit::kUsage,
            fmt::format("no output function is called \"{}\"; 'zeka play --help' lists them", text));
    const bool has_variant = name.size() < text.size();
    Selection selection{&*found, 0, name};
    if (found->variants == Variants::kNone) {
        if (has_variant)
            throw Failure(Exit::kUsage, fmt::format("{} has no variants; leave out \"{}\"", name,
                                                    text.substr(name.size())));
        return selection;
    }
    const auto variant = FindVariant(found->variants, has_variant ? text.substr(name.size() + 1) : "0");
    if (!variant)
        throw Failure(Exit::kUsage, fmt::format("there is no {}; it is one of {}", text,
                                                fmt::join(VariantNames(found->variants), ", ")));
    selection.variant = *variant;
    selection.name =
        fmt::format("{}:{}", name, VariantNames(found->variants)[static_cast<std::size_t>(*variant)]);
    return selection;
}

void ApplyVariant(const Selection& selection)
{
    switch (selection.function->variants) {
    case Variants::kIec27:
        (void)SetSpecialWave227(selection.variant); // always returns 0
        break;
    case Variants::kIec51:
        (void)SetSpecialWave251(selection.variant);
        break;
    case Variants::kIec47:
        (void)SetSpecialWave247(selection.variant);
        break;
    case Variants::kLead:
        (void)SetANE20000Lead(selection.variant); // cannot fail: the number comes from the table
        break;
    case Variants::kNone:
        break;
    }
}

std::string FunctionHelp()
{
    std::string text = "Output functions:\n";
    for (const OutputFunction& function : kFunctions)
        text += fmt::format("  {:<27} {}\n", function.name, function.what);
    return text;
}

} // namespace zeka::cli
