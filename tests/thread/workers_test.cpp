// The workers of a channel reader: how many, what the signal means, and what a failed record does to them.
#include "busy_channel.h"
#include "captured_output.h"
#include "captured_stdout.h"
#include "channel_contents.h"
#include "open_channel.h"

#include <algorithm>
#include <thread>

using namespace trox_test;

namespace
{

template <class T> class channel_workers : public ::testing::Test
{
protected:
    static const busy_file<T>& busy()
    {
        static const busy_file<T> file;
        return file;
    }
    /// Makes a zlib record fail: softly, so that its worker goes on, or hard.
    void break_record(int i, bool hard)
    {
        const auto head =
            scenario_.file().row(zlib_channel, static_cast<std::size_t>(i)).chhd + sizeof(typename T::subhead);
        scenario_.file().put(head + (hard ? 0 : 12), std::uint32_t{0xFFFFFFF8});
        scenario_.rewrite();
    }
    int decoded_records(typename T::reader& reader)
    {
        int decoded = 0;
        for (int i = 0; i < scenario_events; ++i) {
            typename T::time_id id{event_number_of(i), {}};
            typename T::entry* record = nullptr;
            decoded += reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR) == 0 ? 1 : 0;
        }
        return decoded;
    }

    scenario_file<T> scenario_;
    typename T::loader loader_{0};
};
TYPED_TEST_SUITE(channel_workers, channel_generations);

} // namespace

TYPED_TEST(channel_workers, of_any_number_give_identical_records)
{
    std::vector<record_contents> by_one;
    for (const int workers : {1, 2, 10}) {
        open_channel<TypeParam> open(this->busy().path(), "BUSY", -1, nullptr,
                                     [&](auto& reader) { reader.set_number_of_threads(workers); });
        EXPECT_TRUE(open.reader.is_done());
        const auto records = contents_of<TypeParam>(open.reader, scenario_first_number);
        ASSERT_EQ(records.size(), static_cast<std::size_t>(busy_file<TypeParam>::records));
        if (workers == 1) {
            by_one = records;
            typename TypeParam::entry* last = nullptr;
            ASSERT_EQ(open.reader.get_chan_data(nullptr, &last, TROX_DAQ_READ_CHAN_EVENT_LAST), 0);
            EXPECT_EQ(floats_of<TypeParam>(*last), busy_file<TypeParam>::values_of(busy_file<TypeParam>::records - 1));
        }
        EXPECT_TRUE(records == by_one) << workers << " workers";
    }
}

TYPED_TEST(channel_workers, signal_once_when_all_records_are_done)
{
    ASSERT_EQ(this->loader_.get_all_tables(this->busy().path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "BUSY", -1, nullptr);
    start_signal signal;
    ASSERT_EQ(start(reader, signal), 0);
    ASSERT_TRUE(signal.wait());
    EXPECT_TRUE(reader.is_done());
    reader.set_number_of_threads(10);
    EXPECT_FALSE(signal.is_raised()) << "raised once, and lowered by the wait";
}

TYPED_TEST(channel_workers, signal_can_be_given_and_taken_again)
{
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/PLAIN", -1, nullptr);
    start_signal signal;
    ASSERT_EQ(start(reader, signal), 0);
    ASSERT_TRUE(signal.wait());
    std::thread other([&] { reader.signal_master(); });
    EXPECT_TRUE(signal.wait());
    other.join();
}

TYPED_TEST(channel_workers, deliver_records_that_are_done_while_they_are_at_work)
{
    ASSERT_EQ(this->loader_.get_all_tables(this->busy().path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "BUSY", -1, nullptr);
    reader.set_number_of_threads(2);
    start_signal signal;
    ASSERT_EQ(start(reader, signal), 0);
    typename TypeParam::time_id id{scenario_first_number, {}};
    typename TypeParam::entry* record = nullptr;
    EXPECT_TRUE(eventually([&] {
        typename TypeParam::time_id first{};
        reader.get_time_limits(&first, nullptr);
        return first.event_number == scenario_first_number &&
               reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR) == 0;
    }));
    EXPECT_EQ(floats_of<TypeParam>(*record), busy_file<TypeParam>::values_of(0));
    ASSERT_TRUE(signal.wait());
}

TYPED_TEST(channel_workers, take_bad_records_out_while_the_caller_asks_for_records)
{
    for (const int i : {0, 2, 9}) {
        this->break_record(i, i == 2);
    }
    for (int round = 0; round < 10; ++round) {
        ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
        typename TypeParam::reader reader(&this->loader_, "TEST/ZLIB", -1, nullptr);
        reader.set_skip_bad_records(true);
        const captured_stdout quiet;
        start_signal signal;
        ASSERT_EQ(start(reader, signal), 0);
        EXPECT_TRUE(eventually([&] {
            typename TypeParam::entry* record = nullptr;
            return reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST) == 0 &&
                   record->event_id.event_number == event_number_of(1) && reader.is_done();
        }));
        EXPECT_EQ(reader.get_number_of_bad_records(), 3);
    }
}

TYPED_TEST(channel_workers, go_on_after_a_record_that_does_not_decompress_but_are_never_done)
{
    this->break_record(0, false);
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    for (const int workers : {1, 10}) {
        typename TypeParam::reader reader(&this->loader_, "TEST/ZLIB", -1, nullptr);
        reader.set_number_of_threads(workers);
        start_signal signal;
        const captured_stdout printed;
        ASSERT_EQ(start(reader, signal), 0);
        typename TypeParam::time_id last{event_number_of(scenario_events - 1), {}};
        typename TypeParam::entry* record = nullptr;
        EXPECT_TRUE(
            eventually([&] { return reader.get_chan_data(&last, &record, TROX_DAQ_READ_CHAN_EVENT_CUR) == 0; }));
        EXPECT_FALSE(signal.wait(std::chrono::milliseconds(50))) << "the wait does not end";
        EXPECT_FALSE(reader.is_done());
        EXPECT_EQ(reader.get_number_of_bad_records(), 0) << "nothing is taken out";
        EXPECT_EQ(reader.get_number_of_records(), scenario_events);
        reader.clean();
        EXPECT_THAT(printed.text(), ::testing::HasSubstr("Failed to uncompress PID "));
    }
}

TYPED_TEST(channel_workers, end_with_a_record_of_an_unknown_compressor)
{
    this->break_record(4, true);
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/ZLIB", -1, nullptr);
    reader.set_number_of_threads(1);
    start_signal signal;
    const captured_stdout printed;
    ASSERT_EQ(start(reader, signal), 0);
    EXPECT_TRUE(
        eventually([&] { return printed.text().find("Unknown unzipper: 0xfffffff8!!!") != std::string::npos; }));
    EXPECT_FALSE(signal.wait(std::chrono::milliseconds(50)));
    EXPECT_FALSE(reader.is_done());
    EXPECT_EQ(this->decoded_records(reader), 4) << "nothing behind the record";
    reader.clean(); // the worker is gone, so this returns at once
}

TYPED_TEST(channel_workers, leave_the_rest_to_the_others_when_one_ends)
{
    this->break_record(0, true);
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/ZLIB", -1, nullptr);
    reader.set_number_of_threads(2);
    start_signal signal;
    const captured_stdout printed;
    ASSERT_EQ(start(reader, signal), 0);
    // By time: a look-up by number ends at the record that is not decoded.
    time_stamp last = event_time_of(scenario_events - 1);
    typename TypeParam::time_id id{0, last};
    typename TypeParam::entry* record = nullptr;
    EXPECT_TRUE(eventually([&] { return reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR) == 0; }));
    EXPECT_FALSE(reader.is_done());
    reader.clean();
}

TYPED_TEST(channel_workers, publish_a_record_that_does_not_convert_without_a_block)
{
    auto& file = this->scenario_.file();
    file.put(file.row(zlib_channel, 3).chhd + offsetof(typename TypeParam::subhead, dtype), 55);
    this->scenario_.rewrite();
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/ZLIB");
    EXPECT_TRUE(open.reader.is_done()) << "such a record counts";
    typename TypeParam::time_id id{event_number_of(3), {}};
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(open.reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR), 0);
    EXPECT_NE(record->sbchdata[0].evhd, 0U);
    EXPECT_EQ(record->sbchdata[0].chhd, 0U);
    EXPECT_EQ(record->sbchdata[0].data, 0U);
}

TYPED_TEST(channel_workers, called_on_a_reader_that_is_not_started_only_signal)
{
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, "TEST/EMPTY", -1, nullptr);
    start_signal signal;
    ASSERT_EQ(start(reader, signal), 0); // hands out the signal; there is no basket
    ASSERT_TRUE(signal.wait());
    EXPECT_EQ(TypeParam::run_worker(&reader), nullptr);
    EXPECT_TRUE(signal.is_raised());
}

TYPED_TEST(channel_workers, called_on_a_reader_that_is_done_find_nothing_to_do)
{
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN");
    std::thread other([&] { TypeParam::run_worker(&open.reader); });
    other.join();
    EXPECT_EQ(open.reader.get_number_of_records(), scenario_events);
    open.reader.set_thread_exited(::pthread_self()); // not one of its workers
    EXPECT_TRUE(open.reader.is_done());
}

TYPED_TEST(channel_workers, of_several_readers_share_one_loader)
{
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    std::vector<std::thread> callers;
    std::atomic<int> right{0};
    for (const std::size_t channel : {plain_channel, zlib_channel, lzo_channel, plain_channel}) {
        callers.emplace_back([&, channel] {
            typename TypeParam::reader reader(&this->loader_, scenario_names[channel], -1, nullptr);
            typename TypeParam::entry* record = nullptr;
            if (start_and_wait(reader) && reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_LAST) == 0 &&
                floats_of<TypeParam>(*record) == samples_of(channel, scenario_events - 1, 1)) {
                ++right;
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(right, 4);
}
