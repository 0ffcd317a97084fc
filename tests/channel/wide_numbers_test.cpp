// Event numbers above 2^32 in the 2024 generation.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "lookup_by_scan.h"
#include "open_channel.h"

#include <algorithm>
#include <memory>
#include <random>

using namespace trox_test;

namespace
{

using T = channel_2024;
using event_number = T::event_number;

constexpr int first = TROX_DAQ_READ_CHAN_EVENT_FIRST;
constexpr int prev = TROX_DAQ_READ_CHAN_EVENT_PREV;
constexpr int cur = TROX_DAQ_READ_CHAN_EVENT_CUR;
constexpr int next = TROX_DAQ_READ_CHAN_EVENT_NEXT;
constexpr int last = TROX_DAQ_READ_CHAN_EVENT_LAST;

class wide_event_numbers : public ::testing::Test
{
protected:
    /// Records with these numbers, at the default step.
    void open(const std::vector<event_number>& numbers)
    {
        scenario_options<T> options;
        options.events = static_cast<int>(numbers.size());
        options.numbers = numbers;
        open_.reset();
        scenario_ = std::make_unique<scenario_file<T>>(options);
        open_ = std::make_unique<open_channel<T>>(scenario_->path(), "TEST/PLAIN");
        numbers_ = numbers;
    }
    /// The number found, 0 for none.
    event_number find(event_number id, int type)
    {
        int status = 99;
        const T::entry* record = open_->reader.find_entry_by_event_id_2024(id, type, &status);
        EXPECT_EQ(status, record->event_id.event_number == 0 ? TROX_DAQ_READ_CHAN_NO_DATA : TROX_DAQ_READ_CHAN_OK);
        return record->event_id.event_number;
    }
    /// The number delivered, or the status.
    std::int64_t ask(event_number id, int type)
    {
        T::time_id event{id, {}};
        T::entry* record = nullptr;
        const int status = open_->reader.get_chan_data(id == 0 ? nullptr : &event, &record, type);
        return status != 0 ? status : static_cast<std::int64_t>(record->event_id.event_number);
    }

    std::unique_ptr<scenario_file<T>> scenario_;
    std::unique_ptr<open_channel<T>> open_;
    std::vector<event_number> numbers_;
};

constexpr event_number two_32 = 0x100000000;

} // namespace

TEST_F(wide_event_numbers, that_share_their_low_words_are_told_apart)
{
    for (const auto& numbers : {std::vector<event_number>{5, two_32, two_32 + 5, 7 * two_32 + 5},
                                std::vector<event_number>{7 * two_32 + 5, 5, two_32 + 5, two_32}}) {
        open(numbers);
        for (const event_number number : numbers) {
            EXPECT_EQ(find(number, cur), number);
        }
        EXPECT_EQ(find(2 * two_32 + 5, cur), 0U);
        EXPECT_EQ(find(two_32 + 6, next), 7 * two_32 + 5);
        EXPECT_EQ(find(two_32 + 4, prev), two_32);
        EXPECT_EQ(find(two_32 - 1, prev), 5U);
        EXPECT_EQ(find(7 * two_32 + 6, next), 0U);
    }
}

TEST_F(wide_event_numbers, of_32_ones_are_ordinary)
{
    constexpr event_number ones = two_32 - 1;
    for (const auto& numbers :
         {std::vector<event_number>{ones - 1, ones, two_32}, std::vector<event_number>{ones, ones - 1, two_32}}) {
        open(numbers);
        EXPECT_EQ(find(ones, cur), ones);
        EXPECT_EQ(find(two_32, cur), two_32) << "a search does not end at it";
        EXPECT_EQ(find(two_32 + 9, prev), two_32);
        open_->loader.set_debug(1);
        EXPECT_EQ(capture([&] { find(two_32 + 9, next); }).out, "");
        open_->loader.set_debug(0);
        EXPECT_EQ(open_->reader.get_number_of_records(), 3);
    }
    scenario_options<T> options;
    options.numbers = {ones, two_32};
    options.events = 2;
    const scenario_file<T> scenario(options);
    const open_channel<T> skipping(scenario.path(), "TEST/ZLIB", -1, nullptr,
                                   [](auto& reader) { reader.set_skip_bad_records(true); });
    EXPECT_EQ(skipping.reader.get_number_of_bad_records(), 0);
}

TEST_F(wide_event_numbers, are_delivered_by_first_next_prev_and_last)
{
    open({two_32 - 1, two_32, two_32 + 1, two_32 + 4});
    EXPECT_EQ(ask(0, first), static_cast<std::int64_t>(two_32 - 1));
    EXPECT_EQ(ask(0, next), static_cast<std::int64_t>(two_32));
    EXPECT_EQ(ask(0, next), static_cast<std::int64_t>(two_32 + 1));
    EXPECT_EQ(ask(0, next), static_cast<std::int64_t>(two_32 + 4));
    EXPECT_EQ(ask(0, next), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
    EXPECT_EQ(ask(0, prev), static_cast<std::int64_t>(two_32 + 1));
    EXPECT_EQ(ask(0, last), static_cast<std::int64_t>(two_32 + 4));
    EXPECT_EQ(ask(two_32, prev), static_cast<std::int64_t>(two_32 - 1));
    EXPECT_EQ(ask(two_32 - 1, next), static_cast<std::int64_t>(two_32));
    EXPECT_EQ(ask(two_32 - 1, prev), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
    EXPECT_EQ(ask(two_32 + 4, next), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
    EXPECT_EQ(ask(4, cur), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW) << "below the first, whatever its low word";
    EXPECT_EQ(ask(3 * two_32, cur), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
}

TEST_F(wide_event_numbers, step_by_more_than_32_bits_hold)
{
    open({two_32, 2 * two_32, 3 * two_32});
    T::time_id step{two_32, {0, 200000}};
    ASSERT_EQ(open_->reader.set_step(&step), 0);
    EXPECT_EQ(open_->reader.get_step()->event_number, two_32);
    EXPECT_EQ(ask(two_32, next), static_cast<std::int64_t>(2 * two_32));
    EXPECT_EQ(ask(3 * two_32, prev), static_cast<std::int64_t>(2 * two_32));
    EXPECT_EQ(ask(two_32, prev), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
    EXPECT_EQ(ask(3 * two_32, next), TROX_DAQ_READ_CHAN_OUT_OF_WINDOW);
}

TEST_F(wide_event_numbers, check_neighbours_by_time_over_the_whole_width)
{
    // The low words of the two follow each other; the numbers do not.
    scenario_options<T> options;
    options.numbers = {6, 7 * two_32 + 7, 7 * two_32 + 8};
    options.times = {{1000, 0}, {1000, 200000}, {1000, 400000}};
    options.events = 3;
    const scenario_file<T> scenario(options);
    open_channel<T> open(scenario.path(), "TEST/PLAIN");
    T::entry* record = nullptr;
    ASSERT_EQ(open.reader.get_chan_data(nullptr, &record, first), 0);
    open.loader.set_debug(1);
    EXPECT_EQ(capture([&] { EXPECT_EQ(open.reader.get_chan_data(nullptr, &record, next), 0); }).out,
              "Double check instead of time -> by EvID\n");
    EXPECT_EQ(record->event_id.event_number, 7 * two_32 + 7);
    EXPECT_EQ(capture([&] { EXPECT_EQ(open.reader.get_chan_data(nullptr, &record, next), 0); }).out, "");
    EXPECT_EQ(record->event_id.event_number, 7 * two_32 + 8);
}

TEST_F(wide_event_numbers, are_found_like_by_plain_scans)
{
    std::mt19937_64 random(2024);
    for (int file = 0; file < 6; ++file) {
        std::vector<event_number> numbers;
        event_number number = two_32 - 20;
        for (int i = 0; i < 12; ++i) {
            number += 1 + random() % (file % 2 == 0 ? 6 : two_32);
            numbers.push_back(number);
        }
        if (file % 3 == 2) {
            std::shuffle(numbers.begin(), numbers.end(), random);
        }
        open(numbers);
        for (int query = 0; query < 200; ++query) {
            const event_number id = numbers[random() % numbers.size()] + random() % 5 - 2;
            const int type = static_cast<int>(random() % 5) - 2;
            const int expected = number_by_scan(numbers, id, type);
            ASSERT_EQ(find(id, type), expected < 0 ? 0 : numbers[static_cast<std::size_t>(expected)])
                << "file " << file << " number " << id << " type " << type;
        }
    }
}

TEST_F(wide_event_numbers, are_printed_whole)
{
    constexpr event_number number = 81604378624000;
    open({number, number + 1});
    T::time_id begin{};
    T::time_id end{};
    auto& reader = open_->reader;
    reader.get_time_limits(&begin, &end);
    EXPECT_EQ(begin.event_number, number);
    EXPECT_EQ(end.event_number, number + 1);
    const std::string limits = capture([&] { reader.print_time_limits(); }).out;
    EXPECT_THAT(limits, ::testing::HasSubstr(" EventID: 81604378624000 Time: "));
    EXPECT_THAT(limits, ::testing::HasSubstr(" EventID: 81604378624001 Time: "));
    EXPECT_THAT(capture([&] { reader.print_channel_headers(); }).out,
                ::testing::HasSubstr("\n81604378624000 1000:0\n"));
}
