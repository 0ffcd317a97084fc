// Every text of the slicer, compared with a list of them: programs look for the texts, misspellings included.
#include "generation/messages_slicer_2010.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

std::string escaped(const std::string& text)
{
    std::string line;
    for (const char c : text) {
        line += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return line;
}

template <class Table, class Message> void add_rows(std::vector<std::string>& rows)
{
    for (int row = 0; row < static_cast<int>(Message::count); ++row) {
        rows.push_back(escaped(Table::text(static_cast<Message>(row))));
    }
}

TEST(slicer_messages, are_those_of_the_list)
{
    const std::string path = std::string(TROX_TEST_DATA_DIR) + "/../golden/messages_2010_slicer.txt";
    std::ifstream list(path);
    ASSERT_TRUE(list) << path;
    std::vector<std::string> expected;
    for (std::string line; std::getline(list, line);) {
        expected.push_back(line);
    }
    std::vector<std::string> rows;
    add_rows<trox_detail::slicer_texts<trox_detail::generation_2010>, trox_detail::slicer_message>(rows);
    add_rows<trox_detail::common_slicer_texts, trox_detail::common_slicer_message>(rows);
    EXPECT_EQ(rows, expected);
}

} // namespace
