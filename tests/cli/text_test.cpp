#include "cli/json_text.h"
#include "cli/text.h"

#include <clocale>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace
{

using namespace trox_cli;
using testing::ElementsAre;

class text : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
};

TEST_F(text, printable_text_moves_no_cursor_and_is_utf8)
{
    EXPECT_EQ(printable("a\nb\tc"), "a b c");
    EXPECT_EQ(printable("\033[31mred"), "\xEF\xBF\xBD[31mred");
    EXPECT_EQ(printable("\xB0"
                        "C"),
              "\xEF\xBF\xBD"
              "C");
    EXPECT_EQ(printable("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");                 // an overlong "/"
    EXPECT_EQ(printable("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"); // half of a surrogate pair
    EXPECT_EQ(printable("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");                 // cut
    EXPECT_EQ(printable("µm €"), "µm €");
    EXPECT_EQ(printable("\xC2\x9B"), "\xEF\xBF\xBD"); // a control sequence in one character
}

TEST_F(text, widths_count_columns_of_a_terminal)
{
    EXPECT_EQ(display_width("abc"), 3U);
    EXPECT_EQ(display_width("µm"), 2U);
    EXPECT_EQ(display_width("東京"), 4U);
    EXPECT_EQ(display_width("e\xCC\x81"), 1U); // an accent of its own
}

TEST_F(text, a_text_that_is_too_wide_ends_with_an_ellipsis)
{
    EXPECT_EQ(fit_width("abcdef", 6), "abcdef");
    EXPECT_EQ(fit_width("abcdef", 5), "abcd…");
    EXPECT_EQ(fit_width("東京都", 4), "東…"); // the next character has no room
    EXPECT_EQ(fit_width("abc", 1), "…");
    EXPECT_EQ(fit_width("abc", 0), "");
}

TEST_F(text, lines_break_at_spaces)
{
    EXPECT_THAT(wrap("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(wrap("extraordinary", 5), ElementsAre("extraordinary"));
    EXPECT_THAT(wrap("", 5), ElementsAre(""));
}

TEST_F(text, similar_words_are_those_that_may_have_been_meant)
{
    const std::vector<std::string> words{"info", "list", "find", "show", "completion"};
    EXPECT_THAT(similar_words("lst", words), ElementsAre("list"));
    EXPECT_THAT(similar_words("compl", words), ElementsAre("completion"));
    EXPECT_THAT(similar_words("ilst", words), ElementsAre("list")); // neighbours swapped
    EXPECT_THAT(similar_words("LIST", words), ElementsAre("list"));
    EXPECT_THAT(similar_words("frobnicate", words), ElementsAre());
    EXPECT_EQ(did_you_mean({"a", "b", "c"}), "did you mean a, b or c?");
    EXPECT_EQ(did_you_mean({"a"}), "did you mean a?");
    EXPECT_EQ(did_you_mean({}), "");
}

TEST_F(text, bytes_and_durations_have_units)
{
    EXPECT_EQ(bytes_text(1023), "1023 B");
    EXPECT_EQ(bytes_text(1024), "1.0 KiB");
    EXPECT_EQ(bytes_text(1048575), "1.0 MiB"); // not 1024.0 KiB
    EXPECT_EQ(bytes_text(2684354560), "2.5 GiB");
    EXPECT_EQ(duration_text(std::chrono::microseconds(999)), "999 us");
    EXPECT_EQ(duration_text(std::chrono::microseconds(-2500)), "-2.5 ms");
    EXPECT_EQ(duration_text(std::chrono::microseconds(11918420)), "11.92 s");
    EXPECT_EQ(duration_text(std::chrono::hours(36)), "36.0 h");
    EXPECT_EQ(duration_text(std::chrono::hours(60)), "2.5 d");
}

TEST_F(text, sizes_and_durations_are_read)
{
    EXPECT_EQ(bytes_from_text("123"), 123U);
    EXPECT_EQ(bytes_from_text("64K"), 65536U);
    EXPECT_EQ(bytes_from_text("256MiB"), 268435456U);
    EXPECT_EQ(bytes_from_text("1GB"), 1073741824U);
    for (const char* const wrong : {"", "M", "1.5G", "-1", "1X", "16777216T", "1Ki", "99999999999999999999"}) {
        EXPECT_EQ(bytes_from_text(wrong), std::nullopt) << wrong;
    }
    EXPECT_EQ(duration_from_text("300us"), std::chrono::microseconds(300));
    EXPECT_EQ(duration_from_text("1.5s"), std::chrono::microseconds(1500000));
    EXPECT_EQ(duration_from_text("2min"), std::chrono::minutes(2));
    for (const char* const wrong : {"", "5", "s", "5 s", "1e300s", "nans", "5d"}) {
        EXPECT_EQ(duration_from_text(wrong), std::nullopt) << wrong;
    }
    EXPECT_EQ(number_from_text("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(number_from_text("18446744073709551616"), std::nullopt);
    EXPECT_EQ(number_from_text("-1"), std::nullopt);
}

TEST_F(text, json_numbers_are_exact_and_reals_stay_reals)
{
    EXPECT_EQ(json_value(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(json_value(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(json_value(0.1F), "0.1");
    EXPECT_EQ(json_value(0.1), "0.1");
    EXPECT_EQ(json_value(1.0 / 3), "0.3333333333333333");
    EXPECT_EQ(json_value(16777216.0F), "16777216.0");
    EXPECT_EQ(json_value(1e30), "1e+30");
    EXPECT_EQ(json_value(-0.0), "-0.0");
    EXPECT_EQ(json_value(std::nan("")), "null");
    EXPECT_EQ(json_value(-std::numeric_limits<float>::infinity()), "null");
    EXPECT_EQ(json_value(true), "true");
    EXPECT_EQ(json_value(std::optional<int>()), "null");
}

TEST_F(text, json_texts_are_escaped)
{
    EXPECT_EQ(json_value("a\"b\\c\nd\x01\x7F"), R"("a\"b\\c\nd\u0001\u007f")");
    EXPECT_EQ(json_value("\xB0"
                         "C"),
              "\"\xEF\xBF\xBD"
              "C\"");
    EXPECT_EQ(json_value("\xC2\x9B\xC2\xA0"), "\"\\u009b\xC2\xA0\""); // a control sequence in one character
    EXPECT_EQ(json_value(cell::list(std::vector<int>{1, 2})), "[1, 2]");
    EXPECT_EQ(json_value(cell::list(std::vector<std::string>{})), "[]");
    EXPECT_EQ(json_value(trox::time_point(std::chrono::microseconds(1339666200250123))),
              "\"2012-06-14T09:30:00.250123Z\"");
}

} // namespace
