// fast_parts_test.cpp - what the fast road is made of: the clock in closed form, the search for boundaries,
// the words.
#include <array>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include "stream/fast_words.h"
#include "stream/sample_run.h"
#include "stream/scaling.h"

namespace {

using zeka::LinearClock;
using zeka::LinearClockFrom;

constexpr double kDt = 1.0 / 40000.0;

/// How far the closed form was followed, or -1 where it left the accumulated clock.
int FollowedBy(const LinearClock& clock, double dt)
{
    double time = clock.start;
    for (int i = 0; i <= clock.samples; ++i, time += dt)
        if (clock.At(i) != time)
            return -1;
    return clock.samples;
}

TEST(LinearClock, IsTheAccumulatedClockToTheBit)
{
    std::mt19937_64 random(40000);
    for (int round = 0; round < 4000; ++round) {
        const double start = std::exp2(std::uniform_real_distribution(-16.0, 40.0)(random));
        const double dt =
            round % 2 == 0 ? kDt : std::exp2(std::uniform_real_distribution(-30.0, -5.0)(random));
        EXPECT_GE(FollowedBy(LinearClockFrom(start, dt, 700), dt), 0) << start << ' ' << dt;
    }
}

TEST(LinearClock, CoversAWholeBurstNearlyEverywhere)
{
    for (const double start : {0.04, 1.3, 17.0, 1000.0, 86400.0})
        EXPECT_EQ(LinearClockFrom(start, kDt, 700).samples, 700) << start;
}

TEST(LinearClock, EndsBeforeTheNextPowerOfTwo)
{
    const LinearClock clock = LinearClockFrom(4.0 - 100.5 * kDt, kDt, 700);
    EXPECT_TRUE(clock.samples <= 100 && clock.samples > 90) << clock.samples;
    EXPECT_EQ(FollowedBy(clock, kDt), clock.samples);
}

TEST(LinearClock, RefusesWhatHasNoSteadyStep)
{
    const double ulp = std::numeric_limits<double>::epsilon();
    EXPECT_EQ(LinearClockFrom(1.0, 1.5 * ulp, 700).samples, 0); // rounds up and down in turn
    EXPECT_EQ(LinearClockFrom(1.0, ulp / 4.0, 700).samples, 0); // stands still
    EXPECT_EQ(LinearClockFrom(0.0, kDt, 700).samples, 0);
    EXPECT_EQ(LinearClockFrom(-1.0, kDt, 700).samples, 0);
    EXPECT_EQ(LinearClockFrom(std::nan(""), kDt, 700).samples, 0);
    EXPECT_EQ(LinearClockFrom(HUGE_VAL, kDt, 700).samples, 0);
}

TEST(Turn, BeginsAndEndsWhereThePlainDivisionSays)
{
    std::mt19937_64 random(1);
    for (int round = 0; round < 2000; ++round) {
        const double period = 1.0 / std::uniform_real_distribution(0.5, 500.0)(random);
        const double start = std::uniform_real_distribution(1.0, 5000.0)(random);
        const LinearClock clock = LinearClockFrom(start, kDt, 700);
        const zeka::SampleRun run(clock, clock.samples);
        for (int from = 0; from < run.Count();) {
            const zeka::Turn turn = zeka::TurnAt(run, period, from);
            ASSERT_GT(turn.end, from);
            for (int i = from; i < turn.end; ++i)
                ASSERT_EQ(std::trunc(run.Time(i) / period), turn.number)
                    << period << ' ' << start << ' ' << i;
            if (turn.end < run.Count()) {
                ASSERT_GT(std::trunc(run.Time(turn.end) / period), turn.number);
            }
            from = turn.end;
        }
    }
}

const double kTelling[] = {0.0,
                           -0.0,
                           0.3,
                           -0.3,
                           0.99 / 6400,
                           -0.99 / 6400,
                           1.0,
                           -1.0,
                           32766.9 / 6400,
                           32767.0 / 6400,
                           32767.5 / 6400,
                           -32767.9 / 6400,
                           -32768.0 / 6400,
                           -32768.9 / 6400,
                           1e5,
                           -1e5,
                           3e5,
                           -4e5,
                           1e300,
                           -1e300,
                           5e-324,
                           HUGE_VAL,
                           -HUGE_VAL,
                           std::numeric_limits<double>::quiet_NaN()};

std::vector<double> TellingVoltages(std::size_t count)
{
    std::vector<double> mv(count);
    for (std::size_t i = 0; i < count; ++i)
        mv[i] = kTelling[i % std::size(kTelling)];
    return mv;
}

// The vector code against the portable one, and that against the one word of the plain road.
TEST(Slots, AreTheSameHoweverTheyAreMade)
{
    for (std::size_t first = 0; first < 30; ++first) {
        for (std::size_t count = 1; count < 60; ++count) {
            const std::vector<double> mv = TellingVoltages(count);
            std::vector<std::uint16_t> dc(count);
            for (std::size_t i = 0; i < count; ++i)
                dc[i] = static_cast<std::uint16_t>(0x80FF + 977 * i);
            std::array<std::uint8_t, zeka::kBurstBytes> fast{}, plain{}, fast_one{}, plain_one{};
            zeka::PutSlots(fast, first, mv, 6400.0, dc);
            zeka::PutSlots(fast_one, first, mv, 6400.0, std::uint16_t{0x1234});
            zeka::SlotImages images;
            zeka::MakeSlotsPortably(mv, 6400.0, dc.data(), 1, images);
            for (std::size_t i = 0; i < count; ++i) {
                zeka::PutSlot(plain, first + i, dc[i], zeka::AcWord(mv[i] * 6400.0));
                zeka::PutSlot(plain_one, first + i, 0x1234, zeka::AcWord(mv[i] * 6400.0));
                ASSERT_EQ(std::memcmp(&images[i], &plain[zeka::SlotAt(first + i)], 4), 0) << mv[i];
            }
            ASSERT_EQ(fast, plain) << first << ' ' << count;
            ASSERT_EQ(fast_one, plain_one) << first << ' ' << count;
        }
    }
}

TEST(Voltages, AreLimitedAsStdClampDoes)
{
    for (const double limit : {0.0, 1.0, 5.0, 1e9}) {
        std::vector<double> fast = TellingVoltages(47), portable = fast;
        const std::vector<double> mv = fast;
        zeka::LimitVoltages(fast, limit);
        zeka::LimitVoltagesPortably(portable, limit);
        for (std::size_t i = 0; i < mv.size(); ++i) {
            const double expected = std::clamp(mv[i], -limit, limit);
            // A zero's sign is heard nowhere.
            EXPECT_TRUE(fast[i] == expected || std::isnan(expected)) << mv[i] << ' ' << limit;
            EXPECT_TRUE(portable[i] == expected || std::isnan(expected)) << mv[i] << ' ' << limit;
            EXPECT_EQ(std::isnan(fast[i]), std::isnan(mv[i]));
        }
    }
}

} // namespace
