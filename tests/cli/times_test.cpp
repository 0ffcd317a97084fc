#include "cli/errors.h"
#include "cli/times.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace
{

using trox_cli::time_display;

constexpr trox::time_point summer{std::chrono::microseconds(1339666200250123)}; // 2012-06-14 09:30:00.250123
constexpr trox::time_point winter{std::chrono::microseconds(1705311000000000)}; // 2024-01-15 09:30:00

class times : public testing::Test
{
protected:
    void TearDown() override
    {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }
};

TEST_F(times, are_utc_unless_a_zone_is_named)
{
    EXPECT_EQ(time_display().show(summer), "2012-06-14T09:30:00.250123Z");
    EXPECT_EQ(time_display("UTC", "iso").show(summer), "2012-06-14T09:30:00.250123Z");
}

TEST_F(times, of_a_zone_have_its_offset_then)
{
    const time_display berlin("Europe/Berlin", "iso");
    EXPECT_EQ(berlin.show(summer), "2012-06-14T11:30:00.250123+02:00");
    EXPECT_EQ(berlin.show(winter), "2024-01-15T10:30:00.000000+01:00");
    EXPECT_EQ(time_display("America/St_Johns", "iso").show(winter), "2024-01-15T06:00:00.000000-03:30");
}

TEST_F(times, local_is_the_zone_of_the_environment)
{
    ::setenv("TZ", "Asia/Tokyo", 1);
    EXPECT_EQ(time_display("local", "iso").show(summer), "2012-06-14T18:30:00.250123+09:00");
}

TEST_F(times, have_the_format_that_is_asked_for)
{
    EXPECT_EQ(time_display("UTC", "epoch").show(summer), "1339666200.250123");
    EXPECT_EQ(time_display("UTC", "epoch").show(trox::time_point(std::chrono::microseconds(-1))), "-0.000001");
    EXPECT_EQ(time_display("UTC", "%H:%M:%S.%f").show(summer), "09:30:00.250123");
    EXPECT_EQ(time_display("Europe/Berlin", "%d.%m. %H:%M").show(summer), "14.06. 11:30");
    EXPECT_EQ(time_display("UTC", "100%% %Y").show(summer), "100% 2012");
    EXPECT_EQ(time_display("UTC", "%%f").show(summer), "%f");
    EXPECT_EQ(time_display("UTC", "%-d.%m %_5Y|%Ey").show(summer), "14.06  2012|12");
}

TEST_F(times, in_seconds_do_not_depend_on_the_zone)
{
    ::setenv("TZ", "Asia/Tokyo", 1);
    ::tzset();
    for (const char* const zone : {"UTC", "local", "Europe/Berlin", "America/St_Johns"}) {
        EXPECT_EQ(time_display(zone, "%s.%f %%s").show(summer), "1339666200.250123 %s") << zone;
    }
}

TEST_F(times, refuse_formats_that_end_within_a_conversion)
{
    for (const char* const format : {"%", "%Y%", "%Y %-", "%H:%M:%E", "%%%"}) {
        EXPECT_THROW(time_display("UTC", format), trox_cli::wrong_use) << format;
    }
}

TEST_F(times, refuse_unknown_zones_and_formats)
{
    // Some are files beside those of the zones.
    for (const char* const zone :
         {"", "Mars/Olympus", "../etc/passwd", "/etc/passwd", "Europe", "zone.tab", "tzdata.zi", "iso3166.tab"}) {
        EXPECT_THROW(time_display(zone, "iso"), trox_cli::wrong_use) << zone;
    }
    EXPECT_THROW(time_display("UTC", "sometime"), trox_cli::wrong_use);
}

} // namespace
