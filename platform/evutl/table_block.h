// Reading one table into a block of its own: head checked against the file, body read in one go.
#ifndef TROX_EVUTL_TABLE_BLOCK_H
#define TROX_EVUTL_TABLE_BLOCK_H

#include "byte_swap.h"
#include "detail/big_endian.h"
#include "event_util.h"
#include "file_view.h"
#include "platform_calls.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace trox_evutl
{

/// Runs a reader's body: what its standard containers throw becomes an error code.
template <class Body> int without_exceptions(Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    } catch (...) {
        return TROX_EVUTL_DOES_NOT_FIT; // a length that a container refuses
    }
}

/// A block for a table of `size` bytes, never smaller than the record, the rest beyond `size` zeroed; null when
/// memory is exhausted.
template <class Table> malloc_ptr<Table> allocate_table(std::size_t size) noexcept
{
    const std::size_t room = size < sizeof(Table) ? sizeof(Table) : size;
    malloc_ptr<Table> table(static_cast<Table*>(calls().allocate(room)));
    if (table) {
        std::memset(reinterpret_cast<unsigned char*>(table.get()) + size, 0, room - size);
    }
    return table;
}

template <class Table> unsigned char* bytes_of(const malloc_ptr<Table>& table) noexcept
{
    return reinterpret_cast<unsigned char*>(table.get());
}

/// Reverses `count` words of the generation's width in place.
template <class Generation> void swap_generation_words(void* words, std::size_t count) noexcept
{
    if constexpr (sizeof(typename Generation::word) == sizeof(std::uint64_t)) {
        swap_words_8(words, words, count);
    } else {
        swap_words_4(words, words, count);
    }
}

/// Reads the first `Count` words at a position, into host order.
template <class Generation, std::size_t Count>
int read_words(const file_view& file, std::uint64_t position,
               std::array<typename Generation::word, Count>& words) noexcept
{
    const int status = file.read(position, words.data(), sizeof words);
    swap_generation_words<Generation>(words.data(), Count);
    return status;
}

/// Where a table lies, and what its head must say.
struct table_place {
    std::uint64_t position;
    std::uint32_t pattern;
    std::size_t head_size;
    std::size_t entry_size; ///< the body is a whole number of these
};

/// Reads a table's length and checks it: head included, a whole number of entries, inside the file.
template <class Generation>
int read_table_length(const file_view& file, const table_place& place, std::uint64_t& length) noexcept
{
    std::array<typename Generation::word, 2> head{};
    if (place.position == 0) {
        return TROX_EVUTL_DOES_NOT_FIT; // an absent table
    }
    if (const int status = read_words<Generation>(file, place.position, head); status != TROX_EVUTL_OK) {
        return status;
    }
    if (head[0] != place.pattern) {
        return TROX_EVUTL_BAD_PATTERN;
    }
    length = head[1];
    const bool fits = length >= place.head_size && length <= Generation::length_limit &&
                      length <= file.length - place.position && (length - place.head_size) % place.entry_size == 0;
    return fits ? TROX_EVUTL_OK : TROX_EVUTL_DOES_NOT_FIT;
}

/// Fills in a table's head in host order, from what was checked and not from what a second read brought.
template <class Generation, class Table>
void set_table_head(Table* table, std::uint32_t pattern, std::uint64_t length) noexcept
{
    const std::array<typename Generation::word, 2> head{pattern, static_cast<typename Generation::word>(length)};
    std::memcpy(table, head.data(), sizeof head);
}

/// Reads a whole table, its head in host order and its body as in the file; `length` receives its bytes. `convert`
/// is called with the begin and the size of each piece of the body as it arrives, in whole entries, while the piece
/// is still in the cache.
template <class Generation, class Table, class Convert>
int read_table(const file_view& file, const table_place& place, malloc_ptr<Table>& table, std::size_t& length,
               Convert convert) noexcept
{
    std::uint64_t checked_length = 0;
    if (const int status = read_table_length<Generation>(file, place, checked_length); status != TROX_EVUTL_OK) {
        return status;
    }
    length = static_cast<std::size_t>(checked_length);
    table = allocate_table<Table>(length);
    if (!table) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    }
    set_table_head<Generation>(table.get(), place.pattern, length);
    constexpr std::size_t cached_bytes = 256 * 1024;
    const std::size_t piece = cached_bytes / place.entry_size * place.entry_size;
    for (std::size_t at = place.head_size; at < length;) {
        const std::size_t size = std::min(piece, length - at);
        if (const int status = file.read(place.position + at, bytes_of(table) + at, size); status != TROX_EVUTL_OK) {
            return status;
        }
        convert(bytes_of(table) + at, size);
        at += size;
    }
    return TROX_EVUTL_OK;
}

/// A table of no entries, for a file that does without.
template <class Generation, class Table>
int make_empty_table(const table_place& place, malloc_ptr<Table>& table) noexcept
{
    table = allocate_table<Table>(place.head_size);
    if (!table) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    }
    set_table_head<Generation>(table.get(), place.pattern, place.head_size);
    return TROX_EVUTL_OK;
}

} // namespace trox_evutl

#endif
