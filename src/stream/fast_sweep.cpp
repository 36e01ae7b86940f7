// fast_sweep.cpp (stream) - the main voltage while a frequency sweep runs. Every sample has a frequency and a
// period of its own and the clock follows the phase, so only divisions and truncations with a known result
// can be left out. Runs under g_CriticalSection.
#include "stream/fast_sweep.h"

#include <cmath>

#include "signal/ecg.h"
#include "signal/functions.h"
#include "signal/numeric.h"
#include "signal/shapes.h"
#include "util/peek.h"

namespace zeka {
namespace {

/// Clock, frequency and period of the sweep, held in registers while a run is made.
class Sweep {
public:
    Sweep() ZEKA_NEEDS_LOCK : time_(g_fOutputTime),
                              period_(g_fTimePeriod),
                              hz_(g_F),
                              step_hz_(s_Fd),
                              dt_(1.0 / g_nSampleRate)
    {
    }

    [[nodiscard]] double Hz() const { return hz_; }

    /// The time is the clock itself within the first period, where the sweep's clock always is: a quotient of
    /// two doubles rounds to 1 or more exactly when the dividend is not below the divisor.
    [[nodiscard]] double TimeInPeriodNow() const
    {
        return time_ >= 0.0 && time_ < period_ ? time_ : TimeInPeriod(time_, period_);
    }

    void Advance()
    {
        const double periods = (time_ + dt_) / period_;
        double phase = periods;
        if (!(periods >= 0.0 && periods < 1.0)) [[unlikely]]
            phase = periods - Trunc(periods);
        hz_ += step_hz_;
        period_ = 1.0 / hz_;
        time_ = period_ * phase;
    }

    void Store() const ZEKA_NEEDS_LOCK
    {
        g_fOutputTime = time_;
        g_fTimePeriod = period_;
        Publish(g_F, hz_);
    }

private:
    double time_, period_, hz_, step_hz_, dt_;
};

void AdvanceGraphClock(int count) ZEKA_NEEDS_LOCK
{
    const double dt = 1.0 / g_nSampleRate;
    double time = g_fOutputTimeGraph;
    for (int i = 0; i < count; ++i)
        time += dt;
    g_fOutputTimeGraph = time;
}

} // namespace

bool CanSweepFast() { return g_MainOutput == ZEKA_FUNCTION_SINE || KindOf(g_MainOutput) == Kind::kEcg; }

void SweepMainVoltage(int count, RunBuffer& mv)
{
    Sweep sweep;
    if (g_MainOutput == ZEKA_FUNCTION_SINE) {
        const double a = s_A;
        for (int i = 0; i < count; ++i) {
            const double x = SineArgument(sweep.Hz(), sweep.TimeInPeriodNow());
            sweep.Advance(); // before the sine, so that the two overlap
            mv[static_cast<std::size_t>(i)] = a * std::sin(x);
        }
        sweep.Store();
    } else {
        for (int i = 0; i < count; ++i) {
            mv[static_cast<std::size_t>(i)] = EcgVoltage(sweep.TimeInPeriodNow());
            sweep.Advance();
            sweep.Store(); // beat clock, noise and drift read it
        }
    }
    AdvanceGraphClock(count);
}

} // namespace zeka
