// parameters.cpp - the table of all settings that are one number, with range, setter and getter.
#include "cli/signal/parameters.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr const char* kSignal = "Signal";
constexpr const char* kEcgGroup = "ECG";
constexpr const char* kPacingGroup = "Pacing";

/// Sets all channels, which have one common value.
int SetDcOffset(double mV) { return ZEKASetDCOffset(0, static_cast<int>(mV)); }
int SetPacingRate(double per_minute) { return ZEKASetPacingRate(static_cast<unsigned>(per_minute)); }
int SetOvershootTime(double ms) { return ZEKASetOvershootTimeConstant(static_cast<unsigned>(ms)); }

// PR comes before P: a short PR interval shortens the P wave, and a requested P duration must hold.
constexpr std::array kParameters{
    Parameter{
        Id::kAmplitude, "--amplitude", -10.0, 10.0, "mV", false, kAmplitude, kSignal,
        "peak to peak; pulses and decays: their height; ECG: the QRS scale, R wave 0.875 of it, at most 5",
        ZEKASetAmplitude, ZEKAGetAmplitude},
    Parameter{Id::kFrequency, "--frequency", 0.017, 500.0, "Hz", false, kFrequency, kSignal,
              "periods per second; pulses and exponential up to 5, ECG up to 6", ZEKASetFrequency,
              ZEKAGetFrequency},
    Parameter{Id::kPulseWidth, "--pulse-width", 1.0, 300.0, "ms", false, kPulseWidth, kSignal,
              "width of the pulse at its base", ZEKASetPulseWidth, ZEKAGetPulseWidth},
    Parameter{Id::kQrsDuration, "--qrs", 5.0, 200.0, "ms", false, kQrs, kEcgGroup, "QRS duration",
              ZEKASetQRSDuration, ZEKAGetQRSDuration},
    Parameter{Id::kTWave, "--t-wave", 0.0, 5.0, "mV", false, kQrs, kEcgGroup, "T wave height", ZEKASetTWave,
              ZEKAGetTWave},
    Parameter{Id::kPrInterval, "--pr-interval", 0.0, 200.0, "ms", false, kEcgTiming, kEcgGroup,
              "start of P to start of QRS", ZEKASetPRInterval, ZEKAGetPRInterval},
    Parameter{Id::kPDuration, "--p-duration", 50.0, 100.0, "ms", false, kEcgTiming, kEcgGroup,
              "P wave duration", ZEKASetPDuration, ZEKAGetPDuration},
    Parameter{Id::kPWave, "--p-wave", 0.0, 2.0, "mV", false, kEcgTiming, kEcgGroup, "P wave height",
              ZEKASetPWave, ZEKAGetPWave},
    Parameter{Id::kQtInterval, "--qt-interval", 100.0, 900.0, "ms", false, kEcgTiming, kEcgGroup,
              "start of QRS to end of T", ZEKASetQTInterval, ZEKAGetQTInterval},
    Parameter{Id::kStDeviation, "--st-deviation", -2.0, 2.0, "mV", false, kEcgTiming, kEcgGroup, "ST level",
              ZEKASetSTDeviation, ZEKAGetSTDeviation},
    Parameter{Id::kStSegment, "--st-segment", 100.0, 900.0, "ms", false, kEcgTiming, kEcgGroup,
              "weight of ST against T in what QRS leaves of QT", ZEKASetSTSegment, ZEKAGetSTSegment},
    Parameter{Id::kTDuration, "--t-duration", 100.0, 900.0, "ms", false, kEcgTiming, kEcgGroup,
              "weight of T against ST in what QRS leaves of QT", ZEKASetTDuration, ZEKAGetTDuration},
    Parameter{Id::kDcOffset, "--dc-offset", -1000.0, 1000.0, "mV", true, kDcOffset, kSignal,
              "level of the DC channel", SetDcOffset, [] { return static_cast<double>(ZEKAGetDCOffset()); }},
    Parameter{Id::kPacingWidth, "--pacing-width", 0.1, 3.0, "ms", false, kPacing, kPacingGroup,
              "width of a pacing pulse", ZEKASetPacingDuration, ZEKAGetPacingDuration},
    Parameter{Id::kPacingRate, "--pacing-rate", 10.0, 360.0, "per minute", true, kPacing, kPacingGroup,
              "rate of its own; without it the pulses go with the signal", SetPacingRate,
              [] { return static_cast<double>(ZEKAGetPacingRate()); }},
    Parameter{Id::kOvershoot, "--overshoot", 0.0, 5.0, "mV", false, kPacing, kPacingGroup,
              "overshoot after a pulse, on the AC channel", ZEKASetOvershootAmplitude,
              ZEKAGetOvershootAmplitude},
    Parameter{Id::kOvershootTime, "--overshoot-time", 0.0, 100.0, "ms", true, kPacing, kPacingGroup,
              "time constant of the overshoot; 0: none", SetOvershootTime,
              [] { return static_cast<double>(ZEKAGetOvershootTimeConstant()); }},
    Parameter{Id::kPacing, "--pacing", -700.0, 700.0, "mV", false, kPacing, kPacingGroup,
              "height of the pacing pulses, on the DC channel; 0: none", ZEKASetPacingAmplitude,
              ZEKAGetPacingAmplitude},
};
static_assert(kParameters.size() == static_cast<std::size_t>(Id::kCount));

} // namespace

bool Parameter::Accepts(double value) const
{
    return value >= low && value <= high && (!whole || value == std::trunc(value));
}

std::string Parameter::RangeText() const
{
    return fmt::format("{} to {} {}{}", low, high, unit, whole ? ", whole numbers" : "");
}

std::span<const Parameter> Parameters() { return kParameters; }

const Parameter& ParameterOf(Id id)
{
    return *std::ranges::find_if(kParameters,
                                 [id](const Parameter& parameter) { return parameter.id == id; });
}

} // namespace zeka::cli
