// Runs of a catalogue and periods as data sets, and what a data set tells of its events by the tables alone.
#include "event_texts.h"
#include "small_file.h"
#include "temp_directory.h"

#include <gtest/gtest.h>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using numbers = std::vector<std::uint64_t>;

/// Runs 1 (ten events) and 2 (ten events, a hundred seconds later) of linac/main, and another run 2 of linac/test at
/// the time of run 1.
class catalogue : public testing::Test
{
protected:
    catalogue()
    {
        add({"linac", "main", 1}, 0, 100);
        add({"linac", "main", 2}, 100, 200);
        add({"linac", "test", 2}, 0, 300);
    }

    void add(const tw::run_identity& identity, std::int64_t second, std::uint64_t first) const
    {
        tw::run_settings settings;
        settings.data_directory = directory_.file(".");
        settings.catalogue_directory = directory_.file(".");
        settings.run = identity;
        tw::run_writer run(settings);
        const auto channel = run.add_channel("T/A");
        for (std::uint64_t i = 0; i < 10; ++i) {
            const auto time = tenth(i) + std::chrono::seconds(second);
            run.begin_event({first + i, stamp_of(time)});
            run.begin_server_block({"SVR"});
            run.add_record(channel, tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, {1.0F}));
            run.end_event();
        }
        run.finish();
    }

    trox::run_place place(const std::string& stream = {}) const
    {
        return {directory_.file("."), {directory_.file(".")}, "linac", stream};
    }
    static numbers first_and_last(const trox::data_set& data)
    {
        trox::event_reader reader(data, {});
        const numbers all = numbers_of(reader);
        return all.empty() ? all : numbers{all.front(), all.back(), all.size()};
    }

    trox_test::temp_directory directory_;
};

TEST_F(catalogue, lists_its_runs_in_order_with_their_files)
{
    const auto runs = trox::find_runs(place());
    ASSERT_EQ(runs.size(), 3U);
    std::vector<std::string> names;
    for (const trox::run_info& run : runs) {
        names.push_back(run.experiment + "/" + run.stream + " " + std::to_string(run.number));
        EXPECT_EQ(run.files.size(), 1U);
        ASSERT_TRUE(run.start);
        EXPECT_TRUE(run.stop);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"linac/main 1", "linac/main 2", "linac/test 2"}));
    EXPECT_EQ(*runs[0].start, tenth(0));
    EXPECT_EQ(*runs[1].start, tenth(1000));
    trox::run_query query;
    query.first = 2;
    EXPECT_EQ(trox::find_runs(place("main"), query).size(), 1U);
    query.first = 3;
    EXPECT_TRUE(trox::find_runs(place(), query).empty());
}

TEST_F(catalogue, that_cannot_be_read_is_named)
{
    const trox::error failure = error_of([&] { trox::find_runs({directory_.file("none"), {}, {}, {}}); });
    EXPECT_EQ(failure.why(), trox::fault::not_found);
    EXPECT_EQ(failure.where().file, directory_.file("none"));
}

TEST_F(catalogue, opens_a_run_that_its_stream_tells_from_another)
{
    EXPECT_EQ(first_and_last(trox::data_set::open_run(place("main"), 2)), (numbers{200, 209, 10}));
    EXPECT_EQ(first_and_last(trox::data_set::open_run(place("test"), 2)), (numbers{300, 309, 10}));
    const trox::error several = error_of([&] { trox::data_set::open_run(place(), 2); });
    EXPECT_EQ(several.why(), trox::fault::wrong_use);
    EXPECT_NE(several.reason().find("linac/main, linac/test"), std::string::npos) << several.reason();
    EXPECT_EQ(error_of([&] { trox::data_set::open_run(place(), 7); }).why(), trox::fault::not_found);
}

TEST_F(catalogue, opens_the_runs_of_a_period_without_those_that_begin_at_its_end)
{
    EXPECT_EQ(first_and_last(trox::data_set::open_period(place("main"), tenth(0), tenth(1010))),
              (numbers{100, 209, 20}));
    EXPECT_EQ(first_and_last(trox::data_set::open_period(place("main"), tenth(0), tenth(1000))),
              (numbers{100, 109, 10}));
    EXPECT_EQ(first_and_last(trox::data_set::open_period(place("main"), tenth(500), tenth(1010))),
              (numbers{200, 209, 10}));
    EXPECT_EQ(error_of([&] { trox::data_set::open_period(place("main"), tenth(300), tenth(500)); }).why(),
              trox::fault::not_found);
    const trox::error empty = error_of([&] { trox::data_set::open_period(place("main"), tenth(5), tenth(5)); });
    EXPECT_EQ(empty.why(), trox::fault::wrong_use);
    EXPECT_NE(empty.reason(), "nothing was thrown");
}

TEST_F(catalogue, gives_data_sets_that_tell_their_times_and_stamps)
{
    const auto data = trox::data_set::open_period(place("main"), tenth(0), tenth(1010));
    EXPECT_EQ(data.first_time(), tenth(0));
    EXPECT_EQ(data.last_time(), tenth(1009));
    const auto stamps = data.stamps({0});
    ASSERT_EQ(stamps.size(), 1U);
    ASSERT_EQ(stamps[0].records.size(), 20U);
    EXPECT_TRUE(stamps[0].skipped.empty());
    for (std::uint64_t i = 0; i < 20; ++i) {
        const trox::record_stamp& stamp = stamps[0].records[i];
        const std::uint64_t file = i / 10;
        EXPECT_EQ(stamp.number, 100 * (file + 1) + i % 10);
        EXPECT_EQ(stamp.time, tenth(1000 * file + i % 10));
        EXPECT_EQ(stamp.file, file);
    }
}

TEST(times_of_a_data_set, are_those_of_events_that_have_one)
{
    const trox_test::temp_directory directory;
    const auto data_of = [&](const char* name, const std::vector<trox::time_point>& times) {
        small_file file(directory.file(name));
        for (std::size_t i = 0; i < times.size(); ++i) {
            file.machine(i, times[i], {{"T/A", 1.0F}});
        }
        return trox::data_set::open_files({file.finish()});
    };
    const auto some = data_of("some.raw", {tenth(3), trox::time_point{}, tenth(5), trox::time_point{}});
    EXPECT_EQ(some.first_time(), tenth(3));
    EXPECT_EQ(some.last_time(), tenth(5));
    const auto none = data_of("none.raw", {trox::time_point{}, trox::time_point{}});
    EXPECT_EQ(none.first_time(), std::nullopt);
    EXPECT_EQ(none.last_time(), std::nullopt);
}

} // namespace
