// What reading loses is reported: records that no event takes, and those whose event header or entry in the event index
// is damaged.
#include "event_texts.h"
#include "small_file.h"
#include "temp_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>

namespace
{

using namespace layer_test;
namespace tw = trox::writer;
using mode = trox::synchronisation::mode;
using trox::microseconds;
using numbers = std::vector<std::uint64_t>;

constexpr std::uint64_t base = 0x12345600; // no other bytes of a file look like it

class losses : public testing::TestWithParam<tw::generation>
{
protected:
    std::string write(const std::string& name, const numbers& list, std::uint64_t offset = 0) const
    {
        small_file file(directory_.file(name), GetParam());
        for (const std::uint64_t number : list) {
            file.machine(base + number, tenth(number + offset), {{"T/A", 1.0F}});
        }
        return file.finish();
    }

    /// Turns a bit in one of the places where a file has an event's number: in its header, in the head of its server
    /// block, for the first and the last event in the head of the event index, and in its entry there.
    static void flip(const std::string& path, std::uint64_t number, std::size_t places, std::size_t place,
                     unsigned char bit = 0x80)
    {
        std::ifstream in(path, std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(in), {}};
        const std::uint64_t whole = base + number;
        const char wanted[] = {static_cast<char>(whole >> 24 & 0xFF), static_cast<char>(whole >> 16 & 0xFF),
                               static_cast<char>(whole >> 8 & 0xFF), static_cast<char>(whole & 0xFF)};
        std::vector<std::size_t> found;
        for (auto at = bytes.find(wanted, 0, sizeof wanted); at != std::string::npos;
             at = bytes.find(wanted, at + 1, sizeof wanted)) {
            found.push_back(at);
        }
        if (found.size() != places) {
            throw std::runtime_error("the number is in " + std::to_string(found.size()) + " places");
        }
        const std::size_t last_byte = found[place] + sizeof wanted - 1;
        bytes[last_byte] = static_cast<char>(static_cast<unsigned char>(bytes[last_byte]) ^ bit);
        std::filesystem::remove(path);
        std::ofstream(path, std::ios::binary) << bytes;
    }

    static numbers read(trox::event_reader& reader)
    {
        numbers found = numbers_of(reader);
        for (std::uint64_t& number : found) {
            number -= base;
        }
        return found;
    }

    static std::uint64_t unmatched(const trox::data_set& data, const trox::synchronisation& match, std::size_t events)
    {
        trox::event_reader reader(data, {{}, {}, match, {}});
        EXPECT_EQ(numbers_of(reader).size(), events);
        EXPECT_TRUE(reader.report().skipped_records.empty());
        return reader.report().channels[0].unmatched;
    }

    trox_test::temp_directory directory_;
};

// --- damaged numbers ------------------------------------------------------------------------------------

TEST_P(losses, of_a_last_event_whose_header_has_a_damaged_number_are_reported)
{
    const std::string path = write("a.raw", {10, 11, 12, 13});
    flip(path, 13, 4, 0);
    for (const mode how : {mode::by_number, mode::by_time}) {
        trox::event_reader reader(trox::data_set::open_files({path}), {{}, {}, {how, microseconds(1000)}, {}});
        EXPECT_EQ(read(reader), (numbers{10, 11, 12}));
        ASSERT_EQ(reader.report().skipped_records.size(), 1U);
        EXPECT_EQ(reader.report().skipped_records[0].reason, "its event header contradicts the event index");
        EXPECT_EQ(reader.report().channels[0].skipped, 1U);
        EXPECT_FALSE(reader.at_number(base + (13 ^ 0x80)));
    }
    const auto stamps = trox::data_set::open_files({path}).stamps({0});
    EXPECT_EQ(stamps[0].records.size(), 3U);
    EXPECT_EQ(stamps[0].skipped.size(), 1U);
}

TEST_P(losses, of_an_event_whose_damaged_number_stays_between_its_neighbours_are_reported)
{
    const std::string path = write("a.raw", {10, 12, 16, 18});
    flip(path, 12, 3, 0, 2); // 14
    trox::event_reader reader(trox::data_set::open_files({path}), {});
    EXPECT_EQ(read(reader), (numbers{10, 16, 18}));
    EXPECT_EQ(reader.report().channels[0].skipped, 1U);
}

TEST_P(losses, do_not_include_events_whose_entry_in_the_index_alone_is_damaged)
{
    const std::string path = write("a.raw", {10, 11, 12, 13});
    flip(path, 12, 3, 2);
    trox::event_reader reader(trox::data_set::open_files({path}), {});
    EXPECT_EQ(read(reader), (numbers{10, 11, 12, 13}));
    EXPECT_TRUE(reader.report().skipped_records.empty());
    EXPECT_EQ(reader.report().channels[0].unmatched, 0U);
}

TEST_P(losses, are_reported_where_header_and_index_are_equally_credible)
{
    const std::string path = write("a.raw", {10, 11, 12, 13});
    flip(path, 13, 4, 3);
    trox::event_reader reader(trox::data_set::open_files({path}), {});
    EXPECT_EQ(read(reader), (numbers{10, 11, 12}));
    EXPECT_EQ(reader.report().channels[0].skipped, 1U);
}

// --- ranges ---------------------------------------------------------------------------------------------

TEST_P(losses, do_not_include_events_in_a_range_when_the_head_of_the_index_is_damaged)
{
    const std::string path = write("a.raw", {10, 11, 12, 13});
    flip(path, 13, 4, 2, 8);  // the last is 5 then
    flip(path, 10, 4, 2, 64); // the first 74
    const auto data = trox::data_set::open_files({path});
    ASSERT_EQ(data.files()[0].events[0].first_number, base + 74);
    ASSERT_EQ(data.files()[0].events[0].last_number, base + 5);
    EXPECT_EQ(data.files()[0].events[0].lowest_number, base + 10);
    EXPECT_EQ(data.files()[0].events[0].highest_number, base + 13);
    const auto in = [&](std::optional<std::uint64_t> first, std::optional<std::uint64_t> end) {
        trox::event_reader reader(data, {{}, {first, end, {}, {}}, {}, {}});
        return read(reader);
    };
    EXPECT_EQ(in(base + 11, {}), (numbers{11, 12, 13}));
    EXPECT_EQ(in({}, base + 12), (numbers{10, 11}));
    EXPECT_EQ(in(base + 12, base + 13), (numbers{12}));
    EXPECT_EQ(in(base + 14, {}), numbers{});
}

TEST_P(losses, do_not_include_records_of_events_at_the_end_of_a_range_that_a_neighbour_file_holds)
{
    small_file first(directory_.file("a.raw"), GetParam());
    first.machine(1, tenth(1), {{"T/A", 1.0F}}).machine(2, tenth(2), {{"T/A", 1.0F}});
    small_file second(directory_.file("b.raw"), GetParam());
    second.machine(2, tenth(2) + microseconds(3000), {{"T/B", 1.0F}}).machine(3, tenth(3), {{"T/B", 1.0F}});
    const auto data = trox::data_set::open_files({first.finish(), second.finish()});
    for (const mode how : {mode::by_number, mode::by_time}) {
        for (const bool is_behind : {false, true}) {
            trox::selection what{{}, {}, {how, microseconds(5000)}, {}};
            const trox::time_point between = tenth(2) + microseconds(2000);
            (is_behind ? what.range.begin : what.range.end) = is_behind ? tenth(2) : between;
            trox::event_reader reader(data, what);
            const auto event = reader.at_number(2);
            ASSERT_TRUE(event);
            EXPECT_TRUE((*event)[0]);
            EXPECT_TRUE((*event)[1]);
            EXPECT_EQ(numbers_of(reader), is_behind ? (numbers{2, 3}) : (numbers{1, 2}));
        }
    }
}

// --- records that no event takes ------------------------------------------------------------------------

TEST_P(losses, of_a_step_that_is_too_long_are_counted)
{
    small_file file(directory_.file("a.raw"), GetParam());
    constexpr std::size_t events = 50;
    for (std::size_t i = 0; i < events; ++i) {
        file.machine(1 + i, tenth(0) + microseconds(20000) * static_cast<std::int64_t>(i), {{"T/A", 1.0F}});
    }
    const auto data = trox::data_set::open_files({file.finish()});
    trox::synchronisation match{mode::by_time};
    trox::event_reader reader(data, {{}, {}, match, {}});
    const std::size_t delivered = numbers_of(reader).size();
    EXPECT_LT(delivered, events);
    EXPECT_EQ(reader.report().channels[0].unmatched, events - delivered);
    // With the distance that events have nothing is lost.
    match.time_step = microseconds(20000);
    match.tolerance = microseconds(1000);
    EXPECT_EQ(unmatched(data, match, events), 0U);
    EXPECT_EQ(unmatched(data, {}, events), 0U);
    match = {};
    match.number_step = 10;
    EXPECT_EQ(unmatched(data, match, 5), 45U);
}

TEST_P(losses, of_repeated_numbers_are_counted)
{
    small_file file(directory_.file("a.raw"), GetParam());
    std::uint64_t tenths = 0;
    for (const std::uint64_t number : {1U, 2U, 3U, 3U, 4U, 5U}) {
        file.machine(number, tenth(tenths++), {{"T/A", 1.0F}});
    }
    EXPECT_EQ(unmatched(trox::data_set::open_files({file.finish()}), {}, 5), 1U);
}

TEST_P(losses, of_overlapping_files_are_counted)
{
    const auto data = trox::data_set::open_files({write("a.raw", {1, 2, 3}), write("b.raw", {2, 3, 4, 5}, 100)});
    EXPECT_EQ(unmatched(data, {}, 5), 2U);
}

TEST_P(losses, are_none_for_files_outside_a_range)
{
    const auto data = trox::data_set::open_files({write("a.raw", {1, 2, 3}), write("b.raw", {4, 5})});
    trox::event_reader reader(data, {{}, {base + 2, base + 4, {}, {}}, {}, {}});
    EXPECT_EQ(read(reader), (numbers{2, 3}));
    EXPECT_EQ(reader.report().channels[0].unmatched, 0U); // event 1 took its record, and lies outside
}

INSTANTIATE_TEST_SUITE_P(generations, losses, testing::ValuesIn(all_formats), [](const auto& tested) {
    return std::string(trox::name_of(static_cast<trox::generation>(tested.param)));
});

} // namespace
