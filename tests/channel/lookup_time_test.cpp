// Finding records by time.
#include "channel_scenario.h"
#include "channel_types.h"
#include "lookup_by_scan.h"
#include "open_channel.h"

#include <memory>
#include <random>

using namespace trox_test;

namespace
{

constexpr int prev = TROX_DAQ_READ_CHAN_EVENT_PREV;
constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;
constexpr int cur = TROX_DAQ_READ_CHAN_EVENT_CUR;

template <class T> class lookup_by_time : public ::testing::Test
{
protected:
    /// Records 101, 102, ... at these times.
    void open(const std::vector<time_stamp>& times, time_stamp tolerance = {0, 95000})
    {
        scenario_options<T> options;
        options.events = static_cast<int>(times.size());
        options.times = times;
        open_.reset();
        scenario_ = std::make_unique<scenario_file<T>>(options);
        open_ = std::make_unique<open_channel<T>>(scenario_->path(), "TEST/UPDATE");
        open_->reader.set_time_diff(&tolerance);
        first_ = find_by_number(open_->reader, scenario_first_number, cur, nullptr);
    }
    /// Index of the record found; -2 for null.
    int find(time_stamp time, int type)
    {
        typename T::entry* record = open_->reader.find_entry_by_time(&time, type, &status_);
        return record == nullptr ? -2 : static_cast<int>(record - first_);
    }

    std::unique_ptr<scenario_file<T>> scenario_;
    std::unique_ptr<open_channel<T>> open_;
    typename T::entry* first_ = nullptr;
    int status_ = 99;
};
TYPED_TEST_SUITE(lookup_by_time, channel_generations);

const std::vector<time_stamp> three_seconds{{10, 0}, {11, 0}, {12, 0}};

} // namespace

TYPED_TEST(lookup_by_time, refuses_null_and_is_not_initialised_before_start)
{
    typename TypeParam::reader reader(nullptr, "X", -1, nullptr);
    int status = 0;
    EXPECT_EQ(reader.find_entry_by_time(nullptr, cur, &status), nullptr);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_INV_PARAM);
    time_stamp time{10, 0};
    EXPECT_EQ(reader.find_entry_by_time(&time, cur, &status), nullptr);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(reader.find_entry_by_time(&time, cur, nullptr), nullptr);
}

TYPED_TEST(lookup_by_time, finds_exact_times)
{
    this->open(three_seconds);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(this->find({10U + static_cast<unsigned>(i), 0}, cur), i);
        EXPECT_EQ(this->status_, 0);
    }
}

TYPED_TEST(lookup_by_time, finds_times_up_to_the_tolerance_away)
{
    this->open(three_seconds);
    EXPECT_EQ(this->find({11, 95000}, cur), 1);
    EXPECT_EQ(this->find({10, 905000}, cur), 1);
    EXPECT_EQ(this->find({11, 95001}, cur), -2);
    EXPECT_EQ(this->status_, TROX_DAQ_READ_CHAN_NO_DATA);
    EXPECT_EQ(this->find({10, 904999}, cur), -2);
}

TYPED_TEST(lookup_by_time, measures_the_tolerance_in_microseconds_and_seconds)
{
    this->open(three_seconds, {1, 5}); // 1000005 us
    EXPECT_EQ(this->find({13, 5}, cur), 2);
    EXPECT_EQ(this->find({13, 6}, cur), -2);
    EXPECT_EQ(this->find({8, 999995}, cur), 0);
    EXPECT_EQ(this->find({8, 999994}, cur), -2);
}

TYPED_TEST(lookup_by_time, within_the_tolerance_of_two_takes_the_one_the_binary_search_meets_first)
{
    this->open(three_seconds, {0, 600000});
    EXPECT_EQ(this->find({10, 500000}, cur), 1) << "the middle of three is met first";
    EXPECT_EQ(this->find({11, 500000}, cur), 1);
    this->open({{10, 0}, {11, 0}, {12, 0}, {13, 0}}, {0, 600000});
    EXPECT_EQ(this->find({12, 500000}, cur), 2) << "after the second of four, the third";
}

TYPED_TEST(lookup_by_time, takes_the_nearest_neighbour_in_the_direction_asked_for)
{
    this->open(three_seconds);
    EXPECT_EQ(this->find({10, 500000}, prev), 0);
    EXPECT_EQ(this->find({10, 500000}, next), 1);
    EXPECT_EQ(this->find({50, 0}, prev), 2);
    EXPECT_EQ(this->find({1, 0}, next), 0);
    EXPECT_EQ(this->find({10, 95000}, next), 0) << "a record within the tolerance comes before any neighbour";
}

TYPED_TEST(lookup_by_time, without_a_neighbour_gives_no_data_and_null)
{
    this->open(three_seconds);
    for (const auto& [seconds, type] :
         {std::pair{9U, prev}, std::pair{13U, next}, std::pair{50U, cur}, std::pair{50U, 2}, std::pair{1U, -2}}) {
        EXPECT_EQ(this->find({seconds, 0}, type), -2);
        EXPECT_EQ(this->status_, TROX_DAQ_READ_CHAN_NO_DATA);
    }
}

TYPED_TEST(lookup_by_time, finds_records_that_are_not_in_order_of_time)
{
    this->open({{30, 0}, {10, 0}, {20, 0}, {5, 0}});
    EXPECT_EQ(this->find({30, 0}, cur), 0);
    EXPECT_EQ(this->find({5, 0}, cur), 3);
    EXPECT_EQ(this->find({12, 0}, prev), 1);
    EXPECT_EQ(this->find({12, 0}, next), 2);
    EXPECT_EQ(this->find({4, 0}, prev), -2);
}

TYPED_TEST(lookup_by_time, takes_the_first_of_several_nearest_records)
{
    this->open({{30, 0}, {10, 0}, {10, 0}, {20, 0}, {20, 0}});
    EXPECT_EQ(this->find({15, 0}, prev), 1);
    EXPECT_EQ(this->find({15, 0}, next), 3);
}

TYPED_TEST(lookup_by_time, ends_at_a_record_without_a_time)
{
    this->open({{10, 0}, {0, 0}, {12, 0}});
    EXPECT_EQ(this->find({12, 0}, cur), -2) << "the binary search meets the record without a time";
    EXPECT_EQ(this->find({50, 0}, prev), -2);
    this->open({{10, 0}, {11, 0}, {12, 0}, {0, 0}});
    EXPECT_EQ(this->find({12, 0}, cur), 2) << "found before the search comes to the end";
    EXPECT_EQ(this->find({11, 500000}, next), -2);
    EXPECT_EQ(this->status_, TROX_DAQ_READ_CHAN_NO_DATA);
}

TYPED_TEST(lookup_by_time, that_fails_leaves_the_current_record)
{
    this->open(three_seconds);
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(this->find({11, 0}, cur), 1);
    EXPECT_EQ(this->find({50, 0}, next), -2);
    EXPECT_EQ(this->open_->reader.get_chan_data(nullptr, &record, cur), 0);
    EXPECT_EQ(record, this->first_ + 1);
}

TYPED_TEST(lookup_by_time, answers_like_the_scans_for_any_records)
{
    std::mt19937 random(20240305);
    for (int file = 0; file < 12; ++file) {
        std::vector<time_stamp> times;
        std::uint64_t us = 5000000;
        for (int i = 0; i < 12; ++i) {
            us += 1 + random() % (file % 2 == 0 ? 200000 : 20000);
            const std::uint64_t at = file % 4 == 3 ? 5000000 + random() % 1000000 : us;
            times.push_back({static_cast<std::uint32_t>(at / 1000000), static_cast<std::uint32_t>(at % 1000000)});
        }
        const std::uint32_t tolerance = file % 3 == 0 ? 0 : static_cast<std::uint32_t>(random() % 40000);
        this->open(times, {0, tolerance});
        for (int query = 0; query < 300; ++query) {
            const std::uint64_t at = 4900000 + random() % (us - 4800000);
            const time_stamp wanted{static_cast<std::uint32_t>(at / 1000000), static_cast<std::uint32_t>(at % 1000000)};
            const int type = static_cast<int>(random() % 5) - 2;
            const int expected = time_by_scan(times, wanted, type, tolerance);
            ASSERT_EQ(this->find(wanted, type), expected < 0 ? -2 : expected)
                << "file " << file << " time " << at << " type " << type;
        }
    }
}
