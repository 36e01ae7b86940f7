// functions.h (signal) - the table of the output functions: what the apply step and the stream must know of
// each beside its shape (signal/shapes.h). Constant; any thread, no lock.
#pragma once

#include <iterator>

#include "zeka/zeka.h"

namespace zeka {

/// How a function is computed. Decides where its runs end and what ends its playback.
enum class Kind {
    kSilent,    // 0.0 mV
    kFormula,   // a formula of the time within the period
    kEcg,       // a beat, with breathing, noise and drift added
    kStandard,  // samples from a table; ends after one pass when the loop of standard waveforms is off
    kRecording, // samples that were loaded; ends after one pass when the loop of files is off
    kStaircase, // levels on the clock of the stream
};

/// Length of one pass.
enum class Pass {
    kOfFrequency, // 1 / g_F
    kSecond,
    kMinute,
    kOfWaveform,  // length of the selected IEC 60601-2-27 waveform
    kOfRecording, // length of the loaded recording
};

struct OutputFunction {
    int number;
    const char* name;
    double cap_hz; // the apply step lowers the frequency to this
    Pass pass;
    Kind kind;
};

inline constexpr double kPulseCapHz = 5.0; // one pulse per period has to fit
inline constexpr double kEcgCapHz = 6.0;   // 360 beats per minute
inline constexpr double kCapHz = 500.0;

// clang-format off
inline constexpr OutputFunction kOutputFunctions[] = {
    {ZEKA_FUNCTION_NONE, "none", kCapHz, Pass::kOfFrequency, Kind::kSilent},
    {ZEKA_FUNCTION_SINE, "sine", kCapHz, Pass::kOfFrequency, Kind::kFormula},
    {ZEKA_FUNCTION_TRIANGLE, "triangle", kCapHz, Pass::kOfFrequency, Kind::kFormula},
    {ZEKA_FUNCTION_SQUARE, "square", kCapHz, Pass::kOfFrequency, Kind::kFormula},
    {ZEKA_FUNCTION_RECTANGULAR_PULSE, "rectangular pulse", kPulseCapHz, Pass::kOfFrequency, Kind::kFormula},
    {ZEKA_FUNCTION_TRIANGULAR_PULSE, "triangular pulse", kPulseCapHz, Pass::kOfFrequency, Kind::kFormula},
    {ZEKA_FUNCTION_EXPONENTIAL, "exponential", kPulseCapHz, Pass::kOfFrequency, Kind::kFormula},
    {ZEKA_FUNCTION_FIXED_ECG, "ECG, fixed timing", kEcgCapHz, Pass::kOfFrequency, Kind::kEcg},
    {ZEKA_FUNCTION_ADJUSTABLE_ECG, "ECG, adjustable timing", kEcgCapHz, Pass::kOfFrequency, Kind::kEcg},
    {ZEKA_FUNCTION_IEC60601_2_27, "IEC 60601-2-27", kCapHz, Pass::kOfWaveform, Kind::kStandard},
    {ZEKA_FUNCTION_IEC60601_2_51, "IEC 60601-2-51", kCapHz, Pass::kSecond, Kind::kStandard},
    {11, "reserved", kCapHz, Pass::kOfFrequency, Kind::kSilent}, // 11, 12: complexes that do not exist yet
    {12, "reserved", kCapHz, Pass::kOfFrequency, Kind::kSilent},
    {ZEKA_FUNCTION_BIPHASIC_EXPONENTIAL, "biphasic exponential", kCapHz, Pass::kOfFrequency, Kind::kFormula},
    {ZEKA_FUNCTION_RECORDING, "recording", kCapHz, Pass::kOfRecording, Kind::kRecording},
    {ZEKA_FUNCTION_INPUT_DYNAMIC_RANGE, "input dynamic range", kCapHz, Pass::kOfFrequency, Kind::kStaircase},
    {ZEKA_FUNCTION_IEC60601_2_47, "IEC 60601-2-47", kCapHz, Pass::kMinute, Kind::kStandard},
    {ZEKA_FUNCTION_ANE20000, "ANE20000", kCapHz, Pass::kSecond, Kind::kStandard},
    {ZEKA_FUNCTION_RAW_DATA, "raw data", kCapHz, Pass::kOfRecording, Kind::kRecording},
};
// clang-format on
inline constexpr OutputFunction kUnknownFunction{-1, "unknown", kCapHz, Pass::kOfFrequency, Kind::kSilent};

/// The row of a function; kUnknownFunction for every number that is none.
constexpr const OutputFunction& RowOf(int function) noexcept
{
    const bool known = function >= 0 && function < static_cast<int>(std::size(kOutputFunctions));
    return known ? kOutputFunctions[function] : kUnknownFunction;
}

constexpr Kind KindOf(int function) noexcept { return RowOf(function).kind; }

constexpr bool RowsStandAtTheirNumbers() noexcept
{
    for (int number = 0; const OutputFunction& row : kOutputFunctions)
        if (row.number != number++)
            return false;
    return true;
}
static_assert(RowsStandAtTheirNumbers());

} // namespace zeka
