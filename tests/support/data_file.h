// A data file in memory whose tables and heads a test changes before it is written.
#ifndef TROX_TEST_DATA_FILE_H
#define TROX_TEST_DATA_FILE_H

#include "detail/big_endian.h"
#include "sample_files.h"
#include "trox_writer.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>
#include <zlib.h>

namespace trox_test
{

/// One pointers table row, as positions in the file.
struct row_positions {
    std::uint64_t evhd = 0;
    std::uint64_t sbhd = 0;
    std::uint64_t chhd = 0;
    std::uint64_t data = 0;
};

/// The bytes of a file of generation `T` (see channel_types.h) and where everything lies in it.
template <class T> class data_file
{
public:
    using word = typename T::word;

    data_file() = default;
    data_file(const std::string& path, const trox::writer::file_map& map) : map_(map), bytes_(read_bytes(path)) {}

    const trox::writer::file_map& map() const
    {
        return map_;
    }
    std::vector<std::uint8_t>& bytes()
    {
        return bytes_;
    }

    template <class Integer> Integer get(std::uint64_t position) const
    {
        return trox_detail::load_big_endian<Integer>(&bytes_.at(position));
    }
    template <class Integer> void put(std::uint64_t position, Integer value)
    {
        if (sizeof value > bytes_.size() - position) {
            throw std::out_of_range("outside the test's file");
        }
        trox_detail::store_big_endian(&bytes_[position], value);
    }
    void put_word(std::uint64_t position, std::uint64_t value)
    {
        put(position, static_cast<word>(value));
    }

    /// Changes a reference and makes the trailer's checksum, where it has one, right again.
    void put_reference(std::size_t offset, std::uint64_t value)
    {
        put_word(map_.references.position + offset, value);
        if (!T::has_trailer_checks) {
            return;
        }
        const auto* table = &bytes_[map_.references.position];
        put_word(map_.trailer.position + sizeof(word),
                 crc32(crc32(0, nullptr, 0), table, static_cast<uInt>(map_.references.length)));
    }

    std::size_t rows() const
    {
        return static_cast<std::size_t>(get<word>(map_.pointers.position + 2 * sizeof(word)));
    }
    std::uint64_t row_position(std::size_t column, std::size_t row) const
    {
        return map_.pointers.position + 3 * sizeof(word) + (column * rows() + row) * 4 * sizeof(word);
    }
    row_positions row(std::size_t column, std::size_t row_index) const
    {
        const std::uint64_t at = row_position(column, row_index);
        return {get<word>(at), get<word>(at + sizeof(word)), get<word>(at + 2 * sizeof(word)),
                get<word>(at + 3 * sizeof(word))};
    }
    void put_row(std::size_t column, std::size_t row_index, const row_positions& row)
    {
        std::uint64_t at = row_position(column, row_index);
        for (const std::uint64_t position : {row.evhd, row.sbhd, row.chhd, row.data}) {
            put_word(at, position);
            at += sizeof(word);
        }
    }
    std::uint64_t dictionary_position(std::size_t column) const
    {
        return map_.channel_dictionary.position + 2 * sizeof(word) + column * sizeof(typename T::dictionary_entry);
    }

    void write(const std::string& path) const
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(bytes_.data()), static_cast<std::streamsize>(bytes_.size()));
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + path);
        }
    }

private:
    trox::writer::file_map map_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace trox_test

#endif
