// marks_test.cpp - marks are found where they were put, however the samples come in pieces.
#include "cli/marks/mark_finder.h"
#include "formats/writers.h"

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>

namespace zeka::cli {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr double kRate = 40000.0;

struct Signal {
    explicit Signal(double seconds)
        : ac_mv(static_cast<std::size_t>(seconds * kRate), 0.0), dc_mv(ac_mv.size(), 0.0)
    {
    }
    /// A triangle of 80 ms with its tip at that sample.
    void AddBeat(std::size_t at, double height_mv)
    {
        constexpr std::size_t kHalf = 1600;
        for (std::size_t i = at - kHalf; i <= at + kHalf; ++i)
            ac_mv.at(i) +=
                height_mv * (1.0 - std::abs(static_cast<double>(i) - static_cast<double>(at)) / kHalf);
    }
    void AddPulse(std::size_t at, std::size_t samples, double height_mv)
    {
        std::fill_n(dc_mv.begin() + static_cast<std::ptrdiff_t>(at), samples, height_mv);
    }
    std::vector<double> ac_mv, dc_mv;
};

/// All marks of the kind; every one in the order of time, and no later than a writer waits for it.
std::vector<formats::Mark> Find(const MarkSettings& settings, const Signal& signal, formats::MarkKind kind)
{
    std::vector<formats::Mark> found;
    std::uint64_t taken = 0;
    std::uint64_t before = 0;
    MarkFinder finder(settings, [&](const formats::Mark& mark) {
        EXPECT_GE(mark.sample, before);
        EXPECT_LE(taken, mark.sample + formats::RecordingWriter::kMarkLag);
        before = mark.sample;
        if (mark.kind == kind)
            found.push_back(mark);
    });
    for (std::size_t piece = 1; taken < signal.ac_mv.size(); piece = piece * 3 % 7001 + 1) {
        const std::size_t count = std::min<std::size_t>(piece, signal.ac_mv.size() - taken);
        taken += count;
        finder.Take(std::span(signal.ac_mv).subspan(taken - count, count),
                    std::span(signal.dc_mv).subspan(taken - count, count));
    }
    finder.End();
    return found;
}

std::vector<std::uint64_t> SamplesOf(const std::vector<formats::Mark>& marks)
{
    std::vector<std::uint64_t> samples;
    for (const formats::Mark& mark : marks)
        samples.push_back(mark.sample);
    return samples;
}

TEST(Marks, PacingPulsesHaveWidthAndSign)
{
    Signal signal(1.0);
    signal.AddPulse(0, 4, 5.0);
    signal.AddPulse(7001, 80, -700.0);
    signal.AddPulse(39'990, 10, 2.0); // cut off by the end
    MarkSettings settings;
    settings.paced = true;
    const std::vector<formats::Mark> pulses = Find(settings, signal, formats::MarkKind::kPacing);
    EXPECT_THAT(SamplesOf(pulses), ElementsAre(0, 7001, 39'990));
    EXPECT_DOUBLE_EQ(pulses.at(0).width_ms, 0.1);
    EXPECT_DOUBLE_EQ(pulses.at(1).width_ms, 2.0);
    EXPECT_EQ(pulses.at(1).amplitude_mv, -700.0);
    EXPECT_DOUBLE_EQ(pulses.at(2).width_ms, 0.25);
}

// Longer than what is kept, so that old samples go in between. What pulses leave behind is as steep as a
// beat.
TEST(Marks, BeatsThatNoSettingTellsAreFoundByTheirSteepness)
{
    constexpr double kOvershootMv = 2.0;
    constexpr double kOvershootS = 0.01;
    Signal signal(40.0);
    std::vector<std::uint64_t> peaks;
    for (std::size_t at = 9000; at + 60'000 < signal.ac_mv.size(); at += 30'000 + at % 7919) {
        signal.AddBeat(at, peaks.size() % 2 == 0 ? 1.0 : 0.7);
        signal.AddPulse(at + 15'000, 80, 100.0);
        for (std::size_t i = 0; i < 8000; ++i)
            signal.ac_mv[at + 15'080 + i] -=
                kOvershootMv * std::exp(-static_cast<double>(i) / (kOvershootS * kRate));
        peaks.push_back(at);
    }
    MarkSettings settings;
    settings.has_beats = true;
    settings.paced = true;
    settings.overshoot_mv = -kOvershootMv;
    settings.overshoot_s = kOvershootS;
    ASSERT_GT(peaks.size(), 40u);
    EXPECT_EQ(SamplesOf(Find(settings, signal, formats::MarkKind::kRPeak)), peaks);
    EXPECT_THAT(Find(settings, signal, formats::MarkKind::kPacing), SizeIs(peaks.size()));
}

// 5 samples beside the place that the settings tell, with QRS on and off around it; the last one ends beyond
// the signal.
TEST(Marks, BeatsOfTheSettingsAreTheHighestSampleNearTheirPlace)
{
    Signal signal(3.05);
    MarkSettings settings;
    settings.has_beats = true;
    settings.qrs_s = 0.1;
    settings.beats = MarkSettings::Beats{1.0, 0.5};
    settings.upright = false;
    for (std::size_t beat = 0; beat < 3; ++beat)
        signal.AddBeat(beat * 40'000 + 20'005, -1.0);
    const std::uint64_t rise = 1750; // 7/16 of 100 ms
    EXPECT_THAT(SamplesOf(Find(settings, signal, formats::MarkKind::kRPeak)),
                ElementsAre(20'005, 60'005, 100'005));
    EXPECT_THAT(SamplesOf(Find(settings, signal, formats::MarkKind::kQrsOnset)),
                ElementsAre(20'005 - rise, 60'005 - rise, 100'005 - rise));
    signal.ac_mv.resize(101'000);
    signal.dc_mv.resize(101'000);
    EXPECT_THAT(SamplesOf(Find(settings, signal, formats::MarkKind::kQrsEnd)),
                ElementsAre(20'005 - rise + 4000, 60'005 - rise + 4000));
}

TEST(Marks, RoundsAndApneaFollowTheClock)
{
    const Signal signal(125.0);
    MarkSettings settings;
    settings.apnea_s = 10.0;
    settings.round_s = 50.0;
    EXPECT_THAT(SamplesOf(Find(settings, signal, formats::MarkKind::kPlayMark)),
                ElementsAre(0, 2'000'000, 4'000'000));
    EXPECT_THAT(SamplesOf(Find(settings, signal, formats::MarkKind::kApneaBegin)),
                ElementsAre(2'000'000, 4'400'000));
    EXPECT_THAT(SamplesOf(Find(settings, signal, formats::MarkKind::kApneaEnd)),
                ElementsAre(2'400'000, 4'800'000));
}

} // namespace
} // namespace zeka::cli
