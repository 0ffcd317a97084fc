// Text as people see it: widths on a terminal, similar words, sizes, durations.
#ifndef TROX_CLI_TEXT_H
#define TROX_CLI_TEXT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trox_cli
{

/// The next code point of UTF-8 text, which it takes off the front; U+FFFD, and one byte taken, for what is no UTF-8.
/// `text` must not be empty.
char32_t take_code_point(std::string_view& text);
void append_utf8(std::string& text, char32_t code_point);

/// The text without anything that moves a terminal's cursor: line ends and tabs become spaces, other control
/// characters and bytes that are no UTF-8 a replacement character.
std::string printable(std::string_view text);

/// The text with a replacement character for each byte that is no UTF-8.
std::string valid_utf8(std::string_view text);

/// Columns of a terminal that a printable text takes.
std::size_t display_width(std::string_view text);
/// The text if it is not wider than `width`, else its beginning with "…" at the end.
std::string fit_width(std::string_view text, std::size_t width);

/// Lines of at most `width` columns, broken at spaces.
std::vector<std::string> wrap(std::string_view text, std::size_t width);

std::string join(const std::vector<std::string>& words, std::string_view between);

/// The words that `word` may have been meant to be, the most similar first, `most` of them at most.
std::vector<std::string> similar_words(std::string_view word, const std::vector<std::string>& words,
                                       std::size_t most = 3);
/// "did you mean a, b or c?"; empty without words.
std::string did_you_mean(const std::vector<std::string>& words);

/// "17 B", "4.0 KiB", "2.5 GiB".
std::string bytes_text(std::uint64_t bytes);
/// "17 us", "4.2 ms", "3.1 s", "5.0 h", "12.3 d".
std::string duration_text(std::chrono::microseconds duration);
/// Shortest decimal number that reads as the same value; "nan", "inf", "-inf".
std::string real_text(float value);
std::string real_text(double value);

/// Reads "123", "64K", "256M", "1G", "2T" (powers of 1024; "MiB" and "MB" mean the same); none for anything else.
std::optional<std::uint64_t> bytes_from_text(std::string_view text);
/// Reads "10us", "50ms", "1.5s", "2min"; none for anything else.
std::optional<std::chrono::microseconds> duration_from_text(std::string_view text);
/// Reads a whole decimal number; none for anything else.
std::optional<std::uint64_t> number_from_text(std::string_view text);

} // namespace trox_cli

#endif
