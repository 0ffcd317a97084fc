// Records that a reader knows to be its current ones: a slicer does not ask for them again. They must be those that it
// would get.
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <memory>
#include <random>

using namespace trox_test;

namespace
{

template <class T> class current_record : public ::testing::Test
{
protected:
    void open(const std::vector<typename T::event_number>& numbers, const std::vector<time_stamp>& times = {})
    {
        scenario_options<T> options;
        options.events = static_cast<int>(numbers.size());
        options.numbers = numbers;
        options.times = times;
        open_.reset();
        scenario_ = std::make_unique<scenario_file<T>>(options);
        open_ = std::make_unique<open_channel<T>>(scenario_->path(), "TEST/UPDATE");
    }
    typename T::entry* ask(typename T::time_id* id, int type, int& status)
    {
        typename T::entry* record = nullptr;
        status = open_->reader.get_chan_data(id, &record, type);
        return record;
    }
    /// Asks for random events; wherever the answer is taken for the current record, the request for the current event
    /// must answer it. Counts the answers that are, and those that the request for the current event does not answer.
    void ask_at_random(std::uint32_t numbers_below, std::uint32_t seconds_from, std::uint32_t seconds)
    {
        known_ = 0;
        not_answered_ = 0;
        std::mt19937 random(17);
        for (int i = 0; i < 500; ++i) {
            typename T::time_id id{};
            id.event_number = random() % 3 == 0 ? 0 : static_cast<std::uint32_t>(random() % numbers_below);
            id.time = {seconds_from + static_cast<std::uint32_t>(random() % seconds),
                       static_cast<std::uint32_t>(random() % 5 * 200000)};
            const int type = static_cast<int>(random() % 5) - 2;
            int status = 0;
            typename T::entry* const record = ask(random() % 4 == 0 ? nullptr : &id, type, status);
            if (status != TROX_DAQ_READ_CHAN_OK || record == nullptr) {
                continue;
            }
            const bool is_known = open_->reader.is_current(*record);
            const auto event = record->event_id.event_number;
            typename T::entry* const current = ask(nullptr, TROX_DAQ_READ_CHAN_EVENT_CUR, status);
            const bool is_answered = status == TROX_DAQ_READ_CHAN_OK && current == record;
            EXPECT_TRUE(!is_known || is_answered) << "number " << event << ", request " << type << ": " << status;
            known_ += is_known ? 1 : 0;
            not_answered_ += is_answered ? 0 : 1;
        }
    }

    std::unique_ptr<scenario_file<T>> scenario_;
    std::unique_ptr<open_channel<T>> open_;
    int known_ = 0;
    int not_answered_ = 0;
};
TYPED_TEST_SUITE(current_record, channel_generations);

} // namespace

TYPED_TEST(current_record, is_known_in_ascending_records)
{
    this->open({101, 102, 104, 105, 109, 110, 120});
    this->ask_at_random(125, 999, 5);
    EXPECT_GT(this->known_, 50);
    EXPECT_EQ(this->not_answered_, 0);
}

TYPED_TEST(current_record, is_known_in_ascending_records_far_apart)
{
    this->open({1, 0x7FFFFFFF, 0x80000001, 0xFFFFFFF0});
    this->ask_at_random(0xFFFFFFFF, 999, 4);
    EXPECT_GT(this->known_, 0);
    EXPECT_EQ(this->not_answered_, 0);
}

TYPED_TEST(current_record, is_to_be_asked_for_in_records_that_do_not_ascend)
{
    this->open({105, 101, 103, 102, 110, 104});
    this->ask_at_random(112, 999, 5);
    EXPECT_EQ(this->known_, 0);
    EXPECT_GT(this->not_answered_, 0) << "the first event by time has number 105: what is below lies outside";
}

TYPED_TEST(current_record, is_to_be_asked_for_where_numbers_occur_twice)
{
    this->open({101, 102, 102, 103});
    this->ask_at_random(105, 999, 4);
    EXPECT_EQ(this->known_, 0);
    EXPECT_GT(this->not_answered_, 0) << "the number leads to one of the two only";
}

TYPED_TEST(current_record, is_to_be_asked_for_where_it_has_number_0)
{
    this->open({0, 101, 102, 103});
    typename TypeParam::time_id id{0, event_time_of(0)};
    int status = 99;
    const auto* first = this->ask(&id, TROX_DAQ_READ_CHAN_EVENT_CUR, status);
    ASSERT_EQ(status, TROX_DAQ_READ_CHAN_OK);
    EXPECT_EQ(first->event_id.event_number, 0U);
    EXPECT_FALSE(this->open_->reader.is_current(*first)) << "it is looked for by time";
    this->ask_at_random(105, 999, 4);
    EXPECT_GT(this->known_, 0) << "the others ascend";
}

TYPED_TEST(current_record, is_to_be_asked_for_where_the_limits_by_time_exclude_numbers)
{
    // The earliest event has number 103, and the latest 104: 101, 102 and 105 are outside for requests by number.
    this->open({101, 102, 103, 104, 105}, {{1003, 0}, {1002, 0}, {1001, 0}, {1005, 0}, {1004, 0}});
    this->ask_at_random(107, 1000, 7);
    EXPECT_EQ(this->known_, 0);
    EXPECT_GT(this->not_answered_, 0);
    typename TypeParam::time_id id{0, {1002, 0}};
    int status = 99;
    const auto* record = this->ask(&id, TROX_DAQ_READ_CHAN_EVENT_CUR, status);
    ASSERT_EQ(status, TROX_DAQ_READ_CHAN_OK);
    EXPECT_EQ(record->event_id.event_number, 102U);
    EXPECT_FALSE(this->open_->reader.is_current(*record));
    this->ask(nullptr, TROX_DAQ_READ_CHAN_EVENT_CUR, status);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
}

TYPED_TEST(current_record, is_known_where_times_do_not_ascend_but_the_limits_hold_all_numbers)
{
    this->open({101, 102, 103, 104, 105}, {{1001, 0}, {1004, 0}, {1002, 0}, {1003, 0}, {1005, 0}});
    this->ask_at_random(107, 1000, 7);
    EXPECT_GT(this->known_, 0);
    EXPECT_EQ(this->not_answered_, 0);
}

TYPED_TEST(current_record, is_only_the_one_handed_out_last)
{
    this->open({101, 102, 103});
    typename TypeParam::time_id id{102, {0, 0}};
    int status = 99;
    auto* const second = this->ask(&id, TROX_DAQ_READ_CHAN_EVENT_CUR, status);
    ASSERT_EQ(status, TROX_DAQ_READ_CHAN_OK);
    EXPECT_TRUE(this->open_->reader.is_current(*second));
    EXPECT_FALSE(this->open_->reader.is_current(*(second + 1)));
    const auto copy = *second;
    EXPECT_FALSE(this->open_->reader.is_current(copy));
    this->open_->reader.clean();
    EXPECT_FALSE(this->open_->reader.is_current(copy));
}
