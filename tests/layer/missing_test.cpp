// Events in which channels are missing; what the report says; ranges at their bounds.
#include "event_texts.h"
#include "small_file.h"
#include "temp_directory.h"

#include <gtest/gtest.h>

namespace
{

using namespace layer_test;
using mode = trox::synchronisation::mode;
using trox::microseconds;
using trox::on_missing;
using numbers = std::vector<std::uint64_t>;

class missing_channels : public testing::Test
{
protected:
    /// T/A in events 1 to 6, T/B in 2, 3 and 5, two milliseconds late in 3; T/SLOW set in 2 and 4.
    missing_channels()
    {
        small_file file(directory_.file("a.raw"));
        file.channel("T/A").channel("T/B").channel("T/SLOW");
        for (std::uint64_t number = 1; number <= 6; ++number) {
            std::vector<std::pair<std::string, float>> values{{"T/A", static_cast<float>(number)}};
            if (number == 2 || number == 5) {
                values.emplace_back("T/B", 10.0F * static_cast<float>(number));
            }
            file.machine(number, tenth(number), values);
            if (number == 3) {
                file.machine(3, tenth(3) + microseconds(2000), {{"T/B", 30.0F}});
            }
            if (number == 2 || number == 4) {
                file.update(number, tenth(number) + microseconds(7000), "T/SLOW", 100.0F * static_cast<float>(number));
            }
        }
        data_ = trox::data_set::open_files({file.finish()});
    }

    trox::selection selection(on_missing missing, const std::vector<std::string>& names) const
    {
        return {named(names), {}, {}, missing};
    }

    trox_test::temp_directory directory_;
    std::optional<trox::data_set> data_;
};

TEST_F(missing_channels, have_empty_records_that_answer_nothing)
{
    trox::event_reader reader(*data_, selection(on_missing::keep, {"T/A", "T/B"}));
    const auto event = reader.at_number(1);
    ASSERT_TRUE(event);
    ASSERT_TRUE((*event)[0]);
    for (const trox::record& empty : {(*event)[1], trox::record()}) {
        ASSERT_FALSE(empty);
        EXPECT_EQ(empty.kind(), trox::channel_kind::unknown);
        EXPECT_EQ(empty.event_number(), 0U);
        EXPECT_EQ(empty.time(), trox::time_point{});
        EXPECT_EQ(empty.event_type(), 0);
        EXPECT_EQ(empty.server(), "");
        EXPECT_EQ(empty.server_status(), 0U);
        EXPECT_EQ(empty.errors(), 0U);
        EXPECT_EQ(empty.stored_name(), "");
        EXPECT_EQ(empty.block_type(), 0);
        EXPECT_TRUE(empty.payload().empty());
        EXPECT_EQ(empty.file(), "");
        EXPECT_EQ(empty.offset(), 0U);
        EXPECT_EQ(empty.members(), 0U);
        EXPECT_FALSE(empty.trace());
        EXPECT_FALSE(empty.trace(1, {3, 4, 2}));
        EXPECT_FALSE(empty.region_of_interest());
        EXPECT_FALSE(empty.image());
        EXPECT_FALSE(empty.values());
        EXPECT_FALSE(empty.slow());
        EXPECT_FALSE(empty.control());
        EXPECT_FALSE(empty.number());
        EXPECT_FALSE(empty.is_updated());
        EXPECT_NO_THROW(empty.format());
    }
}

TEST_F(missing_channels, are_kept_as_gaps)
{
    trox::event_reader reader(*data_, selection(on_missing::keep, {"T/A", "T/B", "T/SLOW"}));
    std::vector<std::string> lines;
    for (const trox::event& event : reader) {
        std::string line = std::to_string(event.number());
        for (const trox::record& record : event.records()) {
            line += record ? " " + std::to_string(static_cast<int>(*record.number())) : " -";
            line += record && !record.is_updated() ? "k" : "";
        }
        lines.push_back(line);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"1 1 - -", "2 2 20 200", "3 3 30 200k", "4 4 - 400", "5 5 50 400k",
                                               "6 6 - 400k"}));
}

TEST_F(missing_channels, drop_their_events)
{
    trox::event_reader reader(*data_, selection(on_missing::drop, {"T/A", "T/B"}));
    EXPECT_EQ(numbers_of(reader), (numbers{2, 3, 5}));
    EXPECT_EQ(reader.report().events, 3U);
    EXPECT_EQ(reader.report().dropped, 3U);
    EXPECT_EQ(reader.count(), 6U); // by the tables, those that are passed over included
    EXPECT_EQ(number_of(reader.last()), 5U);
    EXPECT_EQ(number_of(reader.previous()), 3U);
    EXPECT_EQ(number_of(reader.first()), 2U);
    EXPECT_EQ(number_of(reader.at_number(4)), std::nullopt);
    EXPECT_EQ(number_of(reader.current()), 2U);
    EXPECT_EQ(number_of(reader.at_time(tenth(4))), 5U);
}

TEST_F(missing_channels, are_never_slow_ones)
{
    for (const auto missing : {on_missing::drop, on_missing::fail}) {
        trox::event_reader reader(*data_, selection(missing, {"T/A", "T/SLOW"}));
        EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 3, 4, 5, 6}));
    }
}

TEST_F(missing_channels, fail_with_their_name_and_event)
{
    trox::event_reader reader(*data_, selection(on_missing::fail, {"T/A", "T/B"}));
    const trox::error failure = error_of([&] { reader.first(); });
    EXPECT_EQ(failure.why(), trox::fault::missing_channel);
    EXPECT_EQ(failure.where().file, directory_.file("a.raw"));
    EXPECT_EQ(failure.where().channel, "T/B");
    EXPECT_EQ(failure.where().event, 1U);
    // Nothing moved, and whole events can be read.
    EXPECT_FALSE(reader.current());
    EXPECT_EQ(number_of(reader.at_number(2)), 2U);
    EXPECT_EQ(number_of(reader.next()), 3U);
    EXPECT_EQ(error_of([&] { reader.next(); }).where().event, 4U);
    EXPECT_EQ(number_of(reader.current()), 3U);
}

TEST_F(missing_channels, are_counted_in_the_report)
{
    trox::event_reader reader(*data_, selection(on_missing::keep, {"T/A", "T/B", "T/SLOW"}));
    EXPECT_EQ(numbers_of(reader).size(), 6U);
    const trox::reading_report& report = reader.report();
    EXPECT_EQ(report.events, 6U);
    EXPECT_EQ(report.dropped, 0U);
    EXPECT_TRUE(report.skipped_records.empty());
    EXPECT_TRUE(report.skipped_files.empty());
    ASSERT_EQ(report.channels.size(), 3U);
    const auto line = [](const trox::channel_report& channel) {
        return channel.name + " " + std::to_string(channel.present) + " " + std::to_string(channel.carried) + " " +
               std::to_string(channel.missing) + " " + std::to_string(channel.skipped) + " " +
               std::to_string(channel.largest_residual.count());
    };
    EXPECT_EQ(line(report.channels[0]), "T/A 6 0 0 0 0");
    EXPECT_EQ(line(report.channels[1]), "T/B 3 0 3 0 2000");
    EXPECT_EQ(line(report.channels[2]), "T/SLOW 2 3 1 0 7000");
    EXPECT_EQ(report.largest_residual, microseconds(7000));
}

TEST_F(missing_channels, have_residuals_by_time_within_the_tolerance)
{
    trox::selection what = selection(on_missing::keep, {"T/A", "T/B", "T/SLOW"});
    what.match.how = mode::by_time;
    what.match.tolerance = microseconds(5000);
    trox::event_reader reader(*data_, what);
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2, 3, 4, 5, 6}));
    const trox::reading_report& report = reader.report();
    EXPECT_EQ(report.channels[1].largest_residual, microseconds(2000));
    EXPECT_EQ(report.largest_residual, microseconds(2000)); // the updates lie too far off
    EXPECT_EQ(report.channels[2].present, 0U);
}

TEST_F(missing_channels, that_no_event_has_leave_an_empty_reader)
{
    small_file file(directory_.file("b.raw"));
    file.channel("T/NONE").machine(1, tenth(1), {{"T/A", 1.0F}});
    const auto data = trox::data_set::open_files({file.finish()});
    trox::event_reader reader(data, selection(on_missing::keep, {"T/NONE"}));
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.count(), 0U);
}

// --- ranges ---------------------------------------------------------------------------------------------

class ranges : public testing::Test
{
protected:
    /// Number 10 + i lies i tenths behind the second; two files.
    numbers in(const trox::event_range& range, mode how = mode::by_number) const
    {
        trox::event_reader reader(data_, {{}, range, {how, microseconds(10000)}, {}});
        const numbers forward = numbers_of(reader);
        numbers backward;
        for (auto event = reader.last(); event; event = reader.previous()) {
            backward.insert(backward.begin(), event->number());
        }
        EXPECT_EQ(forward, backward);
        return forward;
    }
    static trox::event_range by_numbers(std::optional<std::uint64_t> first, std::optional<std::uint64_t> end)
    {
        return {first, end, {}, {}};
    }
    static trox::event_range by_times(std::optional<trox::time_point> begin, std::optional<trox::time_point> end)
    {
        return {{}, {}, begin, end};
    }

    trox_test::temp_directory directory_;
    trox::data_set data_ = trox::data_set::open_files(
        {write_numbers(directory_.file("a.raw"), trox::writer::generation::v2010, {10, 11, 12, 13}),
         write_numbers(directory_.file("b.raw"), trox::writer::generation::v2010, {14, 15, 16})});
};

TEST_F(ranges, of_numbers_include_their_first_and_exclude_their_end)
{
    EXPECT_EQ(in({}), (numbers{10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(in(by_numbers(12, {})), (numbers{12, 13, 14, 15, 16}));
    EXPECT_EQ(in(by_numbers({}, 12)), (numbers{10, 11}));
    EXPECT_EQ(in(by_numbers(13, 15)), (numbers{13, 14}));
    EXPECT_EQ(in(by_numbers(14, 15)), (numbers{14}));
    EXPECT_EQ(in(by_numbers(14, 14)), numbers{});
    EXPECT_EQ(in(by_numbers(15, 14)), numbers{});
    EXPECT_EQ(in(by_numbers(17, {})), numbers{});
    EXPECT_EQ(in(by_numbers({}, 10)), numbers{});
    EXPECT_EQ(in(by_numbers(16, 17)), (numbers{16}));
}

TEST_F(ranges, of_times_include_their_begin_and_exclude_their_end)
{
    const microseconds one(1);
    for (const mode how : {mode::by_number, mode::by_time}) {
        EXPECT_EQ(in(by_times(tenth(12), {}), how), (numbers{12, 13, 14, 15, 16}));
        EXPECT_EQ(in(by_times(tenth(12) + one, {}), how), (numbers{13, 14, 15, 16}));
        EXPECT_EQ(in(by_times({}, tenth(12)), how), (numbers{10, 11}));
        EXPECT_EQ(in(by_times({}, tenth(12) + one), how), (numbers{10, 11, 12}));
        EXPECT_EQ(in(by_times(tenth(13), tenth(15)), how), (numbers{13, 14}));
        EXPECT_EQ(in(by_times(tenth(13), tenth(13)), how), numbers{});
        EXPECT_EQ(in(by_times(tenth(16), tenth(16) + one), how), (numbers{16}));
        EXPECT_EQ(in(by_times(tenth(16) + one, {}), how), numbers{});
    }
}

TEST_F(ranges, of_numbers_and_times_hold_together)
{
    EXPECT_EQ(in({11, 15, tenth(12), tenth(20)}), (numbers{12, 13, 14}));
    EXPECT_EQ(in({11, 13, tenth(14), {}}), numbers{});
}

TEST_F(ranges, do_not_carry_slow_values_into_themselves)
{
    small_file file(directory_.file("c.raw"));
    file.update(1, tenth(1), "T/SLOW", 5.0F);
    for (std::uint64_t number = 2; number < 6; ++number) {
        file.machine(number, tenth(number), {{"T/A", 1.0F}});
    }
    file.update(5, tenth(5) + microseconds(7000), "T/SLOW", 6.0F);
    const auto data = trox::data_set::open_files({file.finish()});
    trox::event_reader reader(data, {named({"T/A", "T/SLOW"}), {4, {}, {}, {}}, {}, {}});
    auto event = reader.first();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->number(), 4U);
    EXPECT_FALSE((*event)[1]); // an update before the range does not count
    event = reader.next();
    ASSERT_TRUE(event);
    EXPECT_EQ((*event)[1].number(), 6.0);
}

} // namespace
