// staircase.cpp (signal) - the DC staircase of the input dynamic range test, and where its steps are. The
// plain path calls it once per sample, the fast path once per run, under g_CriticalSection.
#include "signal/staircase.h"

#include <cstdint>

#include "signal/notify.h"
#include "signal/numeric.h"

namespace zeka {
namespace {

using staircase::kEndS, staircase::kTurnS;

// The callback is called on each of the first 12 samples of the stream and of the first 12 behind the end.
constexpr double kStartToldUntilS = 0.0003, kEndToldUntilS = 1220.0003;
constexpr double kFloorMv = -300.0;
constexpr double kStepMv = 0.5;
constexpr double kStepS = 0.5;
constexpr double kNearStepS = 0.0005; // steps and callbacks lie within this of a whole half second
constexpr double kTicksPerS = 10000.0;
constexpr std::int64_t kTicksPerStep = 5000;

/// Recognises the first sample of each half-second mark. At 40000 samples per second the four samples of one
/// tick all lie on the mark; the sample before, of whichever stream, shows which is the first.
class StepMark {
public:
    [[nodiscard]] bool IsNew(double time)
    {
        const auto tick = static_cast<std::int64_t>(Trunc(0.5 + time * kTicksPerS));
        const bool continues = tick == tick_ && time > time_ && time - time_ < 1.0 / kTicksPerS;
        tick_ = tick;
        time_ = time;
        return tick % kTicksPerStep == 0 && !continues;
    }
    void Forget() { tick_ = -1; }

private:
    std::int64_t tick_ = -1;
    double time_ = 0.0; // s, of the sample before
};

constinit StepMark step_mark ZEKA_LOCKED;

} // namespace

void RestartStaircase()
{
    s_InputDynamicRangeDC = kFloorMv;
    s_InputDynamicRangeAC = 0.0;
}

double StaircaseLevel() { return IsOnStairs(g_fOutputTime) ? s_InputDynamicRangeDC : kFloorMv; }

double StaircaseDc()
{
    const double time = g_fOutputTime;
    if (!IsOnStairs(time)) {
        step_mark.Forget();
        if (time < kStartToldUntilS || (time >= kEndS && time < kEndToldUntilS))
            Notify(g_SyncDCOffsetCB, static_cast<int>(kFloorMv));
        return kFloorMv;
    }
    if (step_mark.IsNew(time)) {
        s_InputDynamicRangeDC += time <= kTurnS ? kStepMv : -kStepMv;
        s_InputDynamicRangeAC = 0.0; // the ramp on the AC channel starts again from the new step
        Notify(g_SyncDCOffsetCB, TruncToInt(s_InputDynamicRangeDC));
    }
    return s_InputDynamicRangeDC;
}

double StaircaseRestsUntil(double time) noexcept
{
    const double step = kStepS * Trunc(time / kStepS);
    return time - step < kNearStepS ? time : step + (kStepS - kNearStepS);
}

} // namespace zeka
