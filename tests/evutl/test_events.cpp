// Event types, times, the machine clock, and what file names tell.
#include "event_util.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <optional>

namespace
{

TEST(event_types, four_are_slow)
{
    for (int type = -3; type < 40; ++type) {
        const bool expected = type >= TROX_EV_BOR && type <= TROX_EV_UPD;
        EXPECT_EQ(is_slow_event(type), expected) << type;
    }
}

TEST(event_types, have_a_structure)
{
    // In the order of the event types 0 to 31: undefined, local, global x 4, local ..., multi-bunch at 20 and 27.
    const std::vector<int> expected{4, 1, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                    1, 1, 1, 1, 3, 1, 1, 1, 1, 1, 1, 3, 4, 4, 4, 4};
    for (int type = 0; type < 32; ++type) {
        EXPECT_EQ(get_event_struct_type(type), expected[static_cast<std::size_t>(type)]) << type;
    }
    for (const int type : {-1, 32, 1000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(get_event_struct_type(type), TROX_EV_STRUCT_UNKNOWN) << type;
    }
}

TEST(time_stamps, are_equal_in_both_words)
{
    const time_stamp a{10, 20};
    const time_stamp other_seconds{11, 20};
    const time_stamp other_microseconds{10, 21};
    const time_stamp same{10, 20};
    EXPECT_TRUE(trox_time_stamp_eq(&a, &same));
    EXPECT_FALSE(trox_time_stamp_eq(&a, &other_seconds));
    EXPECT_FALSE(trox_time_stamp_eq(&a, &other_microseconds));
    EXPECT_FALSE(trox_time_stamp_eq(nullptr, &a));
    EXPECT_FALSE(trox_time_stamp_eq(&a, nullptr));
}

struct comparison {
    time_stamp a;
    time_stamp b;
    double tolerance;
    bool equal;
    int sign;
    double distance;
};

TEST(time_stamps, compare_within_a_tolerance)
{
    const std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    for (const comparison& c : std::vector<comparison>{
             {{10, 0}, {10, 0}, 0, true, 0, 0},
             {{10, 0}, {10, 5}, 4, false, -1, 5},
             {{10, 0}, {10, 5}, 5, true, 0, 5},
             {{10, 5}, {10, 0}, 4.999, false, 1, 5},
             {{10, 999999}, {11, 0}, 1, true, 0, 1},
             {{11, 0}, {10, 999999}, 0, false, 1, 1},
             {{0, 0}, {most, 999999}, 1e6, false, -1, 4294967295.999999e6},
             {{most, 0}, {0, 0}, 4294967295e6, true, 0, 4294967295e6},
             {{10, 0}, {10, 0}, -1, false, 0, 0},
         }) {
        int sign = 77;
        double distance = -1;
        EXPECT_EQ(trox_time_stamp_eq(&c.a, &c.b, c.tolerance, &sign, &distance), c.equal);
        EXPECT_EQ(sign, c.sign);
        EXPECT_EQ(distance, c.distance);
        EXPECT_EQ(trox_time_stamp_eq(&c.a, &c.b, c.tolerance, nullptr, nullptr), c.equal);
    }
    const time_stamp a{1, 2};
    int sign = 77;
    EXPECT_FALSE(trox_time_stamp_eq(nullptr, &a, 1, &sign, nullptr));
    EXPECT_FALSE(trox_time_stamp_eq(&a, nullptr, 1, &sign, nullptr));
    EXPECT_EQ(sign, 77);
}

/// Sets the machine clock for one test.
class machine_clock : public ::testing::Test
{
protected:
    static void set(const char* clock)
    {
        ::setenv("TROX_EVENT_CLOCK", clock, 1);
    }

    static unsigned long at(std::uint32_t seconds, std::uint32_t microseconds)
    {
        const time_stamp time{seconds, microseconds};
        return trox_get_event_id(&time);
    }

    void TearDown() override
    {
        ::unsetenv("TROX_EVENT_CLOCK");
    }
};

TEST_F(machine_clock, counts_events_from_its_start_and_rounds_down)
{
    set("1339666200:388120037:10");
    EXPECT_EQ(at(1339666200, 0), 388120037U);
    EXPECT_EQ(at(1339666200, 99999), 388120037U);
    EXPECT_EQ(at(1339666200, 100000), 388120038U);
    EXPECT_EQ(at(1339666204, 950000), 388120037U + 49);
}

TEST_F(machine_clock, has_numbers_beyond_32_bits)
{
    set("1709611194:81604378623997:10");
    EXPECT_EQ(at(1709611195, 0), 81604378624007U);
    set("0:18446744073709551610:1");
    EXPECT_EQ(at(5, 0), 18446744073709551615U);
    EXPECT_EQ(at(6, 0), 0U);
}

TEST_F(machine_clock, takes_a_rate_with_decimals)
{
    set("1000:0:4.5");
    EXPECT_EQ(at(1002, 0), 9U);
    EXPECT_EQ(at(1001, 999999), 8U);
    set("1000:7:0.000001");
    EXPECT_EQ(at(1000 + 2000000, 0), 9U);
}

TEST_F(machine_clock, gives_0_before_its_start_and_without_a_time)
{
    set("1000:5:10");
    EXPECT_EQ(at(999, 999999), 0U);
    EXPECT_EQ(at(0, 0), 0U);
    EXPECT_EQ(trox_get_event_id(nullptr), 0U);
    set("0:5:10");
    EXPECT_EQ(at(0, 0), 0U);
    EXPECT_EQ(at(0, 1), 5U);
}

TEST_F(machine_clock, gives_0_without_a_valid_clock)
{
    ::unsetenv("TROX_EVENT_CLOCK");
    EXPECT_EQ(at(2000, 0), 0U);
    for (const char* const clock : {"",
                                    ":",
                                    "::",
                                    "1000",
                                    "1000:5",
                                    "1000:5:",
                                    "1000:5:0",
                                    "1000:5:-1",
                                    "-1:5:10",
                                    "1000:x:10",
                                    "1000:5:10:1",
                                    " 1000:5:10",
                                    "1000:5:10 ",
                                    "1000:5:1e1",
                                    "1000:5:10.",
                                    "1000:5:.5",
                                    "1000:5:0.0",
                                    "1000:5:0.0000001",
                                    "99999999999999999999:5:10",
                                    "1000:5:99999999999999999999"}) {
        set(clock);
        EXPECT_EQ(at(2000, 0), 0U) << clock;
    }
}

std::optional<time_stamp> name_time(const char* name)
{
    time_stamp time{77, 88};
    if (get_time_from_file_name(name, &time) != 0) {
        EXPECT_EQ(time.timeup, 77U);
        EXPECT_EQ(time.timelow, 88U);
        return std::nullopt;
    }
    return time;
}

TEST(file_names, carry_a_time)
{
    struct example {
        const char* name;
        time_stamp time;
    };
    for (const auto& [name, expected] : std::vector<example>{
             {"linac_main_run1042_file1_20120614T093000.raw", {1339666200, 0}},
             {"/data/linac/linac_main_run1042_file1_20120614T093000.raw", {1339666200, 0}},
             {"linac_main_run2210_file1_20240305T035954.250.raw", {1709611194, 250000}},
             {"x_20240305T035954.5.raw", {1709611194, 500000}},
             {"x_20240305T035954.000001.raw", {1709611194, 1}},
             {"a_b/x_19700101T000000.raw", {0, 0}},
             {"x_20240229T235959.raw", {1709251199, 0}},
             {"x_21060207T062815.raw", {4294967295U, 0}},
             {"20120614T093000.raw", {1339666200, 0}},
         }) {
        const auto time = name_time(name);
        ASSERT_TRUE(time) << name;
        EXPECT_EQ(time->timeup, expected.timeup) << name;
        EXPECT_EQ(time->timelow, expected.timelow) << name;
    }
}

TEST(file_names, without_a_time_are_refused)
{
    for (const char* const name : {"",
                                   "x",
                                   ".raw",
                                   "_.raw",
                                   "x_20120614T093000",
                                   "x_20120614T093000.dat",
                                   "x_20120614T093000.raw.gz",
                                   "x_20120614T093000_.raw",
                                   "x_20120614T09300.raw",
                                   "x_20120614T0930000.raw",
                                   "x_20120614t093000.raw",
                                   "x_20120614 093000.raw",
                                   "x_20121314T093000.raw",
                                   "x_20120631T093000.raw",
                                   "x_20120014T093000.raw",
                                   "x_20120600T093000.raw",
                                   "x_20230229T093000.raw",
                                   "x_20120614T240000.raw",
                                   "x_20120614T096000.raw",
                                   "x_20120614T093060.raw",
                                   "x_19691231T235959.raw",
                                   "x_21060207T062816.raw",
                                   "x_20120614T093000..raw",
                                   "x_20120614T093000.1234567.raw",
                                   "x_20120614T093000.12x.raw",
                                   "x_20120614T093000.1.2.raw",
                                   "x_2012061-T093000.raw",
                                   "x_20120614T093000.raw/"}) {
        EXPECT_FALSE(name_time(name)) << name;
    }
    time_stamp time{};
    EXPECT_NE(get_time_from_file_name(nullptr, &time), 0);
    EXPECT_NE(get_time_from_file_name("x_20120614T093000.raw", nullptr), 0);
}

TEST(file_names, are_sorted_by_time_then_number_then_text_and_timeless_ones_last)
{
    const std::vector<std::string> sorted{
        "z/x_m_run2_file10_20110614T093000.raw",
        "x_m_run1_file2_20120614T093000.raw",
        "x_m_run1_file9_20120614T093000.raw",
        "x_m_run1_file10_20120614T093000.raw",
        "y_m_run1_file10_20120614T093000.raw",
        "x_m_run1_file1_20120614T093000.25.raw",
        "x_m_run1_file1_20120614T093000.3.raw",
        "x_m_run1_file1_20120614T093001.raw",
        "a_file1.raw",
        "a_file10.raw",
        "a_file2.raw",
        "b.dat",
    };
    std::vector<std::string> files(sorted.rbegin(), sorted.rend());
    sort_files(files);
    EXPECT_EQ(files, sorted);
    std::swap(files[0], files[5]);
    std::swap(files[3], files[11]);
    sort_files(files);
    EXPECT_EQ(files, sorted);
    std::vector<std::string> none;
    sort_files(none);
    EXPECT_TRUE(none.empty());
}

} // namespace
