#include "plot/ticks.h"

#include <cstdlib>
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tp = trox_plot;
using testing::ElementsAre;

namespace
{

std::vector<std::string> labels(const tp::scale& scale)
{
    std::vector<std::string> result;
    for (const auto& tick : scale.ticks) {
        result.push_back(tick.label);
    }
    return result;
}

constexpr double second = 1e6;
constexpr double noon_2012 = 1339675200 * second; // 2012-06-14 12:00:00

} // namespace

TEST(NumberScale, StandsAtRoundNumbers)
{
    EXPECT_THAT(labels(tp::number_scale({0, 10}, 6)), ElementsAre("0", "2", "4", "6", "8", "10"));
    EXPECT_THAT(labels(tp::number_scale({-0.13, 0.31}, 5)), ElementsAre("-0.1", "0.0", "0.1", "0.2", "0.3"));
    EXPECT_THAT(labels(tp::number_scale({11.2, 14.9}, 4)), ElementsAre("12", "13", "14"));
}

TEST(NumberScale, PutsAPowerOfTenBesideTheAxis)
{
    const auto large = tp::number_scale({0, 4e7}, 5);
    EXPECT_THAT(labels(large), ElementsAre("0", "1", "2", "3", "4"));
    EXPECT_EQ(large.suffix, "× 10^7");
    EXPECT_EQ(large.ticks[2].value, 2e7);
    EXPECT_EQ(tp::number_scale({0, 5e-5}, 5).suffix, "× 10^-5");
    EXPECT_EQ(tp::number_scale({0, 99999}, 5).suffix, "");
}

TEST(NumberScale, HasTwoTicksAtLeast)
{
    for (double low = -3; low < 3; low += 0.0731) {
        for (double size = 0.01; size < 1000; size *= 1.37) {
            EXPECT_GE(tp::number_scale({low, low + size}, 2).ticks.size(), 2U) << low << " " << size;
        }
    }
}

TEST(LabelOfAScale, HasThePowerOfTenBehindTheUnitAndTheDayInBrackets)
{
    EXPECT_EQ(tp::label_with("p [mbar]", tp::number_scale({0, 5e-7}, 5)), "p [mbar] × 10^-7");
    EXPECT_EQ(tp::label_with("", tp::number_scale({0, 5e-7}, 5)), "× 10^-7");
    EXPECT_EQ(tp::label_with("p [mbar]", tp::number_scale({0, 5}, 5)), "p [mbar]");
    EXPECT_EQ(tp::label_with("time", tp::time_scale({noon_2012, noon_2012 + second}, 4)), "time (2012-06-14 UTC)");
}

TEST(TimeScale, FollowsTheTimeZoneOfTheProcessAndOtherWords)
{
    const char* const before = std::getenv("TZ");
    const std::string kept = before == nullptr ? "" : before;
    ::setenv("TZ", "<+0530>-5:30", 1);
    ::tzset();
    tp::time_words words;
    words.is_local = true;
    words.zone = "there";
    const auto hours = tp::time_scale({noon_2012, noon_2012 + 4 * 3600 * second}, 4, words);
    EXPECT_THAT(labels(hours), ElementsAre("18:00", "19:00", "20:00", "21:00"));
    EXPECT_EQ(hours.ticks[0].value, noon_2012 + 1800 * second);
    EXPECT_EQ(hours.suffix, "2012-06-14 there");
    words.show = [](double time) { return std::to_string(static_cast<long long>(time / second)); };
    EXPECT_THAT(labels(tp::time_scale({noon_2012, noon_2012 + 2 * second}, 2, words)),
                ElementsAre("1339675200", "1339675201", "1339675202"));
    if (before == nullptr) {
        ::unsetenv("TZ");
    } else {
        ::setenv("TZ", kept.c_str(), 1);
    }
    ::tzset();
}

TEST(NumberScale, EndsWhereStepsMakeNoDifference)
{
    EXPECT_LE(tp::number_scale({1e300, 1.0000000000000002e300}, 5).ticks.size(), 1001U);
}

TEST(TimeScale, StandsAtRoundTimesOfTheClock)
{
    const auto seconds = tp::time_scale({noon_2012 - 7 * second, noon_2012 + 31 * second}, 4);
    EXPECT_THAT(labels(seconds), ElementsAre("12:00:00", "12:00:10", "12:00:20", "12:00:30"));
    EXPECT_EQ(seconds.suffix, "2012-06-14 UTC");
    EXPECT_THAT(labels(tp::time_scale({noon_2012, noon_2012 + 0.5 * second}, 3)),
                ElementsAre("12:00:00.0", "12:00:00.2", "12:00:00.4"));
    EXPECT_THAT(labels(tp::time_scale({noon_2012, noon_2012 + 3600 * second}, 5)),
                ElementsAre("12:00", "12:15", "12:30", "12:45", "13:00"));
    const auto days = tp::time_scale({noon_2012, noon_2012 + 3 * 86400 * second}, 4);
    EXPECT_THAT(labels(days), ElementsAre("2012-06-15", "2012-06-16", "2012-06-17"));
    EXPECT_EQ(days.suffix, "UTC");
    EXPECT_THAT(labels(tp::time_scale({noon_2012, noon_2012 + 86400 * second}, 3)),
                ElementsAre("06-14 12:00", "06-15 00:00", "06-15 12:00"));
}

TEST(Ranges, HaveRoomAroundValuesAndAroundASingleOne)
{
    tp::panel panel;
    panel.curves.push_back({"a", tp::curve_form::lines, {{0, 10}, {1, 20}}});
    EXPECT_DOUBLE_EQ(tp::y_range(panel).low, 9.5);
    EXPECT_DOUBLE_EQ(tp::y_range(panel).high, 20.5);
    panel.curves = {{"a", tp::curve_form::lines, {{0, 5}}}};
    EXPECT_DOUBLE_EQ(tp::y_range(panel).low, 4.5);
    panel.curves.clear();
    EXPECT_LT(tp::y_range(panel).low, tp::y_range(panel).high);
}
