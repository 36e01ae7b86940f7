// strip_test.cpp - the geometry of a strip: everything lies on its page, and the line is the signal.
#include "cli/shell/failure.h"
#include "cli/strip/layout.h"
#include "cli/strip/trace.h"

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <random>

namespace zeka::cli {
namespace {

constexpr int kHeadLines = 2;
constexpr int kFootLines = 1;

StripLayout LaidOut(const StripStyle& style, const StripExtent& extent)
{
    return LayOut(style, extent, {[](double) { return kHeadLines; }, [](double) { return kFootLines; }});
}

void ExpectOnPage(const StripLayout& layout, const StripStyle& style, const StripExtent& extent)
{
    for (const double squares : {layout.width / strip::kSquare, layout.row_height / strip::kSquare})
        EXPECT_EQ(squares, std::round(squares));
    EXPECT_GE(layout.left, 0.0);
    EXPECT_LE(layout.left + layout.width, layout.page_width);
    EXPECT_LE(layout.TraceLeft() + layout.row_seconds * style.speed, layout.left + layout.width + 1e-6);
    EXPECT_LE(layout.top + layout.RowsOn(0) * layout.row_height + kFootLines * strip::kLineStep,
              layout.page_height);
    EXPECT_GE(layout.rows * layout.row_seconds, extent.seconds - 1e-6);
    EXPECT_LT((layout.rows - 1) * layout.row_seconds, extent.seconds);
    int rows = 0;
    for (int page = 0; page < layout.pages; ++page)
        rows += layout.RowsOn(page);
    EXPECT_EQ(rows, layout.rows);
    const double lane = strip::kLane;
    EXPECT_GE(layout.above - lane, std::max(extent.high_mv, layout.pulse_mv) * layout.gain);
    EXPECT_GE(layout.row_height - layout.above - (extent.lower_marks ? lane : 0.0),
              -extent.low_mv * layout.gain);
}

TEST(StripLayout, KeepsEverythingOnThePage)
{
    int laid_out = 0;
    for (const Paper paper : {Paper::kA4, Paper::kFit})
        for (const double speed : {5.0, 25.0, 50.0})
            for (const double gain : {0.0, 5.0, 20.0})
                for (const int rows : {0, 1, 3})
                    for (const double seconds : {0.01, 3.3, 10.0, 59.9})
                        for (const double mv : {0.1, 2.0, 700.0}) {
                            const StripStyle style{speed, gain, rows, paper};
                            const StripExtent extent{seconds, -mv / 3.0, mv, mv > 1.0};
                            try {
                                ExpectOnPage(LaidOut(style, extent), style, extent);
                                ++laid_out;
                            } catch (const Failure& failure) {
                                EXPECT_EQ(failure.Code(), Exit::kUsage);
                            }
                        }
    EXPECT_GT(laid_out, 300);
}

TEST(StripLayout, TakesTheHighestGainThatFits)
{
    EXPECT_EQ(LaidOut({}, {10.0, -0.5, 1.5}).gain, 10.0);
    const StripLayout high = LaidOut({}, {10.0, -600.0, 600.0});
    EXPECT_EQ(high.gain, 0.05);
    EXPECT_EQ(high.pulse_mv * high.gain, 10.0);
}

double DistanceTo(const std::vector<Point>& line, const Point& point)
{
    double least = 1e9;
    for (std::size_t i = 1; i < line.size(); ++i) {
        const Point& a = line[i - 1];
        const double dx = line[i].x - a.x;
        const double dy = line[i].y - a.y;
        const double length = dx * dx + dy * dy;
        const double share =
            length == 0.0 ? 0.0
                          : std::clamp(((point.x - a.x) * dx + (point.y - a.y) * dy) / length, 0.0, 1.0);
        least = std::min(least, std::hypot(point.x - a.x - share * dx, point.y - a.y - share * dy));
    }
    return least;
}

TEST(StripTrace, IsNowhereFartherFromASampleThanItSays)
{
    std::mt19937 random(20260723);
    std::uniform_real_distribution<double> noise(-0.02, 0.02);
    std::vector<double> mv;
    for (int i = 0; i < 4000; ++i)
        mv.push_back(std::sin(i * 0.002) + noise(random) + (i % 1000 == 500 ? 4.0 : 0.0));
    constexpr double kMmPerSample = 25.0 / 40000.0;
    const std::vector<Point> line = LineOf(mv, kMmPerSample, 10.0);
    EXPECT_LT(line.size(), mv.size());
    for (std::size_t i = 0; i < mv.size(); ++i)
        ASSERT_LE(DistanceTo(line, {static_cast<double>(i) * kMmPerSample, mv[i] * 10.0}), 0.02) << i;
}

TEST(StripTrace, OfFewSamplesIsThem)
{
    EXPECT_TRUE(LineOf({}, 0.1, 10.0).empty());
    const std::vector<double> two{1.0, -1.0};
    const std::vector<Point> line = LineOf(two, 25.0, 10.0);
    ASSERT_EQ(line.size(), 2u);
    EXPECT_EQ(line[1].x, 25.0);
    EXPECT_EQ(line[1].y, -10.0);
}

} // namespace
} // namespace zeka::cli
