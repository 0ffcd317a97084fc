// The entries of a channel dictionary as the readers count them.
#ifndef TROX_GENERIC_DICTIONARY_ENTRIES_H
#define TROX_GENERIC_DICTIONARY_ENTRIES_H

#include "event.h"

#include <cstddef>

namespace trox_detail
{

inline constexpr unsigned dictionary_pattern = 0xDCADCAF3;

/// Number of entries: a dictionary is as long as its `length` says. 0 for a length that is negative or ends in the
/// head.
template <class Table> std::size_t dictionary_size(const Table& table)
{
    constexpr std::size_t head = offsetof(Table, entries);
    const bool is_negative = table.length < decltype(table.length){0};
    const auto length = static_cast<std::size_t>(table.length);
    return is_negative || length < head ? 0 : (length - head) / sizeof(table.entries[0]);
}

/// Address of entry `i`; null without a table, for a wrong pattern, and behind the end.
///
/// Programs page through a dictionary with a count by the size of the legacy entries, which is never too small. That is
/// intended; the indices that it lets through behind the last entry answer null.
template <class Table> const char* dictionary_entry(const Table* table, int i)
{
    constexpr std::size_t entry_size = sizeof(table->entries[0]);
    static_assert(entry_size >= sizeof(trox_chan_dictionary_entry));
    const auto index = static_cast<std::size_t>(i);
    if (i < 0 || table == nullptr || table->pattern != dictionary_pattern || index >= dictionary_size(*table)) {
        return nullptr;
    }
    return reinterpret_cast<const char*>(table->entries) + index * entry_size;
}

} // namespace trox_detail

#endif
