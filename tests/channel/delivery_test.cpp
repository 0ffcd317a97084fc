// get_chan_data: which record a request delivers. Unless a test says otherwise the records are number 101 to 110,
// at 1000 s and every 200 ms behind; the step is one number and 200 ms, the tolerance 95 ms.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <memory>

using namespace trox_test;

namespace
{

constexpr int first = TROX_DAQ_READ_CHAN_EVENT_FIRST;
constexpr int prev = TROX_DAQ_READ_CHAN_EVENT_PREV;
constexpr int cur = TROX_DAQ_READ_CHAN_EVENT_CUR;
constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;
constexpr int last = TROX_DAQ_READ_CHAN_EVENT_LAST;

/// What a request answers: the status, and the number of the record delivered (0 the one before the array, -1 none).
struct answer {
    int status;
    long number;
    bool operator==(const answer&) const = default;
};

[[maybe_unused]] std::ostream& operator<<(std::ostream& out, const answer& it)
{
    return out << "status " << it.status << ", number " << it.number;
}

constexpr answer no_data_before_the_array{TROX_DAQ_READ_CHAN_NO_DATA, 0};
constexpr answer out_of_window{TROX_DAQ_READ_CHAN_OUT_OF_WINDOW, -1};
constexpr answer no_data{TROX_DAQ_READ_CHAN_NO_DATA, -1};
constexpr answer invalid{TROX_DAQ_READ_CHAN_INV_PARAM, -1};
constexpr answer found(long number)
{
    return {TROX_DAQ_READ_CHAN_OK, number};
}

template <class T> class delivery : public ::testing::Test
{
protected:
    void open(const scenario_options<T>& options = {})
    {
        scenario_ = std::make_unique<scenario_file<T>>(options);
        open_ = std::make_unique<open_channel<T>>(scenario_->path(), "TEST/UPDATE");
    }
    void open(const std::vector<typename T::event_number>& numbers, const std::vector<time_stamp>& times)
    {
        scenario_options<T> options;
        options.events = static_cast<int>(numbers.size());
        options.numbers = numbers;
        options.times = times;
        open(options);
    }
    typename T::reader& reader()
    {
        return open_->reader;
    }
    answer ask(typename T::time_id* id, int type)
    {
        typename T::entry* record = nullptr;
        const int status = reader().get_chan_data(id, &record, type);
        return {status, record == nullptr ? -1 : static_cast<long>(record->event_id.event_number)};
    }
    answer ask(int type)
    {
        return ask(nullptr, type);
    }
    answer by_number(typename T::event_number number, int type)
    {
        typename T::time_id id{number, {0, 0}};
        return ask(&id, type);
    }
    answer by_time(time_stamp time, int type)
    {
        typename T::time_id id{0, time};
        return ask(&id, type);
    }

    std::unique_ptr<scenario_file<T>> scenario_;
    std::unique_ptr<open_channel<T>> open_;
};
TYPED_TEST_SUITE(delivery, channel_generations);

/// With the check of neighbours that legacy readers do not make.
template <class T> class checked_delivery : public delivery<T>
{
};
TYPED_TEST_SUITE(checked_delivery, channel_generations_since_2010);

} // namespace

// --- arguments ------------------------------------------------------------------------------------------

TYPED_TEST(delivery, before_start_is_not_initialised)
{
    const scenario_file<TypeParam> scenario;
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(scenario.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&loader, "TEST/PLAIN", -1, nullptr);
    typename TypeParam::entry* record = nullptr;
    int status = 0;
    EXPECT_EQ(capture([&] { status = reader.get_chan_data(nullptr, &record, first); }).out,
              TypeParam::get_data_not_initialized("TEST/PLAIN"));
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(reader.get_chan_data(nullptr, nullptr, 77), TROX_DAQ_READ_CHAN_NOT_INIT) << "told before anything else";
    EXPECT_EQ(record, nullptr);
}

TYPED_TEST(delivery, refuses_null_and_unknown_types)
{
    this->open();
    EXPECT_EQ(this->reader().get_chan_data(nullptr, nullptr, first), TROX_DAQ_READ_CHAN_INV_PARAM);
    EXPECT_EQ(this->ask(-3), invalid);
    EXPECT_EQ(this->ask(3), invalid);
    EXPECT_EQ(this->by_number(103, 3), invalid);
}

TYPED_TEST(delivery, refuses_an_event_without_number_and_seconds)
{
    this->open();
    EXPECT_EQ(this->by_time({0, 5}, cur), invalid);
    this->open_->loader.set_debug(1);
    EXPECT_EQ(capture([&] { this->by_number(0, next); }).out, "Start channel is we are here   0@0\n");
    this->open_->loader.set_debug(0);
    EXPECT_EQ(capture([&] { this->by_number(0, next); }).out, "");
}

// --- without an event -----------------------------------------------------------------------------------

TYPED_TEST(delivery, of_first_and_last_is_the_earliest_and_latest_record)
{
    this->open({103, 101, 102}, {{1003, 0}, {1001, 0}, {1002, 0}});
    EXPECT_EQ(this->ask(first), found(101));
    EXPECT_EQ(this->ask(last), found(103));
}

TYPED_TEST(delivery, of_the_current_record_needs_one)
{
    this->open();
    EXPECT_EQ(this->ask(cur), invalid);
    EXPECT_EQ(this->by_number(104, cur), found(104));
    EXPECT_EQ(this->ask(cur), found(104));
    EXPECT_EQ(this->ask(first), found(101));
    EXPECT_EQ(this->ask(cur), found(101));
}

TYPED_TEST(delivery, of_next_without_a_current_record_steps_from_the_first)
{
    this->open();
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->ask(next), found(102));
}

TYPED_TEST(delivery, of_prev_without_a_current_record_steps_from_the_last)
{
    this->open();
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->ask(prev), found(109));
}

TYPED_TEST(delivery, of_next_and_prev_walks_through_all_records)
{
    this->open();
    EXPECT_EQ(this->ask(first), found(101));
    for (long number = 102; number <= 110; ++number) {
        EXPECT_EQ(this->ask(next), found(number));
    }
    EXPECT_EQ(this->ask(next), out_of_window);
    EXPECT_EQ(this->ask(cur), found(110)) << "what failed leaves the current record";
    for (long number = 109; number >= 101; --number) {
        EXPECT_EQ(this->ask(prev), found(number));
    }
    EXPECT_EQ(this->ask(prev), out_of_window);
    EXPECT_EQ(this->ask(cur), found(101));
}

// --- by number ------------------------------------------------------------------------------------------

TYPED_TEST(delivery, by_number_finds_the_event_itself)
{
    this->open();
    for (const int type : {first, cur, last}) {
        EXPECT_EQ(this->by_number(105, type), found(105));
    }
}

TYPED_TEST(delivery, by_number_of_prev_and_next_is_a_step_away)
{
    this->open();
    EXPECT_EQ(this->by_number(105, prev), found(104));
    EXPECT_EQ(this->by_number(105, next), found(106));
    typename TypeParam::time_id step{3, {0, 600000}};
    this->reader().set_step(&step);
    EXPECT_EQ(this->by_number(105, prev), found(102));
    EXPECT_EQ(this->by_number(105, next), found(108));
}

TYPED_TEST(delivery, by_number_takes_the_nearest_beyond_a_gap)
{
    this->open({101, 104, 105, 109}, {{1000, 0}, {1003, 0}, {1004, 0}, {1008, 0}});
    EXPECT_EQ(this->by_number(101, next), found(104));
    EXPECT_EQ(this->by_number(109, prev), found(105));
    EXPECT_EQ(this->by_number(107, next), found(109));
    EXPECT_EQ(this->by_number(104, prev), found(101));
    EXPECT_EQ(this->by_number(103, cur), no_data_before_the_array);
    EXPECT_EQ(this->by_number(103, first), no_data_before_the_array);
}

TYPED_TEST(delivery, by_number_of_a_step_past_the_ends_is_out_of_window_and_delivers_nothing)
{
    this->open();
    EXPECT_EQ(this->by_number(110, next), out_of_window);
    EXPECT_EQ(this->by_number(101, prev), out_of_window);
    EXPECT_EQ(this->by_number(1, prev), out_of_window) << "a step below number 0";
    EXPECT_EQ(this->by_number(TypeParam::undecoded, next), out_of_window) << "a step above the largest number";
    EXPECT_EQ(this->by_number(109, next), found(110));
    EXPECT_EQ(this->by_number(102, prev), found(101));
    typename TypeParam::time_id step{5, {1, 0}};
    this->reader().set_step(&step);
    EXPECT_EQ(this->by_number(3, prev), out_of_window);
    EXPECT_EQ(this->by_number(106, next), out_of_window);
}

TYPED_TEST(delivery, by_number_outside_is_out_of_window_for_the_current_event_only)
{
    this->open();
    EXPECT_EQ(this->by_number(100, cur), out_of_window);
    EXPECT_EQ(this->by_number(111, cur), out_of_window);
    EXPECT_EQ(this->by_number(100, first), no_data_before_the_array);
    EXPECT_EQ(this->by_number(111, last), no_data_before_the_array);
    EXPECT_EQ(this->by_number(100, next), found(101)) << "a step from outside into the range";
    EXPECT_EQ(this->by_number(99, next), found(101)) << "or to the nearest behind it";
    EXPECT_EQ(this->by_number(111, prev), found(110));
    EXPECT_EQ(this->by_number(500, prev), found(110));
}

TYPED_TEST(delivery, by_number_of_the_place_before_the_array_leaves_no_current_event)
{
    this->open();
    EXPECT_EQ(this->by_number(111, last), no_data_before_the_array);
    EXPECT_EQ(this->ask(cur), invalid);
    EXPECT_EQ(this->ask(next), invalid);
    EXPECT_EQ(this->ask(first), found(101));
}

TYPED_TEST(delivery, by_number_wins_over_the_time_given_with_it)
{
    this->open();
    typename TypeParam::time_id id{103, event_time_of(8)};
    EXPECT_EQ(this->ask(&id, cur), found(103));
    EXPECT_EQ(this->ask(&id, next), found(104));
}

// --- by time --------------------------------------------------------------------------------------------

TYPED_TEST(delivery, by_time_finds_the_event_within_the_tolerance)
{
    this->open();
    EXPECT_EQ(this->by_time({1000, 400000}, cur), found(103));
    EXPECT_EQ(this->by_time({1000, 495000}, cur), found(103));
    EXPECT_EQ(this->by_time({1000, 305000}, first), found(103));
    EXPECT_EQ(this->by_time({1000, 500000}, cur), no_data) << "halfway between two";
    EXPECT_EQ(this->by_time({1000, 500000}, last), no_data);
}

TYPED_TEST(delivery, by_time_of_prev_and_next_is_a_step_away)
{
    this->open();
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->by_time({1000, 400000}, prev), found(102));
    EXPECT_EQ(this->by_time({1000, 400000}, next), found(104));
    EXPECT_EQ(this->by_time({1000, 500000}, prev), found(102)) << "300 ms: the nearest before";
    EXPECT_EQ(this->by_time({1000, 500000}, next), found(105)) << "700 ms: the nearest behind";
    typename TypeParam::time_id step{1, {1, 0}};
    this->reader().set_step(&step);
    EXPECT_EQ(this->by_time({1000, 400000}, next), found(108));
    EXPECT_EQ(this->by_time({1001, 400000}, prev), found(103));
}

TYPED_TEST(delivery, by_time_carries_and_borrows_seconds)
{
    this->open();
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->by_time({1000, 800000}, next), found(106)) << "1001.0 s";
    EXPECT_EQ(this->by_time({1001, 0}, prev), found(105)) << "1000.8 s";
    EXPECT_EQ(this->by_time({1001, 100000}, prev), found(105)) << "1000.9 s: 100 ms behind 105, so the nearest before";
}

TYPED_TEST(delivery, by_time_of_prev_with_equal_microseconds_steps_back_a_whole_second_in_microseconds)
{
    this->open();
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->by_time({1001, 200000}, prev), found(106)) << "1000 s + 1000000 us is 1001.0 s";
    EXPECT_EQ(this->by_time({1000, 200000}, prev), found(101));
}

TYPED_TEST(delivery, by_time_a_step_before_the_first_within_the_tolerance_is_delivered)
{
    this->open();
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->by_time({1000, 105000}, prev), found(101)) << "95 ms before the first";
    EXPECT_EQ(this->by_time({1000, 104999}, prev), out_of_window);
    EXPECT_EQ(this->by_time({1001, 695000}, next), found(110)) << "95 ms behind the last";
    EXPECT_EQ(this->by_time({1001, 695001}, next), out_of_window);
}

TYPED_TEST(delivery, by_time_outside_is_out_of_window_where_the_request_looks_that_way)
{
    this->open();
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->by_time({999, 0}, cur), out_of_window);
    EXPECT_EQ(this->by_time({1005, 0}, cur), out_of_window);
    EXPECT_EQ(this->by_time({900, 0}, next), found(101)) << "next looks behind, from anywhere before";
    EXPECT_EQ(this->by_time({1005, 0}, prev), found(110));
    EXPECT_EQ(this->by_time({900, 0}, first), no_data);
    EXPECT_EQ(this->by_time({1005, 0}, last), no_data);
}

TYPED_TEST(delivery, goes_by_time_where_the_current_record_has_no_number)
{
    this->open({0, 0, 0}, {{1000, 0}, {1000, 200000}, {1000, 400000}});
    do_not_check_neighbours(this->reader());
    typename TypeParam::entry* record = nullptr;
    EXPECT_EQ(this->reader().get_chan_data(nullptr, &record, first), 0);
    EXPECT_EQ(record->event_id.time.timelow, 0U);
    EXPECT_EQ(this->reader().get_chan_data(nullptr, &record, next), 0);
    EXPECT_EQ(record->event_id.time.timelow, 200000U);
    EXPECT_EQ(this->reader().get_chan_data(nullptr, &record, last), 0);
    EXPECT_EQ(record->event_id.time.timelow, 400000U);
    EXPECT_EQ(this->reader().get_chan_data(nullptr, &record, cur), 0);
    EXPECT_EQ(record->event_id.time.timelow, 400000U);
}

// --- neighbours by time, checked against the numbers -------------------------------------------------------

TYPED_TEST(checked_delivery, checks_a_neighbour_by_time_that_skips_numbers)
{
    // 102 lies late, outside the tolerance of the step's target; 103 lies near it.
    this->open({101, 102, 103, 104}, {{1000, 0}, {1000, 10000}, {1000, 200000}, {1000, 400000}});
    time_stamp tolerance{0, 50000};
    this->reader().set_time_diff(&tolerance);
    EXPECT_EQ(this->ask(first), found(101));
    this->open_->loader.set_debug(1);
    answer got{};
    EXPECT_EQ(capture([&] { got = this->ask(next); }).out, "Double check instead of time -> by EvID\n");
    EXPECT_EQ(got, found(102)) << "1000.2 s is 103, which skips a number";
    this->open_->loader.set_debug(-1);
    EXPECT_EQ(this->ask(first), found(101));
    EXPECT_THAT(capture([&] { got = this->ask(next); }).out, ::testing::Not(::testing::HasSubstr("Double check")))
        << "negative levels trace times, not this";
    EXPECT_EQ(got, found(102));
}

TYPED_TEST(checked_delivery, does_not_check_neighbours_by_time_when_told_so)
{
    this->open({101, 102, 103, 104}, {{1000, 0}, {1000, 10000}, {1000, 200000}, {1000, 400000}});
    time_stamp tolerance{0, 50000};
    this->reader().set_time_diff(&tolerance);
    do_not_check_neighbours(this->reader());
    EXPECT_EQ(this->ask(first), found(101));
    EXPECT_EQ(this->ask(next), found(103));
    EXPECT_EQ(this->ask(last), found(104));
    EXPECT_EQ(this->ask(prev), found(103));
}

TYPED_TEST(checked_delivery, checks_a_neighbour_before_by_time_that_skips_numbers)
{
    this->open({101, 102, 103, 104}, {{1000, 0}, {1000, 200000}, {1000, 390000}, {1000, 400000}});
    time_stamp tolerance{0, 50000};
    this->reader().set_time_diff(&tolerance);
    EXPECT_EQ(this->ask(last), found(104));
    this->open_->loader.set_debug(2);
    answer got{};
    EXPECT_EQ(capture([&] { got = this->ask(prev); }).out, "Double check instead of time -> by EvID\n");
    EXPECT_EQ(got, found(103));
}

TYPED_TEST(delivery, takes_the_next_number_there_is_where_one_is_missing)
{
    this->open({101, 103, 104, 107}, {{1000, 0}, {1000, 200000}, {1000, 400000}, {1000, 600000}});
    EXPECT_EQ(this->ask(first), found(101));
    EXPECT_EQ(this->ask(next), found(103));
    EXPECT_EQ(this->ask(next), found(104));
    EXPECT_EQ(this->ask(next), found(107));
    EXPECT_EQ(this->ask(prev), found(104));
    EXPECT_EQ(this->ask(prev), found(103));
    EXPECT_EQ(this->ask(prev), found(101));
}

TYPED_TEST(checked_delivery, delivers_a_neighbour_by_time_with_out_of_window_where_the_next_number_is_outside)
{
    // The last event by time has a low number, so that the step by number leaves the range.
    this->open({108, 110, 105}, {{1000, 0}, {1000, 200000}, {1000, 400000}});
    EXPECT_EQ(this->ask(first), found(108));
    EXPECT_EQ(this->ask(next), (answer{TROX_DAQ_READ_CHAN_OUT_OF_WINDOW, 110})) << "109 is above 105, the last's";
    this->open({110, 101, 108}, {{1000, 0}, {1000, 200000}, {1000, 400000}});
    EXPECT_EQ(this->ask(last), found(108));
    EXPECT_EQ(this->ask(prev), (answer{TROX_DAQ_READ_CHAN_OUT_OF_WINDOW, 101})) << "107 is below 110, the first's";
}

TYPED_TEST(delivery, does_not_check_the_neighbouring_number_whatever_the_step)
{
    this->open();
    typename TypeParam::time_id step{3, {0, 200000}};
    this->reader().set_step(&step);
    EXPECT_EQ(this->by_number(104, cur), found(104));
    EXPECT_EQ(this->ask(next), found(105)) << "not 107";
    EXPECT_EQ(this->ask(prev), found(104)) << "not 102";
}

TYPED_TEST(checked_delivery, measures_skipped_numbers_without_sign)
{
    this->open({105, 101, 109}, {{1000, 0}, {1000, 200000}, {1000, 400000}});
    EXPECT_EQ(this->ask(first), found(105));
    EXPECT_EQ(this->ask(next), found(109)) << "101 less 105 is a large number: the next above 106 is taken";
}

TYPED_TEST(checked_delivery, without_a_current_event_checks_against_number_0)
{
    this->open();
    EXPECT_EQ(this->by_time({1000, 400000}, next), found(101)) << "from number 0 the next number is the smallest";
    EXPECT_EQ(this->by_time({1000, 400000}, next), found(102)) << "from 101 the next is 102";
    EXPECT_EQ(this->by_time({1000, 400000}, cur), found(103)) << "an event itself is not checked";
    EXPECT_EQ(this->by_time({1000, 400000}, next), found(104));
}

TYPED_TEST(delivery, is_checked_against_the_numbers_since_2010_only)
{
    constexpr bool checks = TypeParam::checks_neighbours;
    // 103 lies where 102 is expected.
    this->open({101, 102, 103, 104}, {{1000, 0}, {1000, 10000}, {1000, 200000}, {1000, 400000}});
    time_stamp tolerance{0, 50000};
    this->reader().set_time_diff(&tolerance);
    EXPECT_EQ(this->ask(first), found(101));
    this->open_->loader.set_debug(1);
    answer got{};
    EXPECT_EQ(capture([&] { got = this->ask(next); }).out, checks ? "Double check instead of time -> by EvID\n" : "");
    EXPECT_EQ(got, found(checks ? 102 : 103));
    // The next number would lie outside the channel's events.
    this->open({108, 110, 105}, {{1000, 0}, {1000, 200000}, {1000, 400000}});
    EXPECT_EQ(this->ask(first), found(108));
    EXPECT_EQ(this->ask(next), (answer{checks ? TROX_DAQ_READ_CHAN_OUT_OF_WINDOW : TROX_DAQ_READ_CHAN_OK, 110}));
}

// --- what is delivered --------------------------------------------------------------------------------------

TYPED_TEST(delivery, leaves_the_callers_pointer_alone_when_nothing_is_delivered)
{
    this->open();
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(this->reader().get_chan_data(nullptr, &record, first), 0);
    typename TypeParam::entry* const kept = record;
    typename TypeParam::time_id id{110, {}};
    EXPECT_EQ(this->reader().get_chan_data(&id, &record, next), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
    EXPECT_EQ(record, kept);
}

TYPED_TEST(delivery, tells_the_limits_to_whoever_asks)
{
    this->open();
    typename TypeParam::time_id begin{};
    typename TypeParam::time_id end{};
    this->reader().get_time_limits(&begin, nullptr);
    this->reader().get_time_limits(nullptr, &end);
    this->reader().get_time_limits(nullptr, nullptr);
    EXPECT_EQ(begin.event_number, 101U);
    EXPECT_EQ(begin.time.timeup, 1000U);
    EXPECT_EQ(begin.time.timelow, 0U);
    EXPECT_EQ(end.event_number, 110U);
    EXPECT_EQ(end.time.timeup, 1001U);
    EXPECT_EQ(end.time.timelow, 800000U);
}

TYPED_TEST(delivery, ends_with_clean)
{
    this->open();
    this->reader().clean();
    typename TypeParam::entry* record = nullptr;
    int status = 0;
    EXPECT_EQ(capture([&] { status = this->reader().get_chan_data(nullptr, &record, cur); }).out,
              TypeParam::get_data_not_initialized("TEST/UPDATE"));
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(find_by_number(this->reader(), 101, cur, &status), nullptr);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(this->reader().get_number_of_records(), 0);
}
