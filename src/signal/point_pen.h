// point_pen.h (signal) - the pen of the plain path: draws a shape of signal/shapes.h at one instant. It draws
// the first piece that contains the instant.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "signal/numeric.h"

namespace zeka {

class PointPen {
public:
    /// t: time within the period (s); stream_time: s; scale: R scale of a beat (mV); breath: -1 .. 1.
    explicit PointPen(double t, double stream_time, double scale = 0.0, double breath = 0.0) noexcept
        : t_(t), stream_time_(stream_time), scale_(scale), breath_(breath)
    {
    }

    [[nodiscard]] double Millivolts() const noexcept { return mv_; }
    [[nodiscard]] double StreamTime() const noexcept { return stream_time_; }

    template <typename Formula> bool Until(double bound, Formula formula)
    {
        return t_ < bound && ToTheEnd(formula);
    }
    template <typename Formula> bool ToTheEnd(Formula formula)
    {
        if constexpr (std::is_invocable_v<Formula, double, double>)
            mv_ = formula(t_, scale_);
        else
            mv_ = formula(t_);
        return true;
    }
    template <typename Lookup> void Held(double, Lookup lookup, const double*, int) { mv_ = lookup(t_); }
    void Ramp(double& level, double step) { mv_ = level += step; }

    void AddSine(double amplitude, double w) { mv_ += amplitude * std::sin(w * stream_time_); }
    void AddRandom(double amplitude, double largest)
    {
        mv_ += amplitude * (2.0 * std::rand() / largest - 1.0);
    }
    void AddBreath(double swing) { mv_ += swing * breath_; }
    void Limit(double limit) { mv_ = std::clamp(mv_, -limit, limit); }

    /// Draws the pieces of a wave with this period, on the clock of the stream, over what is drawn already.
    template <typename Draw> void AlongWave(double period, Draw draw)
    {
        Wave wave{mv_, TimeInPeriod(stream_time_, period)};
        draw(wave);
    }

private:
    struct Wave {
        double& mv;
        double x;

        template <typename Formula> bool Until(double bound, Formula formula)
        {
            return x < bound && ToTheEnd(formula);
        }
        template <typename Formula> bool ToTheEnd(Formula formula)
        {
            mv = formula(mv, x);
            return true;
        }
    };

    double t_, stream_time_, scale_, breath_;
    double mv_ = 0.0;
};

} // namespace zeka
