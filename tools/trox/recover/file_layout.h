// What the generations differ in, seen from a recovery: sizes, patterns, and how heads and rows are decoded.
#ifndef TROX_RECOVER_FILE_LAYOUT_H
#define TROX_RECOVER_FILE_LAYOUT_H

#include "event.h"
#include "trox_writer_records.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace trox::recovery
{

/// The tables and baskets that the file reference table refers to.
enum class item {
    event_index,
    dictionary,
    pointers,
    environment,
    descriptions,
    event_headers,
    server_blocks,
    channel ///< a channel's basket; many
};
inline constexpr std::size_t item_count = 8;
/// Items but for channel baskets: those of which a file has one.
inline constexpr std::size_t table_count = 7;

/// The pattern at an item's beginning, equal in all generations.
std::uint32_t pattern_of(item what) noexcept;
const char* name_of(item what) noexcept;

/// Bytes of heads, rows and fields.
struct layout_sizes {
    std::size_t word;       ///< of patterns, lengths and positions in tables
    std::size_t table_head; ///< pattern and length
    std::size_t pointers_head;
    std::size_t event_header;
    std::size_t server_head;
    std::size_t subhead;
    std::size_t index_head;
    std::size_t index_info;
    std::size_t dictionary_entry;
    std::size_t row;
    std::size_t references;
    std::size_t trailer;
    std::size_t subhead_width; ///< name field of a sub-head
    std::size_t update;        ///< payload of an update record
    std::size_t update_width;  ///< name field of it
    std::uint32_t event_pattern;
    std::uint32_t references_pattern;
    std::uint32_t trailer_pattern; ///< 0: the trailer has neither pattern nor checksum
};

/// A text field: up to its NUL, or all of it.
struct text_field {
    std::string text{};
    bool is_printable = false; ///< not empty, printable ASCII
    bool is_padded = false;    ///< nothing but NULs behind the text
};

struct event_values {
    std::uint32_t pattern = 0;
    std::uint64_t number = 0;
    time_stamp time{};
    std::int64_t type = 0;
    std::int32_t tmask = 0;
    std::int32_t status = 0;
    std::int64_t blocks = 0;
    std::uint64_t length = 0;
};

struct block_values {
    bool has_pattern = true; ///< that of 2024 blocks
    time_stamp time{};
    std::int64_t ltotal = 0;
    std::int64_t mpulse = 0;
    text_field server{};
    std::int32_t tmask = 0;
    std::uint32_t status = 0;
    std::int32_t nchan = 0;
};

struct subhead_values {
    text_field name{};
    std::int32_t dtype = 0;
    std::uint32_t error = 0;
    std::int32_t ldata = 0;
    bool is_zipped() const noexcept
    {
        return (error & TROX_CHAN_ZIP_FLAG) != 0;
    }
};

struct update_values {
    text_field name{};
    time_stamp time{};
};

struct row_values {
    std::uint64_t evhd = 0, sbhd = 0, chhd = 0, data = 0;
    bool is_empty() const noexcept
    {
        return evhd == 0 && sbhd == 0 && chhd == 0 && data == 0;
    }
};

struct index_head_values {
    std::int64_t type = 0;
    std::uint64_t length = 0;
};

struct index_info_values {
    time_stamp time{};
    std::uint64_t number = 0;
    std::uint64_t offset = 0;
};

struct dictionary_values {
    std::uint32_t key = 0;
    text_field name{};
    std::uint32_t event_mask = 0;
    std::uint32_t dtype_mask = 0;
    std::int32_t count = 0;
};

struct reference_values {
    std::uint64_t pattern = 0;
    std::uint64_t length = 0;
    std::array<std::uint64_t, item_count> items{}; ///< of channel baskets the first
    std::array<std::uint64_t, trox_event_type_count> event_entries{};
};

/// Decodes the records of one generation; every argument points at as many bytes as the record has. Stateless.
class file_layout
{
public:
    virtual ~file_layout() = default;
    virtual const layout_sizes& sizes() const noexcept = 0;
    virtual writer::generation generation() const noexcept = 0;
    virtual std::uint64_t word(const unsigned char*) const noexcept = 0;
    virtual event_values event(const unsigned char*) const = 0;
    virtual block_values block(const unsigned char*) const = 0;
    virtual subhead_values subhead(const unsigned char*) const = 0;
    virtual update_values update(const unsigned char*) const = 0;
    virtual row_values row(const unsigned char*) const noexcept = 0;
    virtual index_head_values index_head(const unsigned char*) const noexcept = 0;
    virtual index_info_values index_info(const unsigned char*) const noexcept = 0;
    virtual dictionary_values dictionary(const unsigned char*) const = 0;
    virtual reference_values references(const unsigned char*) const noexcept = 0;
    /// Block types whose plain data may lie away from the sub-head: update, begin and end of run.
    virtual bool is_update_type(std::int32_t dtype) const noexcept = 0;
};

const file_layout& layout_of(writer::generation);

/// `dtype` without the bits above the block type.
constexpr std::int32_t block_type(std::int32_t dtype) noexcept
{
    return dtype & 0xFFFF;
}

/// True for a time whose microseconds are some.
constexpr bool is_time(time_stamp time) noexcept
{
    return time.timelow <= 999999;
}

constexpr bool same_time(time_stamp a, time_stamp b) noexcept
{
    return a.timeup == b.timeup && a.timelow == b.timelow;
}

} // namespace trox::recovery

#endif
