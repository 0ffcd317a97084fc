// A file field by field and as bytes: against bytes of the samples that were looked at by hand, and on damaged files.
#include "checked_file.h"
#include "dump.h"

#include "sample_files.h"

#include <algorithm>
#include <filesystem>
#include <map>

namespace inspect_test
{

namespace
{

/// The third file of the 2010 run: odd positions, everything in another order.
std::string sample()
{
    return trox_test::sample_directory(trox_test::sample_generation::g2010) +
           "linac_main_run1042_file3_20120614T093008.raw";
}

std::vector<ti::dump_row> rows_of(const std::string& path, const ti::dump_options& options = {})
{
    std::vector<ti::dump_row> rows;
    ti::dump_fields(path, options, [&](const ti::dump_row& row) { rows.push_back(row); });
    return rows;
}

/// "field raw value meaning" of the field that begins at a position.
std::string field_at(const std::vector<ti::dump_row>& rows, std::uint64_t offset)
{
    const auto found = std::find_if(
        rows.begin(), rows.end(), [&](const ti::dump_row& row) { return row.offset == offset && !row.field.empty(); });
    return found == rows.end() ? "nothing"
                               : found->record + ": " + found->field + " | " + found->raw + " | " + found->value +
                                     " | " + found->meaning;
}

TEST(dump, shows_the_fields_of_a_file_at_their_positions)
{
    const auto rows = rows_of(sample());
    const std::map<std::uint64_t, std::string> expected{
        {0x0, "head: text | 5452 4f58 4441 5100 | \"TROXDAQ\" | "},
        {0x8, "head: generation | 0000 07da | 2010 | "},
        {0x371ed, "trailer: references | 0003 7145 | 225605 | 0x37145, in references"},
        {0x371f1, "trailer: checksum | 47d8 09b7 | 1205340599 | 0x47d809b7"},
        {0x37145, "table: pattern | faef aef2 | 4210011890 | 0xfaefaef2"},
        {0x3714d, "table: eit_pos_ref | 0003 5bc5 | 220101 | 0x35bc5, in index"},
        {0x37161, "table: eite_pos_ref[4] | 0003 5e6d | 220781 | ENV: 0x35e6d, in index"},
        {0x371e9, "table: chanb_ref | 0002 4fb7 | 151479 | 0x24fb7, in channel LINAC.DIAG/TOROID/3.UNDU/CHARGE"},
        {0x35bc9, "head: nevent_types | 0000 0004 | 4 | "},
        {0x35bcd, "entry 0: event_type | 0000 0001 | 1 | NORMAL"},
        {0x35bd1, "entry 0: event_time_first | 4fd9 af20 0003 cfe9 | 1339666208 s 249833 us | "
                  "2012-06-14T09:30:08.249833Z"},
        {0x35bf9, "entry 0 event 0: offset | 0003 1717 | 202519 | 0x31717, in event-headers"},
        {0x36045, "entry 0: key | 0000 03e9 | 1001 | "},
        {0x36149, "entry 0: ev_mask | 0000 0002 | 2 | NORMAL"},
        {0x31ffb, "head: maxev | 0000 0028 | 40 | "},
        {0x32007, "LINAC.DIAG/TOROID/3.UNDU/CHARGE row 0: chhd | 0002 4fbf | 151487 | "
                  "0x24fbf, in channel LINAC.DIAG/TOROID/3.UNDU/CHARGE"},
        {0x3171f, "header 0: event_number | 1722 3e38 | 388120120 | "},
        {0x28393, "block 0: server | 4449 4147 2e53 5652 3100 0000 0000 0000 ... | \"DIAG.SVR1\" | "},
        {0x250bf, "record 0 sub-head: dtype | 0000 0029 | 41 | TROX_BLOCK_1CHAN_2010"},
        {0x250df, "record 0 payload: inc | 3f80 0000 | 1 | "},
        {0x2520f, "record 1 sub-head: error | 4000 0000 | 1073741824 | TROX_CHAN_ZIP_FLAG"},
        {0x25217, "record 1 zip header: zip_flags | 0000 0001 | 1 | zlib"},
        {0x2521f, "record 1 zip header: zipp_length | 0000 002c | 44 | "}};
    for (const auto& [offset, text] : expected) {
        EXPECT_EQ(field_at(rows, offset), text) << ti::hex(offset);
    }
}

TEST(dump, goes_through_items_in_file_order)
{
    std::uint64_t item_begin = 0;
    for (const ti::item& one : ti::list_items(sample()).items) {
        EXPECT_GE(one.position, item_begin);
        item_begin = one.position;
    }
    std::vector<ti::item_kind> kinds;
    for (const ti::dump_row& row : rows_of(sample())) {
        if (kinds.empty() || kinds.back() != row.item) {
            kinds.push_back(row.item);
        }
    }
    EXPECT_EQ(kinds.front(), ti::item_kind::file_head);
    EXPECT_EQ(kinds.back(), ti::item_kind::trailer);
}

TEST(dump, shows_one_item_one_channel_one_event_some_rows)
{
    ti::dump_options options;
    options.item = ti::item_kind::dictionary;
    options.rows = 3;
    EXPECT_EQ(rows_of(sample(), options).size(), 2U + 3 * 5); // head and entries of five fields

    options = {};
    options.channel = "LINAC.DIAG/CAM/SCR.4/IMG";
    for (const ti::dump_row& row : rows_of(sample(), options)) {
        EXPECT_TRUE(row.channel == options.channel || row.channel.empty()) << row.channel;
        EXPECT_TRUE(row.item == ti::item_kind::channel || row.item == ti::item_kind::dictionary ||
                    row.item == ti::item_kind::pointers);
    }

    options = {};
    options.event = 388120125;
    options.item = ti::item_kind::event_headers;
    const auto rows = rows_of(sample(), options);
    const auto numbers =
        std::count_if(rows.begin(), rows.end(), [](const ti::dump_row& row) { return row.field == "event_number"; });
    EXPECT_GE(numbers, 1);
    for (const ti::dump_row& row : rows) {
        EXPECT_TRUE(row.field != "event_number" || row.value == "388120125") << row.value;
    }

    options.event = 1; // no such event
    options.item = ti::item_kind::pointers;
    EXPECT_EQ(rows_of(sample(), options).size(), 3U); // the head alone
}

TEST(dump, shows_bytes_as_xxd_does)
{
    std::vector<ti::hex_row> rows;
    const auto shown = ti::dump_bytes(sample(), 0x37145, 20, [&](const ti::hex_row& row) { rows.push_back(row); });
    EXPECT_EQ(shown, 20U);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].offset, 0x37145U);
    EXPECT_EQ(rows[0].bytes, "faef aef2 0000 00a8 0003 5bc5 0000 0000");
    EXPECT_EQ(rows[0].text, "..........[.....");
    EXPECT_EQ(rows[1].bytes, "0003 5bcd");
    EXPECT_EQ(ti::dump_bytes(sample(), 225780, 100, [](const ti::hex_row&) {}), 5U);
    EXPECT_EQ(ti::dump_bytes(sample(), 300000, 100, [](const ti::hex_row&) {}), 0U);
}

/// Every position and raw value, against the bytes of the file.
TEST(dump, shows_the_bytes_that_stand_at_a_position)
{
    for (const auto generation : {trox_test::sample_generation::legacy, trox_test::sample_generation::g2010,
                                  trox_test::sample_generation::g2024}) {
        for (const std::string& name : trox_test::sample_names(generation)) {
            const std::string path = trox_test::sample_directory(generation) + name;
            const auto bytes = trox_test::read_bytes(path);
            std::size_t fields = 0;
            for (const ti::dump_row& row : rows_of(path)) {
                std::string digits = row.raw;
                digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
                for (std::size_t i = 0; i + 1 < digits.size() && digits[i] != '.'; i += 2) {
                    ASSERT_EQ(std::stoul(digits.substr(i, 2), nullptr, 16), bytes.at(row.offset + i / 2))
                        << row.record << " " << row.field;
                }
                ++fields;
            }
            EXPECT_GT(fields, 1000U);
        }
    }
}

template <class T> class dump_damaged : public testing::Test
{
};
using generations = testing::Types<trox_test::channel_legacy, trox_test::channel_2010, trox_test::channel_2024>;
TYPED_TEST_SUITE(dump_damaged, generations);

TYPED_TEST(dump_damaged, files_are_shown_as_far_as_they_go)
{
    const trox_test::temp_directory directory;
    const std::string path = directory.file("a.raw");
    const auto whole = make_file<TypeParam>(path);
    for (std::size_t length = whole.map().file_size; length > 0; length -= std::min<std::size_t>(length, 7)) {
        std::filesystem::resize_file(path, length);
        const auto items = ti::list_items(path);
        std::uint64_t rows = 0;
        ti::dump_fields(path, {}, [&](const ti::dump_row& row) {
            ++rows;
            ASSERT_TRUE(row.field.empty() || row.offset < length);
        });
        if (length > whole.map().trailer.position) {
            EXPECT_GT(rows, 100U) << length; // the reference table is still there
        }
        if (length < whole.map().file_size) {
            EXPECT_FALSE(items.remarks.empty()) << length;
        }
    }
}

TYPED_TEST(dump_damaged, bytes_are_shown_and_told)
{
    const trox_test::temp_directory directory;
    const std::string path = directory.file("a.raw");
    const auto whole = make_file<TypeParam>(path);
    const auto& map = whole.map();
    for (const auto& table :
         {map.references, map.event_index, map.pointers, map.channel_dictionary, map.environment, map.descriptions,
          map.event_headers, map.server_blocks, map.trailer, map.channels[0], map.channels[slow]}) {
        for (std::uint64_t at = table.position; at < table.position + table.length; at += 7) {
            auto file = whole;
            file.bytes()[at] ^= 0xFF;
            file.write(path);
            std::uint64_t rows = 0;
            ti::dump_fields(path, {}, [&](const ti::dump_row&) { ++rows; });
            ASSERT_GT(rows, 3U);
        }
    }
    auto file = whole;
    file.bytes()[map.channel_dictionary.position] ^= 0xFF;
    file.write(path);
    const auto items = ti::list_items(path);
    ASSERT_EQ(items.remarks.size(), 1U);
    EXPECT_NE(items.remarks[0].find("dictionary"), std::string::npos) << items.remarks[0];
}

} // namespace

} // namespace inspect_test
