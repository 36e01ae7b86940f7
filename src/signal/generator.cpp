// generator.cpp (signal) - main (AC) voltage of every output function at one instant; the definition of the
// signal. Called once per sample under g_CriticalSection by the plain road of the stream and by the upload;
// allocates nothing. The formulas are evaluated in double and in the order in which they stand: the words
// sent are reproducible to the bit.
#include "signal/generator.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "signal/ecg.h"
#include "signal/file_playback.h"
#include "signal/standard_waveforms.h"
#include "stream/sample_stream.h"

namespace {

using zeka::kTwoPi;

constexpr double kDecayS = 0.05;       // time constant of functions 6 and 13
constexpr double kHalfBiphasicS = 0.5; // the second pulse of function 13 starts here
constexpr double kDynamicRangeLimitMv = 5.0;
constexpr double kStaircaseStartS = 20.0; // function 15: flat, up to the turn, down to the end, flat
constexpr double kStaircaseTurnS = 620.0;
constexpr double kStaircaseEndS = 1220.0;

/// The sine of the dynamic range test, on the stream's own clock, added to triangle and square.
double WithDynamicRangeSine(double v) ZEKA_NEEDS_LOCK
{
    if (!g_DynamicRangeTest)
        return v;
    v += g_ADynamicRange / 2.0 * std::sin(g_FDynamicRange * kTwoPi * g_fOutputTime);
    return std::clamp(v, -kDynamicRangeLimitMv, kDynamicRangeLimitMv);
}

double Triangle(double t) ZEKA_NEEDS_LOCK
{
    const double period = g_fTimePeriod;
    const double k = 4.0 * s_A / period;
    if (t < 0.25 * period)
        return k * t;
    if (t < 0.75 * period)
        return 2.0 * s_A - k * t;
    return k * t - 4.0 * s_A;
}

double Square(double t) ZEKA_NEEDS_LOCK { return t < g_fTimePeriod / 2.0 ? s_A : -s_A; }

double RectangularPulse(double t) ZEKA_NEEDS_LOCK { return t < s_PW ? 2.0 * s_A : 0.0; }

double TriangularPulse(double t) ZEKA_NEEDS_LOCK
{
    const double start = s_PacDelayTP;
    const double k = 4.0 * s_A / s_PW;
    if (t < start)
        return 0.0;
    if (t < start + s_PW / 2.0)
        return (t - start) * k;
    if (t < start + s_PW)
        return 4.0 * s_A - (t - start) * k;
    return 0.0;
}

double BiphasicExponential(double t) ZEKA_NEEDS_LOCK
{
    if (t < kHalfBiphasicS)
        return s_A * std::exp(-t / kDecayS);
    return -s_A * std::exp(-(t - kHalfBiphasicS) / kDecayS);
}

/// AC part of the input dynamic range test: fills the half-millivolt steps of the DC part to a ramp of 1
/// mV/s.
double InputDynamicRangeAc() ZEKA_NEEDS_LOCK
{
    if (g_fOutputTime < kStaircaseStartS || g_fOutputTime >= kStaircaseEndS)
        return 0.0;
    const double step = 1.0 / g_nSampleRate;
    s_InputDynamicRangeAC += g_fOutputTime <= kStaircaseTurnS ? step : -step;
    return s_InputDynamicRangeAC;
}

} // namespace

namespace zeka {

double MainsNoise()
{
    constexpr double kLargestRandom = 2147483647.0;
    switch (g_MainNoise) {
    case 0:
        return 0.0;
    case 1:
        return s_MainsNoiseAmplitude * std::sin(50.0 * kTwoPi * g_fOutputTime);
    case 3:
        return s_MainsNoiseAmplitude * (2.0 * std::rand() / kLargestRandom - 1.0);
    default:
        return s_MainsNoiseAmplitude * std::sin(60.0 * kTwoPi * g_fOutputTime);
    }
}

} // namespace zeka

double _GetMainFunctionVoltage(double t)
{
    switch (g_MainOutput) {
    case 1:
        return s_A * std::sin(g_F * kTwoPi * t);
    case 2:
        return WithDynamicRangeSine(Triangle(t));
    case 3:
        return WithDynamicRangeSine(Square(t));
    case 4:
        return RectangularPulse(t);
    case 5:
        return TriangularPulse(t);
    case 6:
        return 2.0 * s_A * std::exp(-t / kDecayS);
    case 7:
    case 8:
        return zeka::EcgVoltage(t);
    case 9:
        _CheckStandardLoop();
        return zeka::Wave227At(t);
    case 10:
        _CheckStandardLoop();
        return zeka::Wave251At(t);
    case 13:
        return BiphasicExponential(t);
    case 14:
    case 18:
        return zeka::FileVoltageAt(t);
    case 15:
        return InputDynamicRangeAc();
    case 16:
        _CheckStandardLoop();
        return zeka::Wave247At(t);
    case 17: {
        _CheckStandardLoop();
        const double v = zeka::Ane20000At(t); // before the noise: a random value is drawn per sample
        return v + zeka::MainsNoise();
    }
    default: // 11 and 12 are kept for complexes that do not exist yet
        return 0.0;
    }
}
