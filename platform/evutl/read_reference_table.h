// Reader of the file reference table, written once for all generations.
#ifndef TROX_EVUTL_READ_REFERENCE_TABLE_H
#define TROX_EVUTL_READ_REFERENCE_TABLE_H

#include "generation.h"
#include "table_block.h"

#include <zlib.h>

namespace trox_evutl
{

/// The file with its last bytes at hand: what lies in them is copied, the rest is read.
struct mapped_tail {
    file_view file;
    const unsigned char* bytes;
    std::uint64_t size;

    int read(std::uint64_t position, void* destination, std::size_t count) const noexcept
    {
        const std::uint64_t begin = file.length - size;
        if (!trox_detail::range_fits(position, count, begin, size)) {
            return file.read(position, destination, count);
        }
        std::memcpy(destination, bytes + (position - begin), count);
        return TROX_EVUTL_OK;
    }
};

/// What the end of a file says about its reference table.
struct reference_place {
    std::uint64_t position;
    std::uint64_t checksum; ///< meaningless in a generation without one
};

template <class Generation> inline constexpr std::size_t trailer_words = Generation::has_checked_trailer ? 3 : 1;
template <class Generation>
inline constexpr std::size_t trailer_size = trailer_words<Generation> * sizeof(typename Generation::word);

template <class Generation> int read_trailer(const mapped_tail& tail, reference_place& place) noexcept
{
    constexpr std::size_t size = trailer_size<Generation>;
    using table = typename Generation::reference_table;
    if (tail.file.length < size) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    std::array<typename Generation::word, trailer_words<Generation>> words{};
    const std::uint64_t end_of_tables = tail.file.length - size;
    if (const int status = tail.read(end_of_tables, words.data(), size); status != TROX_EVUTL_OK) {
        return status;
    }
    swap_generation_words<Generation>(words.data(), words.size());
    place.position = words[0];
    if constexpr (Generation::has_checked_trailer) {
        place.checksum = words[1];
        if (words[2] != Generation::trailer_pattern) {
            return TROX_EVUTL_BAD_PATTERN;
        }
    }
    const bool fits = place.position != 0 && trox_detail::range_fits(place.position, sizeof(table), 0, end_of_tables);
    return fits ? TROX_EVUTL_OK : TROX_EVUTL_DOES_NOT_FIT;
}

template <class Generation>
bool checksum_matches(const typename Generation::reference_table& raw, std::uint64_t expected) noexcept
{
    if constexpr (Generation::has_checked_trailer) {
        const auto* bytes = reinterpret_cast<const Bytef*>(&raw);
        return crc32(crc32(0, nullptr, 0), bytes, static_cast<uInt>(sizeof raw)) == expected;
    } else {
        return true;
    }
}

template <class Generation>
int read_reference_table(const unsigned char* map, std::uint64_t map_length, std::uint64_t file_length, int descriptor,
                         typename Generation::reference_table** result) noexcept
{
    using table_type = typename Generation::reference_table;
    if (map == nullptr || result == nullptr || map_length > file_length) {
        return TROX_EVUTL_INV_PARAM;
    }
    const mapped_tail tail{{file_length, descriptor}, map, map_length};
    reference_place place{};
    if (const int status = read_trailer<Generation>(tail, place); status != TROX_EVUTL_OK) {
        return status;
    }
    malloc_ptr<table_type> table = allocate_table<table_type>(sizeof(table_type));
    if (!table) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    }
    if (const int status = tail.read(place.position, table.get(), sizeof(table_type)); status != TROX_EVUTL_OK) {
        return status;
    }
    if (!checksum_matches<Generation>(*table, place.checksum)) {
        return TROX_EVUTL_BAD_PATTERN;
    }
    swap_generation_words<Generation>(table.get(), sizeof(table_type) / sizeof(typename Generation::word));
    if (table->pattern != Generation::reference_pattern) {
        return TROX_EVUTL_BAD_PATTERN;
    }
    if (static_cast<std::uint64_t>(table->length) != sizeof(table_type)) {
        return TROX_EVUTL_DOES_NOT_FIT;
    }
    *result = table.release();
    return TROX_EVUTL_OK;
}

} // namespace trox_evutl

#endif
