// run_pen.h (stream) - the pen of the fast path: draws the shapes of signal/shapes.h over a whole run of
// samples, piece by piece, with everything constant taken out of the loops. The formulas are those of the
// plain path, evaluated on the same doubles; a test compares the two. Under g_CriticalSection.
#pragma once

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <type_traits>

#include "signal/numeric.h"
#include "signal/shapes.h"
#include "stream/fast_words.h"
#include "stream/sample_run.h"

namespace zeka {

/// Calls fill(i, end) once for every stretch of samples with the same trunc(rate * time).
template <typename Fill> void ForEachHeld(const SampleRun& run, const RunTimes& times, double rate, Fill fill)
{
    const auto position = [&times, rate](int i) { return rate * times(i); };
    for (int i = 0; i < run.Count();) {
        const double whole = Trunc(position(i));
        const double guess = i + run.SamplesIn((whole + 1.0) / rate - times(i));
        const int end = run.FirstReaching(position, whole + 1.0, i + 1, guess);
        fill(i, end);
        i = end;
    }
}

/// Scale(i): the R scale of sample i.
struct NoScale {
    double operator()(int) const noexcept { return 0.0; }
};

template <typename Scale = NoScale> class RunPen {
public:
    /// base: stream time (s) at which the period or the beat began; breath: of each sample, or null.
    RunPen(const SampleRun& run, double base, RunBuffer& mv, Scale scale = {},
           const RunBuffer* breath = nullptr) noexcept
        : run_(run), times_(run, base), mv_(mv), scale_(scale), breath_(breath)
    {
    }

    [[nodiscard]] double StreamTime() const noexcept { return run_.Time(0); }

    /// Draws nothing when the piece before ended behind the bound.
    template <typename Formula> bool Until(double bound, Formula formula)
    {
        To(times_.FirstAt(bound, at_), formula);
        return at_ == run_.Count();
    }
    template <typename Formula> bool ToTheEnd(Formula formula)
    {
        To(run_.Count(), formula);
        return true;
    }

    template <typename Lookup> void Held(double rate, Lookup lookup, const double* raw, int count)
    {
        assert(at_ == 0);
        constexpr double kFewSamplesHeld = 8.0;
        if (run_.SamplesIn(1.0) >= kFewSamplesHeld * rate)
            ForEachHeld(run_, times_, rate, [&](int from, int end) {
                std::fill_n(mv_.begin() + from, end - from, lookup(times_(from)));
            });
        else if (raw != nullptr && rate * times_(0) > -1.0 && rate * times_(run_.Count() - 1) < count)
            ToTheEnd([raw, rate](double t) { return raw[static_cast<std::int32_t>(rate * t)]; });
        else
            ToTheEnd(lookup);
    }

    void Ramp(double& level, double step)
    {
        assert(at_ == 0);
        double value = level;
        for (int i = 0; i < run_.Count(); ++i)
            At(i) = value += step;
        level = value;
    }

    void AddSine(double amplitude, double w)
    {
        RunBuffer arguments;
        const SampleRun run = run_;
        for (int i = 0; i < run.Count(); ++i)
            arguments[static_cast<std::size_t>(i)] = w * run.Time(i);
        for (int i = 0; i < run.Count(); ++i)
            At(i) += amplitude * std::sin(arguments[static_cast<std::size_t>(i)]);
    }

    void AddRandom(double amplitude, double largest)
    {
        for (int i = 0; i < run_.Count(); ++i)
            At(i) += amplitude * (2.0 * std::rand() / largest - 1.0);
    }

    void AddBreath(double swing)
    {
        assert(breath_ != nullptr);
        for (int i = 0; i < run_.Count(); ++i)
            At(i) += swing * (*breath_)[static_cast<std::size_t>(i)];
    }

    void Limit(double limit)
    {
        LimitVoltages(std::span(mv_).first(static_cast<std::size_t>(run_.Count())), limit);
    }

    template <typename Draw> void AlongWave(double period, Draw draw)
    {
        for (int from = 0; from < run_.Count();) {
            const Turn turn = TurnAt(run_, period, from);
            Wave wave{mv_, RunTimes(run_, turn.base), from, turn.end};
            draw(wave);
            from = turn.end;
        }
    }

private:
    /// One turn of a wave, drawn over what is drawn already: formula(v, x).
    struct Wave {
        RunBuffer& mv;
        RunTimes x;
        int at, end;

        template <typename Formula> bool Until(double bound, Formula formula)
        {
            To(std::min(x.FirstAt(bound, at), end), formula);
            return at == end;
        }
        template <typename Formula> bool ToTheEnd(Formula formula)
        {
            To(end, formula);
            return true;
        }

        template <typename Formula> void To(int until, Formula formula)
        {
            const RunTimes time = x;
            for (int i = at; i < until; ++i) {
                double& v = mv[static_cast<std::size_t>(i)];
                v = formula(v, time(i));
            }
            at = until;
        }
    };

    double& At(int i) { return mv_[static_cast<std::size_t>(i)]; }

    template <typename Formula> void To(int end, Formula formula)
    {
        assert(end <= run_.Count());
        const RunTimes times = times_; // by value: the stores below could alias a reference
        const Scale scale = scale_;
        RunBuffer& mv = mv_;
        for (int i = at_; i < end; ++i) {
            if constexpr (std::is_invocable_v<Formula, double, double>)
                mv[static_cast<std::size_t>(i)] = formula(times(i), scale(i));
            else
                mv[static_cast<std::size_t>(i)] = formula(times(i));
        }
        at_ = end;
    }

    void To(int end, Flat flat)
    {
        assert(end <= run_.Count());
        if (at_ < end)
            std::fill_n(mv_.begin() + at_, end - at_, flat.mv);
        at_ = std::max(at_, end);
    }

    template <typename Argument, typename Curve> void To(int end, InTwoSteps<Argument, Curve> formula)
    {
        const int from = at_;
        To(end, formula.argument);
        for (int i = from; i < end; ++i)
            At(i) = formula.curve(At(i));
    }

    const SampleRun& run_;
    RunTimes times_;
    RunBuffer& mv_;
    Scale scale_;
    const RunBuffer* breath_;
    int at_ = 0;
};

} // namespace zeka
