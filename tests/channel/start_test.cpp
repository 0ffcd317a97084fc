// Starting a channel: what can fail at once, what is told when it works, and the limits of the channel's events.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <fcntl.h>
#include <unistd.h>

using namespace trox_test;

namespace
{

template <class T> class channel_start : public ::testing::Test
{
protected:
    /// Starts a reader of the (changed) scenario, and tells what it prints.
    captured_output start_channel(const char* name, int expected, const std::vector<std::string>* list = nullptr)
    {
        scenario_.rewrite();
        EXPECT_EQ(loader_.get_all_tables(scenario_.path(), 0, list), 0);
        reader_ = std::make_unique<typename T::reader>(&loader_, name, -1, nullptr);
        return capture([&] { EXPECT_EQ(start(*reader_, signal_), expected); });
    }

    scenario_file<T> scenario_;
    typename T::loader loader_{0};
    start_signal signal_;
    std::unique_ptr<typename T::reader> reader_;
};
TYPED_TEST_SUITE(channel_start, channel_generations);

} // namespace

TYPED_TEST(channel_start, of_a_channel_that_the_file_has_not_got_is_not_found)
{
    EXPECT_EQ(this->start_channel("TEST/NOWHERE", TROX_DAQ_READ_CHAN_NOT_FOUND).out, TypeParam::channel_not_found());
    EXPECT_TRUE(this->signal_.is_raised());
    EXPECT_FALSE(this->reader_->is_done());
}

TYPED_TEST(channel_start, of_a_channel_without_events_is_done_at_once)
{
    EXPECT_EQ(this->start_channel("TEST/EMPTY", 0).out, "");
    EXPECT_TRUE(this->signal_.is_raised());
    EXPECT_TRUE(this->reader_->is_done());
    EXPECT_EQ(this->reader_->get_number_of_records(), 0);
    EXPECT_EQ(this->reader_->get_chn_basket(), nullptr);
    typename TypeParam::entry* record = nullptr;
    EXPECT_EQ(find_by_number(*this->reader_, 101, 0, nullptr), nullptr);
    EXPECT_EQ(this->reader_->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST),
              TROX_DAQ_READ_CHAN_NOT_INIT);
}

TYPED_TEST(channel_start, with_a_negative_count_is_done_at_once)
{
    auto& file = this->scenario_.file();
    file.put(file.dictionary_position(plain_channel) + offsetof(typename TypeParam::dictionary_entry, count), -1);
    this->start_channel("TEST/PLAIN", 0);
    EXPECT_TRUE(this->reader_->is_done());
    EXPECT_TRUE(this->signal_.is_raised());
}

TYPED_TEST(channel_start, takes_no_interest_in_the_signal_of_who_does_not_ask_for_it)
{
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    EXPECT_EQ(reader.start(nullptr, nullptr, nullptr), 0);
    EXPECT_TRUE(eventually([&] { return reader.is_done(); }));
}

TYPED_TEST(channel_start, refuses_descriptor_0)
{
    // Only with standard input closed does a file get it.
    const int kept = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    ::close(STDIN_FILENO);
    const int loaded = this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr);
    const int descriptor = this->loader_.get_file_descr();
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    int status = 0;
    const std::string printed = capture([&] { status = start(reader, this->signal_); }).out;
    this->loader_.clean_up();
    reader.clean();
    if (kept >= 0) {
        ::dup2(kept, STDIN_FILENO);
        ::close(kept);
    }
    ASSERT_EQ(loaded, 0);
    ASSERT_EQ(descriptor, 0);
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(printed, TypeParam::start_not_initialized("TEST/PLAIN"));
}

TYPED_TEST(channel_start, whose_basket_is_no_basket_fails)
{
    auto& file = this->scenario_.file();
    file.put_word(file.map().channels[plain_channel].position, 0x12345678);
    const captured_output printed = this->start_channel("TEST/PLAIN", TROX_DAQ_READ_CHAN_INTERN_ERROR);
    EXPECT_EQ(printed.out, "TEST/PLAIN Failed to map channel basket header\n");
    EXPECT_EQ(printed.err.rfind("mmap: ", 0), 0U);
    EXPECT_TRUE(this->signal_.is_raised());
    EXPECT_FALSE(this->reader_->is_done());
    typename TypeParam::entry* record = nullptr;
    EXPECT_EQ(this->reader_->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST),
              TROX_DAQ_READ_CHAN_NOT_INIT);
}

TYPED_TEST(channel_start, whose_first_row_points_nowhere_fails)
{
    auto& file = this->scenario_.file();
    auto row = file.row(plain_channel, 0);
    for (const std::uint64_t position : {std::uint64_t{0}, std::uint64_t{3}, std::uint64_t{8}, file.map().file_size,
                                         file.map().file_size + 7, std::uint64_t{0xFFFFFFFF}}) {
        row.chhd = position;
        file.put_row(plain_channel, 0, row);
        EXPECT_EQ(this->start_channel("TEST/PLAIN", TROX_DAQ_READ_CHAN_INTERN_ERROR).out,
                  "TEST/PLAIN Failed to map channel basket header\n");
    }
}

TYPED_TEST(channel_start, whose_baskets_length_does_not_fit_fails)
{
    auto& file = this->scenario_.file();
    const auto position = file.map().channels[plain_channel].position;
    for (const std::uint64_t length :
         {file.map().file_size - position + 1, std::uint64_t{0xFFFFFFFF}, std::uint64_t{7}}) {
        file.put_word(position + sizeof(typename TypeParam::word), length);
        EXPECT_EQ(this->start_channel("TEST/PLAIN", TROX_DAQ_READ_CHAN_INTERN_ERROR).out,
                  "TEST/PLAIN Failed to map channel basket\n");
    }
}

TYPED_TEST(channel_start, with_more_records_than_the_table_has_rows_has_no_room_for_them)
{
    auto& file = this->scenario_.file();
    const auto count_at =
        file.dictionary_position(plain_channel) + offsetof(typename TypeParam::dictionary_entry, count);
    file.put(count_at, scenario_events + 1);
    EXPECT_EQ(this->start_channel("TEST/PLAIN", TROX_DAQ_READ_CHAN_INTERN_ERROR).out,
              "TEST/PLAIN Failed to create out array for 11 entries\n");
    file.put(count_at, 0x7FFFFFFF);
    EXPECT_EQ(this->start_channel("TEST/PLAIN", TROX_DAQ_READ_CHAN_INTERN_ERROR).out,
              "TEST/PLAIN Failed to create out array for 2147483647 entries\n");
}

TYPED_TEST(channel_start, without_any_event_header_fails)
{
    auto& file = this->scenario_.file();
    for (std::size_t i = 0; i < scenario_events; ++i) {
        auto row = file.row(plain_channel, i);
        row.evhd = 0;
        file.put_row(plain_channel, i, row);
    }
    this->start_channel("TEST/PLAIN", TROX_DAQ_READ_CHAN_INTERN_ERROR);
    EXPECT_TRUE(this->signal_.is_raised());
}

TYPED_TEST(channel_start, a_second_time_fails_and_keeps_the_records)
{
    this->start_channel("TEST/PLAIN", 0);
    ASSERT_TRUE(this->signal_.wait());
    start_signal again;
    EXPECT_EQ(start(*this->reader_, again), TROX_DAQ_READ_CHAN_INTERN_ERROR);
    typename TypeParam::entry* record = nullptr;
    EXPECT_EQ(this->reader_->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST), 0);
    EXPECT_EQ(floats_of<TypeParam>(*record), samples_of(plain_channel, 0, 1));
}

TYPED_TEST(channel_start, tells_the_time_taken_when_timings_are_traced)
{
    this->loader_.set_debug(-1);
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    reader.set_number_of_threads(1);
    const std::string printed = capture([&] {
                                    ASSERT_TRUE(start_and_wait(reader));
                                    reader.clean(); // waits for the worker's own line
                                }).out;
    const auto& basket = this->scenario_.file().map().channels[plain_channel];
    EXPECT_THAT(printed, ::testing::MatchesRegex(TypeParam::start_timing(this->scenario_.path(), basket.length,
                                                                         basket.length + basket.position % 4096,
                                                                         scenario_events) +
                                                 "thread: finished [0-9]+  10  in [0-9.]+ msec\n"));
}

TYPED_TEST(channel_start, keeps_the_channels_basket_with_its_position)
{
    this->start_channel("TEST/PLAIN", 0);
    ASSERT_TRUE(this->signal_.wait());
    const auto position = this->scenario_.file().map().channels[plain_channel].position;
    const auto offset = static_cast<std::uint64_t>(this->reader_->get_chn_offset());
    EXPECT_EQ(offset, TypeParam::maps_channel_baskets ? position / 4096 * 4096 : position) << "a mapping has a page's";
    const unsigned char* base = this->reader_->get_chn_base();
    const auto* basket = reinterpret_cast<const unsigned char*>(this->reader_->get_chn_basket());
    EXPECT_EQ(basket, base + (position - offset));
    EXPECT_EQ(trox_detail::load_big_endian<typename TypeParam::word>(basket), 0xCBACBAF3);
    const auto row = this->scenario_.file().row(plain_channel, 5);
    EXPECT_EQ(std::memcmp(base + (row.chhd - offset), "TEST/PLAIN", 11), 0);
}

// --- first and last event -------------------------------------------------------------------------------

namespace
{

template <class T>
std::pair<long, long> limits(const std::vector<typename T::event_number>& numbers, const std::vector<time_stamp>& times)
{
    scenario_options<T> options;
    options.events = static_cast<int>(numbers.size());
    options.numbers = numbers;
    options.times = times;
    const scenario_file<T> scenario(options);
    open_channel<T> open(scenario.path(), "TEST/UPDATE");
    typename T::time_id first{};
    typename T::time_id last{};
    open.reader.get_time_limits(&first, &last);
    return {first.event_number, last.event_number};
}

} // namespace

TYPED_TEST(channel_start, finds_the_earliest_and_latest_event_whatever_their_numbers)
{
    EXPECT_EQ(limits<TypeParam>({7, 9, 5, 8}, {{11, 5}, {10, 6}, {12, 4}, {10, 7}}), (std::pair{9L, 5L}));
    EXPECT_EQ(limits<TypeParam>({7}, {{11, 5}}), (std::pair{7L, 7L}));
}

TYPED_TEST(channel_start, keeps_the_earlier_row_of_events_with_equal_times)
{
    EXPECT_EQ(limits<TypeParam>({7, 8, 9}, {{11, 5}, {11, 5}, {11, 5}}), (std::pair{7L, 7L}));
    EXPECT_EQ(limits<TypeParam>({6, 7, 8, 9}, {{11, 0}, {10, 5}, {10, 5}, {11, 0}}), (std::pair{7L, 6L}));
}

TYPED_TEST(channel_start, takes_an_event_without_seconds_as_the_first_only_from_the_first_row)
{
    EXPECT_EQ(limits<TypeParam>({7, 8, 9}, {{11, 5}, {0, 0}, {12, 5}}), (std::pair{7L, 9L}));
    EXPECT_EQ(limits<TypeParam>({7, 8, 9}, {{0, 3}, {11, 5}, {12, 5}}), (std::pair{7L, 9L}));
}

TYPED_TEST(channel_start, leaves_out_rows_whose_event_header_cannot_be_read)
{
    auto& file = this->scenario_.file();
    for (const std::size_t i : {std::size_t{0}, std::size_t{9}}) {
        auto row = file.row(plain_channel, i);
        row.evhd = i == 0 ? 0 : file.map().file_size;
        file.put_row(plain_channel, i, row);
    }
    this->scenario_.rewrite();
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    typename TypeParam::time_id first{};
    typename TypeParam::time_id last{};
    capture([&] {
        ASSERT_EQ(start(reader, this->signal_), 0);
        reader.get_time_limits(&first, &last);
        reader.clean(); // the two records fail
    });
    EXPECT_EQ(first.event_number, 102U);
    EXPECT_EQ(last.event_number, 109U);
}
