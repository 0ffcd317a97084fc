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

std::size_t character_count(std::string_view text) noexcept
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

} // namespace trox_base
