// Records that go to other threads, readers that end while their workers decode, data sets that threads share. Meant
// for builds that watch threads and memory; the values are checked in any build.
#include "event_texts.h"
#include "random_run.h"
#include "small_file.h"
#include "temp_directory.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;

constexpr std::uint64_t events = 200;
constexpr std::size_t samples = 3000;

/// Events on their way from one thread to others; at most eight, so that they do not use up the budget.
class event_queue
{
public:
    void put(std::optional<trox::event> event)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return waiting_.size() < 8; });
        waiting_.push_back(std::move(event));
        changed_.notify_all();
    }
    std::optional<trox::event> take()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !waiting_.empty(); });
        auto event = std::move(waiting_.front());
        waiting_.pop_front();
        changed_.notify_all();
        return event;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::optional<trox::event>> waiting_;
};

class threads : public testing::Test
{
protected:
    /// Three channels, whose samples are the event's number and the channel's.
    threads()
    {
        std::vector<std::string> paths;
        for (int n = 0; n < 2; ++n) {
            paths.push_back(directory_.file("f" + std::to_string(n) + ".raw"));
            tw::file_writer file(paths.back(), tw::generation::v2010);
            for (const char* name : {"T/A", "T/B", "T/C"}) {
                file.add_channel(name, tw::storage::zlib);
            }
            for (std::uint64_t i = 0; i < events / 2; ++i) {
                const std::uint64_t number = 1 + static_cast<std::uint64_t>(n) * events / 2 + i;
                file.begin_event({number, stamp_of(tenth(number))});
                file.begin_server_block({"SVR"});
                for (std::uint32_t channel = 0; channel < 3; ++channel) {
                    file.add_record(static_cast<tw::channel_id>(channel),
                                    tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010,
                                                         std::vector<float>(samples, value_of(number, channel))));
                }
                file.end_event();
            }
            file.finish();
        }
        data_ = trox::data_set::open_files(paths);
    }

    static float value_of(std::uint64_t number, std::size_t channel)
    {
        return static_cast<float>(10 * number + channel);
    }
    static bool is_right(const trox::event& event)
    {
        bool right = event.records().size() == 3;
        for (std::size_t channel = 0; right && channel < 3; ++channel) {
            const auto trace = event[channel] ? event[channel].trace() : std::nullopt;
            right = trace && trace->samples.size() == samples;
            for (std::size_t i = 0; right && i < samples; ++i) {
                right = trace->samples[i] == value_of(event.number(), channel);
            }
        }
        return right;
    }

    trox_test::temp_directory directory_;
    std::optional<trox::data_set> data_;
};

TEST_F(threads, take_events_from_a_reader_that_goes_on)
{
    event_queue queue;
    std::atomic<std::uint64_t> right{0};
    std::vector<std::thread> consumers;
    for (int i = 0; i < 3; ++i) {
        consumers.emplace_back([&] {
            while (const auto event = queue.take()) {
                right += is_right(*event) ? 1 : 0;
            }
        });
    }
    {
        trox::event_reader reader(*data_, {}, {std::size_t{2} << 20, 3, true});
        while (auto event = reader.next()) {
            queue.put(std::move(event));
        }
    } // ends before what it delivered
    for (std::size_t i = 0; i < consumers.size(); ++i) {
        queue.put(std::nullopt);
    }
    for (std::thread& consumer : consumers) {
        consumer.join();
    }
    EXPECT_EQ(right, events);
}

TEST_F(threads, share_one_event)
{
    trox::event_reader reader(*data_, {}, {std::size_t{2} << 20, 2, true});
    const auto event = reader.at_number(77);
    ASSERT_TRUE(event);
    std::atomic<int> right{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&, copy = *event] { right += is_right(*event) && is_right(copy) ? 1 : 0; });
    }
    for (std::thread& thread : readers) {
        thread.join();
    }
    EXPECT_EQ(right, 4);
}

TEST_F(threads, that_decode_may_be_stopped_at_any_time)
{
    for (std::uint64_t steps = 0; steps < 30; ++steps) {
        trox::event_reader reader(*data_, {}, {std::size_t{4} << 20, 1 + static_cast<unsigned>(steps % 5), true});
        for (std::uint64_t i = 0; i < steps; ++i) {
            const auto event = i % 7 == 3 ? reader.at_number(1 + (i * 37) % events) : reader.next();
            ASSERT_TRUE(event);
            ASSERT_TRUE(is_right(*event));
        }
    }
}

TEST_F(threads, each_with_a_reader_of_its_own_share_a_data_set)
{
    std::atomic<std::uint64_t> right{0};
    std::vector<std::thread> list;
    for (int i = 0; i < 3; ++i) {
        list.emplace_back([&, i] {
            trox::event_reader reader(*data_, {}, {std::size_t{1} << 20, 1U + static_cast<unsigned>(i), true});
            for (const trox::event& event : reader) {
                right += is_right(event) ? 1 : 0;
            }
            right += data_->inspect(static_cast<std::size_t>(i)).samples == samples ? 1 : 0;
        });
    }
    for (std::thread& thread : list) {
        thread.join();
    }
    EXPECT_EQ(right, 3 * events + 3);
}

TEST_F(threads, decode_for_a_reader_that_was_moved)
{
    trox::event_reader first(*data_, {}, {std::size_t{2} << 20, 3, true});
    ASSERT_TRUE(first.next());
    trox::event_reader second(std::move(first));
    std::uint64_t number = 1;
    while (const auto event = second.next()) {
        ASSERT_TRUE(is_right(*event));
        number = event->number();
    }
    EXPECT_EQ(number, events);
}

} // namespace
