// The entries of a channel dictionary as the readers count them.
#ifndef TROX_GENERIC_DICTIONARY_ENTRIES_H
#define TROX_GENERIC_DICTIONARY_ENTRIES_H

#include "event.h"

#include <cstddef>

namespace trox_detail
{

inline constexpr unsigned dictionary_pattern = 0xDCADCAF3;

/// Address of entry `i`; null without a table, for a wrong pattern, and behind the end.
///
/// Entries are counted by the size of the legacy dictionary's but stepped by their own. Intended: programs page
/// through a dictionary with this count. Indices that the longer count lets through have no entry.
template <class Table> const char* dictionary_entry(const Table* table, int i)
{
    constexpr std::size_t entry_size = sizeof(table->entries[0]);
    constexpr std::size_t head_size = sizeof(Table) - entry_size;
    constexpr std::size_t counted_size = sizeof(trox_chan_dictionary_entry);
    if (i < 0 || table == nullptr || table->pattern != dictionary_pattern) {
        return nullptr;
    }
    const auto index = static_cast<std::size_t>(i);
    const bool is_negative = table->length < decltype(table->length){0};
    const auto length = static_cast<std::size_t>(table->length);
    if (is_negative || length <= head_size || index >= (length - head_size) / counted_size ||
        index >= (length - head_size) / entry_size) {
        return nullptr;
    }
    return reinterpret_cast<const char*>(table->entries) + index * entry_size;
}

} // namespace trox_detail

#endif
