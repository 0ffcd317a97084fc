#include "generic/reader_names.h"

#include <cstdlib>
#include <limits>

namespace trox_detail
{

std::int32_t leading_number(const char* text)
{
    constexpr long lowest = std::numeric_limits<std::int32_t>::min();
    constexpr long highest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(std::strtol(text, nullptr, 10), lowest, highest));
}

std::uint32_t decimal_number(const char* text)
{
    constexpr long highest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::clamp(std::strtol(text, nullptr, 10), 0L, highest));
}

std::string full_channel_name(std::string_view name, int subchan)
{
    std::string full(name);
    if (subchan >= 0) {
        full += ':';
        full += std::to_string(subchan);
    }
    return full;
}

channel_text parse_channel(const char* text)
{
    const std::string_view whole(text);
    channel_text parsed;
    const std::size_t semicolon = whole.find(';');
    if (semicolon != std::string_view::npos) {
        parsed.nickname = whole.substr(semicolon + 1);
    }
    // The first ":" counts also behind a ";".
    const std::size_t colon = whole.find(':');
    if (colon != std::string_view::npos) {
        parsed.subchan = leading_number(text + colon + 1);
        parsed.name = whole.substr(0, colon);
    } else {
        parsed.name = whole.substr(0, semicolon);
    }
    return parsed;
}

std::string cut_channel_text(std::string_view text, std::size_t longest)
{
    const std::size_t end = std::min(text.find(':'), text.size());
    return std::string(text.substr(0, std::min(end, longest))).append(text.substr(end));
}

channel_text parse_removed_channel(const char* text)
{
    const std::string_view whole(text);
    channel_text parsed;
    const std::size_t colon = whole.find(':');
    if (colon != std::string_view::npos) {
        parsed.subchan = leading_number(text + colon + 1);
        parsed.name = whole.substr(0, colon > 0 ? colon - 1 : 0);
    } else {
        parsed.name = whole;
    }
    return parsed;
}

} // namespace trox_detail
