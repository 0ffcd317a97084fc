// docs/file-format.md against event.h and the event utility library: records, vocabularies, block types.
#include "event_util.h"
#include "markdown.h"
#include "record_fields.h"
#include "scan.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

namespace
{

using trox_test::markdown_page;
using trox_test::markdown_row;
using trox_test::markdown_table;
using trox_test::record_layout;

const std::string root = TROX_SOURCE_DIR;

const markdown_page& page()
{
    static const markdown_page page = trox_test::read_markdown(root + "/docs/file-format.md");
    return page;
}

std::string header_text()
{
    return trox_test::read_text(root + "/include/event.h");
}

/// Name and value of every enumerator of one enumeration in event.h.
std::vector<std::pair<std::string, long>> enumerators(const std::string& enumeration)
{
    return trox_test::enumerators_in(trox_test::piece_between(header_text(), "enum " + enumeration + " :", "};"), "");
}

markdown_row expected_row(const trox_test::field_layout& field)
{
    return {std::to_string(field.offset), field.is_tail ? "…" : std::to_string(field.size), field.type,
            '`' + field.name + '`'};
}

const markdown_row record_columns{"offset", "size", "type", "name", "meaning"};

/// The table under the heading that names the record.
std::vector<markdown_table> tables_of_record(const std::string& name)
{
    std::vector<markdown_table> found;
    for (const markdown_table& table : page().tables_of(record_columns)) {
        const auto names = trox_test::code_spans(table.heading);
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            found.push_back(table);
        }
    }
    return found;
}

class documented_record : public testing::TestWithParam<record_layout>
{
};

TEST_P(documented_record, has_the_offsets_sizes_types_and_names_of_the_header)
{
    const record_layout& record = GetParam();
    const auto tables = tables_of_record(record.name);
    ASSERT_EQ(tables.size(), 1U);
    ASSERT_EQ(tables[0].rows.size(), record.fields.size());
    for (std::size_t i = 0; i < record.fields.size(); ++i) {
        markdown_row row = tables[0].rows[i];
        ASSERT_EQ(row.size(), record_columns.size());
        EXPECT_FALSE(row.back().empty()) << record.fields[i].name << " has no meaning";
        row.pop_back();
        EXPECT_EQ(row, expected_row(record.fields[i]));
    }
}

TEST_P(documented_record, has_the_size_of_the_header)
{
    const record_layout& record = GetParam();
    const auto tables = tables_of_record(record.name);
    ASSERT_EQ(tables.size(), 1U);
    const auto& last = record.fields.back();
    const std::string size = last.is_tail ? "(head " + std::to_string(last.offset) + " bytes)"
                                          : '(' + std::to_string(record.size) + " bytes)";
    EXPECT_TRUE(tables[0].heading.ends_with(size)) << tables[0].heading;
}

// Makes sure that the list compared with the page forgets no member.
TEST_P(documented_record, is_covered_by_its_fields_without_holes)
{
    std::size_t end = 0;
    for (const auto& field : GetParam().fields) {
        EXPECT_EQ(field.offset, end) << field.name;
        end = field.offset + field.size;
    }
    if (GetParam().fields.back().is_tail) { // in memory, one element of a tail is rounded up
        end = (end + GetParam().alignment - 1) / GetParam().alignment * GetParam().alignment;
    }
    EXPECT_EQ(end, GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(records, documented_record, testing::ValuesIn(trox_test::on_disk_records()),
                         [](const auto& tested) { return tested.param.name; });

TEST(file_format_page, describes_every_record_that_the_header_declares_as_on_disk)
{
    const std::string section = trox_test::piece_between(header_text(), "// On disk: event records", "// Vocabularies");
    std::set<std::string> declared{"time_stamp"};
    for (const std::string& declaration : trox_test::pieces_between(section, "\nstruct ", " {")) {
        declared.insert(trox_test::leading_word(declaration));
    }
    std::set<std::string> listed;
    for (const record_layout& record : trox_test::on_disk_records()) {
        listed.insert(record.name);
    }
    EXPECT_GT(declared.size(), 40U);
    EXPECT_EQ(listed, declared);
}

TEST(file_format_page, describes_no_record_that_the_header_lacks)
{
    std::set<std::string> listed;
    for (const record_layout& record : trox_test::on_disk_records()) {
        listed.insert(record.name);
    }
    for (const markdown_table& table : page().tables_of(record_columns)) {
        for (const std::string& name : trox_test::code_spans(table.heading)) {
            EXPECT_TRUE(listed.contains(name)) << name;
        }
    }
}

/// The rows "value, name" of a table, as the header's enumerators.
std::vector<std::pair<std::string, long>> documented_values(const markdown_table& table)
{
    std::vector<std::pair<std::string, long>> values;
    for (const markdown_row& row : table.rows) {
        values.emplace_back(trox_test::code_spans(row[1]).at(0), std::stol(row[0], nullptr, 0));
    }
    return values;
}

TEST(file_format_page, lists_the_event_types_of_the_header)
{
    auto expected = enumerators("TROX_EVTYPE");
    ASSERT_EQ(expected.back().first, "TROX_EV_EVMAX"); // a count, not a type
    expected.pop_back();
    EXPECT_EQ(documented_values(page().table("Event types")), expected);
}

TEST(file_format_page, lists_the_error_bits_of_the_header)
{
    EXPECT_EQ(documented_values(page().table("Error bits")), enumerators("TROX_SBLOCK_ERROR"));
}

TEST(file_format_page, lists_the_control_system_types_of_the_header)
{
    const auto tables = page().tables_of({"value", "name"});
    const auto table = std::find_if(tables.begin(), tables.end(), [](const markdown_table& candidate) {
        return candidate.heading.starts_with("Control-system value");
    });
    ASSERT_NE(table, tables.end());
    EXPECT_EQ(documented_values(*table), enumerators("OrvelDataTypeId"));
}

const markdown_row block_type_columns{"value", "name", "payload", "least bytes", "members"};

const markdown_table& block_types()
{
    static const markdown_table table = page().tables_of(block_type_columns).at(0);
    return table;
}

TEST(file_format_page, lists_the_block_types_of_the_header)
{
    auto expected = enumerators("TROX_SUBBLOCK_TYPE");
    ASSERT_EQ(expected.back().first, "TROX_BLOCK_MAX_2010"); // a bound, not a type
    expected.pop_back();
    EXPECT_EQ(documented_values(block_types()), expected);
}

std::string member_names(int dtype)
{
    std::string names;
    for (int i = 0; i < get_channel_number(dtype, nullptr); ++i) {
        names += (i == 0 ? "" : ", ") + std::string(get_chan_name(dtype, i));
    }
    return names;
}

TEST(file_format_page, names_the_members_that_the_library_gives_each_block_type)
{
    for (const markdown_row& row : block_types().rows) {
        const int dtype = std::stoi(row[0]);
        const std::string& documented = row[4];
        if (dtype == TROX_BLOCK_GENERIC_SPECT) {
            EXPECT_TRUE(documented.starts_with("CH0, CH1, ..."));
        } else {
            EXPECT_EQ(documented, member_names(dtype)) << row[1];
        }
    }
}

TEST(file_format_page, gives_the_least_bytes_below_which_a_payload_is_refused)
{
    std::vector<unsigned char> payload(1024);
    for (const markdown_row& row : block_types().rows) {
        const int dtype = std::stoi(row[0]);
        const int least = std::stoi(row[3]);
        EXPECT_EQ(trox_convert_data(payload.data(), payload.data(), dtype, least), 0) << row[1];
        EXPECT_EQ(trox_convert_data(payload.data(), payload.data(), dtype, 0), 0) << row[1];
        if (least > 1) {
            EXPECT_NE(trox_convert_data(payload.data(), payload.data(), dtype, least - 1), 0) << row[1];
        }
    }
}

TEST(file_format_page, leaves_out_exactly_the_block_types_that_the_library_refuses)
{
    std::set<int> documented;
    for (const markdown_row& row : block_types().rows) {
        documented.insert(std::stoi(row[0]));
    }
    std::vector<unsigned char> payload(1024);
    for (int dtype = 0; dtype < 80; ++dtype) {
        const bool accepted = trox_convert_data(payload.data(), payload.data(), dtype, 1024) == 0;
        EXPECT_EQ(accepted, documented.contains(dtype)) << dtype;
    }
}

} // namespace
