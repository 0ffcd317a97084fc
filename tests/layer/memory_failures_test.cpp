// Reading when memory runs out: each allocation fails in turn, in the reader's thread and in the workers. Nothing waits
// for ever, and calls made later deliver what they would have delivered.
#include "allocations.h"
#include "event_texts.h"
#include "small_file.h"
#include "temp_directory.h"

#include <gtest/gtest.h>
#include <new>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using trox_test::failing_allocation;
using trox_test::failing_allocation_elsewhere;

constexpr std::uint64_t events_per_file = 6;
constexpr std::uint64_t all_events = 2 * events_per_file;
constexpr std::size_t budget = std::size_t{64} << 10;

class memory_failures : public testing::Test
{
protected:
    /// Two files of six events with T/A, stored plain, T/B, compressed, and T/SLOW; the fourth event of each has no
    /// T/B.
    memory_failures()
    {
        const auto format = tw::generation::v2010;
        std::vector<std::string> paths;
        for (std::uint64_t n = 0; n < 2; ++n) {
            paths.push_back(directory_.file("f" + std::to_string(n) + ".raw"));
            tw::file_writer file(paths.back(), format);
            const auto a = file.add_channel("T/A");
            const auto b = file.add_channel("T/B", tw::storage::zlib);
            const auto slow = file.add_channel("T/SLOW");
            for (std::uint64_t i = 1; i <= events_per_file; ++i) {
                const std::uint64_t number = n * events_per_file + i;
                const auto samples = tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010,
                                                          std::vector<float>(500, static_cast<float>(number)));
                file.begin_event({number, stamp_of(tenth(number))});
                file.begin_server_block({"SVR"});
                file.add_record(a, samples);
                if (i != 4) {
                    file.add_record(b, samples);
                }
                file.end_event();
                if (i == 2) {
                    const auto time = stamp_of(tenth(number) + trox::microseconds(5000));
                    file.begin_event({number, time, TROX_EV_UPD});
                    file.begin_server_block({"SLOW"});
                    file.add_record(slow, tw::update_payload(format, "T/SLOW", 1.0F, time));
                    file.end_event();
                }
            }
            file.finish();
        }
        data_ = trox::data_set::open_files(paths, {true, 1});
        trox::event_reader reader(*data_, {});
        expected_ = texts_of(reader);
    }

    trox_test::temp_directory directory_;
    std::optional<trox::data_set> data_;
    std::vector<std::string> expected_;
};

TEST_F(memory_failures, of_the_reader_leave_it_as_it_was)
{
    ASSERT_EQ(expected_.size(), all_events);
    bool has_failed = true;
    long failures = 0;
    for (long n = 1; has_failed; ++n) {
        SCOPED_TRACE(n);
        trox::event_reader reader(*data_, {}, {budget, 1, true});
        std::vector<std::string> found;
        {
            const failing_allocation fails(n);
            try {
                while (auto event = reader.next()) {
                    found.push_back(text_of(*event, reader));
                }
            } catch (const std::bad_alloc&) {
                ++failures;
            } catch (const trox::error& failure) { // of a table
                EXPECT_EQ(failure.why(), trox::fault::input_output) << failure.what();
            }
            has_failed = fails.has_failed();
        }
        if (const auto event = reader.current()) {
            ASSERT_LE(event->number(), all_events);
            found.resize(event->number() - 1); // the text of an event may be what failed
            found.push_back(text_of(*event, reader));
        }
        while (const auto event = reader.next()) {
            found.push_back(text_of(*event, reader));
        }
        ASSERT_EQ(first_difference(expected_, found), "");
        EXPECT_TRUE(reader.report().skipped_records.empty());
        EXPECT_TRUE(reader.report().skipped_files.empty());
        EXPECT_EQ(number_of(reader.first()), 1U);
        EXPECT_EQ(number_of(reader.last()), all_events);
    }
    EXPECT_GT(failures, 100);
}

TEST_F(memory_failures, of_steps_anywhere_leave_the_reader_as_it_was)
{
    bool has_failed = true;
    for (long n = 1; has_failed; ++n) {
        SCOPED_TRACE(n);
        trox::event_reader reader(*data_, {}, {budget, 1, false});
        {
            const failing_allocation fails(n);
            try {
                reader.at_number(9);
                reader.previous();
                reader.at_time(tenth(3));
            } catch (const std::bad_alloc&) {
            } catch (const trox::error& failure) { // of a table
                EXPECT_EQ(failure.why(), trox::fault::input_output) << failure.what();
            }
            has_failed = fails.has_failed();
        }
        EXPECT_EQ(reader.count(), all_events);
        EXPECT_EQ(first_difference(expected_, texts_of(reader)), "");
    }
}

TEST_F(memory_failures, of_workers_leave_it_to_the_reader_to_try_again)
{
    for (const unsigned threads : {2U, 4U}) {
        long unreached = 0; // how much workers do differs from run to run
        for (long n = 1; n < 400 && unreached < 10; ++n) {
            SCOPED_TRACE(n);
            trox::event_reader reader(*data_, {}, {budget, threads, true});
            const failing_allocation_elsewhere fails(n);
            EXPECT_EQ(first_difference(expected_, texts_of(reader)), "");
            EXPECT_TRUE(reader.report().skipped_records.empty());
            unreached += fails.has_failed() ? 0 : 1;
        }
        EXPECT_GE(unreached, 10);
    }
}

TEST_F(memory_failures, of_workers_that_never_have_any_leave_all_to_the_reader)
{
    for (const unsigned threads : {2U, 4U, 16U}) {
        SCOPED_TRACE(threads);
        trox::event_reader reader(*data_, {}, {budget, threads, true});
        const trox_test::failing_allocations_elsewhere fails;
        for (int round = 0; round < 20; ++round) {
            ASSERT_EQ(first_difference(expected_, texts_of(reader)), "");
        }
        EXPECT_TRUE(reader.report().skipped_records.empty());
    }
}

TEST_F(memory_failures, are_thrown_and_never_taken_for_damage)
{
    const auto format = tw::generation::v2010;
    const std::string path = directory_.file("large.raw");
    {
        tw::file_writer file(path, format);
        const auto a = file.add_channel("T/A");
        const auto b = file.add_channel("T/B", tw::storage::zlib);
        for (std::uint64_t number = 1; number <= 3; ++number) {
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            const auto trace = [&](std::size_t samples) {
                return tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(samples, 1.0F));
            };
            file.add_record(a, trace(4));
            file.add_record(b, trace(number == 2 ? 6000 : 4));
            file.end_event();
        }
        file.finish();
    }
    const auto data = trox::data_set::open_files({path});
    for (const unsigned threads : {1U, 3U}) {
        for (const bool skips : {true, false}) {
            trox::event_reader reader(data, {}, {std::size_t{1} << 20, threads, skips});
            EXPECT_EQ(number_of(reader.next()), 1U);
            {
                const trox_test::failing_large_allocations fails(std::size_t{20} << 10);
                for (int attempt = 0; attempt < 2; ++attempt) {
                    const trox::error failure = error_of([&] { reader.next(); });
                    EXPECT_EQ(failure.why(), trox::fault::input_output) << failure.what();
                    EXPECT_EQ(failure.reason(), "there is no memory for it");
                    EXPECT_EQ(failure.where().file, path);
                    EXPECT_EQ(failure.where().channel, "T/B");
                    EXPECT_EQ(failure.where().event, 2U);
                    EXPECT_TRUE(failure.where().offset);
                }
                EXPECT_EQ(number_of(reader.current()), 1U);
                EXPECT_EQ(number_of(reader.at_number(3)), 3U);
            }
            EXPECT_EQ(number_of(reader.at_number(1)), 1U);
            const auto event = reader.next();
            ASSERT_TRUE(event);
            EXPECT_EQ(event->number(), 2U);
            EXPECT_TRUE((*event)[1]);
            EXPECT_TRUE(reader.report().skipped_records.empty());
        }
    }
}

} // namespace
