// Readers of the channel dictionary, the environment dictionary and the XML channel descriptions, and the
// look-up of a channel, written once for all generations.
#ifndef TROX_EVUTL_READ_DICTIONARIES_H
#define TROX_EVUTL_READ_DICTIONARIES_H

#include "generation.h"
#include "table_block.h"

#include <limits>
#include <string_view>

namespace trox_evutl
{

/// Number of channels of a dictionary that was read.
template <class Table> std::size_t dictionary_size(const Table& dictionary) noexcept
{
    constexpr std::size_t head = offsetof(Table, entries);
    const auto length = static_cast<std::size_t>(dictionary.length);
    return length < head ? 0 : (length - head) / sizeof dictionary.entries[0];
}

/// A channel's name; the field's end closes a name that fills it.
template <class Entry> std::string_view channel_name(const Entry& entry) noexcept
{
    return {entry.chan_name, strnlen(entry.chan_name, sizeof entry.chan_name)};
}

/// Asks for the name of an entry some steps ahead: a pass over the names of a large dictionary touches little of
/// each entry and waits for memory otherwise.
template <class Entry> void prefetch_ahead(const Entry* entries, std::size_t index, std::size_t count) noexcept
{
    constexpr std::size_t steps = 16;
    __builtin_prefetch(entries[std::min(index + steps, count - 1)].chan_name);
}

template <class Entry> void convert_dictionary_entries(Entry* entries, std::size_t size) noexcept
{
    for (std::size_t i = 0; i < size / sizeof(Entry); ++i) {
        Entry& entry = entries[i];
        entry.key = trox_detail::big_endian(entry.key);
        entry.ev_mask = trox_detail::big_endian(entry.ev_mask);
        entry.dtype_mask = trox_detail::big_endian(entry.dtype_mask);
        entry.count = trox_detail::big_endian(entry.count);
    }
}

template <class Generation>
int read_channel_dictionary(std::uint64_t file_length, const typename Generation::reference_table* references,
                            int descriptor, typename Generation::dictionary_table** result) noexcept
{
    using table_type = typename Generation::dictionary_table;
    using entry_type = typename Generation::dictionary_entry;
    if (references == nullptr || result == nullptr || descriptor < 0) {
        return TROX_EVUTL_INV_PARAM;
    }
    const table_place place{references->cdt_ref, dictionary_pattern, offsetof(table_type, entries), sizeof(entry_type)};
    malloc_ptr<table_type> table;
    std::size_t length = 0;
    const int status = read_table<Generation>(
        {file_length, descriptor}, place, table, length, [](unsigned char* entries, std::size_t size) {
            convert_dictionary_entries(reinterpret_cast<entry_type*>(entries), size);
        });
    if (status == TROX_EVUTL_OK) {
        *result = table.release();
    }
    return status;
}

template <class Generation>
int read_environment_dictionary(std::uint64_t file_length, const typename Generation::reference_table* references,
                                int descriptor, typename Generation::environment_table** result) noexcept
{
    using table_type = typename Generation::environment_table;
    if (references == nullptr || result == nullptr || descriptor < 0) {
        return TROX_EVUTL_INV_PARAM;
    }
    const table_place place{references->eidt_ref, environment_pattern, offsetof(table_type, entries),
                            sizeof(trox_env_dictionary_entry)};
    malloc_ptr<table_type> table;
    std::size_t length = 0;
    const auto swap = [](unsigned char* entries, std::size_t size) {
        swap_words_4(entries, entries, size / sizeof(std::uint32_t));
    };
    const int status = place.position == 0
                           ? make_empty_table<Generation>(place, table)
                           : read_table<Generation>({file_length, descriptor}, place, table, length, swap);
    if (status == TROX_EVUTL_OK) {
        *result = table.release();
    }
    return status;
}

template <class Generation>
int read_channel_descriptions(std::uint64_t file_length, const typename Generation::reference_table* references,
                              int descriptor, typename Generation::description_table** result) noexcept
{
    using table_type = typename Generation::description_table;
    if (references == nullptr || result == nullptr || descriptor < 0) {
        return TROX_EVUTL_INV_PARAM;
    }
    const table_place place{references->xcd_ref, description_pattern, offsetof(table_type, xml), 1};
    malloc_ptr<table_type> table;
    std::size_t length = 0;
    const auto keep = [](unsigned char*, std::size_t) {};
    const int status = place.position == 0
                           ? make_empty_table<Generation>(place, table)
                           : read_table<Generation>({file_length, descriptor}, place, table, length, keep);
    if (status == TROX_EVUTL_OK) {
        *result = table.release();
    }
    return status;
}

/// Index of the first entry of that name, or -1.
template <class Table, class Entry> int find_channel(const Table* dictionary, const char* name, Entry** entry) noexcept
{
    if (dictionary == nullptr || name == nullptr) {
        return -1;
    }
    constexpr std::size_t field = sizeof(Entry::chan_name);
    const std::size_t length = strnlen(name, field + 1);
    if (length > field) {
        return -1;
    }
    const auto* const entries = dictionary->entries;
    const std::size_t count = dictionary_size(*dictionary);
    for (std::size_t i = 0; i < count && i <= std::size_t{std::numeric_limits<int>::max()}; ++i) {
        prefetch_ahead(entries, i, count);
        const char* const candidate = entries[i].chan_name;
        const bool has_length = length == field || candidate[length] == '\0';
        if (has_length && std::memcmp(candidate, name, length) == 0) {
            if (entry != nullptr) {
                *entry = const_cast<Entry*>(entries + i);
            }
            return static_cast<int>(i);
        }
    }
    return -1;
}

} // namespace trox_evutl

#endif
