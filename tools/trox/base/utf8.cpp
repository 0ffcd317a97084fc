#include "utf8.h"

#include <algorithm>

namespace trox_base
{

std::size_t character_size(std::string_view text) noexcept
{
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80U) {
        return 1;
    }
    const std::size_t size = lead >= 0xC2U && lead < 0xE0U ? 2 : lead >= 0xE0U && lead < 0xF0U ? 3 : 4;
    if (lead < 0xC2U || lead > 0xF4U || size > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < size; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    // Overlong forms, surrogates, and what lies behind the last character.
    const auto second = static_cast<unsigned char>(text[1]);
    const bool is_wrong = (lead == 0xE0U && second < 0xA0U) || (lead == 0xEDU && second > 0x9FU) ||
                          (lead == 0xF0U && second < 0x90U) || (lead == 0xF4U && second > 0x8FU);
    return is_wrong ? 0 : size;
}

bool is_utf8(std::string_view text) noexcept
{
    while (!text.empty()) {
        const std::size_t size = character_size(text);
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

std::string valid_utf8(std::string_view text)
{
    std::string valid;
    while (!text.empty()) {
        const std::size_t size = character_size(text);
        valid += size == 0 ? replacement : text.substr(0, size);
        text.remove_prefix(size == 0 ? 1 : size);
    }
    return valid;
}

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const std::size_t size = character_size(text);
        const auto lead = static_cast<unsigned char>(text[0]);
        // The second half of the control characters has two bytes.
        const bool is_control = lead < 0x20U || lead == 0x7FU ||
                                (size == 2 && lead == 0xC2U && static_cast<unsigned char>(text[1]) < 0xA0U);
        if (lead == '\n' || lead == '\t' || lead == '\r') {
            result += ' ';
        } else {
            result += is_control || size == 0 ? replacement : text.substr(0, size);
        }
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return result;
}

std::string shortened(std::string_view text, std::size_t most)
{
    const std::string valid = valid_utf8(text);
    const std::size_t count = character_count(valid);
    if (count <= most) {
        return valid;
    }
    const std::size_t kept = most == 0 ? 0 : most - 1;
    const std::size_t behind = count - kept / 2; // first character of the end
    std::string result;
    std::size_t place = 0;
    for (std::string_view rest = valid; !rest.empty(); ++place) {
        const std::size_t size = character_size(rest);
        if (place == kept - kept / 2 && most != 0) {
            result += "…";
        }
        if (place < kept - kept / 2 || place >= behind) {
            result += rest.substr(0, size);
        }
        rest.remove_prefix(size);
    }
    return result;
}

std::size_t character_count(std::string_view text) noexcept
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

} // namespace trox_base
