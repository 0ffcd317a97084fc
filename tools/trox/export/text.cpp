#include "text.h"

#include "base/utf8.h"
#include "trox/error.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace trox_export
{
namespace
{

template <class T> void append_number(std::string& text, T value)
{
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value);
    text.append(digits, end.ptr);
}

template <class T> void append_json_real(std::string& text, T value)
{
    if (!std::isfinite(value)) {
        text += std::isnan(value) ? "\"NaN\"" : value > 0 ? "\"Infinity\"" : "\"-Infinity\"";
        return;
    }
    const std::size_t begin = text.size();
    append_number(text, value);
    // A reader takes a number without either for an integer, and -0 for 0.
    if (text.find_first_of(".e", begin) == std::string::npos) {
        text += ".0";
    }
}

trox::time_point time_at(const row& from, std::size_t i)
{
    return trox::time_point(trox::microseconds(element_at<std::int64_t>(from, i)));
}

void append_json_character(std::string& text, std::string_view character)
{
    const auto value = static_cast<unsigned char>(character[0]);
    if (value == '"' || value == '\\') {
        text += '\\';
        text += character;
    } else if (value < 0x20U || value == 0x7FU) {
        constexpr std::string_view digits = "0123456789abcdef";
        text += "\\u00";
        text += digits[value >> 4U];
        text += digits[value & 0xFU];
    } else {
        text += character;
    }
}

template <class T> bool parse_number(std::string_view text, std::byte* place)
{
    T value{};
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size()) {
        return false;
    }
    std::memcpy(place, &value, sizeof value);
    return true;
}

bool parse_time(std::string_view text, std::byte* place)
{
    try {
        const std::int64_t value = trox::time_from_text(text).time_since_epoch().count();
        std::memcpy(place, &value, sizeof value);
        return true;
    } catch (const trox::error&) {
        return false;
    }
}

} // namespace

void append_element(std::string& text, const row& from, std::size_t i)
{
    switch (from.type) {
    case element::u8:
        return append_number(text, static_cast<unsigned>(element_at<std::uint8_t>(from, i)));
    case element::u16:
        return append_number(text, element_at<std::uint16_t>(from, i));
    case element::u32:
        return append_number(text, element_at<std::uint32_t>(from, i));
    case element::u64:
        return append_number(text, element_at<std::uint64_t>(from, i));
    case element::i32:
        return append_number(text, element_at<std::int32_t>(from, i));
    case element::f32:
        return append_number(text, element_at<float>(from, i));
    case element::f64:
        return append_number(text, element_at<double>(from, i));
    case element::time:
        text += trox::to_text(time_at(from, i));
        return;
    case element::text:
        text += from.texts[i];
        return;
    }
}

void append_json_element(std::string& text, const row& from, std::size_t i)
{
    switch (from.type) {
    case element::f32:
        return append_json_real(text, element_at<float>(from, i));
    case element::f64:
        return append_json_real(text, element_at<double>(from, i));
    case element::time:
        return append_json_string(text, trox::to_text(time_at(from, i)));
    case element::text:
        return append_json_string(text, from.texts[i]);
    case element::u8:
    case element::u16:
    case element::u32:
    case element::u64:
    case element::i32:
        return append_element(text, from, i);
    }
}

void append_json_string(std::string& text, std::string_view value)
{
    text += '"';
    while (!value.empty()) {
        const std::size_t size = trox_base::character_size(value);
        append_json_character(text, size == 0 ? trox_base::replacement : value.substr(0, size));
        value.remove_prefix(size == 0 ? 1 : size);
    }
    text += '"';
}

void append_csv_field(std::string& text, std::string_view value)
{
    if (value.find_first_of(",\"\r\n") == std::string_view::npos) {
        text += value;
        return;
    }
    text += '"';
    for (const char c : value) {
        text.append(c == '"' ? 2 : 1, c);
    }
    text += '"';
}

bool parse_element(std::string_view text, element type, std::byte* place)
{
    switch (type) {
    case element::u8:
        return parse_number<std::uint8_t>(text, place);
    case element::u16:
        return parse_number<std::uint16_t>(text, place);
    case element::u32:
        return parse_number<std::uint32_t>(text, place);
    case element::u64:
        return parse_number<std::uint64_t>(text, place);
    case element::i32:
        return parse_number<std::int32_t>(text, place);
    case element::f32:
        return parse_number<float>(text, place);
    case element::f64:
        return parse_number<double>(text, place);
    case element::time:
        return parse_time(text, place);
    case element::text:
        return false;
    }
    return false;
}

} // namespace trox_export
