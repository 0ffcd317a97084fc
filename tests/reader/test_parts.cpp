// The reader's parts that know no record layout.
#include "generic/channel_lookup.h"
#include "generic/data_files.h"
#include "generic/dictionary_entries.h"
#include "generic/reader_names.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace
{

using namespace trox_detail;

// --- channel lookup -----------------------------------------------------------------------------------

TEST(channel_lookup_parts, first_of_equal_names_and_keys_is_found_whatever_the_guess)
{
    channel_lookup lookup;
    lookup.add("A", "A:0");
    lookup.add("A", "A:1");
    lookup.add("B", "B");
    lookup.add("A", "A:0");
    for (const std::size_t guess : {0U, 1U, 2U, 3U, 4U, 1000U}) {
        EXPECT_EQ(lookup.find_name("A", guess), 0) << guess;
        EXPECT_EQ(lookup.find_name("B", guess), 2) << guess;
        EXPECT_EQ(lookup.find_key("A:0", guess), 0) << guess;
        EXPECT_EQ(lookup.find_key("A:1", guess), 1) << guess;
        EXPECT_EQ(lookup.find_key("B", guess), 2) << guess;
        EXPECT_EQ(lookup.find_key("A", guess), channel_lookup::none) << guess;
        EXPECT_EQ(lookup.find_name("", guess), channel_lookup::none) << guess;
    }
}

TEST(channel_lookup_parts, names_stay_found_when_many_are_added)
{
    channel_lookup lookup;
    for (int i = 0; i < 1000; ++i) {
        lookup.add("CHANNEL/" + std::to_string(i), "KEY/" + std::to_string(i));
    }
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(lookup.find_name("CHANNEL/" + std::to_string(i), 7), i);
        EXPECT_EQ(lookup.find_key("KEY/" + std::to_string(i), static_cast<std::size_t>(i)), i);
    }
}

// --- names --------------------------------------------------------------------------------------------

TEST(reader_name_parts, field_without_nul_ends_with_the_field)
{
    const char field[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(name_in(field), "abcd");
    const char short_one[4] = {'a', '\0', 'c', '\0'};
    EXPECT_EQ(name_in(short_one), "a");
}

TEST(reader_name_parts, copied_name_is_cut_and_leaves_nothing_behind)
{
    char field[4] = {'x', 'x', 'x', 'x'};
    copy_name(field, "a");
    EXPECT_EQ(std::memcmp(field, "a\0\0\0", 4), 0);
    copy_name(field, "abcd");
    EXPECT_STREQ(field, "abc");
}

TEST(reader_name_parts, full_name_has_a_subchannel_unless_it_is_negative)
{
    EXPECT_EQ(full_channel_name("CH", 0), "CH:0");
    EXPECT_EQ(full_channel_name("CH", 12), "CH:12");
    EXPECT_EQ(full_channel_name("CH", -1), "CH");
    EXPECT_EQ(full_channel_name("CH", -7), "CH");
}

// --- dictionary ---------------------------------------------------------------------------------------

class dictionary_parts : public ::testing::Test
{
protected:
    dictionary_parts() : bytes(8 + 5 * 272)
    {
        set(0xDCADCAF3, static_cast<std::int32_t>(bytes.size()));
    }
    void set(std::uint32_t pattern, std::int32_t length)
    {
        std::memcpy(bytes.data(), &pattern, sizeof pattern);
        std::memcpy(bytes.data() + 4, &length, sizeof length);
    }
    const trox_chan_dictionary_table_2010* table() const
    {
        return reinterpret_cast<const trox_chan_dictionary_table_2010*>(bytes.data());
    }
    const char* at(std::size_t position) const
    {
        return reinterpret_cast<const char*>(bytes.data()) + position;
    }

    std::vector<unsigned char> bytes;
};

TEST_F(dictionary_parts, entries_are_272_bytes_apart)
{
    EXPECT_EQ(dictionary_entry(table(), 0), at(8));
    EXPECT_EQ(dictionary_entry(table(), 4), at(8 + 4 * 272));
}

TEST_F(dictionary_parts, index_between_entries_and_count_has_no_entry)
{
    // (8 + 5 * 272 - 8) / 96 is 14.
    for (const int i : {5, 13, 14, -1, 2147483647}) {
        EXPECT_EQ(dictionary_entry(table(), i), nullptr) << i;
    }
}

TEST_F(dictionary_parts, bad_and_empty_dictionaries_have_no_entries)
{
    set(0xDCADCAF4, static_cast<std::int32_t>(bytes.size()));
    EXPECT_EQ(dictionary_entry(table(), 0), nullptr);
    for (const std::int32_t length : {8, 7, 0, -1, 8 + 271}) {
        set(0xDCADCAF3, length);
        EXPECT_EQ(dictionary_entry(table(), 0), nullptr) << length;
    }
    EXPECT_EQ(dictionary_entry(static_cast<const trox_chan_dictionary_table_2010*>(nullptr), 0), nullptr);
}

// --- data files ---------------------------------------------------------------------------------------

TEST(data_file_parts, path_list_is_split_up_to_an_empty_directory)
{
    using list = std::vector<std::string>;
    EXPECT_EQ(split_path_list("/a:/b:/c"), (list{"/a", "/b", "/c"}));
    EXPECT_EQ(split_path_list("/a"), (list{"/a"}));
    EXPECT_EQ(split_path_list("/a:"), (list{"/a"}));
    EXPECT_EQ(split_path_list("/a::/b"), (list{"/a"}));
    EXPECT_EQ(split_path_list(":/a:/b"), (list{":/a", "/b"})) << "a first separator belongs to the directory";
    EXPECT_EQ(split_path_list("::/b"), list{});
    EXPECT_EQ(split_path_list(":"), list{});
    EXPECT_EQ(split_path_list(""), list{});
}

TEST(data_file_parts, file_is_closed_30_seconds_after_its_status_changed)
{
    constexpr std::time_t now = 1339666200;
    EXPECT_FALSE(is_closed(now + 1000, now)) << "a clock that runs ahead";
    EXPECT_FALSE(is_closed(now, now));
    EXPECT_FALSE(is_closed(now - 10, now));
    EXPECT_FALSE(is_closed(now - 29, now));
    EXPECT_TRUE(is_closed(now - 30, now));
    EXPECT_TRUE(is_closed(0, now));
}

TEST(data_file_parts, base_name_stands_behind_the_last_slash)
{
    EXPECT_EQ(base_name("/a/b.raw"), "b.raw");
    EXPECT_EQ(base_name("b.raw"), "b.raw");
    EXPECT_EQ(base_name("/a/"), "");
}

TEST(data_file_parts, file_number_stands_between_the_last_underscores)
{
    const numbered_name parts = split_at_file_number("linac_main_run7_file12_20120614T093000.raw");
    EXPECT_EQ(parts.prefix, "linac_main_run7_");
    EXPECT_EQ(parts.token, "file12");
    EXPECT_EQ(parts.number, 12);
    EXPECT_EQ(split_at_file_number("a_xfile3_b").number, 0) << "the number follows the word at the start";
    EXPECT_EQ(split_at_file_number("a_file_b").number, 0);
    EXPECT_EQ(split_at_file_number("a_file2147483647_b").number, 2147483647);
    EXPECT_EQ(split_at_file_number("a_file2147483648_b").number, 0) << "no int holds it";
    EXPECT_EQ(split_at_file_number("a_file9223372036854775807_b").number, 0);
    EXPECT_EQ(split_at_file_number("a_b").token, "");
    EXPECT_EQ(split_at_file_number("plain.raw").token, "");
    EXPECT_EQ(split_at_file_number("_").token, "");
    EXPECT_EQ(split_at_file_number("").token, "");
}

TEST(data_file_parts, run_number_is_matched_as_a_whole)
{
    EXPECT_TRUE(is_of_runs("linac_main_run7_file1_", 7, 7));
    EXPECT_TRUE(is_of_runs("linac_main_run7_file1_", 1, 9));
    EXPECT_FALSE(is_of_runs("linac_main_run70_file1_", 7, 7));
    EXPECT_FALSE(is_of_runs("linac_main_run17_file1_", 7, 7));
    EXPECT_FALSE(is_of_runs("linac_main_run07_file1_", 7, 7));
    EXPECT_FALSE(is_of_runs("linac_main_run-7_file1_", -7, 7));
    EXPECT_FALSE(is_of_runs("linac_main_run7", 7, 7));
    EXPECT_FALSE(is_of_runs("linac_main_run", 0, 7));
    EXPECT_TRUE(is_of_runs("x_run1_run7_", 7, 7));
}

TEST(data_file_parts, texts_are_joined)
{
    EXPECT_STREQ(join_texts({"/a", "/", "b"}).get(), "/a/b");
    EXPECT_STREQ(join_texts({}).get(), "");
}

} // namespace
