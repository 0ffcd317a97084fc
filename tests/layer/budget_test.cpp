// Reading within a budget: whatever it is, and with any number of threads, the events are the same; what does not fit
// is refused, and the reader goes on.
#include "event_texts.h"
#include "random_run.h"
#include "small_file.h"
#include "temp_directory.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using trox::fault;
using numbers = std::vector<std::uint64_t>;

constexpr std::size_t kib = 1024;
constexpr std::size_t mib = 1024 * kib;

/// Three files of 40 events: T/SMALL of 4 floats, T/VARIED of up to `largest` floats, T/PLAIN of 2000, T/SLOW.
std::vector<std::string> write_files(const trox_test::temp_directory& directory, std::size_t largest)
{
    std::mt19937 random(7);
    std::vector<std::string> paths;
    const auto format = tw::generation::v2010;
    for (std::uint64_t n = 0; n < 3; ++n) {
        paths.push_back(directory.file("f" + std::to_string(n) + ".raw"));
        tw::file_writer file(paths.back(), format);
        const auto small = file.add_channel("T/SMALL");
        const auto varied = file.add_channel("T/VARIED", tw::storage::zlib);
        const auto plain = file.add_channel("T/PLAIN");
        const auto slow = file.add_channel("T/SLOW");
        for (std::uint64_t number = 40 * n + 1; number <= 40 * n + 40; ++number) {
            const auto value = static_cast<float>(number);
            const auto trace = [&](std::size_t count) {
                return tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(count, value));
            };
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            file.add_record(small, trace(4));
            file.add_record(varied, trace(1 + random() % largest));
            if (number % 3 == 0) {
                file.add_record(plain, trace(2000));
            }
            file.end_event();
            if (number % 7 == 0) {
                const auto time = stamp_of(tenth(number) + trox::microseconds(5000));
                file.begin_event({number, time, TROX_EV_UPD});
                file.begin_server_block({"SLOW"});
                file.add_record(slow, tw::update_payload(format, "T/SLOW", value, time));
                file.end_event();
            }
        }
        file.finish();
    }
    return paths;
}

std::vector<std::string> texts_backward(trox::event_reader& reader)
{
    std::vector<std::string> texts;
    for (auto event = reader.last(); event;) {
        texts.insert(texts.begin(), text_of(*event, reader));
        event.reset();
        event = reader.previous();
    }
    return texts;
}

class budgets : public testing::Test
{
protected:
    trox_test::temp_directory directory_;
};

TEST_F(budgets, of_all_sizes_and_numbers_of_threads_give_equal_events)
{
    const auto data = trox::data_set::open_files(write_files(directory_, 40000));
    trox::event_reader plenty(data, {}, {256 * mib, 1, true});
    const auto expected = texts_of(plenty);
    ASSERT_EQ(expected.size(), 120U);
    // The largest event needs some 170 KiB.
    for (const std::size_t budget : {300 * kib, 512 * kib, mib, 4 * mib, 64 * mib}) {
        for (const unsigned threads : {1U, 2U, 5U}) {
            SCOPED_TRACE(std::to_string(budget) + " bytes, " + std::to_string(threads) + " threads");
            trox::event_reader reader(data, {}, {budget, threads, true});
            EXPECT_EQ(first_difference(expected, texts_of(reader)), "");
            EXPECT_EQ(first_difference(expected, texts_backward(reader)), "");
            EXPECT_TRUE(reader.report().skipped_records.empty());
        }
    }
}

TEST_F(budgets, give_equal_events_wherever_one_steps)
{
    const auto data = trox::data_set::open_files(write_files(directory_, 40000));
    std::map<std::uint64_t, std::string> expected;
    trox::event_reader plenty(data, {}, {256 * mib, 1, true});
    for (const trox::event& event : plenty) {
        expected[event.number()] = text_of(event, plenty);
    }
    for (const unsigned threads : {1U, 5U}) {
        trox::event_reader reader(data, {}, {400 * kib, threads, true});
        std::mt19937 random(threads);
        for (int i = 0; i < 300; ++i) {
            const std::uint64_t number = 1 + random() % 120;
            const auto event = random() % 3 == 0 ? reader.next() : reader.at_number(number);
            if (event) {
                ASSERT_EQ(text_of(*event, reader), expected.at(event->number()));
            }
        }
    }
}

/// One channel; event 5 of 10 has a record of `large` bytes.
std::string write_large(const std::string& path, std::size_t large)
{
    const auto format = tw::generation::v2024;
    tw::file_writer file(path, format);
    const auto channel = file.add_channel("T/A", tw::storage::zlib);
    for (std::uint64_t number = 1; number <= 10; ++number) {
        const std::size_t samples = number == 5 ? large / sizeof(float) : 100;
        file.begin_event({number, stamp_of(tenth(number))});
        file.begin_server_block({"SVR"});
        file.add_record(channel,
                        tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(samples, 1.0F)));
        file.end_event();
    }
    file.finish();
    return path;
}

TEST_F(budgets, that_one_event_passes_refuse_it_and_deliver_the_others)
{
    const std::string path = write_large(directory_.file("a.raw"), 3 * mib);
    const auto data = trox::data_set::open_files({path});
    for (const unsigned threads : {1U, 2U, 5U}) {
        trox::event_reader reader(data, {}, {mib, threads, false});
        numbers found;
        for (int i = 0; i < 4; ++i) {
            found.push_back(number_of(reader.next()).value_or(0));
        }
        for (int attempt = 0; attempt < 2; ++attempt) {
            const trox::error failure = error_of([&] { reader.next(); });
            EXPECT_EQ(failure.why(), fault::out_of_budget) << failure.what();
            EXPECT_EQ(failure.where().file, path);
            EXPECT_EQ(failure.where().channel, "T/A");
            EXPECT_EQ(failure.where().event, 5U);
            EXPECT_GT(failure.where().offset, 0U);
            EXPECT_EQ(failure.reason(), "it needs more memory than the whole budget of 1048576 bytes");
            EXPECT_EQ(number_of(reader.current()), 4U);
        }
        found.push_back(number_of(reader.at_number(6)).value_or(0));
        while (const auto event = reader.next()) {
            found.push_back(event->number());
        }
        EXPECT_EQ(found, (numbers{1, 2, 3, 4, 6, 7, 8, 9, 10}));
        EXPECT_TRUE(reader.report().skipped_records.empty());
        EXPECT_EQ(number_of(reader.first()), 1U);
    }
    trox::event_reader enough(data, {}, {4 * mib, 2, true});
    EXPECT_EQ(numbers_of(enough).size(), 10U);
}

TEST_F(budgets, that_one_record_passes_leave_it_out_when_bad_records_are_skipped)
{
    const std::string path = write_large(directory_.file("a.raw"), 3 * mib);
    for (const unsigned threads : {1U, 2U, 5U}) {
        trox::event_reader reader(trox::data_set::open_files({path}), {}, {mib, threads, true});
        EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 3, 4, 6, 7, 8, 9, 10}));
        EXPECT_EQ(number_of(reader.at_number(6)), 6U);
        EXPECT_EQ(number_of(reader.previous()), 4U);
        const trox::reading_report& report = reader.report();
        ASSERT_EQ(report.skipped_records.size(), 1U);
        EXPECT_EQ(report.skipped_records[0].where.file, path);
        EXPECT_EQ(report.skipped_records[0].where.event, 5U);
        EXPECT_EQ(report.skipped_records[0].reason, "it needs more memory than the whole budget of 1048576 bytes");
    }
}

/// T/A in events 1 to 5, and T/B, whose record of event 3 announces `announced` bytes and is no stream.
std::string write_damaged_length(const std::string& path, std::size_t announced)
{
    const auto format = tw::generation::v2010;
    tw::file_writer file(path, format);
    const auto a = file.add_channel("T/A");
    const auto b = file.add_channel("T/B", tw::storage::zlib);
    for (std::uint64_t number = 1; number <= 5; ++number) {
        const auto samples = tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(64, 1.0F));
        file.begin_event({number, stamp_of(tenth(number))});
        file.begin_server_block({"SVR"});
        file.add_record(a, samples);
        if (number == 3) {
            const tw::stored_record::zip_head head{trox_zip_zlib, static_cast<std::uint32_t>(announced), {}};
            const std::vector<unsigned char> garbage(announced / 1000, 0x55);
            file.add_record(b, tw::stored_record{TROX_BLOCK_1CHAN_2010, garbage, 0, head, {}});
        } else {
            file.add_record(b, samples);
        }
        file.end_event();
    }
    file.finish();
    return path;
}

TEST_F(budgets, do_not_end_reading_at_a_damaged_length)
{
    // Above the budget, and a little below it: the other records of the event take some of it.
    int file = 0;
    for (const std::size_t announced : {3 * mib, mib - 2 * kib}) {
        const std::string path = write_damaged_length(directory_.file(std::to_string(++file)), announced);
        const auto data = trox::data_set::open_files({path});
        for (const unsigned threads : {1U, 3U}) {
            SCOPED_TRACE(std::to_string(announced) + " bytes, " + std::to_string(threads) + " threads");
            trox::event_reader reader(data, {}, {mib, threads, true});
            EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 3, 4, 5}));
            const trox::reading_report& report = reader.report();
            EXPECT_EQ(report.channels[1].skipped, 1U);
            ASSERT_EQ(report.skipped_records.size(), 1U);
            EXPECT_EQ(report.skipped_records[0].where.event, 3U);
            EXPECT_EQ(report.skipped_records[0].reason, "its compressed data are damaged");

            trox::event_reader unforgiving(data, {}, {mib, threads, false});
            const trox::error failure = error_of([&] { numbers_of(unforgiving); });
            EXPECT_EQ(failure.why(), fault::damaged_record);
            EXPECT_EQ(failure.where().file, path);
            EXPECT_EQ(failure.where().channel, "T/B");
            EXPECT_EQ(failure.where().event, 3U);
            EXPECT_EQ(number_of(unforgiving.at_number(4)), 4U);
        }
    }
}

/// Two channels; events have records of 100 000 bytes each, event 2 two of `large` bytes.
TEST_F(budgets, that_records_pass_only_together_leave_one_out_unless_the_program_can_help)
{
    const auto format = tw::generation::v2010;
    const std::string path = directory_.file("a.raw");
    {
        tw::file_writer file(path, format);
        const auto a = file.add_channel("T/A", tw::storage::zlib);
        const auto b = file.add_channel("T/B", tw::storage::zlib);
        for (std::uint64_t number = 1; number <= 4; ++number) {
            const std::size_t samples = number == 2 ? 150000 : 25000;
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            for (const auto channel : {a, b}) {
                file.add_record(channel,
                                tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(samples, 1.0F)));
            }
            file.end_event();
        }
        file.finish();
    }
    const auto data = trox::data_set::open_files({path});
    for (const unsigned threads : {1U, 3U}) {
        trox::event_reader reader(data, {}, {mib, threads, true});
        auto held = reader.next();
        const trox::error failure = error_of([&] { reader.next(); });
        EXPECT_EQ(failure.why(), fault::out_of_budget);
        EXPECT_EQ(failure.where().file, path);
        EXPECT_EQ(failure.where().event, 2U);
        held.reset();
        auto event = reader.next();
        ASSERT_TRUE(event);
        EXPECT_EQ(event->number(), 2U);
        EXPECT_TRUE((*event)[0]);
        EXPECT_FALSE((*event)[1]);
        event.reset();
        EXPECT_EQ(number_of(reader.next()), 3U);
        ASSERT_EQ(reader.report().skipped_records.size(), 1U);
        EXPECT_EQ(reader.report().skipped_records[0].where.channel, "T/B");
        EXPECT_EQ(reader.report().skipped_records[0].reason,
                  "the records of one event, with those that the program holds, need more memory than the budget of "
                  "1048576 bytes");
    }
}

TEST_F(budgets, count_what_a_program_holds)
{
    const auto format = tw::generation::v2010;
    const std::string path = directory_.file("a.raw");
    {
        tw::file_writer file(path, format);
        const auto channel = file.add_channel("T/A", tw::storage::zlib);
        for (std::uint64_t number = 1; number <= 40; ++number) {
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            file.add_record(channel, tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010,
                                                          std::vector<float>(25000, static_cast<float>(number))));
            file.end_event();
        }
        file.finish();
    }
    const auto data = trox::data_set::open_files({path});
    for (const unsigned threads : {1U, 3U}) {
        trox::event_reader reader(data, {}, {mib, threads, true});
        std::vector<trox::event> held;
        const trox::error failure = error_of([&] {
            while (auto event = reader.next()) {
                held.push_back(std::move(*event));
            }
        });
        EXPECT_EQ(failure.why(), fault::out_of_budget);
        EXPECT_GE(held.size(), 4U); // 100 000 bytes each
        EXPECT_LE(held.size(), 10U);
        for (std::size_t i = 0; i < held.size(); ++i) {
            const auto trace = held[i][0].trace();
            ASSERT_TRUE(trace);
            EXPECT_EQ(trace->samples[24999], static_cast<float>(i + 1)); // not given to other records
        }
        const std::uint64_t next = held.size() + 1;
        held.clear();
        EXPECT_EQ(number_of(reader.next()), next);
        std::size_t rest = 1;
        while (reader.next()) {
            ++rest;
        }
        EXPECT_EQ(rest, 40 - next + 1);
    }
}

TEST_F(budgets, of_random_runs_give_equal_events)
{
    for (std::uint32_t seed = 200; seed < 210; ++seed) {
        const trox_test::temp_directory directory;
        const random_run run = write_random_run(directory.file("."), all_formats[seed % 3], seed, disorder::none);
        const auto data = trox::data_set::open_files(run.files);
        trox::event_reader plenty(data, {});
        const auto expected = texts_of(plenty);
        for (const std::size_t budget : {24 * kib, 64 * kib}) {
            trox::event_reader reader(data, {}, {budget, 1 + seed % 5, true});
            EXPECT_EQ(first_difference(expected, texts_of(reader)), "") << "seed " << seed;
        }
    }
}

/// Which of the five channels have a record, per event: 1 or 0.
using gaps = std::map<std::uint64_t, std::string>;

std::string gaps_of(const trox::event& event)
{
    std::string text;
    for (const trox::record& record : event.records()) {
        text += record ? '1' : '0';
    }
    return text;
}

gaps gaps_forward(const trox::data_set& data, const trox::reading_options& options)
{
    gaps found;
    trox::event_reader reader(data, {}, options);
    for (const trox::event& event : reader) {
        found[event.number()] = gaps_of(event);
    }
    return found;
}

gaps gaps_backward(const trox::data_set& data, const trox::reading_options& options)
{
    gaps found;
    trox::event_reader reader(data, {}, options);
    for (auto event = reader.last(); event;) {
        found[event->number()] = gaps_of(*event);
        event.reset();
        event = reader.previous();
    }
    return found;
}

gaps gaps_in_disorder(const trox::data_set& data, const trox::reading_options& options)
{
    gaps found;
    trox::event_reader reader(data, {}, options);
    numbers order(reader.count());
    std::iota(order.begin(), order.end(), std::uint64_t{1});
    std::shuffle(order.begin(), order.end(), std::mt19937(5));
    for (const std::uint64_t number : order) {
        if (const auto event = reader.at_number(number)) {
            found[number] = gaps_of(*event);
        }
    }
    return found;
}

TEST_F(budgets, leave_out_the_same_records_whichever_way_one_steps)
{
    constexpr std::uint64_t events = 150;
    const auto format = tw::generation::v2024;
    const std::string path = directory_.file("a.raw");
    {
        std::mt19937 random(3);
        tw::file_writer file(path, format);
        std::vector<tw::channel_id> channels;
        for (int i = 0; i < 5; ++i) {
            channels.push_back(
                file.add_channel("T/" + std::to_string(i), i % 2 != 0 ? tw::storage::zlib : tw::storage::plain));
        }
        for (std::uint64_t number = 1; number <= events; ++number) {
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            for (const tw::channel_id channel : channels) {
                const bool is_large = number % 25 == 0 && channel == channels[number / 25 % 5];
                const std::size_t samples = is_large ? 50000 + random() % 10000 : 1 + random() % 600;
                file.add_record(channel,
                                tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(samples, 1.0F)));
            }
            file.end_event();
        }
        file.finish();
    }
    const auto data = trox::data_set::open_files({path});
    bool has_gaps = false;
    bool is_full = false;
    for (const std::size_t budget : {5 * kib, 8 * kib, 12 * kib, 40 * kib, 70 * kib, 215 * kib, 225 * kib, 235 * kib,
                                     245 * kib, 260 * kib, 300 * kib}) {
        gaps expected; // each event by a reader that has read nothing else
        for (std::uint64_t number = 1; number <= events; ++number) {
            trox::event_reader reader(data, {}, {budget, 1, true});
            if (const auto event = reader.at_number(number)) {
                expected[number] = gaps_of(*event);
                has_gaps = has_gaps || expected[number] != "11111";
            }
        }
        is_full = std::count_if(expected.begin(), expected.end(),
                                [](const auto& event) { return event.second == "11111"; }) == events;
        for (const unsigned threads : {1U, 2U, 5U}) {
            SCOPED_TRACE(std::to_string(budget) + " bytes, " + std::to_string(threads) + " threads");
            const trox::reading_options options{budget, threads, true};
            EXPECT_EQ(gaps_forward(data, options), expected);
            EXPECT_EQ(gaps_backward(data, options), expected);
            EXPECT_EQ(gaps_in_disorder(data, options), expected);
        }
    }
    EXPECT_TRUE(has_gaps);
    EXPECT_TRUE(is_full); // with the last, largest one
}

TEST_F(budgets, that_an_event_fits_deliver_it_although_others_lie_beside_its_records)
{
    const auto format = tw::generation::v2010;
    const std::string path = directory_.file("a.raw");
    {
        tw::file_writer file(path, format);
        const auto a = file.add_channel("T/A", tw::storage::zlib);
        const auto b = file.add_channel("T/B", tw::storage::zlib);
        for (std::uint64_t number = 1; number <= 64; ++number) {
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            const auto trace = [&](std::size_t samples) {
                return tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(samples, 1.0F));
            };
            file.add_record(a, trace(256));
            file.add_record(b, trace(number == 40 ? 60000 : 256));
            file.end_event();
        }
        file.finish();
    }
    const auto data = trox::data_set::open_files({path});
    // 240 000 bytes and 1024, with their heads.
    for (const unsigned threads : {1U, 3U}) {
        trox::event_reader reader(data, {}, {238 * kib, threads, false});
        std::uint64_t delivered = 0;
        while (const auto event = reader.next()) {
            ++delivered;
            ASSERT_TRUE((*event)[0] && (*event)[1]) << event->number();
        }
        EXPECT_EQ(delivered, 64U);
    }
}

TEST_F(budgets, suffice_for_what_fits_in_another_order)
{
    const auto format = tw::generation::v2010;
    const std::string path = directory_.file("a.raw");
    {
        std::mt19937 random(11);
        std::vector<float> noise(100000);
        std::generate(noise.begin(), noise.end(), [&] { return std::ldexp(static_cast<float>(random()), -31); });
        tw::file_writer file(path, format);
        const auto plain = file.add_channel("T/PLAIN");
        const auto zipped = file.add_channel("T/ZIPPED", tw::storage::zlib);
        for (std::uint64_t number = 1; number <= 3; ++number) {
            file.begin_event({number, stamp_of(tenth(number))});
            file.begin_server_block({"SVR"});
            file.add_record(plain,
                            tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, std::vector<float>(75000, 1.0F)));
            file.add_record(zipped, tw::spectrum_payload(format, TROX_BLOCK_1CHAN_2010, noise));
            file.end_event();
        }
        file.finish();
    }
    const auto data = trox::data_set::open_files({path});
    // 300 000 bytes, and 400 000 with nearly as much while they are decompressed: first that one, then the other.
    for (const unsigned threads : {1U, 3U}) {
        trox::event_reader reader(data, {}, {800000, threads, false});
        EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 3}));
        const auto event = reader.at_number(2);
        ASSERT_TRUE(event);
        EXPECT_TRUE((*event)[0] && (*event)[1]);
    }
    trox::event_reader smaller(data, {}, {690000, 1, true});
    const auto event = smaller.at_number(2);
    ASSERT_TRUE(event);
    EXPECT_TRUE((*event)[0]);
    EXPECT_FALSE((*event)[1]);
}

} // namespace
