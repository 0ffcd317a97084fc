// Every text of the channel-reading layer, formatted once, beside a list of them per generation: programs look for the
// texts, misspellings and spaces included.
#include "channel_types.h"
#include "generation/messages_channel_2010.h"
#include "generation/messages_channel_2024.h"
#include "generation/messages_channel_legacy.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

using namespace trox_test;
using trox_detail::channel_message;
using trox_detail::common_channel_message;

namespace
{

/// A text with a value of the right kind for each conversion, and its line ends made visible.
std::string formatted(const std::string& format)
{
    const auto print = [](const std::string& conversion, auto value) {
        char text[64];
        std::snprintf(text, sizeof text, conversion.c_str(), value);
        return std::string(text);
    };
    std::string line;
    for (std::size_t at = 0; at < format.size(); ++at) {
        if (format[at] == '\n') {
            line += "\\n";
        } else if (format[at] != '%') {
            line += format[at];
        } else {
            const std::size_t end = format.find_first_of("diuxsf", at);
            const std::string conversion = format.substr(at, end - at + 1);
            at = end;
            switch (conversion.back()) {
            case 's':
                line += print(conversion, "TEXT");
                break;
            case 'f':
                line += print(conversion, 1.25);
                break;
            default:
                // Above 32 bits where the text has room for it.
                line += conversion.size() > 2 ? print(conversion, 81604378624000L) : print(conversion, 4711);
            }
        }
    }
    return line;
}

template <class Table, class Message> void add_rows(std::vector<std::string>& rows)
{
    for (int row = 0; row < static_cast<int>(Message::count); ++row) {
        rows.push_back(formatted(Table::text(static_cast<Message>(row))));
    }
}

std::vector<std::string> lines_of(const std::string& name)
{
    std::ifstream list(std::string(TROX_TEST_DATA_DIR) + "/../golden/" + name);
    std::vector<std::string> lines;
    for (std::string line; std::getline(list, line);) {
        lines.push_back(line);
    }
    return lines;
}

template <class Generation> std::vector<std::string> rows_of()
{
    std::vector<std::string> rows;
    add_rows<trox_detail::channel_texts<Generation>, channel_message>(rows);
    add_rows<trox_detail::common_channel_texts, common_channel_message>(rows);
    return rows;
}

} // namespace

TEST(channel_messages, are_those_of_the_legacy_list)
{
    EXPECT_EQ(rows_of<trox_detail::generation_legacy>(), lines_of("messages_legacy_channel.txt"));
}

TEST(channel_messages, are_those_of_the_2010_list)
{
    EXPECT_EQ(rows_of<trox_detail::generation_2010>(), lines_of("messages_2010_channel.txt"));
}

TEST(channel_messages, are_those_of_the_2024_list)
{
    EXPECT_EQ(rows_of<trox_detail::generation_2024>(), lines_of("messages_2024_channel.txt"));
}
