// docs/generations.md against the traits and message tables that it tells about.
#include "markdown.h"

#include "generation/traits_channel_2010.h"
#include "generation/traits_channel_2024.h"
#include "generation/traits_channel_legacy.h"
#include "generation/traits_reader_2010.h"
#include "generation/traits_reader_2024.h"
#include "generation/traits_reader_legacy.h"
#include "generation/traits_slicer_2010.h"
#include "generation/traits_slicer_2024.h"
#include "generation/traits_slicer_legacy.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

using namespace trox_detail;
using trox_test::markdown_row;

const trox_test::markdown_page& page()
{
    static const trox_test::markdown_page page =
        trox_test::read_markdown(std::string(TROX_SOURCE_DIR) + "/docs/generations.md");
    return page;
}

/// A row: what it is about, then a value per generation. `value` is called with an object of each.
template <class Value> markdown_row row_of(const std::string& item, Value value)
{
    return {item, value(generation_legacy{}), value(generation_2010{}), value(generation_2024{})};
}

template <class Value> markdown_row number_row(const std::string& item, Value value)
{
    return row_of(item, [&](auto generation) { return std::to_string(value(generation)); });
}

template <class Value> markdown_row rule_row(const std::string& item, Value value)
{
    return row_of(item, [&](auto generation) { return std::string(value(generation) ? "yes" : "no"); });
}

template <class G> using channel = channel_traits<std::decay_t<G>>;
template <class G> using slicing = slicer_traits<std::decay_t<G>>;
template <class G> using reading = reader_traits<std::decay_t<G>>;

/// Prints what the page should say, so that it can be put there.
void expect_rows(const std::string& heading, const std::vector<markdown_row>& expected)
{
    const auto& documented = page().table(heading).rows;
    EXPECT_EQ(documented, expected);
    if (documented == expected) {
        return;
    }
    std::printf("## %s\n\n", heading.c_str());
    for (const markdown_row& row : expected) {
        for (const std::string& cell : row) {
            std::printf("| %s ", cell.c_str());
        }
        std::printf("|\n");
    }
}

std::string shown(const time_stamp& time)
{
    return std::to_string(time.timeup) + " s " + std::to_string(time.timelow) + " us";
}

std::string code(std::string text)
{
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
        text.replace(at, 1, "\\n");
    }
    return text.empty() ? "none" : "`" + text + "`";
}

/// Rows for the texts in which the generations differ.
template <template <class> class Texts, class Message> void add_texts(std::vector<markdown_row>& rows)
{
    for (int i = 0; i < static_cast<int>(Message::count); ++i) {
        const auto message = static_cast<Message>(i);
        const markdown_row row{code(Texts<generation_legacy>::text(message)),
                               code(Texts<generation_2010>::text(message)),
                               code(Texts<generation_2024>::text(message))};
        if (row[0] != row[1] || row[1] != row[2]) {
            rows.push_back(row);
        }
    }
}

} // namespace

TEST(generations_page, gives_the_sizes)
{
    std::vector<markdown_row> rows;
    const auto add = [&](const char* item, auto value) { rows.push_back(number_row(item, value)); };
    add("trailer", [](auto g) { return channel<decltype(g)>::trailer_size; });
    add("file reference table", [](auto g) { return sizeof(typename decltype(g)::file_reference_table); });
    add("dictionary entry", [](auto g) { return sizeof(typename decltype(g)::chan_dictionary_entry); });
    add("pointers table row", [](auto g) { return sizeof(typename decltype(g)::chan_ptr_entry); });
    add("event header", [](auto g) { return sizeof(typename decltype(g)::event_header); });
    add("server block head", [](auto g) { return sizeof(typename decltype(g)::server_block_head); });
    add("channel sub-head", [](auto g) { return sizeof(typename decltype(g)::subhead); });
    add("event header basket, what is looked at first",
        [](auto g) { return sizeof(typename decltype(g)::event_header_basket); });
    add("server block basket, likewise", [](auto g) { return sizeof(typename decltype(g)::server_block_basket); });
    add("channel basket, likewise", [](auto g) { return sizeof(typename decltype(g)::channel_basket); });
    add("head of a channel basket, in front of the first sub-head",
        [](auto g) { return 2 * channel<decltype(g)>::basket_word; });
    add("update or environment value, as published",
        [](auto g) { return sizeof(typename decltype(g)::subhead) + sizeof(typename decltype(g)::update_block); });
    add("event number", [](auto g) { return sizeof(typename decltype(g)::event_number); });
    add("delivered record", [](auto g) { return sizeof(typename decltype(g)::channel_entry); });
    add("cleared of each record by `start`", [](auto g) { return channel<decltype(g)>::cleared_per_record; });
    add("channel parameters", [](auto g) { return sizeof(typename decltype(g)::chan_param); });
    add("file length that a channel reader keeps", [](auto g) { return sizeof(typename decltype(g)::reader_length); });
    expect_rows("Sizes", rows);
}

TEST(generations_page, gives_the_values)
{
    std::vector<markdown_row> rows;
    rows.push_back(row_of("longest channel name of a channel reader", [](auto g) {
        constexpr auto longest = channel<decltype(g)>::longest_name;
        return longest == channel_traits_of_all::any_length ? std::string("any") : std::to_string(longest);
    }));
    rows.push_back(row_of("event number of a record not decoded", [](auto g) {
        char text[32];
        std::snprintf(text, sizeof text, "0x%lX", static_cast<unsigned long>(channel<decltype(g)>::undecoded));
        return std::string(text);
    }));
    rows.push_back(row_of("channel basket kept as", [](auto g) {
        return std::string(channel<decltype(g)>::keeps_basket_as == basket_kind::mapped ? "mapping" : "heap copy");
    }));
    rows.push_back(number_row("block type of published updates",
                              [](auto g) { return channel<decltype(g)>::published_update_type; }));
    rows.push_back(row_of("block types of updates", [](auto g) {
        std::string types;
        for (int type = 0; type < 64; ++type) {
            if (channel<decltype(g)>::is_update_type(type)) {
                types += (types.empty() ? "" : ", ") + std::to_string(type);
            }
        }
        return types;
    }));
    rows.push_back(row_of("reader: data directory", [](auto g) { return code(reading<decltype(g)>::data_dir); }));
    rows.push_back(row_of("reader: period", [](auto g) {
        return std::to_string(reading<decltype(g)>::period.event_number) + " event, " +
               shown(reading<decltype(g)>::period.time);
    }));
    rows.push_back(row_of("reader: tolerance", [](auto g) { return shown(reading<decltype(g)>::time_diff); }));
    expect_rows("Values", rows);
}

TEST(generations_page, gives_the_rules)
{
    std::vector<markdown_row> rows;
    const auto add = [&](const char* item, auto value) { rows.push_back(rule_row(item, value)); };
    add("event baskets may be copied to the heap", [](auto g) { return channel<decltype(g)>::may_copy_baskets; });
    add("neighbours found by time are checked against event numbers (`by_time_fix`)",
        [](auto g) { return channel<decltype(g)>::has_by_time_fix; });
    add("slow look-ups by number are told with timings",
        [](auto g) { return channel<decltype(g)>::has_lookup_timing; });
    add("channel readers dump their records, readers those of a file",
        [](auto g) { return reading<decltype(g)>::has_channel_dumps; });
    add("slicer: empty file names are left out", [](auto g) { return slicing<decltype(g)>::leaves_empty_names_out; });
    add("slicer: at most three loaded tables wait", [](auto g) { return slicing<decltype(g)>::bounds_read_ahead; });
    add("slicer: tables loaded while it is stopped are dropped",
        [](auto g) { return slicing<decltype(g)>::drops_late_tables; });
    add("slicer: the table-loading thread stays behind the last file",
        [](auto g) { return slicing<decltype(g)>::table_thread_stays; });
    add("slicer: a stop ends the table-loading thread without a credit",
        [](auto g) { return slicing<decltype(g)>::stops_without_credit; });
    add("slicer: a single channel out of window is moved twice",
        [](auto g) { return slicing<decltype(g)>::moves_again; });
    add("slicer: timing traces", [](auto g) { return slicing<decltype(g)>::has_timing_traces; });
    add("slicer: traces of channels' and threads' ends",
        [](auto g) { return slicing<decltype(g)>::has_life_cycle_traces; });
    add("reader: tolerance from the environment", [](auto g) { return reading<decltype(g)>::reads_max_time_step; });
    add("reader: files from the run catalogue are not looked at again",
        [](auto g) { return reading<decltype(g)>::trusts_run_catalogue; });
    add("reader: index of channels by full name",
        [](auto g) { return std::is_same_v<typename decltype(g)::channel_index, channel_name_index>; });
    expect_rows("Rules", rows);
}

TEST(generations_page, gives_the_texts_that_differ)
{
    std::vector<markdown_row> rows;
    add_texts<channel_texts, channel_message>(rows);
    add_texts<slicer_texts, slicer_message>(rows);
    add_texts<reader_texts, reader_message>(rows);
    expect_rows("Texts", rows);
}
