// Reader of the event index table, written once for all generations.
//
// The table carries no length of its own: its entries lie one behind the other, and their lengths add up.
#ifndef TROX_EVUTL_READ_EVENT_INDEX_H
#define TROX_EVUTL_READ_EVENT_INDEX_H

#include "generation.h"
#include "table_block.h"

namespace trox_evutl
{

/// The checked shape of an event index table: how many entries, and the bytes of each.
struct event_index_shape {
    std::array<std::uint64_t, trox_event_type_count> entry_sizes{};
    std::size_t entry_count = 0;
    std::uint64_t size = 0; ///< of the whole table, head included
};

template <class Generation>
int measure_event_index(const file_view& file, std::uint64_t position, event_index_shape& shape) noexcept
{
    using entry_head = typename Generation::event_index_head;
    using word = typename Generation::word;
    std::array<word, 2> head{};
    if (position == 0) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    if (const int status = read_words<Generation>(file, position, head); status != TROX_EVUTL_OK) {
        return status;
    }
    if (head[0] != event_index_pattern) {
        return TROX_EVUTL_BAD_PATTERN;
    }
    if (head[1] > static_cast<word>(trox_event_type_count)) {
        return TROX_EVUTL_DOES_NOT_FIT; // one entry per event type
    }
    shape.entry_count = static_cast<std::size_t>(head[1]);
    shape.size = sizeof head;
    for (std::size_t i = 0; i < shape.entry_count; ++i) {
        entry_head entry{};
        if (const int status = file.read(position + shape.size, &entry, sizeof entry); status != TROX_EVUTL_OK) {
            return status;
        }
        const std::uint64_t size = static_cast<word>(trox_detail::big_endian(entry.length));
        const bool fits = size >= sizeof entry && size <= Generation::length_limit &&
                          size <= file.length - position - shape.size &&
                          (size - sizeof entry) % sizeof(typename Generation::event_info) == 0;
        if (!fits) {
            return TROX_EVUTL_DOES_NOT_FIT;
        }
        shape.entry_sizes[i] = size;
        shape.size += size;
    }
    return TROX_EVUTL_OK;
}

/// Brings types, lengths and offsets into host order; times and numbers stay as in the file, which is how the
/// callers expect them.
template <class Generation> void convert_event_index_entry(unsigned char* entry, std::uint64_t size) noexcept
{
    using entry_head = typename Generation::event_index_head;
    using event_info = typename Generation::event_info;
    auto head = trox_detail::load_record<entry_head>(entry);
    head.event_type = trox_detail::big_endian(head.event_type);
    head.length = static_cast<decltype(head.length)>(size);
    std::memcpy(entry, &head, sizeof head);
    for (std::uint64_t at = sizeof(entry_head); at < size; at += sizeof(event_info)) {
        auto info = trox_detail::load_record<event_info>(entry + at);
        info.offset = trox_detail::big_endian(info.offset);
        std::memcpy(entry + at, &info, sizeof info);
    }
}

template <class Generation>
int read_event_index_table(std::uint64_t file_length, const typename Generation::reference_table* references,
                           int descriptor, typename Generation::event_index_table** result) noexcept
{
    using table_type = typename Generation::event_index_table;
    if (references == nullptr || result == nullptr || descriptor < 0) {
        return TROX_EVUTL_INV_PARAM;
    }
    const file_view file{file_length, descriptor};
    const std::uint64_t position = references->eit_pos_ref;
    event_index_shape shape;
    if (const int status = measure_event_index<Generation>(file, position, shape); status != TROX_EVUTL_OK) {
        return status;
    }
    const auto size = static_cast<std::size_t>(shape.size);
    malloc_ptr<table_type> table = allocate_table<table_type>(size);
    if (!table) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    }
    if (const int status = file.read(position, table.get(), size); status != TROX_EVUTL_OK) {
        return status;
    }
    table->pattern = event_index_pattern;
    table->nevent_types = static_cast<decltype(table->nevent_types)>(shape.entry_count);
    unsigned char* entry = bytes_of(table) + offsetof(table_type, entries);
    for (std::size_t i = 0; i < shape.entry_count; ++i) {
        convert_event_index_entry<Generation>(entry, shape.entry_sizes[i]);
        entry += shape.entry_sizes[i];
    }
    *result = table.release();
    return TROX_EVUTL_OK;
}

} // namespace trox_evutl

#endif
