// What the three generations differ in: sizes, limits, and how heads and table rows are encoded.
#ifndef TROX_WRITER_FORMAT_H
#define TROX_WRITER_FORMAT_H

#include "byte_buffer.h"
#include "trox_writer.h"

#include <array>
#include <cstdint>
#include <limits>

namespace trox::writer
{

/// Patterns at the beginning of tables and baskets, equal in all generations.
enum class table_pattern : std::uint32_t {
    event_index = 0xEDAEDAF3,
    channel_dictionary = 0xDCADCAF3,
    pointers = 0xECAECAF3,
    environment = 0xEAAEAAF3,
    descriptions = 0xCDACDAF3,
    event_headers = 0xEBAEBAF3,
    server_blocks = 0xBBABBAF3,
    channel = 0xCBACBAF3,
};

inline constexpr std::size_t file_head_size = 16;
inline constexpr std::size_t environment_entry_size = 8;
inline constexpr std::size_t zip_head_size = sizeof(trox_zip_header);
/// The largest `ldata`: a sub-head's length is a signed 32-bit number in every generation.
inline constexpr std::uint64_t max_record_length = std::numeric_limits<std::int32_t>::max();

/// Sizes in bytes of a generation's heads, rows and fields, and its limits.
struct format_sizes {
    std::size_t table_head;    ///< pattern and length, of tables and baskets
    std::size_t pointers_head; ///< pattern, length, maxev
    std::size_t event_header;
    std::size_t server_head;
    std::size_t subhead;
    std::size_t index_head;
    std::size_t index_info;
    std::size_t dictionary_entry;
    std::size_t pointers_entry;
    std::size_t references;
    std::size_t trailer;
    std::size_t server_width;     ///< name field of a server block head
    std::size_t subhead_width;    ///< name field of a sub-head
    std::size_t dictionary_width; ///< name field of a dictionary entry
    std::uint64_t max_file;
    std::uint64_t max_table; ///< largest `length` of a table or basket
    std::uint64_t max_event; ///< largest `event_length`
    std::uint64_t max_block; ///< largest `ltotal`
    std::uint64_t max_number;
    std::int64_t min_mpulse;
    std::int64_t max_mpulse;
    std::array<std::int32_t, 3> update_types; ///< update, begin of run, end of run
    std::size_t update_size;                  ///< payload of those
};

struct event_header_values {
    event_info event;
    std::uint64_t length;
    std::uint32_t blocks;
};

struct server_head_values {
    std::string_view name;
    time_stamp time;
    std::uint64_t ltotal;
    std::int64_t mpulse;
    std::int32_t tmask;
    std::uint32_t status;
    std::uint32_t channels;
};

struct subhead_values {
    std::string_view name;
    std::int32_t dtype;
    std::uint32_t error;
    std::int32_t ldata;
};

struct index_head_values {
    std::int32_t type;
    time_stamp first_time, last_time;
    std::uint64_t first_number, last_number;
    std::uint64_t length;
};

struct dictionary_values {
    std::uint32_t key;
    std::string_view name;
    std::uint32_t event_mask;
    std::uint32_t dtype_mask;
    std::int32_t count;
};

struct pointers_values {
    std::uint64_t event, block, subhead, data;
};

/// Positions in the file reference table; 0 for what is absent.
struct reference_values {
    std::uint64_t event_index;
    std::array<std::uint64_t, trox_event_type_count> event_entries;
    std::uint64_t dictionary, pointers, environment, descriptions, event_headers, server_blocks, channel;
};

/// Encodes the records of one generation. Stateless.
class format
{
public:
    virtual ~format() = default;
    virtual const format_sizes& sizes() const noexcept = 0;
    virtual void put_table_head(byte_buffer&, table_pattern, std::uint64_t length) const = 0;
    virtual void put_word(byte_buffer&, std::uint64_t value) const = 0;
    virtual void put_event_header(byte_buffer&, const event_header_values&) const = 0;
    virtual void put_server_head(byte_buffer&, const server_head_values&) const = 0;
    virtual void put_index_head(byte_buffer&, const index_head_values&) const = 0;
    virtual void put_index_info(byte_buffer&, time_stamp, std::uint64_t number, std::uint64_t offset) const = 0;
    virtual void put_references(byte_buffer&, const reference_values&) const = 0;
    /// `references`: the encoded file reference table at `position`.
    virtual void put_trailer(byte_buffer&, std::uint64_t position, const byte_buffer& references) const = 0;

    void put_subhead(byte_buffer&, const subhead_values&) const;
    void put_dictionary_entry(byte_buffer&, const dictionary_values&) const;
    void put_pointers(byte_buffer&, const pointers_values&) const;
};

const format& format_of(generation);

} // namespace trox::writer

#endif
