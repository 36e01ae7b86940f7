// pacing.cpp - pacemaker pulses on the DC channel and the overshoot they leave on the AC channel. Called once
// per sample (40000/s) under g_CriticalSection; allocates nothing, calls exp() at most once. Settings come
// from pacing_settings.cpp, clock and period from signal/state.h.
//
// Two things are not computed for every sample. Nothing can start between two marks of the pacing clock, so
// the clock is divided into periods only near its marks. The exponentials repeat with every pulse, so each is
// computed once and kept as the same double.
#include "signal/pacing.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstddef>

#include "signal/ecg.h"
#include "signal/numeric.h"
#include "signal/staircase.h"

namespace zeka {
namespace {

constexpr double kNearMarkS = 0.000105; // a pulse starts with the first sample this near to a mark
constexpr double kRearmS = 0.01;        // its trigger arms again this long after the mark
constexpr double kWholeSlack = 1e-6;    // periods: rounding may leave a mark just below a whole number
constexpr double kSecondPulse1S = 0.15; // pulse mode 1
constexpr double kSecondPulse2S = 0.25; // pulse mode 2
constexpr double kSlowestSyncS = 6.0;   // periods outside 10 .. 360 per minute are not followed
constexpr double kFastestSyncS = 1.0 / 6.0;
constexpr double kTriangleDelayS = 0.01;
constexpr int kNoPulseYet = 1000;

/// Time since the pacing clock's last mark, s; slightly below zero where the slack counts a mark as reached.
/// While the shifted clock itself is below zero (a late QRS, at the start of a stream) the time counts up to
/// the mark, so that one pulse comes four samples early.
double SinceMark(double offset) ZEKA_NEEDS_LOCK
{
    const double t = g_fOutputTime + offset;
    const double k = Trunc(t / s_pp + kWholeSlack);
    return t - k * s_pp;
}

/// A stretch of stream time in which examining the triggers would change nothing. It holds for one pacing
/// clock only, so it contains everything that the clock depends on. Invariant: the latches change only
/// when the triggers are examined.
struct QuietStretch {
    double from = 0.0, until = 0.0; // s of stream time, from <= time < until
    double offset = 0.0, period = 0.0;
    int mode = 0;

    [[nodiscard]] bool Covers(double clock_offset) const ZEKA_NEEDS_LOCK
    {
        return g_fOutputTime >= from && g_fOutputTime < until && clock_offset == offset && s_pp == period &&
               g_PacingPulse == mode;
    }
};

/// How long a trigger just examined stays as it is, s; shortened by far more than the clock's rounding.
double QuietFor(double offset, bool latch) ZEKA_NEEDS_LOCK
{
    constexpr double kMarginS = 0.000001;
    const double d = SinceMark(offset);
    if (latch)
        return kRearmS - d - kMarginS;
    const double to_mark = d < 0.0 ? -d : s_pp - d; // below zero: before the first mark of the stream
    return to_mark - kNearMarkS - kMarginS;
}

/// The exponentials for the settings in use, each computed when first needed. Room, in samples: a pulse lasts
/// at most 3 ms, the overshoot of the slowest rate (10 per minute) 6 s.
class PulseShape {
public:
    /// Pulse length in samples; forgets the values when the settings they belong to have changed.
    int Length() ZEKA_NEEDS_LOCK
    {
        if (g_PacingDuration != duration_ || g_nSampleRate != rate_ || s_OTC != time_constant_) {
            duration_ = g_PacingDuration;
            rate_ = g_nSampleRate;
            time_constant_ = s_OTC;
            length_ = TruncToInt(0.5 + rate_ * duration_ / 1000.0);
            decay_known_ = 0;
            droop_.fill(-1.0);
        }
        return length_;
    }

    /// exp(-sample / length): the share of the droop that is still to come.
    double Droop(int sample)
    {
        assert(sample >= 0 && length_ > 0); // within a pulse
        if (static_cast<std::size_t>(sample) >= droop_.size())
            return std::exp(-static_cast<double>(sample) / length_);
        double& value = droop_[static_cast<std::size_t>(sample)];
        if (value < 0.0)
            value = std::exp(-static_cast<double>(sample) / length_);
        return value;
    }

    /// The overshoot's decay, `sample` samples after the start of the pulse. REQUIRES: the pulse is over.
    double Decay(int sample)
    {
        assert(sample >= length_); // behind it
        const auto behind = static_cast<std::size_t>(sample - length_);
        if (behind < decay_known_)
            return decay_[behind];
        const double value = std::exp((length_ - sample) / (time_constant_ * rate_));
        if (behind == decay_known_ && behind < decay_.size())
            decay_[decay_known_++] = value;
        return value;
    }

private:
    double duration_ = 0.0, time_constant_ = 0.0;
    int rate_ = 0, length_ = 0;
    std::size_t decay_known_ = 0; // decay_ is filled in order, one sample after the other
    std::array<double, 128> droop_{};
    std::array<double, 1 << 18> decay_{};
};

constinit PulseShape shape;

/// The running pulse or its overshoot at this sample: DC voltage as result, overshoot added to acc.
double PulseVoltage(double& acc) ZEKA_NEEDS_LOCK
{
    const int length = shape.Length();
    const double sign = g_PA > 0 ? -1.0 : 1.0; // droop and overshoot oppose the pulse
    if (length - s_ppc > 0) {
        s_PacingPulseRaised = true;
        ++s_ppc;
        double droop = 0.0;
        if (s_OTC != 0 && s_ppc > 1)
            droop = sign * std::fabs(g_POA) * (1 - shape.Droop(s_ppc));
        return g_PA + droop;
    }
    if (s_OTC == 0 || !s_PacingPulseRaised)
        return 0.0;
    const double e = shape.Decay(s_ppc);
    ++s_ppc;
    acc += sign * std::fabs(g_POA) * e;
    return 0.0;
}

/// Shift of the pacing clock, s: what makes a pulse lead the QRS.
double ClockOffset() ZEKA_NEEDS_LOCK
{
    return g_Pacing_leading - (g_MainOutput == ZEKA_FUNCTION_ADJUSTABLE_ECG ? s_Cus_t2 : kFixedQrsOnsetS);
}

constinit QuietStretch quiet;

} // namespace

int QuietPacingSamples(int limit)
{
    assert(limit >= 0);
    if (s_PulsesRequired < 1 || !quiet.Covers(ClockOffset()))
        return 0;
    // The last one is left out because of rounding.
    const double samples = (quiet.until - g_fOutputTime) * g_nSampleRate - 1;
    return std::clamp(TruncToInt(samples), 0, limit);
}

void QuietPacing(std::span<double> dc, std::span<double> overshoot)
{
    assert(dc.size() == overshoot.size() && s_PulsesRequired >= 1);
    std::size_t i = 0;
    for (const int length = shape.Length(); i < dc.size() && length - s_ppc > 0; ++i) {
        overshoot[i] = 0.0;
        dc[i] = PulseVoltage(overshoot[i]);
    }
    const auto rest = dc.size() - i;
    std::fill_n(dc.begin() + static_cast<std::ptrdiff_t>(i), rest, 0.0);
    if (s_OTC == 0 || !s_PacingPulseRaised) {
        std::fill_n(overshoot.begin() + static_cast<std::ptrdiff_t>(i), rest, 0.0);
        return;
    }
    const double height = (g_PA > 0 ? -1.0 : 1.0) * std::fabs(g_POA);
    for (; i < dc.size(); ++i, ++s_ppc)
        overshoot[i] = 0.0 + height * shape.Decay(s_ppc); // the sum turns a -0.0 into 0.0
}

void DerivePacing()
{
    s_PulsesRequired = 0;
    s_PacDelayTP = 0.0;
    if (g_PA == 0.0)
        return; // the rest keeps its values: none is read while pacing is off

    s_PulsesRequired = g_PacingPulse != 0 ? 2 : 1;
    s_OTC = g_PacingOvershootTC / 1000.0;
    s_ppc = kNoPulseYet;
    s_PacingPulseRaised = false;
    const bool followable = !(g_fTimePeriod > kSlowestSyncS || g_fTimePeriod < kFastestSyncS);
    s_pp = followable && g_pacingSynchronized ? g_fTimePeriod : 60.0 / g_PacingRate;
    s_PacDelayTP = kTriangleDelayS;
}

} // namespace zeka

void _CheckIfPacingPulseNeeded(double offset, bool& latch)
{
    const double d = zeka::SinceMark(offset);
    if (latch) {
        if (d > zeka::kRearmS)
            latch = false;
    } else if (std::fabs(d) < zeka::kNearMarkS) {
        s_ppc = 0; // also cuts the pulse before and its overshoot short
        s_PacingIndicationNeeded = true;
        latch = true;
    }
}

double _GetPacingV5(double& acc)
{
    // The latches outlive every change and restart, so that a setting that changes at a mark does
    // not start a second pulse there.
    static constinit bool _PacingPulse0Triggered = false;
    static constinit bool _PacingPulse1Triggered = false;
    static constinit bool _PacingPulse2Triggered = false;

    if (s_PulsesRequired >= 1) {
        const double offset = zeka::ClockOffset();
        if (!zeka::quiet.Covers(offset)) {
            _CheckIfPacingPulseNeeded(offset, _PacingPulse0Triggered);
            double quiet_s = zeka::QuietFor(offset, _PacingPulse0Triggered);
            if (g_PacingPulse == 1) {
                _CheckIfPacingPulseNeeded(offset + zeka::kSecondPulse1S, _PacingPulse1Triggered);
                quiet_s =
                    std::min(quiet_s, zeka::QuietFor(offset + zeka::kSecondPulse1S, _PacingPulse1Triggered));
            } else if (g_PacingPulse == 2) {
                _CheckIfPacingPulseNeeded(offset + zeka::kSecondPulse2S, _PacingPulse2Triggered);
                quiet_s =
                    std::min(quiet_s, zeka::QuietFor(offset + zeka::kSecondPulse2S, _PacingPulse2Triggered));
            }
            zeka::quiet = {g_fOutputTime, g_fOutputTime + quiet_s, offset, s_pp, g_PacingPulse};
        }
        return zeka::PulseVoltage(acc);
    }
    return zeka::UnpacedDc(zeka::StaircaseDc);
}
