// tables_rhythm_test.cpp - every beat of the IEC 60601-2-27 waveforms is where heart-rate meters expect it.
#include "signal/tables/generator/ec13.h"
#include "signal/tables/tables.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <span>

namespace {
using namespace zeka::maketables;
constexpr double kSamplesPerMs = 0.72;
constexpr std::size_t kHeadSamples = 22140; // calibration pulses before the rhythm, waveforms 4 to 9

std::span<const int> Waveform(std::size_t i)
{
    return std::span(IEC227W).subspan(i * zeka::wave227::kSlots, zeka::wave227::kSamples[i]);
}

/// Straight lines between the knots: coarser than the tables' curve, and computed apart from it.
double Sketch(const Loop& loop, double ms)
{
    const Pair first{loop.knots.front().at + loop.period_ms, loop.knots.front().value};
    auto after = std::ranges::upper_bound(loop.knots, ms, {}, &Pair::at);
    const Pair b = after == loop.knots.end() ? first : *after;
    const Pair a = *(after - 1); // every loop has a knot at 0
    return a.value + (b.value - a.value) * (ms - a.at) / (b.at - a.at);
}

/// By how many samples (-4 to 4) a stretch of the waveform comes later than the sketch of it.
int Lag(std::span<const int> waveform, std::size_t begin, const std::vector<double>& sketch)
{
    int best = 0;
    double least = std::numeric_limits<double>::infinity();
    for (int lag = -4; lag <= 4; ++lag) {
        double sum = 0;
        for (std::size_t k = 0; k < sketch.size(); ++k)
            sum += std::pow(waveform[begin + k + static_cast<std::size_t>(lag + 4) - 4] - sketch[k], 2);
        if (sum < least) {
            least = sum;
            best = lag;
        }
    }
    return best;
}

double Swing(const std::vector<double>& values)
{
    const auto [low, high] = std::ranges::minmax(values);
    return high - low;
}

class Rhythm : public testing::TestWithParam<std::size_t> {};

TEST_P(Rhythm, EveryBeatIsInItsPlaceWithinOneSample)
{
    const std::vector<Ec13Record> records =
        ReadEc13Figures(ReadSections(FIGURES_DIR "/iec60601-2-27.figures", "record"));
    const std::size_t index = GetParam();
    const Loop& loop = records[index].loop.value();
    const std::span<const int> waveform = Waveform(index);
    const std::size_t head = index < 4 ? 0 : kHeadSamples;
    constexpr std::size_t kStretch = 120; // samples, 167 ms: one complex
    double whole = 0;
    for (const Pair& knot : loop.knots)
        whole = std::max(whole, std::abs(knot.value - loop.knots.front().value));

    int compared = 0;
    for (std::size_t c = 0; c + 1 < loop.onsets_ms.size(); ++c) {
        const double begin_ms = loop.onsets_ms[c];
        const double length_ms = loop.onsets_ms[c + 1] - begin_ms;
        EXPECT_NEAR(length_ms, loop.period_ms, 2.0) << "repetition " << c; // the tapes ran as evenly as that
        for (double ms = begin_ms; ms + kStretch / kSamplesPerMs <= begin_ms + length_ms;
             ms += kStretch / kSamplesPerMs) {
            if (ms < 10)
                continue;
            const auto begin = static_cast<std::size_t>(ms * kSamplesPerMs);
            std::vector<double> sketch;
            for (std::size_t k = 0; k < kStretch; ++k) {
                const double t = static_cast<double>(begin + k) / kSamplesPerMs;
                sketch.push_back(
                    Sketch(loop, std::clamp((t - begin_ms) / length_ms, 0.0, 0.999999) * loop.period_ms));
            }
            if (head + begin + kStretch + 4 > waveform.size() || Swing(sketch) < 0.7 * whole)
                continue;
            ++compared;
            EXPECT_LE(std::abs(Lag(waveform, head + begin, sketch)), 1) << "at " << ms << " ms";
        }
    }
    EXPECT_GE(compared,
              static_cast<int>(loop.onsets_ms.size()) - 2); // a complex of every repetition took part
}

INSTANTIATE_TEST_SUITE_P(Recordings, Rhythm, testing::Values(0, 1, 2, 3, 4, 7));

/// Steep flanks at least 220 ms apart.
int CountComplexes(std::span<const int> waveform)
{
    constexpr std::size_t kFlank = 16; // samples, 22 ms
    constexpr std::size_t kRefractory = 158;
    int steepest = 0;
    for (std::size_t k = kFlank; k < waveform.size(); ++k)
        steepest = std::max(steepest, std::abs(waveform[k] - waveform[k - kFlank]));
    int count = 0;
    std::size_t deaf_until = 0;
    for (std::size_t k = kFlank; k < waveform.size(); ++k) {
        if (k < deaf_until || std::abs(waveform[k] - waveform[k - kFlank]) < steepest * 35 / 100)
            continue;
        ++count;
        deaf_until = k + kRefractory;
    }
    return count;
}

TEST(RhythmRate, TheIrregularRhythmsHaveTheirPublishedRates)
{
    constexpr double kPerMinute[] = {80, 60, 120,
                                     90}; // bigeminy, slow and rapid alternation, bidirectional systoles
    for (std::size_t i = 0; i < std::size(kPerMinute); ++i)
        EXPECT_NEAR(CountComplexes(Waveform(i)), kPerMinute[i] * IEC227WL[i] / 60.0, 2.0) << i;
}

TEST(RhythmPulses, EightyPulsesAMinuteOpenTheTachycardias)
{
    for (std::size_t i = 4; i < 10; ++i) {
        SCOPED_TRACE(i);
        const std::span<const int> head = Waveform(i).first(kHeadSamples);
        const int base = head[100];
        for (std::size_t pulse = 0; pulse < kHeadSamples; pulse += 540) {
            EXPECT_NEAR(head[pulse + 31] - base, 875, 1); // top of the triangle, whatever the waveform's size
            EXPECT_NEAR(head[pulse + 15] - base, 875 / 2, 26); // half way up, within one converter step
            EXPECT_LT(head[pulse + 67], base);                 // it falls beyond the base ...
            EXPECT_EQ(std::ranges::count(head.subspan(pulse + 72, 540 - 72), base),
                      540 - 72); // ... and rests on it
        }
    }
}

TEST(RhythmSizes, HalfAndDoubleSizeHaveTheBeatsOfTheNormalSize)
{
    struct Case {
        std::size_t normal, other;
        int later; // samples by which the other starts its rhythm later
        double size;
    };
    for (const Case& c : {Case{4, 5, 3, 2.0}, Case{4, 6, -4, 0.5}, Case{7, 8, 1, 2.0}, Case{7, 9, -1, 0.5}}) {
        SCOPED_TRACE(c.other);
        for (std::size_t k = kHeadSamples + 10; k < zeka::wave227::kSamples[c.normal]; ++k) {
            const std::size_t there = k + static_cast<std::size_t>(c.later + 10) - 10;
            ASSERT_NEAR(Waveform(c.other)[there], c.size * Waveform(c.normal)[k], 1.0) << k;
        }
    }
}
} // namespace
