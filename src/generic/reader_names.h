// Name fields of the records, channel names and numbers in text.
#ifndef TROX_GENERIC_READER_NAMES_H
#define TROX_GENERIC_READER_NAMES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace trox_detail
{

/// The text in a name field; a field without a NUL ends with the field.
template <std::size_t Size> std::string_view name_in(const char (&field)[Size])
{
    return {field, ::strnlen(field, Size)};
}

/// Fills a name field, cutting what does not fit before its closing NUL.
template <std::size_t Size> void copy_name(char (&field)[Size], std::string_view text)
{
    const std::size_t length = std::min(text.size(), Size - 1);
    char* const end = std::copy_n(text.data(), length, field);
    std::fill(end, field + Size, '\0');
}

/// A whole decimal number at the start of a text, as far as it is one; beyond the type's range, the nearest.
std::int32_t leading_number(const char* text);
/// The same, of a duration's word.
std::uint32_t decimal_number(const char* text);

/// A channel's full name: `name:sub-channel`, or the name alone for a negative sub-channel.
std::string full_channel_name(std::string_view name, int subchan);

/// What a caller's channel text says: `<name>[:<sub-channel>][;<nickname>]`.
struct channel_text {
    std::string_view name;
    int subchan = -1;
    std::string_view nickname;
};
channel_text parse_channel(const char* text);

/// The same for removing a channel. With a sub-channel the name lacks its last character, and a nickname is not
/// taken off: programs have the names they remove written for this.
channel_text parse_removed_channel(const char* text);

/// A text that is compared with full channel names: its name is cut to `longest` characters, as those names are.
std::string cut_channel_text(std::string_view text, std::size_t longest);

} // namespace trox_detail

#endif
