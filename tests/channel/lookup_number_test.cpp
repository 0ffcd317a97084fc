// Finding records by event number.
#include "captured_output.h"
#include "captured_stdout.h"
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

template <class T> class lookup_by_number : public ::testing::Test
{
protected:
    using event_number = typename T::event_number;

    void open(const std::vector<event_number>& numbers)
    {
        scenario_options<T> options;
        options.events = static_cast<int>(numbers.size());
        options.numbers = numbers;
        open_.reset();
        scenario_ = std::make_unique<scenario_file<T>>(options);
        open_ = std::make_unique<open_channel<T>>(scenario_->path(), "TEST/UPDATE");
        typename T::entry* record = nullptr;
        for (std::size_t i = 0; i < numbers.size() && record == nullptr; ++i) {
            if (numbers[i] != 0) {
                record = find_by_number(open_->reader, numbers[i], cur, nullptr);
                first_ = record -
                         (std::find(numbers.begin(), numbers.end(), record->event_id.event_number) - numbers.begin());
            }
        }
    }
    /// Index of the record found; -1 for the position before the array, -2 for null.
    int find(event_number id, int type)
    {
        typename T::entry* record = find_by_number(open_->reader, id, type, &status_);
        return record == nullptr ? -2 : static_cast<int>(record - first_);
    }

    std::unique_ptr<scenario_file<T>> scenario_;
    std::unique_ptr<open_channel<T>> open_;
    typename T::entry* first_ = nullptr;
    int status_ = 99;
};
TYPED_TEST_SUITE(lookup_by_number, channel_generations);

} // namespace

TYPED_TEST(lookup_by_number, refuses_number_0)
{
    this->open({7, 8, 9});
    EXPECT_EQ(this->find(0, next), -2);
    EXPECT_EQ(this->status_, TROX_DAQ_READ_CHAN_INV_PARAM);
}

TYPED_TEST(lookup_by_number, before_start_is_not_initialised)
{
    typename TypeParam::reader reader(nullptr, "X", -1, nullptr);
    int status = 0;
    EXPECT_EQ(find_by_number(reader, 7, cur, &status), nullptr);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(find_by_number(reader, 0, cur, &status), nullptr);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_INV_PARAM) << "a bad number is told first";
    EXPECT_EQ(find_by_number(reader, 7, cur, nullptr), nullptr);
}

TYPED_TEST(lookup_by_number, finds_each_number_of_ascending_records)
{
    this->open({7, 8, 9, 20, 31});
    int index = 0;
    for (const unsigned id : {7U, 8U, 9U, 20U, 31U}) {
        for (const int type : {-2, -1, 0, 1, 2}) {
            EXPECT_EQ(this->find(id, type), index);
            EXPECT_EQ(this->status_, 0);
        }
        ++index;
    }
}

TYPED_TEST(lookup_by_number, finds_exact_numbers_of_unsorted_records)
{
    this->open({50, 10, 40, 20, 30, 60, 5});
    int index = 0;
    for (const unsigned id : {50U, 10U, 40U, 20U, 30U, 60U, 5U}) {
        EXPECT_EQ(this->find(id, cur), index++);
        EXPECT_EQ(this->status_, 0);
    }
}

TYPED_TEST(lookup_by_number, takes_the_nearest_below_for_prev_and_above_for_next)
{
    for (const auto& numbers : {std::vector<typename TypeParam::event_number>{10, 20, 30},
                                std::vector<typename TypeParam::event_number>{30, 10, 20}}) {
        this->open(numbers);
        const auto index_of = [&](unsigned wanted) {
            return static_cast<int>(std::find(numbers.begin(), numbers.end(), wanted) - numbers.begin());
        };
        EXPECT_EQ(this->find(19, prev), index_of(10));
        EXPECT_EQ(this->find(29, prev), index_of(20));
        EXPECT_EQ(this->find(4000, prev), index_of(30));
        EXPECT_EQ(this->find(1, next), index_of(10));
        EXPECT_EQ(this->find(11, next), index_of(20));
        EXPECT_EQ(this->find(21, next), index_of(30));
        EXPECT_EQ(this->status_, 0);
    }
}

TYPED_TEST(lookup_by_number, without_a_neighbour_gives_no_data_and_the_position_before_the_array)
{
    this->open({10, 20, 30});
    for (const auto& [id, type] :
         {std::pair{9U, prev}, std::pair{31U, next}, std::pair{15U, cur},
          std::pair{15U, TROX_DAQ_READ_CHAN_EVENT_FIRST + 0}, std::pair{15U, TROX_DAQ_READ_CHAN_EVENT_LAST + 0}}) {
        EXPECT_EQ(this->find(id, type), -1);
        EXPECT_EQ(this->status_, TROX_DAQ_READ_CHAN_NO_DATA);
    }
}

TYPED_TEST(lookup_by_number, keeps_a_record_of_zeros_before_the_array)
{
    this->open({10, 20, 30});
    const typename TypeParam::entry* guard = find_by_number(this->open_->reader, 31, next, nullptr);
    const auto* bytes = reinterpret_cast<const unsigned char*>(guard);
    EXPECT_EQ(std::count(bytes, bytes + sizeof *guard, 0), static_cast<long>(sizeof *guard));
}

TYPED_TEST(lookup_by_number, never_takes_a_record_with_number_0_for_a_smaller_one)
{
    this->open({0, 10, 20});
    EXPECT_EQ(this->find(9, prev), -1);
    EXPECT_EQ(this->find(11, prev), 1);
    this->open({20, 0, 10});
    EXPECT_EQ(this->find(9, prev), -1);
    EXPECT_EQ(this->status_, TROX_DAQ_READ_CHAN_NO_DATA);
}

TYPED_TEST(lookup_by_number, takes_the_first_of_several_records_with_the_nearest_number)
{
    this->open({40, 10, 10, 30, 30});
    EXPECT_EQ(this->find(20, prev), 1);
    EXPECT_EQ(this->find(20, next), 3);
}

TYPED_TEST(lookup_by_number, compares_differences_as_signed_numbers)
{
    // Seen from 3, the last number is 2^31 + 97 (2^63 + 97) away: as a signed number less than any other distance.
    constexpr auto half = TypeParam::undecoded / 2 + 1;
    this->open({10, 20, half + 100});
    EXPECT_EQ(this->find(3, next), 2);
    EXPECT_EQ(this->find(half + 16, prev), 0) << "half + 6 and half - 4: the first is negative";
}

TYPED_TEST(lookup_by_number, stays_right_whatever_was_looked_up_before)
{
    this->open({10, 20, 30, 40, 50});
    EXPECT_EQ(this->find(50, cur), 4);
    EXPECT_EQ(this->find(10, cur), 0);
    EXPECT_EQ(this->find(60, cur), -1);
    EXPECT_EQ(this->find(20, cur), 1);
    EXPECT_EQ(this->find(30, cur), 2);
    EXPECT_EQ(this->find(25, next), 2);
    EXPECT_EQ(this->find(49, prev), 3);
    EXPECT_EQ(this->find(11, next), 1);
    EXPECT_EQ(this->find(9, next), 0);
}

TYPED_TEST(lookup_by_number, makes_what_it_finds_the_current_record)
{
    this->open({10, 20, 30});
    typename TypeParam::entry* record = nullptr;
    EXPECT_EQ(this->find(20, cur), 1);
    EXPECT_EQ(this->open_->reader.get_chan_data(nullptr, &record, cur), 0);
    EXPECT_EQ(record, this->first_ + 1);
    EXPECT_EQ(this->find(31, next), -1);
    EXPECT_EQ(this->open_->reader.get_chan_data(nullptr, &record, cur), TROX_DAQ_READ_CHAN_INV_PARAM)
        << "the position before the array holds no event";
}

TYPED_TEST(lookup_by_number, answers_like_the_scans_for_any_records)
{
    std::mt19937 generator(20100614);
    const auto below = [&](unsigned end) { return static_cast<unsigned>(generator() % end); };
    for (unsigned file = 0; file < 12; ++file) {
        std::vector<typename TypeParam::event_number> numbers;
        unsigned last = 1;
        for (int i = 0; i < 12; ++i) {
            last += 1 + below(file % 3 == 0 ? 1 : 4);
            numbers.push_back(file % 4 == 3 ? 1 + below(40) : last);
        }
        this->open(numbers);
        for (int query = 0; query < 300; ++query) {
            const typename TypeParam::event_number id = 1 + below(last + 10);
            const int type = static_cast<int>(below(5)) - 2;
            ASSERT_EQ(this->find(id, type), number_by_scan(numbers, id, type))
                << "file " << file << " number " << id << " type " << type;
        }
    }
}

TYPED_TEST(lookup_by_number, ends_at_a_record_that_is_not_decoded)
{
    scenario_file<TypeParam> scenario;
    const auto row = scenario.file().row(zlib_channel, 4);
    const auto zip_head = row.chhd + sizeof(typename TypeParam::subhead);
    scenario.file().put(zip_head + 12, std::uint16_t{0xFFFF}); // no zlib stream any more
    scenario.rewrite();
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(scenario.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&loader, "TEST/ZLIB", -1, nullptr);
    reader.set_number_of_threads(1);
    start_signal signal;
    {
        const captured_stdout printed;
        ASSERT_EQ(start(reader, signal), 0);
        ASSERT_TRUE(eventually([&] { return printed.text().find("Failed to uncompress PID ") != std::string::npos; }));
    }
    const auto get = [&](int i, typename TypeParam::entry*& record) {
        typename TypeParam::time_id id{event_number_of(i), {}};
        record = nullptr;
        return reader.get_chan_data(&id, &record, cur);
    };
    typename TypeParam::entry* record = nullptr;
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(get(i, record), 0);
    }
    // An undecoded record counts as the end of the data, whatever lies behind it.
    for (int i = 4; i < scenario_events; ++i) {
        EXPECT_EQ(get(i, record), TROX_DAQ_READ_CHAN_NO_DATA);
        EXPECT_EQ(record, nullptr) << "nothing is delivered where the scan met the end";
    }
    loader.set_debug(1);
    EXPECT_EQ(capture([&] { get(4, record); }).out, TypeParam::lookup_met_end());
    EXPECT_FALSE(reader.is_done());
}
