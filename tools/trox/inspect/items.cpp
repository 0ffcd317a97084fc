#include "items.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <tuple>

namespace trox::inspect
{

namespace
{

constexpr std::array names{"file-head", "event-headers", "server-blocks", "channel",    "dictionary", "index",
                           "pointers",  "environment",   "descriptions",  "references", "trailer",    "unused"};
static_assert(names.size() == static_cast<std::size_t>(item_kind::unused) + 1);

} // namespace

const char* name_of(item_kind kind) noexcept
{
    return names[static_cast<std::size_t>(kind)];
}

std::optional<item_kind> item_from_name(std::string_view name) noexcept
{
    const auto* const found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? std::nullopt : std::optional(static_cast<item_kind>(found - names.begin()));
}

std::string item::title() const
{
    return channel.empty() ? name_of(kind) : std::string(name_of(kind)) + " " + channel;
}

void sort_and_fill(std::vector<item>& items, std::uint64_t file_size)
{
    std::stable_sort(items.begin(), items.end(), [](const item& a, const item& b) {
        return std::tie(a.position, a.length) < std::tie(b.position, b.length);
    });
    std::vector<item> gaps;
    std::uint64_t end = 0;
    for (const item& one : items) {
        if (one.position > end) {
            gaps.push_back({item_kind::unused, {}, end, one.position - end});
        }
        end = std::max(end, one.end());
    }
    if (end < file_size) {
        gaps.push_back({item_kind::unused, {}, end, file_size - end});
    }
    items.insert(items.end(), gaps.begin(), gaps.end());
    std::stable_sort(items.begin(), items.end(), [](const item& a, const item& b) { return a.position < b.position; });
}

std::string hex(std::uint64_t value)
{
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return "0x" + std::string(digits.data(), end);
}

} // namespace trox::inspect
