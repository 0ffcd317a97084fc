// Starting and decoding while the system refuses mappings, memory or threads.
#include "busy_channel.h"
#include "captured_output.h"
#include "channel_contents.h"
#include "channel_types.h"
#include "channel_waiting.h"
#include "failing_calls.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <thread>

using namespace trox_test;

namespace
{

template <class T> class channel_under_faults : public ::testing::Test
{
protected:
    void make_reader(const char* name, bool skip, int workers = 4)
    {
        reader_.reset();
        ASSERT_EQ(loader_.get_all_tables(scenario_.path(), 0, nullptr), 0);
        reader_ = std::make_unique<typename T::reader>(&loader_, name, -1, nullptr);
        reader_->set_skip_bad_records(skip);
        reader_->set_number_of_threads(workers);
    }
    captured_output start_reader(int expected)
    {
        return capture([&] { EXPECT_EQ(start(*reader_, signal_), expected); });
    }

    scenario_file<T> scenario_;
    failing_calls calls_;
    typename T::loader loader_{0};
    std::unique_ptr<typename T::reader> reader_;
    start_signal signal_;
};
TYPED_TEST_SUITE(channel_under_faults, channel_generations);

} // namespace

TYPED_TEST(channel_under_faults, does_not_start_when_the_basket_cannot_be_mapped)
{
    for (const bool skip : {false, true}) {
        this->make_reader("TEST/PLAIN", skip);
        this->calls_.maps.fail_all();
        this->calls_.allocations.fail(2, 100); // all but that of the record array
        const captured_output printed = this->start_reader(TROX_DAQ_READ_CHAN_INTERN_ERROR);
        EXPECT_EQ(printed.out, "TEST/PLAIN Failed to map channel basket header\n");
        EXPECT_EQ(printed.err, "mmap: Cannot allocate memory\n");
        EXPECT_TRUE(this->signal_.is_raised());
        this->calls_.maps.reset();
        this->calls_.allocations.reset();
    }
}

TYPED_TEST(channel_under_faults, does_not_start_without_memory_for_records_or_basket)
{
    this->make_reader("TEST/PLAIN", false);
    this->calls_.allocations.fail(1);
    EXPECT_EQ(this->start_reader(TROX_DAQ_READ_CHAN_INTERN_ERROR).out,
              "TEST/PLAIN Failed to create out array for 10 entries\n");
    EXPECT_TRUE(this->signal_.is_raised());
    this->make_reader("TEST/PLAIN", false);
    auto& basket = TypeParam::maps_channel_baskets ? this->calls_.maps : this->calls_.allocations;
    basket.fail(2); // behind the mapping of the basket's head, or the allocation of the records
    EXPECT_EQ(this->start_reader(TROX_DAQ_READ_CHAN_INTERN_ERROR).out, "TEST/PLAIN Failed to map channel basket\n");
    EXPECT_TRUE(this->signal_.is_raised());
    EXPECT_EQ(this->calls_.threads.made, 0);
}

TYPED_TEST(channel_under_faults, starts_no_more_workers_than_it_has_records)
{
    this->make_reader("TEST/PLAIN", false, 3);
    this->start_reader(0);
    ASSERT_TRUE(this->signal_.wait());
    EXPECT_EQ(this->calls_.threads.made, 3);
    scenario_options<TypeParam> two;
    two.events = 2;
    this->scenario_.renew(two);
    this->make_reader("TEST/PLAIN", false, 10);
    this->calls_.threads.reset();
    this->start_reader(0);
    ASSERT_TRUE(this->signal_.wait());
    EXPECT_EQ(this->calls_.threads.made, 2);
}

TYPED_TEST(channel_under_faults, starts_no_worker_for_a_channel_without_records)
{
    this->make_reader("TEST/EMPTY", false, 10);
    this->start_reader(0);
    EXPECT_TRUE(this->reader_->is_done());
    EXPECT_EQ(this->calls_.threads.made, 0);
}

TYPED_TEST(channel_under_faults, chooses_the_number_of_workers_by_block_and_event_types_up_to_the_bound)
{
    const auto started = [&](const char* name, int bound) {
        this->reader_.reset();
        EXPECT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
        typename TypeParam::reader reader(&this->loader_, name, -1, nullptr);
        reader.set_max_number_of_threads(bound);
        this->calls_.threads.reset();
        EXPECT_TRUE(start_and_wait(reader));
        return static_cast<int>(this->calls_.threads.made);
    };
    EXPECT_EQ(started("TEST/PLAIN", 10), 4) << "one member, on local events";
    EXPECT_EQ(started("TEST/PLAIN", 3), 3);
    EXPECT_EQ(started("TEST/PLAIN", 1), 1);
    auto& file = this->scenario_.file();
    file.put(file.dictionary_position(plain_channel) + offsetof(typename TypeParam::dictionary_entry, dtype_mask), 0);
    this->scenario_.rewrite();
    EXPECT_EQ(started("TEST/PLAIN", 10), 10) << "without block types, up to the bound";
    EXPECT_EQ(started("TEST/PLAIN", 7), 7);
}

TYPED_TEST(channel_under_faults, is_done_by_the_workers_that_could_be_started)
{
    for (const bool skip : {false, true}) {
        for (int failing = 1; failing <= 4; ++failing) {
            this->make_reader("TEST/ZLIB", skip);
            this->calls_.threads.fail(failing);
            const captured_output printed = this->start_reader(0);
            EXPECT_EQ(printed.out, "failed to start thread " + std::to_string(failing - 1) + "\n");
            if (!skip) {
                EXPECT_TRUE(this->signal_.is_raised()) << "a thread that fails signals, whatever the others do";
            }
            EXPECT_TRUE(eventually([&] { return this->reader_->is_done(); }));
            EXPECT_TRUE(this->signal_.wait());
            EXPECT_EQ(this->reader_->get_number_of_records(), scenario_events);
        }
    }
}

TYPED_TEST(channel_under_faults, without_any_worker_signals_and_is_never_done)
{
    this->make_reader("TEST/ZLIB", false);
    this->calls_.threads.fail_all();
    EXPECT_EQ(this->start_reader(0).out, "failed to start thread 0\nfailed to start thread 1\n"
                                         "failed to start thread 2\nfailed to start thread 3\n");
    EXPECT_TRUE(this->signal_.wait());
    EXPECT_FALSE(this->reader_->is_done());
    this->reader_->clean();
}

TYPED_TEST(channel_under_faults, without_any_worker_does_not_start_when_bad_records_are_skipped)
{
    this->make_reader("TEST/ZLIB", true);
    this->calls_.threads.fail_all();
    this->start_reader(TROX_DAQ_READ_CHAN_INTERN_ERROR);
    EXPECT_TRUE(this->signal_.is_raised());
    this->reader_->clean();
}

TYPED_TEST(channel_under_faults, survives_each_allocation_that_fails)
{
    for (const std::size_t channel :
         {plain_channel, zlib_channel, lzo_channel, members_channel, update_channel, environment_channel}) {
        SCOPED_TRACE(scenario_names[channel]);
        int needed = 0;
        for (int failing = 1; failing <= needed + 1; ++failing) {
            this->make_reader(scenario_names[channel], true, 1);
            this->calls_.allocations.fail(failing);
            int status = 0;
            capture([&] {
                status = start(*this->reader_, this->signal_);
                EXPECT_TRUE(this->signal_.wait());
            });
            needed = std::max(needed, this->calls_.allocations.made.load());
            if (status == 0) {
                EXPECT_TRUE(this->reader_->is_done());
                EXPECT_EQ(this->reader_->get_number_of_records() + this->reader_->get_number_of_bad_records(),
                          scenario_events);
                EXPECT_LE(this->reader_->get_number_of_bad_records(), 1);
            } else {
                EXPECT_EQ(status, TROX_DAQ_READ_CHAN_INTERN_ERROR);
            }
            this->reader_.reset();
        }
        EXPECT_GE(needed, TypeParam::maps_channel_baskets ? 2 : 3) << "records, copied basket, and what is decoded";
    }
}

TYPED_TEST(channel_under_faults, that_are_not_skipped_end_the_worker_and_cleaning_still_works)
{
    constexpr int of_start = TypeParam::maps_channel_baskets ? 1 : 2; // records, and a copied basket
    this->make_reader("TEST/PLAIN", false, 1);
    this->calls_.allocations.fail(of_start + 1, 100000);
    const captured_output printed = capture([&] {
        EXPECT_EQ(start(*this->reader_, this->signal_), 0);
        this->reader_->clean();
    });
    EXPECT_THAT(printed.out,
                ::testing::MatchesRegex("(Failed to malloc additional event header [0-9]+ .. exiting\n)?"));
    this->make_reader("TEST/PLAIN", false, 1);
    this->calls_.allocations.fail(of_start + 1, 100000);
    const captured_output ended = capture([&] {
        EXPECT_EQ(start(*this->reader_, this->signal_), 0);
        EXPECT_FALSE(this->signal_.wait(std::chrono::milliseconds(100)));
    });
    EXPECT_THAT(ended.out, ::testing::MatchesRegex("Failed to malloc additional event header [0-9]+ .. exiting\n"));
    EXPECT_FALSE(this->reader_->is_done());
}

// --- dumps ----------------------------------------------------------------------------------------------

template <class T> using channel_dumps_under_faults = channel_under_faults<T>;
TYPED_TEST_SUITE(channel_dumps_under_faults, channel_generations_since_2010);

TYPED_TEST(channel_dumps_under_faults, print_while_the_workers_that_could_be_started_go_on)
{
    const busy_file<TypeParam> file;
    ASSERT_EQ(this->loader_.get_all_tables(file.path(), 0, nullptr), 0);
    typename TypeParam::reader reader(&this->loader_, file.channel, -1, nullptr);
    reader.set_number_of_threads(2);
    this->calls_.threads.fail(2);
    int rounds = 0;
    const auto printed = capture([&] {
        ASSERT_EQ(start(reader, this->signal_), 0);
        ASSERT_TRUE(this->signal_.wait()); // for the worker that is missing
        do {
            reader.print_event_headers();
            reader.print_server_block_headers();
            reader.print_channel_headers();
            ++rounds;
        } while (!reader.is_done());
        reader.print_channel();
        reader.clean();
    });
    // Each dump has a line for each record, in order: under its event, or as one that is not decoded yet.
    const std::regex line_of_record("(-?[0-9]+) ([0-9]+):([0-9]+)");
    std::istringstream lines(printed.out);
    std::smatch line;
    int records = 0;
    int decoded = 0;
    for (std::string text; std::getline(lines, text);) {
        if (!std::regex_match(text, line, line_of_record)) {
            continue;
        }
        const int i = records++ % file.records;
        if (text != "-1 0:0") {
            ++decoded;
            EXPECT_EQ(line[1], std::to_string(event_number_of(i)));
            EXPECT_EQ(line[2], std::to_string(event_time_of(i).timeup));
            EXPECT_EQ(line[3], std::to_string(event_time_of(i).timelow));
        }
    }
    EXPECT_EQ(records, (3 * rounds + 1) * file.records);
    EXPECT_GE(decoded, file.records);
}
