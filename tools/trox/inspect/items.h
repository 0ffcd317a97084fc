// The pieces that a data file is made of, by name.
#ifndef TROX_INSPECT_ITEMS_H
#define TROX_INSPECT_ITEMS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trox::inspect
{

enum class item_kind {
    file_head,
    event_headers,
    server_blocks,
    channel,
    dictionary,
    index,
    pointers,
    environment,
    descriptions,
    references,
    trailer,
    unused ///< bytes that nothing leads to
};

/// "file-head", "event-headers", "server-blocks", "channel", "dictionary", "index", "pointers", "environment",
/// "descriptions", "references", "trailer", "unused".
const char* name_of(item_kind kind) noexcept;
std::optional<item_kind> item_from_name(std::string_view name) noexcept;

/// One piece of a file, in bytes.
struct item {
    item_kind kind = item_kind::unused;
    std::string channel{}; ///< whose basket it is
    std::uint64_t position = 0;
    std::uint64_t length = 0;

    /// The name, with the channel where there is one.
    std::string title() const;
    std::uint64_t end() const noexcept
    {
        return position + length;
    }
};

/// Puts items into file order and adds the unused pieces between them, up to the end of the file.
void sort_and_fill(std::vector<item>& items, std::uint64_t file_size);

/// "0x1f40".
std::string hex(std::uint64_t value);

} // namespace trox::inspect

#endif
