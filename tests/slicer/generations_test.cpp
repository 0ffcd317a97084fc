// What the slicers of the generations differ in, through their public interface.
#include "slicer_files.h"

#include <stdexcept>
#include <utility>

namespace slicer_test
{

using trox_test::slicer_2010;
using trox_test::slicer_2024;
using trox_test::slicer_legacy;

template <class T> using slicer_generation = slicer_files<T>;
TYPED_TEST_SUITE(slicer_generation, slicer_generations, slicer_generation_names);
template <class T> using slicer_since_2010 = slicer_files<T>;
TYPED_TEST_SUITE(slicer_since_2010, slicer_generations_since_2010, slicer_generation_names);
using legacy_slicer = slicer_files<slicer_legacy>;
using slicer_with_long_numbers = slicer_files<slicer_2024>;

// --- what is absent -----------------------------------------------------------------------------------

template <class Slicer>
concept has_by_time_fix = requires(Slicer slicer)
{
    slicer.set_by_time_fix(true);
    slicer.is_by_time_fix();
};
template <class Slicer>
concept sets_by_time_fix = requires(Slicer slicer)
{
    slicer.set_by_time_fix(true);
};
template <class Slicer>
concept tells_by_time_fix = requires(Slicer slicer)
{
    slicer.is_by_time_fix();
};
template <class Slicer, class Name>
concept finds_table_by = requires(Slicer slicer, Name name)
{
    slicer.find_ready_table(name);
};
template <class Slicer, class Files>
concept takes_files = requires(Slicer slicer, Files files, const std::vector<typename Slicer::chan_param*>* channels)
{
    slicer.init(files, channels, 0);
};
using names_list = std::vector<char*>;
using text_list = std::vector<std::string>;

TEST(slicer_operations, by_time_fix_is_there_from_2010_on)
{
    EXPECT_FALSE(sets_by_time_fix<trox_daq_slicer>);
    EXPECT_FALSE(tells_by_time_fix<trox_daq_slicer>);
    EXPECT_TRUE(has_by_time_fix<trox_daq_slicer_2010>);
    EXPECT_TRUE(has_by_time_fix<trox_daq_slicer_2024>);
}

TEST(slicer_operations, tables_are_found_by_zero_terminated_name_and_from_2010_on_also_by_string)
{
    EXPECT_FALSE((finds_table_by<trox_daq_slicer, std::string>));
    EXPECT_TRUE((finds_table_by<trox_daq_slicer, const char*>));
    EXPECT_TRUE((finds_table_by<trox_daq_slicer_2010, std::string>));
    EXPECT_TRUE((finds_table_by<trox_daq_slicer_2010, const char*>));
    EXPECT_TRUE((finds_table_by<trox_daq_slicer_2024, std::string>));
    EXPECT_TRUE((finds_table_by<trox_daq_slicer_2024, const char*>));
}

TEST(slicer_operations, the_legacy_lists_of_files_are_references)
{
    EXPECT_TRUE((takes_files<trox_daq_slicer, const text_list&>));
    EXPECT_TRUE((takes_files<trox_daq_slicer, const names_list&>));
    EXPECT_FALSE((takes_files<trox_daq_slicer, const text_list*>));
    EXPECT_FALSE((takes_files<trox_daq_slicer, const names_list*>));
    EXPECT_FALSE((takes_files<trox_daq_slicer_2010, const text_list&>));
    EXPECT_TRUE((takes_files<trox_daq_slicer_2010, const text_list*>));
    EXPECT_TRUE((takes_files<trox_daq_slicer_2010, const names_list*>));
    EXPECT_FALSE((takes_files<trox_daq_slicer_2024, const text_list&>));
    EXPECT_TRUE((takes_files<trox_daq_slicer_2024, const text_list*>));
    EXPECT_TRUE((takes_files<trox_daq_slicer_2024, const names_list*>));
}

// --- records ------------------------------------------------------------------------------------------

TYPED_TEST(slicer_generation, has_its_records)
{
    using slicer = slicer_of<TypeParam>;
    constexpr bool is_2024 = std::is_same_v<TypeParam, slicer_2024>;
    constexpr bool is_legacy = std::is_same_v<TypeParam, slicer_legacy>;
    EXPECT_EQ(sizeof(typename slicer::chan_param), TypeParam::param_size);
    EXPECT_TRUE((std::is_same_v<typename slicer::chan_param,
                                std::conditional_t<is_legacy, trox_daq_chan_param, trox_daq_chan_param_2010>>));
    EXPECT_TRUE(
        (std::is_same_v<typename slicer::time_id, std::conditional_t<is_2024, trox_time_id_2024, trox_time_id>>));
    EXPECT_TRUE((std::is_same_v<typename slicer::entry,
                                std::conditional_t<is_2024, trox_channel_entry_long_2024, trox_channel_entry_long>>));
    EXPECT_TRUE((std::is_same_v<decltype(slicer().get_event_step()), typename TypeParam::time_id*>));
}

// --- init ---------------------------------------------------------------------------------------------

TEST_F(legacy_slicer, tells_both_counts_when_there_is_nothing_to_read)
{
    trox_daq_slicer slicer;
    const channel_list<slicer_legacy> none{};
    const channel_list<slicer_legacy> two{"A", "B"};
    const text_list two_files{"a", "b"};
    std::string name = "a";
    const names_list two_names{name.data(), name.data()};
    int status = 0;
    EXPECT_EQ(printed_by([&] { status = slicer.init(two_files, &none, 0); }),
              "SLICER: either no files (2) or channels: (0)\n");
    EXPECT_EQ(status, -1);
    EXPECT_EQ(printed_by([&] { status = slicer.init(text_list(), &two, 0); }),
              "SLICER: either no files (0) or channels: (2)\n");
    EXPECT_EQ(status, -1);
    EXPECT_EQ(printed_by([&] { status = slicer.init(two_names, &none, 0); }),
              "SLICER: either no files (2) or channels: (0)\n");
    EXPECT_EQ(status, -1);
    EXPECT_EQ(printed_by([&] { status = slicer.init(names_list(), &none, 0); }),
              "SLICER: either no files (0) or channels: (0)\n");
    EXPECT_EQ(status, -1);
}

TEST_F(legacy_slicer, leaves_empty_names_out)
{
    add_file("0", {{"A", events(1, 3)}});
    add_file("1", {{"A", events(4, 6)}});
    trox_daq_slicer slicer;
    const channel_list<slicer_legacy> channels{"A"};
    const text_list with_empty{"", files[0], "", "", files[1], ""};
    const auto expect_all_events = [&] {
        EXPECT_EQ(slicer.get_num_of_get_tables(), 2);
        ASSERT_EQ(slicer.start(), 0);
        records_of<slicer_legacy> found;
        int number = 0;
        while (slicer.get_data(nullptr, &found, number == 0 ? current : next) == 0) {
            EXPECT_THAT(labels(found), ElementsAre("A@" + std::to_string(++number)));
        }
        EXPECT_EQ(number, 6);
    };
    ASSERT_EQ(slicer.init(with_empty, &channels, 0), 0);
    expect_all_events();
    char nothing[] = "";
    const names_list with_null{nothing, files[0].data(), nullptr, files[1].data(), nullptr};
    trox_daq_slicer other;
    std::string text = printed_by([&] { EXPECT_EQ(other.init(names_list{nothing, nullptr}, &channels, 0), -1); });
    EXPECT_EQ(text, "SLICER: either no files (0) or channels: (1)\n");
    text = printed_by([&] { EXPECT_EQ(other.init(text_list{"", ""}, &channels, 0), -1); });
    EXPECT_EQ(text, "SLICER: either no files (0) or channels: (1)\n");
    ASSERT_EQ(slicer.init(with_null, &channels, 0), 0);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 2);
    EXPECT_EQ(slicer.start(), 0);
}

TEST_F(legacy_slicer, names_are_copied_from_both_kinds_of_lists)
{
    add_file("0", {{"A", events(1, 3)}});
    trox_daq_slicer slicer;
    const channel_list<slicer_legacy> channels{"A"};
    std::string name = files[0];
    const names_list names{name.data()};
    ASSERT_EQ(slicer.init(names, &channels, 0), 0);
    name[0] = 'X';
    EXPECT_EQ(slicer.start(), 0);
}

TYPED_TEST(slicer_since_2010, null_lists_of_files_are_invalid)
{
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{"A"};
    EXPECT_EQ(slicer.init(static_cast<const text_list*>(nullptr), &channels, 0), -7);
    EXPECT_EQ(slicer.init(static_cast<const names_list*>(nullptr), &channels, 0), -7);
}

TYPED_TEST(slicer_since_2010, a_null_name_is_a_logic_error)
{
    this->add_file("0", {{"A", events(1, 3)}});
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{"A"};
    const names_list names{this->files[0].data(), nullptr};
    EXPECT_THROW(slicer.init(&names, &channels, 0), std::logic_error);
}

TYPED_TEST(slicer_since_2010, an_empty_name_is_a_file_like_any_other)
{
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{"A"};
    const text_list names{"", "a"};
    EXPECT_EQ(slicer.init(&names, &channels, 0), 0);
    EXPECT_EQ(slicer.get_num_of_get_tables(), 2);
}

TYPED_TEST(slicer_since_2010, tables_are_found_by_either_kind_of_name)
{
    this->add_file("0", {{"A", events(1, 3)}});
    slicer_of<TypeParam> slicer;
    EXPECT_EQ(slicer.find_ready_table(std::string("a")), nullptr) << "before the start";
    this->start(slicer, {"A"});
    auto* table = slicer.find_ready_table(this->files[0]);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(slicer.find_ready_table(this->files[0].c_str()), table);
}

// --- by_time_fix --------------------------------------------------------------------------------------

TYPED_TEST(slicer_since_2010, by_time_fix_is_on_until_it_is_switched_off)
{
    this->add_file("0", {{"A", events(1, 3)}});
    slicer_of<TypeParam> slicer;
    EXPECT_TRUE(slicer.is_by_time_fix());
    slicer.set_by_time_fix(false);
    EXPECT_FALSE(slicer.is_by_time_fix());
    this->start(slicer, {"A"});
    slicer.set_by_time_fix(true);
    EXPECT_TRUE(slicer.is_by_time_fix()) << "whatever runs";
    slicer.set_by_time_fix(false);
    slicer.clean_up();
    EXPECT_FALSE(slicer.is_by_time_fix()) << "settings survive";
}

TYPED_TEST(slicer_since_2010, neighbours_by_time_are_checked_against_the_numbers_unless_that_is_off)
{
    // Event 3 is missing: by time, 100 ms behind event 2 there is nothing but event 4, one number too far.
    this->add_file("0", {{"A", {{1, time_of(1)}, {2, time_of(2)}, {4, time_of(4)}}}});
    for (const bool checks : {true, false}) {
        slicer_of<TypeParam> slicer;
        time_stamp diff{0, 50000};
        slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
        slicer.set_time_diff(&diff);
        slicer.set_by_time_fix(checks);
        slicer.set_debug(1);
        const std::string text = printed_by([&] {
            this->start(slicer, {"A"});
            records_of<TypeParam> found;
            for (int i = 0; i < 3; ++i) {
                slicer.get_data(nullptr, &found, next);
            }
            EXPECT_THAT(this->labels(found), ElementsAre("A@4"));
        });
        EXPECT_EQ(text.find("Double check instead of time -> by EvID\n") != std::string::npos, checks);
    }
}

TEST_F(legacy_slicer, neighbours_by_time_are_not_checked_against_the_numbers)
{
    add_file("0", {{"A", {{1, time_of(1)}, {2, time_of(2)}, {4, time_of(4)}}}});
    trox_daq_slicer slicer;
    time_stamp diff{0, 50000};
    slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
    slicer.set_time_diff(&diff);
    slicer.set_debug(1);
    const std::string text = printed_by([&] {
        start(slicer, {"A"});
        records_of<slicer_legacy> found;
        for (int i = 0; i < 3; ++i) {
            slicer.get_data(nullptr, &found, next);
        }
        EXPECT_THAT(labels(found), ElementsAre("A@4"));
    });
    EXPECT_THAT(text, Not(HasSubstr("Double check")));
}

// --- tables -------------------------------------------------------------------------------------------

TEST_F(legacy_slicer, all_tables_are_loaded_before_any_channel_moves)
{
    for (std::uint64_t begin = 1; begin < 24; begin += 3) {
        add_file(std::to_string(begin), {{"A", events(begin, begin + 2)}});
    }
    ASSERT_EQ(files.size(), 8U);
    trox_daq_slicer slicer;
    start(slicer, {"A"});
    auto* loaded = slicer.find_ready_table(files[7].c_str());
    ASSERT_NE(loaded, nullptr) << "seven are untaken before it";
    EXPECT_EQ(loaded->get_file_name(), files[7]);
    for (const auto& file : files) {
        EXPECT_NE(slicer.find_ready_table(file.c_str()), nullptr);
    }
}

// --- traces -------------------------------------------------------------------------------------------

TYPED_TEST(slicer_generation, traces_its_life_in_its_own_words)
{
    this->add_file("0", {{"A", events(1, 3)}, {"B", events(1, 3)}, {"C", {}}});
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{"A", "B", "C"};
    ASSERT_EQ(init(slicer, this->files, channels), 0);
    slicer.set_debug(2);
    const std::string started = printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
    for (const std::string name : {"A", "B", "C"}) {
        EXPECT_THAT(started, HasSubstr(TypeParam::creating_channel(name, -1, this->files[0])));
    }
    EXPECT_THAT(started, HasSubstr(TypeParam::entered_at_first));
    EXPECT_THAT(started, HasSubstr(TypeParam::leaving_file(2, "C", 0)));
    EXPECT_EQ(started.find("Calling clean_descr()\n") != std::string::npos, TypeParam::has_life_cycle_traces);
    const std::string ended = printed_by([&] { slicer.clean_up(); });
    EXPECT_EQ(ended, TypeParam::has_life_cycle_traces ? "THREAD joined table_thread: \n"
                                                        "slicer clean_up read_chans[0]\n"
                                                        "slicer clean_up read_chans[1]\n"
                                                      : "");
}

TEST_F(legacy_slicer, traces_what_it_goes_out_from)
{
    add_file("0", {{"A", events(1, 3)}});
    trox_daq_slicer slicer;
    start(slicer, {"A"});
    records_of<slicer_legacy> found;
    const auto calls_at_level = [&](int level) {
        slicer.set_debug(level);
        return printed_by([&] { slicer.get_data(nullptr, &found, next); });
    };
    EXPECT_THAT(calls_at_level(1), testing::StartsWith("current_event_id.event_number (input): " +
                                                       event_text(1, time_of(1)) + "  synch_mode:0\n"));
    EXPECT_THAT(calls_at_level(0), IsEmpty());
    EXPECT_THAT(calls_at_level(1), testing::StartsWith("current_event_id.event_number (input): " +
                                                       event_text(2, time_of(2)) + "  synch_mode:0\n"));
    slicer.set_debug(0);
    slicer.clean_up();
    slicer.set_synch_mode(TROX_DAQ_SLICER_SYNCH_MODE_TIME);
    start(slicer, {"A"});
    EXPECT_THAT(calls_at_level(1), testing::StartsWith("current_event_id.event_number (input): " +
                                                       event_text(0, time_of(1)) + "  synch_mode:1\n"));
}

// --- event numbers of 64 bits -------------------------------------------------------------------------

/// The number of the first event above what 32 bits hold.
constexpr std::uint64_t beyond = 4294967296;

/// Events `beyond` + first to `beyond` + last at the times of first to last.
std::vector<sample> events_beyond(std::uint64_t first_event, std::uint64_t last_event, std::uint64_t step = 1)
{
    std::vector<sample> all = events(first_event, last_event, step);
    for (auto& one : all) {
        one.number += beyond;
    }
    return all;
}

TEST_F(slicer_with_long_numbers, numbers_are_compared_in_full)
{
    const trox_daq_slicer_2024 slicer;
    const trox_time_id_2024 low{5, {100, 0}};
    const trox_time_id_2024 high{beyond + 5, {100, 0}}; // the same low half
    const trox_time_id_2024 round{beyond, {200, 0}};    // a low half of zero is a number all the same
    int sign = 9;
    EXPECT_EQ(slicer.is_event_id_eq(&low, &high, &sign), 0);
    EXPECT_EQ(sign, -1);
    EXPECT_EQ(slicer.is_event_id_eq(&high, &low, &sign), 0);
    EXPECT_EQ(sign, 1);
    EXPECT_EQ(slicer.is_event_id_eq(&high, &high, &sign), 1);
    EXPECT_EQ(slicer.is_event_id_eq(&round, &high, &sign), 0);
    EXPECT_EQ(sign, -1) << "by number, although it is later in time";
    const trox_time_id_2024 largest{0xFFFFFFFFFFFFFFFE, {100, 0}};
    EXPECT_EQ(slicer.is_event_id_eq(&low, &largest, &sign), 0);
    EXPECT_EQ(sign, -1) << "unsigned";
}

TEST_F(slicer_with_long_numbers, numbers_are_carried_from_file_to_file)
{
    // From below the bound to above it: the low halves start anew within the first file.
    std::vector<sample> a;
    for (std::uint64_t i = 0; i < 6; ++i) {
        a.push_back({beyond - 3 + i, time_of(i)});
    }
    add_file("0", {{"A", a}, {"B", {a[2], a[4]}}});
    add_file("1", {{"A", events_beyond(11, 13)}, {"B", events_beyond(12, 12)}});
    trox_daq_slicer_2024 slicer;
    start(slicer, {"A", "B"});
    std::vector<std::vector<std::string>> all;
    records_of<slicer_2024> found;
    while (slicer.get_data(nullptr, &found, next) == 0) {
        all.push_back(labels(found));
    }
    using event = std::vector<std::string>;
    EXPECT_THAT(all, ElementsAre(event{"A@4294967293"}, event{"A@4294967294"}, event{"A@4294967295", "B@4294967295"},
                                 event{"A@4294967296"}, event{"A@4294967297", "B@4294967297"}, event{"A@4294967298"},
                                 event{"A@4294967307"}, event{"A@4294967308", "B@4294967308"}, event{"A@4294967309"}));
}

TEST_F(slicer_with_long_numbers, targets_and_neighbours_are_found)
{
    // Event 7 has the low half of event beyond + 7.
    std::vector<sample> numbers = events(5, 8);
    for (const sample& one : events_beyond(5 + 100, 8 + 100)) {
        numbers.push_back({one.number - 100, one.time});
    }
    add_file("0", {{"A", numbers}});
    trox_daq_slicer_2024 slicer;
    start(slicer, {"A"});
    records_of<slicer_2024> found;
    const auto ask = [&](std::uint64_t number, int request) {
        const trox_time_id_2024 target{number, {0, 0}};
        EXPECT_EQ(slicer.get_data(&target, &found, request), 0);
        return labels(found);
    };
    EXPECT_THAT(ask(beyond + 7, current), ElementsAre("A@4294967303"));
    EXPECT_THAT(ask(7, current), ElementsAre("A@7"));
    EXPECT_THAT(ask(beyond + 7, next), ElementsAre("A@4294967304"));
    EXPECT_THAT(ask(beyond + 7, previous), ElementsAre("A@4294967302"));
    EXPECT_THAT(ask(beyond + 5, previous), ElementsAre("A@8"));
    EXPECT_THAT(ask(8, next), ElementsAre("A@4294967301"));
}

TEST_F(slicer_with_long_numbers, numbers_are_traced_in_full)
{
    add_file("0", {{"A", events_beyond(1, 4)}, {"B", events_beyond(1, 4, 2)}});
    trox_daq_slicer_2024 slicer;
    start(slicer, {"A", "B"});
    records_of<slicer_2024> found;
    slicer.set_debug(2);
    const std::string one = "4294967297:1339666200_100000";
    const std::string two = "4294967298:1339666200_200000";
    const std::string three = "4294967299:1339666200_300000";
    EXPECT_EQ(printed_by([&] { slicer.get_data(nullptr, &found, next); }),
              "Calling 0 with:0\n"
              "Calling get_chan_data() get_data()\n"
              "Got from get_chan_data() get_data() " +
                  one +
                  " (have already 0:0_0)\n"
                  "Copying temp evid: 4294967297 (from:0)\n"
                  "Calling 1 with:0\n"
                  "Calling get_chan_data() get_data()\n"
                  "Got from get_chan_data() get_data() " +
                  one + " (have already " + one +
                  ")\n"
                  "Diff: 0\n"
                  "Calling get_chan_data() get_data() end\n"
                  "Calling get_chan_data() get_data() end\n"
                  "current_event_id.event_number (output): " +
                  one + " res.size():2\n");
    EXPECT_THAT(printed_by([&] { slicer.get_data(nullptr, &found, next); }),
                testing::ContainsRegex("EMPTY B " + two + "  " + three + "  cfg_status:[0-9a-f]+\n"));
}

} // namespace slicer_test
