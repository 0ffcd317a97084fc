// Readers of the event-channel pointers table, whole and by list of channels, written once for all generations.
#ifndef TROX_EVUTL_READ_POINTERS_H
#define TROX_EVUTL_READ_POINTERS_H

#include "find_columns.h"
#include "generation.h"
#include "table_block.h"

#include <algorithm>
#include <string>
#include <vector>

namespace trox_evutl
{

/// The checked shape of a pointers table in the file.
struct pointers_shape {
    std::uint64_t length = 0;  ///< bytes, head included
    std::uint64_t rows = 0;    ///< of each column
    std::uint64_t columns = 0; ///< 0 when they have no rows
};

/// Reads and checks the head: whole entries, and whole columns of `maxev` rows.
template <class Generation>
int read_pointers_shape(const file_view& file, std::uint64_t position, pointers_shape& shape) noexcept
{
    using table_type = typename Generation::pointers_table;
    using entry_type = typename Generation::pointers_entry;
    constexpr std::size_t head_size = offsetof(table_type, entries);
    const table_place place{position, pointers_pattern, head_size, sizeof(entry_type)};
    if (const int status = read_table_length<Generation>(file, place, shape.length); status != TROX_EVUTL_OK) {
        return status;
    }
    std::array<typename Generation::word, 1> rows{};
    if (const int status = read_words<Generation>(file, position + offsetof(table_type, maxev), rows);
        status != TROX_EVUTL_OK) {
        return status;
    }
    shape.rows = rows[0];
    const std::uint64_t entries = (shape.length - head_size) / sizeof(entry_type);
    if (shape.rows == 0) {
        return entries == 0 ? TROX_EVUTL_OK : TROX_EVUTL_DOES_NOT_FIT;
    }
    shape.columns = entries / shape.rows;
    const bool fits = shape.rows <= Generation::length_limit && entries % shape.rows == 0;
    return fits ? TROX_EVUTL_OK : TROX_EVUTL_DOES_NOT_FIT;
}

template <class Generation>
int read_pointers_table(std::uint64_t file_length, const typename Generation::reference_table* references,
                        int descriptor, typename Generation::pointers_table** result) noexcept
{
    using table_type = typename Generation::pointers_table;
    if (references == nullptr || result == nullptr || descriptor < 0) {
        return TROX_EVUTL_INV_PARAM;
    }
    const file_view file{file_length, descriptor};
    const std::uint64_t position = references->ecp_ref;
    pointers_shape shape;
    if (const int status = read_pointers_shape<Generation>(file, position, shape); status != TROX_EVUTL_OK) {
        return status;
    }
    const auto length = static_cast<std::size_t>(shape.length);
    malloc_ptr<table_type> table = allocate_table<table_type>(length);
    if (!table) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    }
    if (const int status = file.read(position, table.get(), length); status != TROX_EVUTL_OK) {
        return status;
    }
    constexpr std::size_t head_size = offsetof(table_type, entries);
    swap_generation_words<Generation>(bytes_of(table) + head_size,
                                      (length - head_size) / sizeof(typename Generation::word));
    set_table_head<Generation>(table.get(), pointers_pattern, shape.length);
    table->maxev = static_cast<decltype(table->maxev)>(shape.rows);
    *result = table.release();
    return TROX_EVUTL_OK;
}

/// Reads the columns one by one, each swapped while it is in the cache.
template <class Generation>
int read_columns(const file_view& file, std::uint64_t first_column, std::size_t column_size,
                 const std::vector<std::size_t>& columns, unsigned char* destination) noexcept
{
    for (const std::size_t column : columns) {
        if (column == no_column) {
            std::memset(destination, 0, column_size);
        } else {
            const int status = file.read(first_column + column * column_size, destination, column_size);
            if (status != TROX_EVUTL_OK) {
                return status;
            }
            swap_generation_words<Generation>(destination, column_size / sizeof(typename Generation::word));
        }
        destination += column_size;
    }
    return TROX_EVUTL_OK;
}

/// Bytes of a table of `columns` columns; false when its length field or memory cannot hold that.
template <class Generation>
bool selected_table_size(std::uint64_t columns, std::uint64_t column_size, std::size_t& size) noexcept
{
    std::uint64_t bytes = 0;
    return !__builtin_mul_overflow(columns, column_size, &bytes) &&
           !__builtin_add_overflow(bytes, offsetof(typename Generation::pointers_table, entries), &bytes) &&
           bytes <= Generation::length_limit && !__builtin_add_overflow(bytes, std::uint64_t{0}, &size);
}

template <class Generation>
int read_pointers_table_by_list(std::uint64_t file_length, const typename Generation::reference_table* references,
                                int descriptor, const std::vector<std::string>& channels,
                                const typename Generation::dictionary_table* dictionary,
                                typename Generation::pointers_table** result)
{
    using table_type = typename Generation::pointers_table;
    using entry_type = typename Generation::pointers_entry;
    constexpr std::size_t head_size = offsetof(table_type, entries);
    if (references == nullptr || dictionary == nullptr || result == nullptr || descriptor < 0) {
        return TROX_EVUTL_INV_PARAM;
    }
    const std::vector<std::size_t> columns = find_columns(*dictionary, channels);
    if (std::all_of(columns.begin(), columns.end(), [](std::size_t column) { return column == no_column; })) {
        return TROX_EVUTL_NO_CHANNEL;
    }
    const file_view file{file_length, descriptor};
    const std::uint64_t position = references->ecp_ref;
    pointers_shape shape;
    if (const int status = read_pointers_shape<Generation>(file, position, shape); status != TROX_EVUTL_OK) {
        return status;
    }
    if (shape.rows != 0 && shape.columns != dictionary_size(*dictionary)) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    const auto column_size = static_cast<std::size_t>(shape.rows * sizeof(entry_type)); // below shape.length
    std::size_t size = 0;
    if (!selected_table_size<Generation>(columns.size(), column_size, size)) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    malloc_ptr<table_type> table = allocate_table<table_type>(size);
    if (!table) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    }
    const int status =
        read_columns<Generation>(file, position + head_size, column_size, columns, bytes_of(table) + head_size);
    if (status != TROX_EVUTL_OK) {
        return status;
    }
    set_table_head<Generation>(table.get(), pointers_pattern, size);
    table->maxev = static_cast<decltype(table->maxev)>(shape.rows);
    *result = table.release();
    return TROX_EVUTL_OK;
}

} // namespace trox_evutl

#endif
