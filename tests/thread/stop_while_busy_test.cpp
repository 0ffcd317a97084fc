// Ending a channel reader while its workers decode.
#include "busy_channel.h"
#include "captured_output.h"
#include "channel_waiting.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

using namespace trox_test;

namespace
{

template <class T> class stopped_channel : public ::testing::Test
{
protected:
    static const busy_file<T>& busy()
    {
        static const busy_file<T> file;
        return file;
    }
    void start_busy_reader(int workers)
    {
        loader_ = std::make_unique<typename T::loader>(0);
        ASSERT_EQ(loader_->get_all_tables(busy().path(), 0, nullptr), 0);
        reader_ = std::make_unique<typename T::reader>(loader_.get(), "BUSY", -1, nullptr);
        ASSERT_EQ(reader_->set_number_of_threads(workers), 0);
        ASSERT_EQ(start(*reader_, signal_), 0);
    }

    std::unique_ptr<typename T::loader> loader_;
    std::unique_ptr<typename T::reader> reader_;
    start_signal signal_;
};
TYPED_TEST_SUITE(stopped_channel, channel_generations);

} // namespace

TYPED_TEST(stopped_channel, is_clean_soon_after_it_was_told)
{
    for (int round = 0; round < 12; ++round) {
        this->start_busy_reader(1 + round % 10);
        std::this_thread::sleep_for(std::chrono::microseconds(300 * round));
        this->reader_->clean();
        EXPECT_EQ(this->reader_->get_number_of_records(), 0);
        EXPECT_EQ(this->reader_->get_chn_basket(), nullptr);
        this->reader_->clean();
    }
}

TYPED_TEST(stopped_channel, does_not_decode_all_records_first)
{
    int stopped = 0;
    for (int round = 0; round < 20 && stopped == 0; ++round) { // this thread may be held up now and then
        this->start_busy_reader(1);
        this->reader_->clean();
        stopped += this->reader_->is_done() ? 0 : 1;
    }
    EXPECT_GT(stopped, 0);
}

TYPED_TEST(stopped_channel, may_be_destroyed_at_once)
{
    for (int round = 0; round < 12; ++round) {
        this->start_busy_reader(10);
        this->reader_.reset();
    }
}

TYPED_TEST(stopped_channel, outlives_its_loader)
{
    this->start_busy_reader(4);
    this->loader_->clean_up();
    this->loader_.reset();
    EXPECT_TRUE(this->signal_.wait());
    typename TypeParam::entry* record = nullptr;
    EXPECT_EQ(this->reader_->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST), 0);
    EXPECT_EQ(floats_of<TypeParam>(*record), busy_file<TypeParam>::values_of(0));
    this->start_busy_reader(4);
    this->loader_.reset();
    this->reader_->clean();
}

TYPED_TEST(stopped_channel, may_be_cleaned_beside_threads_of_the_caller_that_begin_to_decode)
{
    for (int round = 0; round < 40; ++round) {
        this->start_busy_reader(1);
        std::atomic<int> ended{0};
        std::vector<std::thread> helpers;
        for (int i = 0; i < 3; ++i) {
            helpers.emplace_back([&, i] {
                std::this_thread::sleep_for(std::chrono::microseconds(20 * i * round));
                TypeParam::run_worker(this->reader_.get());
                ++ended;
            });
        }
        std::this_thread::sleep_for(std::chrono::microseconds(20 * round));
        this->reader_->clean();
        for (std::thread& helper : helpers) {
            helper.join();
        }
        EXPECT_EQ(ended, 3);
        EXPECT_EQ(this->reader_->get_number_of_records(), 0);
        TypeParam::run_worker(this->reader_.get());
        EXPECT_TRUE(this->signal_.is_raised()) << "one that comes later only signals";
    }
}

TYPED_TEST(stopped_channel, takes_settings_while_its_workers_decode)
{
    this->start_busy_reader(4);
    auto& reader = *this->reader_;
    time_stamp tolerance{0, 1};
    typename TypeParam::time_id step{1, {0, 1}};
    for (std::uint32_t i = 0; !this->signal_.is_raised() && i < 1000000; ++i) {
        tolerance.timelow = 1 + i % 1000;
        step.time.timelow = 2 + i % 1000;
        reader.set_time_diff(&tolerance);
        reader.set_step(&step);
        reader.set_number_of_threads(1 + static_cast<int>(i % 10));
        reader.set_max_number_of_threads(1 + static_cast<int>(i % 10));
        reader.set_skip_bad_records(i % 2 == 0);
        this->loader_->set_debug(0);
        typename TypeParam::entry* record = nullptr;
        typename TypeParam::time_id id{event_number_of(3), event_time_of(3)};
        reader.get_chan_data(&id, &record, TROX_DAQ_READ_CHAN_EVENT_CUR);
    }
    ASSERT_TRUE(this->signal_.wait());
    EXPECT_EQ(reader.get_number_of_records(), busy_file<TypeParam>::records);
    EXPECT_EQ(reader.get_time_diff()->timelow, tolerance.timelow);
    EXPECT_EQ(reader.get_step()->time.timelow, step.time.timelow);
}

TYPED_TEST(stopped_channel, that_is_done_is_clean_at_once)
{
    this->start_busy_reader(2);
    ASSERT_TRUE(this->signal_.wait());
    this->reader_->clean();
    typename TypeParam::entry* record = nullptr;
    int status = 0;
    const std::string printed =
        capture([&] { status = this->reader_->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST); }).out;
    EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(printed, TypeParam::get_data_not_initialized("BUSY"));
}
