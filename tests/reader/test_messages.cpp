// The reader's texts, character by character: programs look for them.
#include "generation/messages_reader.h"
#include "generation/messages_reader_2010.h"
#include "generation/messages_reader_2024.h"
#include "generation/messages_reader_legacy.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

using namespace trox_detail;

/// A text with its line end and tabs made visible, as the golden file holds it.
std::string visible(const std::string& text)
{
    if (text.empty()) {
        return "(no text)";
    }
    std::string line;
    for (const char c : text) {
        if (c == '\n') {
            line += "\\n";
        } else if (c == '\t') {
            line += "\\t";
        } else {
            line += c;
        }
    }
    return line;
}

template <class Texts, class Message> void append_rows(std::vector<std::string>& rows)
{
    for (int row = 0; row < static_cast<int>(Message::count); ++row) {
        rows.push_back(visible(Texts::text(static_cast<Message>(row))));
    }
}

/// The lines of a golden file, without empty ones and those that begin with "#".
std::vector<std::string> golden_rows(const std::string& name)
{
    std::ifstream file(std::string(TROX_READER_TEXTS_DIR) + "/" + name);
    std::vector<std::string> rows;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.front() != '#') {
            rows.push_back(line);
        }
    }
    return rows;
}

template <class Generation> void expect_texts_of(const std::string& golden_file)
{
    std::vector<std::string> rows;
    append_rows<reader_texts<Generation>, reader_message>(rows);
    append_rows<common_reader_texts, common_reader_message>(rows);
    EXPECT_EQ(rows, golden_rows(golden_file));
}

TEST(reader_messages, texts_of_each_generation_are_those_of_its_golden_file)
{
    expect_texts_of<generation_legacy>("reader_texts_legacy.txt");
    expect_texts_of<generation_2010>("reader_texts_2010.txt");
    expect_texts_of<generation_2024>("reader_texts_2024.txt");
}

} // namespace
