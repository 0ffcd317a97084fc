// Every text of the slicers, formatted once and compared with a list: programs look for the texts, misspellings
// included.
#include "generation/traits_slicer_2010.h"
#include "generation/traits_slicer_2024.h"
#include "generation/traits_slicer_legacy.h"
#include "slicer_types.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using trox_detail::common_slicer_message;
using trox_detail::common_slicer_texts;
using trox_detail::slicer_message;

template <class Argument> std::string formatted(const std::string& conversion, Argument argument)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), conversion.c_str(), argument);
    return text.data();
}

/// One conversion with an argument of its type that tells its position: 1, TEXT1, 1.5, and numbers that need 32 and 64
/// bits where the conversion has them.
std::string converted(const std::string& conversion, int position)
{
    constexpr long beyond_32_bits = 4294967296;
    constexpr unsigned beyond_31_bits = 4000000000;
    constexpr unsigned hexadecimal = 0xab00;
    const std::string kind = conversion.substr(1);
    if (kind == "s") {
        return formatted(conversion, ("TEXT" + std::to_string(position)).c_str());
    }
    if (kind == "f") {
        return formatted(conversion, position + 0.5);
    }
    if (kind == "ld" || kind == "lu") {
        return formatted(conversion, beyond_32_bits + position);
    }
    if (kind == "zu") {
        return formatted(conversion, static_cast<std::size_t>(position));
    }
    if (kind == "u") {
        return formatted(conversion, beyond_31_bits + static_cast<unsigned>(position));
    }
    if (kind == "x") {
        return formatted(conversion, hexadecimal + static_cast<unsigned>(position));
    }
    if (kind == "d") {
        return formatted(conversion, position);
    }
    return "unknown conversion " + conversion;
}

/// A text with all its conversions made and its line ends visible.
std::string line_of(std::string_view text)
{
    std::string line;
    int position = 0;
    while (!text.empty()) {
        std::size_t length = 1;
        if (text[0] == '%') {
            length = text.find_first_of("dsufx") + 1;
            line += converted(std::string(text.substr(0, length)), ++position);
        } else if (text[0] == '\n') {
            line += "\\n";
        } else {
            line += text[0];
        }
        text.remove_prefix(length);
    }
    return line;
}

/// Whether a generation says a text that it words like the others.
template <class Traits> bool is_said(common_slicer_message message)
{
    using row = common_slicer_message;
    const auto is_one_of = [message](std::initializer_list<row> rows) {
        return std::find(rows.begin(), rows.end(), message) != rows.end();
    };
    if (is_one_of({row::create_timing, row::start_timing, row::middle_timing})) {
        return Traits::has_timing_traces;
    }
    if (is_one_of({row::create_failed, row::cleaning_description, row::thread_joined, row::reader_cleaned})) {
        return Traits::has_life_cycle_traces;
    }
    if (is_one_of({row::no_files, row::no_channels})) {
        return !Traits::leaves_empty_names_out; // that one tells both counts instead
    }
    return message != row::moving_again || Traits::moves_again;
}

template <class T> class slicer_messages : public testing::Test
{
};
TYPED_TEST_SUITE(slicer_messages, trox_test::slicer_generations, trox_test::slicer_generation_names);

template <class Generation> std::vector<std::string> all_lines()
{
    std::vector<std::string> lines;
    for (int row = 0; row < static_cast<int>(slicer_message::count); ++row) {
        const std::string_view text = trox_detail::slicer_texts<Generation>::text(static_cast<slicer_message>(row));
        if (!text.empty()) { // else another generation's
            lines.push_back(line_of(text));
        }
    }
    for (int row = 0; row < static_cast<int>(common_slicer_message::count); ++row) {
        const auto message = static_cast<common_slicer_message>(row);
        if (is_said<trox_detail::slicer_traits<Generation>>(message)) {
            lines.push_back(line_of(common_slicer_texts::text(message)));
        }
    }
    return lines;
}

TYPED_TEST(slicer_messages, are_those_of_the_list)
{
    const std::string name = TypeParam::name;
    const std::string path = std::string(TROX_TEST_DATA_DIR) + "/../golden/messages_" +
                             (name[0] == 'g' ? name.substr(1) : name) + "_slicer.txt";
    std::ifstream list(path);
    ASSERT_TRUE(list) << path;
    std::vector<std::string> expected;
    for (std::string line; std::getline(list, line);) {
        expected.push_back(line);
    }
    EXPECT_EQ(all_lines<typename TypeParam::generation>(), expected);
}

} // namespace
