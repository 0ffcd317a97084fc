// Which lines of a list file name data files.
#include "front_end_fixture.h"

using namespace trox_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// The files that the front end takes from a list; whether they can be read does not matter, since they are taken
/// unseen.
class list_file : public front_end
{
protected:
    /// Both kinds of Init read lists alike.
    std::vector<std::string> files_of(const std::string& text)
    {
        properties_.clear();
        want("A/CHANNEL");
        const std::string path = list(text);
        std::vector<std::string> files;
        capture([&] { EXPECT_EQ(init_2024(path), -5) << "none of the files is there"; });
        files = *data_.GetFiles();
        capture([&] { EXPECT_EQ(init(path), -5); });
        EXPECT_EQ(*data_.GetFiles(), files);
        EXPECT_EQ(data_.GetNfile(), static_cast<int>(files.size()));
        return files;
    }
    void expect_no_files(const std::string& text)
    {
        properties_.clear();
        want("A/CHANNEL");
        const std::string path = list(text);
        EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -3); }), "trox_daq_data::Init: no data files\n");
        EXPECT_EQ(told([&] { EXPECT_EQ(init_2024(path), -3); }), "trox_daq_data::Init2024: no data files\n");
        EXPECT_EQ(data_.GetNfile(), 0);
        EXPECT_EQ(data_.GetStatus(), 0);
    }
};

TEST_F(list_file, names_one_file_a_line)
{
    EXPECT_THAT(files_of("/no/file1.raw\n/no/file2.raw\n"), ElementsAre("/no/file1.raw", "/no/file2.raw"));
    EXPECT_THAT(files_of("/no/file1.raw\n/no/file1.raw\n"), ElementsAre("/no/file1.raw", "/no/file1.raw"));
}

TEST_F(list_file, with_only_comments_short_lines_and_blank_lines_names_none)
{
    expect_no_files("");
    expect_no_files("# a comment\n% another\n* and another\n\nabc\n      \n \t \t \t\n#\n");
    expect_no_files("#");
}

TEST_F(list_file, line_of_three_characters_is_passed_over_and_one_of_four_taken)
{
    expect_no_files("/ab\n");
    EXPECT_THAT(files_of("/ab\n/abc\n"), ElementsAre("/abc"));
}

TEST_F(list_file, without_a_line_end_at_its_end_counts_one_character_less)
{
    expect_no_files("/abc");
    EXPECT_THAT(files_of("/abcd"), ElementsAre("/abcd"));
}

TEST_F(list_file, comment_marks_behind_blanks_are_file_names)
{
    EXPECT_THAT(files_of("  # /no/word\n /x/%  more\n\t*   \n"), ElementsAre("#", "/x/%", "*"));
}

TEST_F(list_file, comment_marks_count_as_the_first_character_only)
{
    EXPECT_THAT(files_of("/no/a#b.raw\n#/no/c.raw\n%/no/c.raw\n*/no/c.raw\n"), ElementsAre("/no/a#b.raw"));
}

TEST_F(list_file, first_word_of_a_line_is_the_name)
{
    EXPECT_THAT(files_of(" \t /no/file.raw  behind it\n"), ElementsAre("/no/file.raw"));
    EXPECT_THAT(files_of("/no/dos.raw\r\n"), ElementsAre("/no/dos.raw"));
}

TEST_F(list_file, line_goes_on_as_another_one_behind_255_characters)
{
    const std::string longest = "/no/" + std::string(251, 'x');
    EXPECT_THAT(files_of(longest + "/rest.raw\n"), ElementsAre(longest, "/rest.raw"));
    EXPECT_THAT(files_of(longest + "\n/no/next.raw\n"), ElementsAre(longest, "/no/next.raw"))
        << "the line end alone is a short line";
    EXPECT_THAT(files_of(longest.substr(1) + "\n/no/next.raw\n"), ElementsAre(longest.substr(1), "/no/next.raw"));
    EXPECT_THAT(files_of("#" + std::string(254, 'x') + "/no/comment.raw\n"), ElementsAre("/no/comment.raw"))
        << "the second part of a comment is none";
}

TEST_F(list_file, that_is_not_there_is_told)
{
    want("A/CHANNEL");
    const std::string path = directory_.file("absent.txt");
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -2); }), "trox_daq_data::Init: can not open file " + path + "\n");
    EXPECT_EQ(data_.GetFileName(), path);
    EXPECT_EQ(told([&] { EXPECT_EQ(init_2024(path), -2); }),
              "trox_daq_data::Init2024: can not open file " + path + "\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init(""), -2); }), "trox_daq_data::Init: can not open file \n");
    EXPECT_STREQ(data_.GetFileName(), "");
}
