// Text that may not be what it should be.
#ifndef TROX_BASE_UTF8_H
#define TROX_BASE_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace trox_base
{

/// What stands for bytes that are no UTF-8: U+FFFD.
inline constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// Bytes of the UTF-8 character at the front of a text that is not empty; 0 when there is none.
std::size_t character_size(std::string_view text) noexcept;
bool is_utf8(std::string_view text) noexcept;
/// The text with replacements in it.
std::string valid_utf8(std::string_view text);
/// The same without anything that moves a terminal's cursor: line ends and tabs become spaces, other control characters
/// replacements.
std::string printable(std::string_view text);
/// The text if it has at most so many characters, else its beginning and its end with "…" between them.
std::string shortened(std::string_view text, std::size_t most);
/// Number of characters of valid text.
std::size_t character_count(std::string_view text) noexcept;

} // namespace trox_base

#endif
