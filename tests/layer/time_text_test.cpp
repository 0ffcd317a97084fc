// Times as text: known answers and refusals. Seconds since 1970 come from the calendar: 2012-06-14 is day 15505.
#include "small_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace
{

using trox::time_from_text;
using trox::to_text;

constexpr std::int64_t day = 15505LL * 86400;
constexpr std::int64_t half_past_nine = day + 9 * 3600 + 30 * 60;

std::int64_t us_of(const std::string& text)
{
    return time_from_text(text).time_since_epoch().count();
}

TEST(time_text, of_known_times)
{
    const auto text = [](std::int64_t us) { return to_text(trox::time_point(trox::microseconds(us))); };
    EXPECT_EQ(text(0), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(text(half_past_nine * 1000000 + 250123), "2012-06-14T09:30:00.250123Z");
    EXPECT_EQ(text(951782400LL * 1000000), "2000-02-29T00:00:00.000000Z"); // day 11016
    EXPECT_EQ(text(-1), "1969-12-31T23:59:59.999999Z");
    EXPECT_EQ(text(4294967295LL * 1000000 + 999999), "2106-02-07T06:28:15.999999Z");
}

TEST(time_text, is_read_in_every_form)
{
    for (const char* text :
         {"2012-06-14T09:30:00Z", "2012-06-14T09:30:00", "2012-06-14 09:30:00", "2012-06-14T09:30", "2012-06-14T09:30Z",
          "20120614T093000", "20120614T093000Z", "20120614T0930", "2012-06-14T11:30:00+02:00",
          "2012-06-14T11:30:00+0200", "2012-06-14T11:30:00+02", "2012-06-14T04:00:00-05:30",
          "2012-06-14T09:30:00.000000Z", "@1339666200", "@1339666200.0", "2012-06-15T00:30:00+15:00"}) {
        EXPECT_EQ(us_of(text), half_past_nine * 1000000) << text;
    }
    EXPECT_EQ(us_of("2012-06-14"), day * 1000000);
    EXPECT_EQ(us_of("20120614"), day * 1000000);
    EXPECT_EQ(us_of("2012-02-29"), (15505LL - 106) * 86400 * 1000000);
    EXPECT_EQ(us_of("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(us_of("@0"), 0);
}

TEST(time_text, has_fractions_of_up_to_six_digits)
{
    EXPECT_EQ(us_of("2012-06-14T09:30:00.25Z"), half_past_nine * 1000000 + 250000);
    EXPECT_EQ(us_of("20120614T093000.250"), half_past_nine * 1000000 + 250000);
    EXPECT_EQ(us_of("@1339666200.25"), half_past_nine * 1000000 + 250000);
    EXPECT_EQ(us_of("2012-06-14T09:30:00.000001Z"), half_past_nine * 1000000 + 1);
    EXPECT_EQ(us_of("2012-06-14T09:30:00.9999999Z"), half_past_nine * 1000000 + 999999); // cut
}

TEST(time_text, comes_back_from_its_own_text)
{
    for (const std::int64_t us : {std::int64_t{0}, std::int64_t{1}, half_past_nine * 1000000 + 123456,
                                  std::int64_t{4102444800} * 1000000 - 1}) {
        const trox::time_point time{trox::microseconds(us)};
        EXPECT_EQ(time_from_text(to_text(time)), time);
    }
}

TEST(time_text, that_is_no_time_is_refused_with_its_words)
{
    for (const char* text : {"",
                             " ",
                             "now",
                             "2012",
                             "2012-06",
                             "2012-6-14",
                             "2012-06-14T",
                             "2012-06-14T9:30",
                             "2012-06-14T09",
                             "2012-06-14T09:30:",
                             "2012-06-14T09:30:00.",
                             "2012-06-14T09:30:00.Z",
                             "2012-06-14T09:30:00X",
                             "2012-06-14T09:30:00ZZ",
                             "2012-06-14T09:30:00+",
                             "2012-06-14x",
                             "2012-06-14T09:30:00+2",
                             "2012-06-14T09:30:00+02:",
                             "2012-06-14T09:30:00+02:00x",
                             "2012-13-01",
                             "2012-00-01",
                             "2012-01-00",
                             "2012-06-31",
                             "2013-02-29",
                             "2012-06-14T24:00:00",
                             "2012-06-14T09:60:00",
                             "2012-06-14T09:30:61",
                             "20120614093000",
                             "2012-0614",
                             "201206-14",
                             "-012-06-14",
                             "+012-06-14",
                             "2012-06-14T-9:30",
                             "@",
                             "@-1",
                             "@x",
                             "@1.",
                             "@1.5x",
                             "@1x",
                             "@99999999999999999999",
                             "2012-06-14T09:30:00+99:00",
                             "2012-06-14T09:30:00+02:60",
                             " 2012-06-14",
                             "2012-06-14 "}) {
        const trox::error failure = layer_test::error_of([&] { time_from_text(text); });
        EXPECT_EQ(failure.why(), trox::fault::wrong_use) << text;
        EXPECT_THAT(failure.what(), testing::HasSubstr("\"" + std::string(text) + "\" is no time")) << text;
    }
}

} // namespace
