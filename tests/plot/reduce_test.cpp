#include "plot/reduce.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace tp = trox_plot;

namespace
{

constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

bool has_point(const std::vector<tp::point>& points, double x, double y)
{
    return std::any_of(points.begin(), points.end(), [&](tp::point at) { return at.x == x && at.y == y; });
}

} // namespace

TEST(ReducedSeries, KeepsEveryPointOfAShortCurve)
{
    tp::reduced_series curve(16);
    for (int i = 0; i < 16; ++i) {
        curve.add(i, i * i);
    }
    const auto points = curve.points();
    ASSERT_EQ(points.size(), 16U);
    EXPECT_EQ(points[5].x, 5);
    EXPECT_EQ(points[5].y, 25);
}

TEST(ReducedSeries, KeepsSinglePeaksOfAMillionPointsInBoundedMemory)
{
    tp::reduced_series curve(64);
    for (int i = 0; i < 1000000; ++i) {
        curve.add(i, i == 123456 ? 1000 : i == 777777 ? -1000 : i % 7);
    }
    const auto points = curve.points();
    EXPECT_EQ(curve.count(), 1000000U);
    EXPECT_LE(points.size(), 4U * 64U);
    EXPECT_GE(points.size(), 64U);
    EXPECT_TRUE(has_point(points, 123456, 1000));
    EXPECT_TRUE(has_point(points, 777777, -1000));
    EXPECT_EQ(points.front().x, 0);
    EXPECT_EQ(points.back().x, 999999);
    for (std::size_t i = 1; i < points.size(); ++i) {
        EXPECT_LT(points[i - 1].x, points[i].x);
    }
}

TEST(ReducedSeries, IsInterruptedByWhatIsNoNumber)
{
    tp::reduced_series curve;
    curve.add(0, nothing); // nothing to interrupt yet
    curve.add(1, 5);
    curve.add(2, std::numeric_limits<double>::infinity());
    curve.add(3, 6);
    curve.add(4, 7);
    const auto parts = tp::parts_of(curve.points());
    ASSERT_EQ(parts.size(), 2U);
    EXPECT_EQ(parts[0].size(), 1U);
    EXPECT_EQ(parts[1].size(), 2U);
    EXPECT_EQ(curve.count(), 3U);
}

TEST(Envelope, KeepsFirstLowestHighestAndLastOfAColumnInOrder)
{
    const std::vector<tp::point> points{{0.0, 3}, {0.1, 9}, {0.2, 4}, {0.3, 1}, {0.4, 5}, {0.5, 2}, {1.0, 7}};
    const auto kept = tp::envelope(points, [](double x) { return std::lround(std::floor(x)); });
    ASSERT_EQ(kept.size(), 5U);
    EXPECT_EQ(kept[0].y, 3);
    EXPECT_EQ(kept[1].y, 9);
    EXPECT_EQ(kept[2].y, 1);
    EXPECT_EQ(kept[3].y, 2);
    EXPECT_EQ(kept[4].y, 7);
}

TEST(SteppedCurve, KeepsAValueUntilTheNext)
{
    const auto corners = tp::stepped({{0, 1}, {2, 5}});
    ASSERT_EQ(corners.size(), 3U);
    EXPECT_EQ(corners[1].x, 2);
    EXPECT_EQ(corners[1].y, 1);
    EXPECT_EQ(corners[2].y, 5);
}
