// docs/file-format.md against the sample files: every byte of the annotated dumps, and the patterns.
#include "detail/big_endian.h"
#include "event.h"
#include "markdown.h"
#include "sample_files.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <map>
#include <optional>

namespace
{

using trox_detail::load_big_endian;
using trox_test::markdown_page;
using trox_test::markdown_row;
using trox_test::sample_generation;

using bytes = std::vector<std::uint8_t>;

const markdown_page& page()
{
    static const markdown_page page = trox_test::read_markdown(std::string(TROX_SOURCE_DIR) + "/docs/file-format.md");
    return page;
}

bytes third_file(sample_generation generation)
{
    return trox_test::read_bytes(trox_test::sample_directory(generation) + trox_test::sample_names(generation).at(2));
}

bytes bytes_of_hex(const std::string& digits)
{
    bytes values;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        values.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return values;
}

void expect_in_file(const bytes& file, std::size_t position, const std::string& digits)
{
    const bytes shown = bytes_of_hex(digits);
    ASSERT_FALSE(shown.empty());
    ASSERT_LE(position, file.size());
    ASSERT_LE(shown.size(), file.size() - position);
    const bytes there(file.begin() + static_cast<long>(position),
                      file.begin() + static_cast<long>(position + shown.size()));
    EXPECT_EQ(shown, there) << "at " << position;
}

/// A line of a dump, as xxd prints it: position, colon, groups of hexadecimal digits, two spaces, characters.
struct dump_line {
    std::size_t position;
    std::string digits;
};

std::optional<dump_line> parse_dump_line(const std::string& line)
{
    constexpr std::size_t indent = 4;
    constexpr std::size_t position_digits = 8;
    constexpr std::size_t first_digit = indent + position_digits + 2;
    const bool is_dump = line.size() > first_digit && line.substr(0, indent) == "    " &&
                         std::all_of(line.begin() + indent, line.begin() + indent + position_digits,
                                     [](unsigned char c) { return std::isxdigit(c) != 0; }) &&
                         line.compare(indent + position_digits, 2, ": ") == 0;
    if (!is_dump) {
        return std::nullopt;
    }
    std::string digits = line.substr(first_digit, line.find("  ", first_digit) - first_digit);
    std::erase(digits, ' ');
    return dump_line{std::stoul(line.substr(indent, position_digits), nullptr, 16), digits};
}

TEST(file_format_dump, shows_the_bytes_of_the_sample_file)
{
    const bytes file = third_file(sample_generation::g2010);
    std::size_t shown = 0;
    for (const std::string& line : page().lines) {
        if (const auto parsed = parse_dump_line(line)) {
            expect_in_file(file, parsed->position, parsed->digits);
            shown += parsed->digits.size() / 2;
        }
    }
    EXPECT_GE(shown, 600U);
}

TEST(file_format_dump, explains_bytes_of_the_sample_file)
{
    const bytes file = third_file(sample_generation::g2010);
    const auto tables = page().tables_of({"at", "bytes", "field", "value"});
    ASSERT_GE(tables.size(), 9U);
    for (const auto& table : tables) {
        for (const markdown_row& row : table.rows) {
            expect_in_file(file, std::stoul(row.at(0), nullptr, 16), row.at(1));
        }
    }
}

/// The first number in a cell of the pattern table.
std::uint64_t pattern_in(const std::string& cell)
{
    return std::stoull(cell, nullptr, 0);
}

/// The patterns of one generation, by the item's name.
std::map<std::string, std::string> documented_patterns(std::size_t column)
{
    const auto tables = page().tables_of({"item", "legacy", "2010", "2024"});
    std::map<std::string, std::string> patterns;
    for (const markdown_row& row : tables.at(0).rows) {
        patterns[row.at(0)] = row.at(column);
    }
    return patterns;
}

template <class Word, class Table, class Pointer>
void expect_patterns(const bytes& file, std::size_t trailer_size, std::map<std::string, std::string> patterns)
{
    const auto word_at = [&file](std::uint64_t position) {
        if (position > file.size() || sizeof(Word) > file.size() - position) {
            throw std::runtime_error("a position outside the file: " + std::to_string(position));
        }
        return std::uint64_t{load_big_endian<Word>(file.data() + position)};
    };
    const std::uint64_t frt = word_at(file.size() - trailer_size);
    const auto reference = [&](std::size_t offset) { return word_at(frt + offset); };
    EXPECT_EQ(word_at(frt), pattern_in(patterns["file reference table (FRT)"]));
    EXPECT_EQ(word_at(reference(offsetof(Table, eit_pos_ref))), pattern_in(patterns["event index table (EIT)"]));
    EXPECT_EQ(word_at(reference(offsetof(Table, cdt_ref))), pattern_in(patterns["channel dictionary table (CDT)"]));
    const std::uint64_t pointers = reference(offsetof(Table, ecp_ref));
    EXPECT_EQ(word_at(pointers), pattern_in(patterns["event-channel pointers table (ECPT)"]));
    EXPECT_EQ(word_at(reference(offsetof(Table, eidt_ref))),
              pattern_in(patterns["environment index dictionary table (EIDT)"]));
    EXPECT_EQ(word_at(reference(offsetof(Table, xcd_ref))), pattern_in(patterns["XML channel descriptions (XCD)"]));
    EXPECT_EQ(word_at(reference(offsetof(Table, evhdb_ref))), pattern_in(patterns["event header basket"]));
    EXPECT_EQ(word_at(reference(offsetof(Table, srvbb_ref))), pattern_in(patterns["server block basket"]));
    EXPECT_EQ(word_at(reference(offsetof(Table, chanb_ref))), pattern_in(patterns["channel basket"]));

    const std::uint64_t first_row = pointers + 3 * sizeof(Word);
    const std::uint64_t event = word_at(first_row + offsetof(Pointer, evhd));
    ASSERT_LT(event, file.size() - sizeof(std::uint32_t));
    EXPECT_EQ(load_big_endian<std::uint32_t>(file.data() + event), pattern_in(patterns["event header"]));
    if (const std::string& server_block = patterns["server block head"]; server_block != "none") {
        EXPECT_EQ(word_at(word_at(first_row + offsetof(Pointer, sbhd))), pattern_in(server_block));
    }
}

TEST(file_format_patterns, are_those_of_the_legacy_sample)
{
    expect_patterns<std::uint32_t, trox_file_reference_table, trox_event_chan_ptr_entry>(
        third_file(sample_generation::legacy), 4, documented_patterns(1));
}

TEST(file_format_patterns, are_those_of_the_2010_sample)
{
    expect_patterns<std::uint32_t, trox_file_reference_table, trox_event_chan_ptr_entry>(
        third_file(sample_generation::g2010), 12, documented_patterns(2));
}

TEST(file_format_patterns, are_those_of_the_2024_sample)
{
    expect_patterns<std::uint64_t, trox_file_reference_table_2024, trox_event_chan_ptr_entry_2024>(
        third_file(sample_generation::g2024), 24, documented_patterns(3));
}

} // namespace
