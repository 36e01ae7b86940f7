// mark_finder.cpp - reads pacing pulses from the DC channel, passes the AC channel to the beat finder, and
// puts all marks in the order of time.
#include "cli/marks/mark_finder.h"

#include "cli/marks/beat_finder.h"

#include <algorithm>
#include <cmath>

namespace zeka::cli {
namespace {

constexpr double kRate = 40000.0;
constexpr double kMsPerS = 1000.0;
constexpr double kMinuteS = 60.0;
constexpr double kFastestBeat = 6.0;         // per s
constexpr std::uint64_t kOnsetBefore = 4000; // samples: the longest time from a QRS onset to its R peak

std::uint64_t SampleAt(double seconds) { return static_cast<std::uint64_t>(std::llround(seconds * kRate)); }

} // namespace

double MarkSettings::MarksPerSecond() const
{
    constexpr double kPulsesOfFastest = 2.0 * 6.0; // 360 per minute, two pulses each
    double marks = 1.0;                            // apnea
    if (has_beats)
        marks += (qrs_s > 0.0 ? 3.0 : 1.0) * (beats ? 1.0 / beats->period_s : 2.0 * kFastestBeat);
    if (paced)
        marks += kPulsesOfFastest;
    if (round_s > 0.0)
        marks += 1.0 / round_s;
    return marks;
}

MarkFinder::MarkFinder(const MarkSettings& settings, MarkSink sink)
    : settings_(settings), sink_(std::move(sink))
{
    if (settings_.has_beats)
        beats_ = std::make_unique<BeatFinder>(settings_, [this](std::uint64_t r_peak) { AddBeat(r_peak); });
}

MarkFinder::~MarkFinder() = default;

void MarkFinder::Take(std::span<const double> ac_mv, std::span<const double> dc_mv)
{
    if (ac_mv.empty())
        return;
    const std::uint64_t first = count_;
    if (beats_ != nullptr && settings_.paced && settings_.overshoot_s > 0.0) {
        RemoveOvershoot(ac_mv, dc_mv);
        beats_->Take(clean_);
    } else if (beats_ != nullptr)
        beats_->Take(ac_mv);
    if (settings_.paced)
        TakePacing(dc_mv);
    count_ = first + ac_mv.size();
    AddKnown();
    constexpr std::uint64_t kLag = BeatFinder::kLag + kOnsetBefore;
    if (count_ > kLag)
        HandOn(count_ - kLag);
}

void MarkFinder::End()
{
    if (beats_ != nullptr)
        beats_->End();
    if (pulse_)
        Add(*pulse_); // cut off by the end of the signal
    pulse_.reset();
    HandOn(UINT64_MAX);
}

void MarkFinder::TakePacing(std::span<const double> dc_mv)
{
    if (!pulse_ && std::ranges::none_of(dc_mv, [](double mv) { return mv != 0.0; }))
        return;
    for (std::size_t i = 0; i < dc_mv.size(); ++i) {
        if (dc_mv[i] != 0.0) {
            if (!pulse_)
                pulse_ = formats::Mark{formats::MarkKind::kPacing, count_ + i, 0.0, dc_mv[i]};
            pulse_->width_ms = static_cast<double>(count_ + i + 1 - pulse_->sample) / (kRate / kMsPerS);
        } else if (pulse_) {
            Add(*pulse_);
            pulse_.reset();
        }
    }
}

void MarkFinder::RemoveOvershoot(std::span<const double> ac_mv, std::span<const double> dc_mv)
{
    const double decay = std::exp(-1.0 / (settings_.overshoot_s * kRate));
    clean_.assign(ac_mv.begin(), ac_mv.end());
    for (std::size_t i = 0; i < clean_.size(); ++i) {
        if (dc_mv[i] != 0.0) {
            overshoot_mv_ = settings_.overshoot_mv; // begins with the first sample after the pulse
            continue;
        }
        clean_[i] -= overshoot_mv_;
        overshoot_mv_ *= decay;
    }
}

void MarkFinder::AddBeat(std::uint64_t r_peak)
{
    Add({formats::MarkKind::kRPeak, r_peak});
    if (settings_.qrs_s <= 0.0)
        return;
    const std::uint64_t rise = SampleAt(kRiseShare * settings_.qrs_s);
    if (r_peak >= rise)
        Add({formats::MarkKind::kQrsOnset, r_peak - rise});
    Add({formats::MarkKind::kQrsEnd, r_peak - rise + SampleAt(settings_.qrs_s)});
}

/// Adds the marks whose times are known, up to the current sample.
void MarkFinder::AddKnown()
{
    const auto within = [this](double seconds) { return SampleAt(seconds) < count_; };
    const auto round_begin_s = [this] { return static_cast<double>(next_round_) * settings_.round_s; };
    for (; within(round_begin_s()) && (next_round_ == 0 || settings_.round_s > 0.0); ++next_round_)
        Add({formats::MarkKind::kPlayMark, SampleAt(round_begin_s())});
    if (settings_.apnea_s <= 0.0)
        return;
    for (;; ++next_minute_) { // two events a minute
        const auto minute = next_minute_ / 2 + 1;
        const double minute_s = static_cast<double>(minute) * kMinuteS;
        const bool begin = next_minute_ % 2 == 0;
        const double at_s = begin ? minute_s - settings_.apnea_s : minute_s;
        if (!within(at_s))
            return;
        Add({begin ? formats::MarkKind::kApneaBegin : formats::MarkKind::kApneaEnd, SampleAt(at_s)});
    }
}

void MarkFinder::Add(const formats::Mark& mark)
{
    const auto later = [](const formats::Mark& a, const formats::Mark& b) { return a.sample < b.sample; };
    found_.insert(std::upper_bound(found_.begin(), found_.end(), mark, later), mark);
}

void MarkFinder::HandOn(std::uint64_t before)
{
    while (!found_.empty() && found_.front().sample < before) {
        // A QRS may end after the signal.
        if (sink_ && (before != UINT64_MAX || found_.front().sample < count_))
            sink_(found_.front());
        found_.pop_front();
    }
}

} // namespace zeka::cli
