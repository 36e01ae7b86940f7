// signal_marks.cpp - computes from the options where beats, breaths and rounds lie.
#include "cli/playing/signal_marks.h"

#include <algorithm>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr double kMsPerS = 1000.0;
constexpr double kFixedOnsetS = 0.01;  // QRS onset of ecg in its period
constexpr double kOneSecondS = 1.0;    // a round of the 60601-2-51 waveforms and of ANE20000
constexpr double kFirstMinuteS = 60.0; // length of the 60601-2-47 patterns that is played

double RoundOf(const Selection& selection)
{
    unsigned length = 0;
    unsigned rate = 0;
    switch (selection.function->variants) {
    case Variants::kIec27:
        (void)GetSpecialWave227Array(selection.variant, &length, &rate);
        return rate == 0 ? 0.0 : static_cast<double>(length) / rate;
    case Variants::kIec51:
    case Variants::kLead:
        return kOneSecondS;
    case Variants::kIec47:
        return kFirstMinuteS;
    case Variants::kNone:
        break;
    }
    return 0.0;
}

void AskForEcg(MarkSettings& settings, const SignalOptions& options, bool adjustable)
{
    const double period_s = 1.0 / ZEKAGetFrequency();
    settings.has_beats = ZEKAGetAmplitude() != 0.0;
    settings.upright = ZEKAGetAmplitude() > 0.0;
    settings.qrs_s = std::min(ZEKAGetQRSDuration() / kMsPerS, period_s);
    const double onset_s = adjustable ? ZEKAGetPRInterval() / kMsPerS : kFixedOnsetS;
    const double r_peak_s = onset_s + kRiseShare * settings.qrs_s;
    const bool rate_breathes = options.breathing.breaths && options.breathing.rate_percent != 0;
    if (settings.has_beats && !rate_breathes && r_peak_s < period_s)
        settings.beats = MarkSettings::Beats{period_s, r_peak_s};
}

void AskForPacing(MarkSettings& settings)
{
    const double height_mv = ZEKAGetPacingAmplitude();
    settings.paced = height_mv != 0.0;
    settings.overshoot_mv = ZEKAGetOvershootAmplitude() * (height_mv > 0.0 ? -1.0 : 1.0);
    settings.overshoot_s = ZEKAGetOvershootTimeConstant() / kMsPerS;
}

} // namespace

MarkSettings MarkSettingsOf(const SignalOptions& options, const Selection& selection)
{
    MarkSettings settings;
    const bool adjustable = selection.Is("ecg-custom");
    if (adjustable || selection.Is("ecg"))
        AskForEcg(settings, options, adjustable);
    else
        settings.has_beats = selection.function->variants != Variants::kNone;
    if ((selection.function->heeds & kPacing) != 0)
        AskForPacing(settings);
    if (options.breathing.breaths)
        settings.apnea_s = options.breathing.apnea_s;
    settings.round_s = RoundOf(selection);
    return settings;
}

} // namespace zeka::cli
