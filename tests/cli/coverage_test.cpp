#include "cli/coverage.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace
{

using trox::microseconds;
using trox::record_stamp;
using trox_cli::find_coverage;
using trox_cli::irregularity;

constexpr std::int64_t begin_us = 1700000000000000;

record_stamp stamp(std::uint64_t number, std::int64_t ms)
{
    return {number, trox::time_point(microseconds(begin_us + ms * 1000)), 0};
}

/// Ten a second, from number 1 on.
std::vector<record_stamp> steady(std::uint64_t count)
{
    std::vector<record_stamp> records;
    for (std::uint64_t i = 0; i < count; ++i) {
        records.push_back(stamp(1 + i, static_cast<std::int64_t>(100 * i)));
    }
    return records;
}

TEST(coverage, of_a_steady_channel_has_no_finding_and_as_many_records_as_fit)
{
    const auto found = find_coverage(steady(20), true);
    EXPECT_EQ(found.step, microseconds(100000));
    EXPECT_EQ(found.expected, 20U);
    EXPECT_TRUE(found.findings.empty());
    EXPECT_EQ(found.longest_gap(), std::nullopt);
}

TEST(coverage, finds_gaps_above_one_and_a_half_steps_only)
{
    auto records = steady(10);
    records.push_back(stamp(11, 1050)); // 150 ms behind the last: just no gap
    records.push_back(stamp(12, 1201)); // 151 ms
    records.push_back(stamp(20, 2000));
    const auto found = find_coverage(records, true);
    EXPECT_EQ(found.count(irregularity::gap), 2U);
    EXPECT_EQ(found.longest_gap(), microseconds(799000));
    EXPECT_EQ(found.findings.front().at.number, 12U);
    EXPECT_EQ(found.findings.front().length, microseconds(151000));
    EXPECT_EQ(found.expected, 21U);
}

TEST(coverage, finds_numbers_and_times_that_were_there_before)
{
    auto records = steady(10);
    records.push_back(stamp(4, 1000));  // a number again
    records.push_back(stamp(12, 300));  // a time again
    records.push_back(stamp(12, 1100)); // a number again
    EXPECT_EQ(find_coverage(records, true).count(irregularity::duplicate), 3U);
}

TEST(coverage, finds_jumps_of_the_clock_of_more_than_half_a_step)
{
    auto records = steady(10);
    records.push_back(stamp(11, 1050)); // 50 ms late: just no jump
    records.push_back(stamp(12, 1201)); // 51 ms later still
    records.push_back(stamp(13, 1101)); // back by 200 ms
    const auto found = find_coverage(records, true);
    EXPECT_EQ(found.count(irregularity::clock_jump), 2U);
    const auto backwards = std::find_if(found.findings.begin(), found.findings.end(), [](const auto& finding) {
        return finding.what == irregularity::clock_jump && finding.at.number == 13;
    });
    ASSERT_NE(backwards, found.findings.end());
    EXPECT_EQ(backwards->length, microseconds(-200000));
}

TEST(coverage, of_a_pause_that_numbers_and_times_agree_on_is_a_gap_and_no_jump)
{
    auto records = steady(10);
    records.push_back(stamp(111, 11000));
    const auto found = find_coverage(records, true);
    EXPECT_EQ(found.count(irregularity::gap), 1U);
    EXPECT_EQ(found.count(irregularity::clock_jump), 0U);
}

TEST(coverage, of_a_channel_that_records_when_it_changes_has_duplicates_only)
{
    const std::vector<record_stamp> records{stamp(1, 0), stamp(5, 405), stamp(5, 430), stamp(90, 9000)};
    const auto found = find_coverage(records, false);
    EXPECT_EQ(found.step, std::nullopt);
    EXPECT_EQ(found.expected, std::nullopt);
    ASSERT_EQ(found.findings.size(), 1U);
    EXPECT_EQ(found.findings.front().what, irregularity::duplicate);
}

TEST(coverage, of_no_record_and_of_one_is_nothing)
{
    EXPECT_EQ(find_coverage({}, true).step, std::nullopt);
    EXPECT_EQ(find_coverage({stamp(1, 0)}, true).step, std::nullopt);
}

TEST(coverage_over_time, counts_every_record_once_and_both_ends)
{
    const auto records = steady(11);
    const auto counts = trox_cli::count_over_time(records, records.front().time, records.back().time, 5);
    EXPECT_EQ(counts, (std::vector<std::uint64_t>{2, 2, 2, 2, 3}));
    EXPECT_EQ(trox_cli::count_over_time(records, records.front().time, records.back().time, 0).size(), 0U);
}

TEST(coverage_over_time, is_as_high_as_it_is_full_and_shows_the_least_record)
{
    EXPECT_EQ(trox_cli::strip_of({0, 1, 400, 800}), " ▁▄█");
    EXPECT_EQ(trox_cli::strip_of({0, 0}), "  ");
    EXPECT_EQ(trox_cli::strip_of({}), "");
}

} // namespace
