// Files whose numbers begin anew, wrap or are out of order, and events without a time: every event arrives, however it
// is matched, and stepping leads to the same ones.
#include "event_texts.h"
#include "random_run.h"
#include "small_file.h"
#include "temp_directory.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <set>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using mode = trox::synchronisation::mode;
using trox::microseconds;
using numbers = std::vector<std::uint64_t>;

constexpr mode modes[] = {mode::by_number, mode::by_time};

trox::selection matched(mode how)
{
    return {{}, {}, {how, microseconds(1000)}, {}};
}

/// Texts of all events, forward; those backward, and those found by time, must be the same.
std::vector<std::string> texts_in_all_directions(const trox::data_set& data, const trox::selection& what)
{
    trox::event_reader reader(data, what, {std::size_t{1} << 20, 1, true});
    const auto forward = texts_of(reader);
    std::vector<std::string> backward;
    for (auto event = reader.last(); event; event = reader.previous()) {
        backward.push_back(text_of(*event, reader));
    }
    std::reverse(backward.begin(), backward.end());
    EXPECT_EQ(first_difference(forward, backward), "");
    EXPECT_EQ(reader.count(), forward.size());
    for (const trox::event& event : trox::event_reader(data, what)) {
        EXPECT_EQ(number_of(reader.at_number(event.number())), event.number());
    }
    return forward;
}

class out_of_order : public testing::TestWithParam<tw::generation>
{
protected:
    /// One file with T/A in events of these numbers, a tenth of a second apart.
    trox::data_set file_of(const numbers& list, microseconds period = microseconds(100000)) const
    {
        const std::string path = directory_.file("a" + std::to_string(++files_) + ".raw");
        small_file file(path, GetParam());
        for (std::size_t i = 0; i < list.size(); ++i) {
            file.machine(list[i], tenth(0) + period * static_cast<std::int64_t>(i), {{"T/A", static_cast<float>(i)}});
        }
        return trox::data_set::open_files({file.finish()});
    }

    static numbers read(const trox::data_set& data, mode how)
    {
        trox::event_reader reader(data, matched(how));
        const numbers forward = numbers_of(reader);
        numbers backward;
        for (auto event = reader.last(); event; event = reader.previous()) {
            backward.insert(backward.begin(), event->number());
        }
        EXPECT_EQ(backward, forward);
        EXPECT_EQ(reader.count(), forward.size());
        EXPECT_TRUE(reader.report().skipped_records.empty());
        EXPECT_EQ(reader.report().channels[0].unmatched, 0U);
        return forward;
    }

    trox_test::temp_directory directory_;
    mutable int files_ = 0;
};

TEST_P(out_of_order, numbers_bring_all_events_in_the_order_of_their_times)
{
    const std::vector<numbers> lists{
        {500, 501, 502, 503, 504, 1, 2, 3, 4}, // begin anew
        {5, 6, 7, 1, 2, 6, 8, 9},              // the same, and rise above what came before
        {1, 2, 3, 1, 2, 3, 1, 2},              // repeat all
        {10, 11, 12, 13, 5},                   // last
        {20, 11, 12, 13, 14},                  // first
        {10, 11, 99, 12, 13},                  // in between, high
        {10, 11, 12, 14, 13},                  // neighbours at the end
        {5, 4, 3, 2, 1},
        {4294967294, 4294967295, 0, 1, 2}, // 32 bits wrap around
    };
    for (const numbers& list : lists) {
        const auto data = file_of(list);
        for (const mode how : modes) {
            EXPECT_EQ(read(data, how), list) << (how == mode::by_time ? "by time" : "by number");
        }
    }
}

TEST_P(out_of_order, numbers_that_do_not_go_on_from_a_low_one_are_found_where_they_belong)
{
    const std::vector<numbers> lists{{10, 11, 3, 12, 13}, {10, 11, 13, 12, 14}, {10, 11, 2, 11 + 1, 3, 13}};
    for (const numbers& list : lists) {
        EXPECT_EQ(read(file_of(list), mode::by_time), list);
        numbers sorted = list;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(read(file_of(list), mode::by_number), sorted);
    }
}

TEST_P(out_of_order, numbers_of_a_slow_channel_divide_no_other_one)
{
    // T/S is late by one number once, and then T/B of the same event comes after it.
    const std::string path = directory_.file("late.raw");
    small_file file(path, GetParam());
    file.channel("T/A").channel("T/B").channel("T/S");
    for (std::uint64_t number = 1; number <= 6; ++number) {
        file.machine(number, tenth(number), {{"T/A", 1.0F}});
        if (number == 3) {
            file.update(3, tenth(3) + microseconds(1000), "T/S", 30.0F);
            file.update(2, tenth(3) + microseconds(2000), "T/S", 31.0F);
        }
        file.machine(number, tenth(number) + microseconds(3000), {{"T/B", 1.0F}});
    }
    const auto data = trox::data_set::open_files({file.finish()});
    trox::event_reader reader(data, matched(mode::by_number));
    std::vector<std::string> found;
    for (const trox::event& event : reader) {
        found.push_back(std::to_string(event.number()) + (event[0] ? " a" : "") + (event[1] ? " b" : "") +
                        (event[2] && event[2].is_updated() ? " " + std::to_string(std::lround(*event[2].number()))
                                                           : std::string()));
    }
    EXPECT_EQ(found, (std::vector<std::string>{"1 a b", "2 a b 31", "3 a b 30", "4 a b", "5 a b", "6 a b"}));
}

TEST_P(out_of_order, numbers_of_slow_channels_begin_anew_where_they_go_on)
{
    const auto slow_file = [&](const char* name, const numbers& list, bool with_fast) {
        small_file file(directory_.file(name), GetParam());
        for (std::size_t i = 0; i < list.size(); ++i) {
            file.update(list[i], tenth(i), "T/S", 1.0F);
        }
        if (with_fast) {
            file.machine(list.front() - 1, tenth(0) - microseconds(50000), {{"T/F", 1.0F}});
        }
        return trox::data_set::open_files({file.finish()});
    };
    const numbers few{500, 501, 1, 2, 3};
    EXPECT_EQ(read(slow_file("few_alone.raw", few, false), mode::by_number), few);
    EXPECT_EQ(read(slow_file("few.raw", few, true), mode::by_number), (numbers{1, 2, 3, 499, 500, 501}));
    const numbers many{500, 501, 1, 2, 3, 4};
    EXPECT_EQ(read(slow_file("many.raw", many, true), mode::by_number), (numbers{499, 500, 501, 1, 2, 3, 4}));
}

/// Events by number, each with the channels that have a record.
std::vector<std::string> channels_of(const trox::data_set& data)
{
    trox::event_reader reader(data, matched(mode::by_number));
    std::vector<std::string> found;
    for (const trox::event& event : reader) {
        found.push_back(std::to_string(event.number()));
        for (std::size_t i = 0; i < event.records().size(); ++i) {
            if (event[i]) {
                found.back() += " " + data.channels()[reader.channels()[i]].name;
            }
        }
    }
    return found;
}

using channel_numbers = std::vector<std::pair<std::string, numbers>>; // by channel

/// One file; number n lies `n + tenths` tenths of a second behind the second in which small files begin.
std::string write_channels(const std::string& path, tw::generation format, const channel_numbers& channels,
                           std::uint64_t tenths = 0)
{
    std::map<std::uint64_t, std::vector<std::pair<std::string, float>>> events;
    small_file file(path, format);
    for (const auto& [name, list] : channels) {
        file.channel(name);
        for (const std::uint64_t number : list) {
            events[number].emplace_back(name, 1.0F);
        }
    }
    for (const auto& [number, values] : events) {
        file.machine(number, tenth(number + tenths), values);
    }
    return file.finish();
}

TEST_P(out_of_order, numbers_that_begin_anew_with_a_file_follow_those_of_all_channels_before)
{
    const auto path = [&](const char* name) { return directory_.file(name); };
    const auto first = write_channels(path("1.raw"), GetParam(), {{"A", {100, 101, 102}}, {"C", {100}}});
    // B is only in the second file, C goes on from the first number of the first to a number of the second that the
    // first has as well.
    const auto second =
        write_channels(path("2.raw"), GetParam(), {{"A", {1, 2, 101}}, {"B", {1, 2}}, {"C", {101}}}, 1000);
    EXPECT_EQ(channels_of(trox::data_set::open_files({first, second})),
              (std::vector<std::string>{"100 A C", "101 A", "102 A", "1 A B", "2 A B", "101 A C"}));
    // One that begins anew with a third file, without D in the second.
    const auto before = write_channels(path("3.raw"), GetParam(), {{"A", {7, 8}}, {"D", {7, 8, 9}}});
    const auto between = write_channels(path("4.raw"), GetParam(), {{"A", {3, 4}}}, 1000);
    const auto behind = write_channels(path("5.raw"), GetParam(), {{"A", {1, 2}}, {"D", {1, 2}}}, 2000);
    EXPECT_EQ(channels_of(trox::data_set::open_files({before, between, behind})),
              (std::vector<std::string>{"7 A D", "8 A D", "9 D", "3 A", "4 A", "1 A D", "2 A D"}));
}

TEST_P(out_of_order, numbers_of_files_side_by_side_stay_together_after_they_began_anew)
{
    const auto path = [&](const char* name) { return directory_.file(name); };
    // Two streams; one divides the numbers that began anew at another place.
    const std::vector<std::string> files{write_channels(path("1.raw"), GetParam(), {{"A", {100, 101}}}),
                                         write_channels(path("2.raw"), GetParam(), {{"B", {100, 101}}}),
                                         write_channels(path("3.raw"), GetParam(), {{"A", {1, 2}}}, 1000),
                                         write_channels(path("4.raw"), GetParam(), {{"B", {1, 2, 3, 4, 5, 6}}}, 1000),
                                         write_channels(path("5.raw"), GetParam(), {{"A", {3, 4, 5}}}, 1000)};
    const std::vector<std::string> expected{"100 A B", "101 A B", "1 A B", "2 A B", "3 A B", "4 A B", "5 A B", "6 B"};
    EXPECT_EQ(channels_of(trox::data_set::open_files(files)), expected);
    EXPECT_EQ(channels_of(trox::data_set::open_files({files[0], files[2], files[4], files[1], files[3]})), expected);
}

TEST_P(out_of_order, numbers_0_and_missing_times_begin_nothing_anew)
{
    const auto first = write_channels(directory_.file("1.raw"), GetParam(), {{"A", {10, 11}}});
    for (const bool has_number : {false, true}) {
        small_file file(directory_.file(has_number ? "2.raw" : "3.raw"), GetParam());
        file.machine(has_number ? 5 : 0, has_number ? trox::time_point{} : tenth(12), {{"B", 1.0F}});
        file.machine(11, tenth(11) + microseconds(3000), {{"B", 1.0F}}).machine(13, tenth(13), {{"A", 1.0F}});
        const auto found = channels_of(trox::data_set::open_files({first, file.finish()}));
        EXPECT_EQ(std::count(found.begin(), found.end(), "11 A B"), 1) << has_number;
    }
}

TEST_P(out_of_order, numbers_of_one_time_end_where_they_should)
{
    EXPECT_EQ(read(file_of({5, 4, 3, 2, 1}, microseconds(0)), mode::by_number), (numbers{1, 2, 3, 4, 5}));
}

TEST_P(out_of_order, numbers_that_begin_with_0_lose_no_event_at_any_rate)
{
    const numbers list{4294967294, 4294967295, 0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(read(file_of(list, microseconds(60000)), mode::by_number), list);
}

TEST_P(out_of_order, numbers_are_found_where_they_first_are)
{
    const auto data = file_of({500, 501, 502, 1, 2, 501, 3});
    for (const mode how : modes) {
        trox::event_reader reader(data, matched(how));
        const auto found = reader.at_number(501);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->time(), tenth(1));
        EXPECT_EQ(number_of(reader.next()), 502U);
        EXPECT_EQ(number_of(reader.next()), 1U);
        EXPECT_EQ(number_of(reader.at_time(tenth(5))), 501U);
        EXPECT_EQ(number_of(reader.previous()), 2U);
        EXPECT_EQ(number_of(reader.at_number(3)), 3U);
        EXPECT_EQ(number_of(reader.previous()), 501U);
    }
}

TEST_P(out_of_order, numbers_leave_ranges_exact)
{
    const auto data = file_of({500, 501, 502, 503, 1, 2, 3});
    for (const mode how : modes) {
        const auto in = [&](const trox::event_range& range) {
            trox::selection what = matched(how);
            what.range = range;
            trox::event_reader reader(data, what);
            return numbers_of(reader);
        };
        EXPECT_EQ(in({501, 503, {}, {}}), (numbers{501, 502}));
        EXPECT_EQ(in({1, 3, {}, {}}), (numbers{1, 2}));
        EXPECT_EQ(in({3, {}, {}, {}}), (numbers{500, 501, 502, 503, 3}));
        EXPECT_EQ(in({{}, {}, tenth(3), tenth(5)}), (numbers{503, 1}));
    }
}

TEST_P(out_of_order, numbers_of_several_channels_stay_together)
{
    // T/LATE has records only behind the point at which numbers begin anew, T/EARLY only before, T/RARE seldom.
    const std::string path = directory_.file("b.raw");
    small_file file(path, GetParam());
    file.channel("T/LATE").channel("T/RARE").channel("T/A").channel("T/EARLY");
    const numbers list{500, 501, 502, 503, 1, 2, 3, 4, 5};
    for (std::size_t i = 0; i < list.size(); ++i) {
        std::vector<std::pair<std::string, float>> values{{"T/A", 1.0F}};
        values.emplace_back(i < 4 ? "T/EARLY" : "T/LATE", 1.0F);
        if (i % 3 == 0) {
            values.emplace_back("T/RARE", 1.0F);
        }
        file.machine(list[i], tenth(i), values);
    }
    const auto data = trox::data_set::open_files({file.finish()});
    for (const mode how : modes) {
        trox::event_reader reader(data, matched(how));
        std::vector<std::string> found;
        for (const trox::event& event : reader) {
            found.push_back(std::to_string(event.number()) + (event[0] ? " late" : "") + (event[1] ? " rare" : "") +
                            (event[2] ? " a" : "") + (event[3] ? " early" : ""));
        }
        EXPECT_EQ(found, (std::vector<std::string>{"500 rare a early", "501 a early", "502 a early", "503 rare a early",
                                                   "1 late a", "2 late a", "3 late rare a", "4 late a", "5 late a"}));
    }
}

TEST_P(out_of_order, numbers_go_on_in_the_files_behind)
{
    const auto path = [&](const char* name) { return directory_.file(name); };
    small_file first(path("c.raw"), GetParam());
    std::uint64_t tenths = 0;
    for (const std::uint64_t number : {7U, 8U, 1U, 2U}) {
        first.machine(number, tenth(tenths++), {{"T/A", 1.0F}});
    }
    small_file second(path("d.raw"), GetParam());
    for (const std::uint64_t number : {3U, 4U, 1U, 2U}) {
        second.machine(number, tenth(tenths++), {{"T/A", 1.0F}});
    }
    const auto data = trox::data_set::open_files({first.finish(), second.finish()});
    for (const mode how : modes) {
        EXPECT_EQ(read(data, how), (numbers{7, 8, 1, 2, 3, 4, 1, 2}));
    }
}

TEST_P(out_of_order, numbers_without_times_arrive_by_number_and_are_reported_by_time)
{
    const std::string path = directory_.file("e.raw");
    small_file file(path, GetParam());
    const trox::time_point none{};
    const std::vector<trox::time_point> times{none, tenth(1), none, tenth(3), none};
    for (std::size_t i = 0; i < times.size(); ++i) {
        file.machine(10 + i, times[i], {{"T/A", 1.0F}});
    }
    const auto data =
        trox::data_set::open_files({file.finish(), write_numbers(directory_.file("f.raw"), GetParam(), {20, 21})});
    EXPECT_EQ(read(data, mode::by_number), (numbers{10, 11, 12, 13, 14, 20, 21}));
    trox::event_reader reader(data, matched(mode::by_time));
    EXPECT_EQ(numbers_of(reader), (numbers{11, 13, 20, 21}));
    const trox::reading_report& report = reader.report();
    EXPECT_EQ(report.channels[0].skipped, 3U);
    ASSERT_EQ(report.skipped_records.size(), 3U);
    numbers reported;
    for (const trox::skipped_record& record : report.skipped_records) {
        EXPECT_EQ(record.reason, "its event has no time");
        EXPECT_EQ(record.where.file, path);
        reported.push_back(record.where.event.value_or(0));
    }
    EXPECT_EQ(reported, (numbers{10, 12, 14}));
    trox::event_reader strict(data, matched(mode::by_time), {std::size_t{1} << 20, 1, false});
    EXPECT_EQ(error_of([&] { strict.next(); }).reason(), "its event has no time");
}

TEST_P(out_of_order, events_without_number_and_time_are_reported)
{
    const std::string path = directory_.file("g.raw");
    small_file file(path, GetParam());
    file.machine(1, tenth(1), {{"T/A", 1.0F}});
    file.machine(0, trox::time_point{}, {{"T/A", 1.0F}});
    file.machine(2, tenth(2), {{"T/A", 1.0F}});
    trox::event_reader reader(trox::data_set::open_files({file.finish()}), matched(mode::by_number));
    EXPECT_EQ(numbers_of(reader), (numbers{1, 2}));
    ASSERT_EQ(reader.report().skipped_records.size(), 1U);
    EXPECT_EQ(reader.report().skipped_records[0].reason, "its event has neither a number nor a time");
}

TEST_P(out_of_order, numbers_and_times_that_contradict_each_other_come_to_an_end)
{
    const trox::time_point none{};
    const std::vector<std::vector<std::pair<std::uint64_t, trox::time_point>>> files{
        {{9, tenth(1)}, {2, tenth(4)}, {5, none}},
        {{500, tenth(10)}, {600, none}, {5, tenth(12)}},
        {{3, none}, {9, tenth(1)}, {2, tenth(4)}, {5, none}},
        {{1, tenth(9)}, {2, tenth(7)}, {3, tenth(5)}, {4, tenth(3)}},
        {{4, tenth(1)}, {1, tenth(2)}, {6, tenth(3)}, {0, tenth(4)}, {5, tenth(5)}},
    };
    for (std::size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(i);
        small_file file(directory_.file("h" + std::to_string(i) + ".raw"), GetParam());
        std::size_t timed = 0;
        for (const auto& [number, time] : files[i]) {
            file.machine(number, time, {{"T/A", 1.0F}});
            timed += time == none ? 0 : 1;
        }
        const auto data = trox::data_set::open_files({file.finish()});
        EXPECT_EQ(texts_in_all_directions(data, matched(mode::by_time)).size(), timed);
        EXPECT_EQ(texts_in_all_directions(data, matched(mode::by_number)).size(), files[i].size());
    }
}

TEST_P(out_of_order, numbers_may_be_as_high_as_the_format_has_them)
{
    const std::uint64_t highest = GetParam() == tw::generation::v2024 ? std::numeric_limits<std::uint64_t>::max()
                                                                      : std::numeric_limits<std::uint32_t>::max();
    const std::vector<numbers> lists{{10, 12, 14, highest}, {highest - 2, highest - 1, highest}};
    for (const numbers& list : lists) {
        EXPECT_EQ(read(file_of(list), mode::by_number), list);
        EXPECT_EQ(read(file_of(list), mode::by_time), list);
    }
    trox::selection far = matched(mode::by_number);
    far.match.number_step = 3;
    trox::event_reader reader(file_of({highest - 4, highest - 1, highest}), far);
    EXPECT_EQ(numbers_of(reader), (numbers{highest - 4, highest - 1}));
    EXPECT_EQ(number_of(reader.at_number(highest - 1)), highest - 1);
}

INSTANTIATE_TEST_SUITE_P(generations, out_of_order, testing::ValuesIn(all_formats), [](const auto& tested) {
    return std::string(trox::name_of(static_cast<trox::generation>(tested.param)));
});

// --- random files ---------------------------------------------------------------------------------------

/// One or two files of a few events with any numbers and times, some of them 0. Tells the records of each channel.
std::vector<std::string> write_chaos(const trox_test::temp_directory& directory, std::uint32_t seed)
{
    std::mt19937 random(seed);
    const auto below = [&](std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); };
    std::vector<std::string> paths;
    const std::uint32_t files = 1 + below(2);
    for (std::uint32_t i = 0; i < files; ++i) {
        small_file file(directory.file(std::to_string(i) + ".raw"), all_formats[below(3)]);
        file.channel("T/A").channel("T/B").channel("T/S");
        const std::uint32_t events = 1 + below(8);
        for (std::uint32_t k = 0; k < events; ++k) {
            const std::uint64_t number = below(5) == 0 ? 0 : 1 + below(9);
            const auto time = below(5) == 0 ? trox::time_point{} : tenth(below(12)) + microseconds(below(3) * 30000);
            std::vector<std::pair<std::string, float>> values;
            for (const char* name : {"T/A", "T/B"}) {
                if (below(3) != 0) {
                    values.emplace_back(name, 1.0F);
                }
            }
            if (below(6) == 0) {
                file.update(number, time, "T/S", 1.0F);
            } else {
                file.machine(number, time, values);
            }
        }
        paths.push_back(file.finish());
    }
    return paths;
}

/// Looks for every number and time between the lowest and the highest.
void expect_to_find_what_a_walk_finds(const trox::data_set& data, const trox::selection& what)
{
    trox::event_reader reader(data, what, {std::size_t{1} << 20, 1, true});
    std::vector<std::pair<std::uint64_t, trox::time_point>> events;
    for (const trox::event& event : reader) {
        events.emplace_back(event.number(), event.time());
    }
    const auto expect = [&](const std::optional<trox::event>& found, auto is_wanted) {
        const auto first = std::find_if(events.begin(), events.end(), is_wanted);
        ASSERT_EQ(found.has_value(), first != events.end());
        if (found) {
            EXPECT_EQ(found->number(), first->first);
            EXPECT_EQ(found->time(), first->second);
        }
    };
    for (std::uint64_t number = 0; number <= 10; ++number) {
        expect(reader.at_number(number), [&](const auto& event) { return event.first == number; });
        for (const auto distance : {microseconds(0), microseconds(30000)}) {
            const trox::time_point time = tenth(number) + distance;
            expect(reader.at_time(time), [&](const auto& event) { return event.second >= time; });
        }
    }
}

TEST(chaos, of_numbers_and_times_ends_with_every_record_delivered_or_reported)
{
    std::size_t delivered = 0;
    std::size_t reported = 0;
    for (std::uint32_t seed = 1; seed <= 400; ++seed) {
        const trox_test::temp_directory directory;
        const auto data = trox::data_set::open_files(write_chaos(directory, seed));
        for (const mode how : modes) {
            SCOPED_TRACE("seed " + std::to_string(seed) + (how == mode::by_time ? ", by time" : ", by number"));
            const trox::selection what{{}, {}, {how, microseconds(20000)}, {}};
            texts_in_all_directions(data, what);
            expect_to_find_what_a_walk_finds(data, what);
            trox::event_reader reader(data, what, {std::size_t{1} << 20, 1, true});
            std::vector<std::set<std::uint64_t>> seen(reader.channels().size()); // a few are in two events
            for (const trox::event& event : reader) {
                for (std::size_t i = 0; i < seen.size(); ++i) {
                    if (event[i] && event[i].is_updated()) {
                        seen[i].insert(event[i].offset() + (event[i].file().ends_with("1.raw") ? 1U << 30 : 0));
                    }
                }
            }
            for (std::size_t i = 0; i < seen.size(); ++i) {
                const trox::channel_report& channel = reader.report().channels[i];
                EXPECT_EQ(seen[i].size() + channel.skipped + channel.unmatched,
                          data.channels()[reader.channels()[i]].records);
                delivered += seen[i].size();
                reported += channel.skipped + channel.unmatched;
            }
        }
    }
    EXPECT_GT(delivered, 2000U);
    EXPECT_GT(reported, 200U);
}

/// The events of random runs that lie in any order: forward, backward and by number alike.
TEST(chaos, of_recording_leads_to_the_same_events_in_all_directions)
{
    for (const auto kind : {disorder::repeated_numbers, disorder::unordered}) {
        for (std::uint32_t seed = 200; seed < 212; ++seed) {
            const trox_test::temp_directory directory;
            const random_run run = write_random_run(directory.file("."), all_formats[seed % 3], seed, kind);
            const auto data = trox::data_set::open_files(run.files);
            for (const mode how : modes) {
                SCOPED_TRACE("seed " + std::to_string(seed));
                EXPECT_GT(texts_in_all_directions(data, {{}, {}, {how, microseconds(10000)}, {}}).size(), 0U);
            }
        }
    }
}

} // namespace
