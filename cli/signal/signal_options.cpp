// signal_options.cpp - declares the options of a signal, checks that they fit together, and calls the
// library's setters before the signal starts.
#include "cli/signal/signal_options.h"

#include "cli/shell/options.h"

#include <fmt/format.h>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr double kPerMinute = 60.0;
constexpr int kNoiseOff = 0;
constexpr int kNoise50 = 1;
constexpr int kNoise60 = 2;
constexpr int kNoiseRandom = 3;

struct Range {
    double low, high;
};
constexpr Range kRate{1.02, 360.0}; // per minute: 0.017 to 6 Hz
constexpr Range kNoiseMv{0.01, 5.0};
constexpr Range kDriftMv{1.0, 8.0};
constexpr Range kDriftHz{0.05, 2.0};
constexpr Range kDynamicRangeMv{0.0, 10.0};
constexpr Range kDynamicRangeHz{1.0, 60.0};

void AddNumber(const Command& command, std::optional<double>& value, const char* option, Range range,
               const char* unit, const char* group, const char* what)
{
    command.AddOption(option, value, fmt::format("{} [{} to {} {}]", what, range.low, range.high, unit))
        .TypeName(unit)
        .Group(group)
        .Within(range.low, range.high, unit);
}

void AddParameter(const Command& command, ParameterValues& values, const Parameter& parameter)
{
    command
        .AddOption(parameter.option, values[parameter.id],
                   fmt::format("{} [{}]", parameter.what, parameter.RangeText()))
        .TypeName(parameter.unit)
        .Group(parameter.group)
        .Check([&parameter](const std::string& text) -> std::string {
            if (const std::optional<double> number = NumberIn(text); number && parameter.Accepts(*number))
                return {};
            return fmt::format("{} is not within {}", text, parameter.RangeText());
        });
}

void AddBreathing(const Command& command, Breathing& breathing)
{
    constexpr const char* kGroup = "Breathing";
    command.AddOption("--breaths", breathing.breaths, "the signal breathes so often [1 to 200 per minute]")
        .TypeName("per minute")
        .Group(kGroup)
        .Within(1, 200, "per minute");
    const auto add = [&](const char* option, int& value, int low, int high, const char* unit,
                         const char* what) {
        command.AddOption(option, value, fmt::format("{} [{} to {} {}]", what, low, high, unit))
            .TypeName(unit)
            .Group(kGroup)
            .Within(low, high, unit)
            .Needs("--breaths");
    };
    add("--breath-ratio", breathing.ratio, 1, 10, "times", "breathing out takes so many times as long as in");
    add("--apnea", breathing.apnea_s, 0, 59, "s", "no breath at the end of every minute");
    add("--breath-baseline", breathing.baseline_percent, 0, 100, "%",
        "swing of the baseline, of the amplitude");
    add("--breath-amplitude", breathing.amplitude_percent, 0, 100, "%", "swing of the QRS, of the amplitude");
    add("--breath-rate", breathing.rate_percent, 0, 50, "%", "swing of the heart rate");
}

/// Refuses an option that the function does not use, because it would have no effect.
void Refuse(bool given, const char* option, unsigned needs, const Selection& selection)
{
    if (given && (selection.function->heeds & needs) == 0)
        throw Failure(Exit::kUsage,
                      fmt::format("{} means nothing to {}; leave it out, or choose a function that "
                                  "heeds it ('zeka play --help')",
                                  option, selection.name));
}

void CheckFrequency(SignalOptions& options, const Selection& selection)
{
    Refuse(options.rate.has_value(), "--rate", kFrequency, selection);
    if (options.rate) {
        if (options.values.Has(Id::kFrequency))
            throw Failure(Exit::kUsage, "--rate and --frequency say the same; give one of them");
        options.values[Id::kFrequency] = *options.rate / kPerMinute;
    }
    const double highest = selection.function->highest_hz;
    if (highest > 0.0 && options.values.Has(Id::kFrequency) && options.values.Asked(Id::kFrequency) > highest)
        throw Failure(Exit::kUsage,
                      fmt::format("{} Hz is too much for {}; give at most {}",
                                  options.values.Asked(Id::kFrequency), selection.name, highest));
}

void CheckTogether(const SignalOptions& options)
{
    const bool paced = options.values.Has(Id::kPacing) && options.values.Asked(Id::kPacing) != 0.0;
    if (paced && options.values.Has(Id::kDcOffset))
        throw Failure(Exit::kUsage, "the DC channel carries either pacing pulses or an offset; leave out "
                                    "--pacing or --dc-offset");
    for (const Id id : {Id::kPacingWidth, Id::kPacingRate, Id::kOvershoot, Id::kOvershootTime})
        if (!paced && options.values.Has(id))
            throw Failure(Exit::kUsage, fmt::format("{} needs pacing pulses; add --pacing with their height",
                                                    ParameterOf(id).option));
    if (!paced && options.second_pulse != "none")
        throw Failure(Exit::kUsage, "--second-pulse needs pacing pulses; add --pacing with their height");
    if (options.noise_mv && options.noise == "off")
        throw Failure(Exit::kUsage, "--noise-amplitude needs a noise; add --noise 50, 60 or random");
    if (options.drift_hz && !options.drift_mv)
        throw Failure(Exit::kUsage, "--drift-frequency needs a drift; add --drift with its height");
    if (options.dynamic_range_hz && !options.dynamic_range_mv)
        throw Failure(Exit::kUsage,
                      "--dynamic-range-frequency needs the sine; add --dynamic-range with its height");
}

int NoiseNumber(const std::string& noise)
{
    return noise == "50" ? kNoise50 : noise == "60" ? kNoise60 : noise == "random" ? kNoiseRandom : kNoiseOff;
}

void ApplyBreathing(const Breathing& breathing)
{
    if (!breathing.breaths)
        return;
    // These two return 1 on success.
    const bool done = EnableRespiration(true) == 1 &&
                      SetRespireAlgorithmParam(*breathing.breaths, breathing.ratio, breathing.apnea_s,
                                               breathing.baseline_percent, breathing.amplitude_percent,
                                               breathing.rate_percent) == 1;
    Require(done ? 0 : -1, "--breaths");
}

} // namespace

void AddImpedanceBreathing(const Command& command, ImpedanceBreathing& breathing)
{
    constexpr int kMostCode = 255;
    command.AddOption("--resp-rate", breathing.rate, "breath rate, the instrument's code [0 to 255]")
        .TypeName("CODE")
        .Group(kImpedanceBreathingGroup)
        .Within(0, kMostCode, "");
    const auto add = [&](const char* option, int& value, const char* what) {
        command
            .AddOption(option, value, fmt::format("{}, the instrument's code, 0 without it [0 to 255]", what))
            .TypeName("CODE")
            .Group(kImpedanceBreathingGroup)
            .Within(0, kMostCode, "")
            .Needs("--resp-rate");
    };
    add("--resp-variation", breathing.variation, "swing of the impedance");
    add("--resp-ratio", breathing.ratio, "inspiration to expiration");
    command
        .AddOption("--resp-baseline", breathing.baseline_ohm,
                   "baseline impedance, 500 without it [500, 1000, 1500, 2000, 2500 ohm]")
        .TypeName("ohm")
        .Group(kImpedanceBreathingGroup)
        .OneOf({"500", "1000", "1500", "2000", "2500"})
        .Needs("--resp-rate");
}

void ApplyImpedanceBreathing(const ImpedanceBreathing& breathing, int apnea_s)
{
    if (!breathing.rate)
        return;
    constexpr int kStepOhm = 500;
    // The code n means n - 1 seconds.
    const int apnea = apnea_s > 0 ? apnea_s + 1 : 0;
    const bool done = SetRespiration(breathing.variation, *breathing.rate, breathing.ratio,
                                     breathing.baseline_ohm / kStepOhm - 1, apnea) == 1;
    Require(done ? 0 : -1, "--resp-rate");
}

bool SignalOptions::Plain() const
{
    return noise == "off" && !drift_mv && !dynamic_range_mv && !breathing.breaths && !impedance.rate &&
           !(values.Has(Id::kOvershootTime) && values.Asked(Id::kOvershootTime) != 0.0);
}

void AddSignalOptions(const Command& command, SignalOptions& options)
{
    command.AddOption("function", options.function, "what to play, see below").Required().TypeName("NAME");
    for (const Parameter& parameter : Parameters())
        AddParameter(command, options.values, parameter);
    AddNumber(command, options.rate, "--rate", kRate, "per minute", "Signal",
              "heart rate, or periods of the signal");
    command.AddFlag("--once", options.once, "play a standard waveform once and end").Group("Signal");
    command
        .AddOption("--second-pulse", options.second_pulse,
                   "a second pacing pulse so many ms beside the first [none, 150, 250]")
        .TypeName("ms")
        .Group("Pacing")
        .OneOf({"none", "150", "250"});
    command.AddOption("--noise", options.noise, "mains hum of so many Hz, or random [off, 50, 60, random]")
        .TypeName("KIND")
        .Group("Noise, drift, dynamic range")
        .OneOf({"off", "50", "60", "random"});
    constexpr const char* kGroup = "Noise, drift, dynamic range";
    AddNumber(command, options.noise_mv, "--noise-amplitude", kNoiseMv, "mV", kGroup,
              "noise, peak to peak, 0.1 without it");
    AddNumber(command, options.drift_mv, "--drift", kDriftMv, "mV", kGroup, "slow triangle, peak to peak");
    AddNumber(command, options.drift_hz, "--drift-frequency", kDriftHz, "Hz", kGroup,
              "its frequency, 0.1 without it");
    AddNumber(command, options.dynamic_range_mv, "--dynamic-range", kDynamicRangeMv, "mV", kGroup,
              "a sine that rides on triangle or square, peak to peak");
    AddNumber(command, options.dynamic_range_hz, "--dynamic-range-frequency", kDynamicRangeHz, "Hz", kGroup,
              "its frequency, 40 without it");
    AddBreathing(command, options.breathing);
    AddImpedanceBreathing(command, options.impedance);
    command
        .AddOption("--resp-apnea", options.impedance_apnea_s,
                   "no breath in the last seconds of every minute [0 to 59 s]")
        .TypeName("s")
        .Group(kImpedanceBreathingGroup)
        .Within(0, 59, "s")
        .Needs("--resp-rate");
}

Selection CheckSignal(SignalOptions& options)
{
    Selection selection = FindFunction(options.function);
    for (const Parameter& parameter : Parameters())
        Refuse(options.values.Has(parameter.id), parameter.option, parameter.heeded_by, selection);
    Refuse(options.noise != "off", "--noise", kNoise, selection);
    Refuse(options.drift_mv.has_value(), "--drift", kDrift, selection);
    Refuse(options.dynamic_range_mv.has_value(), "--dynamic-range", kDynamicRange, selection);
    Refuse(options.breathing.breaths.has_value(), "--breaths", kRespiration, selection);
    Refuse(options.once, "--once", kOnce, selection);
    CheckFrequency(options, selection);
    CheckTogether(options);
    return selection;
}

void ApplySignal(const SignalOptions& options, const Selection& selection)
{
    ParameterValues values = options.values;
    for (const Parameter& parameter : Parameters())
        if (values.Has(parameter.id))
            Require(parameter.set(*values[parameter.id]), parameter.option);
    if (options.second_pulse != "none")
        Require(ZEKASetPacingPulseMode(options.second_pulse == "150" ? 1 : 2), "--second-pulse");
    if (options.noise != "off")
        Require(
            SetECG2_27_Noise(NoiseNumber(options.noise), options.noise_mv.value_or(GetECG2_27_NoiseAmp())),
            "--noise");
    if (options.drift_mv) {
        Require(SetECG2_27_AAMIDriftTestAmp(*options.drift_mv), "--drift");
        if (options.drift_hz)
            Require(SetECG2_27_AAMIDriftTestFreq(*options.drift_hz), "--drift-frequency");
        Require(SetECG2_27_AAMIDriftTest(true), "--drift");
    }
    ApplyBreathing(options.breathing);
    if (options.impedance.rate)
        Require(EnableRespiration(true) == 1 ? 0 : -1, "--resp-rate"); // attenuation on the host's side
    ApplyImpedanceBreathing(options.impedance, options.impedance_apnea_s);
    ApplyVariant(selection);
    SetStandardWaveformLoop(!options.once);
}

void StartSignal(const SignalOptions& options, const Selection& selection)
{
    if (options.dynamic_range_mv) // selects the function itself
        Require(ZEKASetDynamicRangeTest(true, selection.Is("triangle"), *options.dynamic_range_mv,
                                        options.dynamic_range_hz.value_or(GetDynamicRangeTestFreq())),
                "--dynamic-range");
    else
        Require(ZEKASetOutputFunction(selection.function->number), selection.name);
}

void Require(int result, const std::string& what)
{
    if (result == 0)
        return;
    if (result < -1)
        throw Failure(Exit::kUsage,
                      fmt::format("{}: refused (code {}); see 'zeka play --help' for what goes together",
                                  what, result));
    if (!ZEKAIsConnected())
        throw Failure(Exit::kLost, fmt::format("{}: the instrument is gone; look after its cable", what));
    throw Failure(Exit::kTimeOut,
                  fmt::format("{}: the instrument did not answer in time; unplug it and plug it in "
                              "again, then run this again",
                              what));
}

} // namespace zeka::cli
