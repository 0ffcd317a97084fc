#include "format.h"

#include <zlib.h>

namespace trox::writer
{
namespace
{

constexpr std::uint64_t signed_32_max = std::numeric_limits<std::int32_t>::max();
constexpr std::uint64_t unsigned_32_max = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t signed_64_max = std::numeric_limits<std::int64_t>::max();

void put_time(byte_buffer& out, time_stamp time)
{
    out.put(time.timeup);
    out.put(time.timelow);
}

std::uint32_t checksum(const byte_buffer& bytes)
{
    return static_cast<std::uint32_t>(crc32(crc32(0, nullptr, 0), bytes.data(), static_cast<uInt>(bytes.size())));
}

// What legacy and 2010 share: 32-bit words, and heads that differ in name widths only.
struct narrow_traits {
    using word = std::uint32_t;
    using event_header = trox_eventheader;
    using index_head = trox_event_index_entry_head;
    using index_info = trox_event_info_entry;
    using pointers_entry = trox_event_chan_ptr_entry;
    using references = trox_file_reference_table;
    static constexpr std::uint64_t max_file = unsigned_32_max + 1;
    static constexpr std::uint64_t max_table = signed_32_max;
    static constexpr std::uint64_t max_event = unsigned_32_max;
    static constexpr std::uint64_t max_number = unsigned_32_max;
    static constexpr std::int64_t min_mpulse = std::numeric_limits<std::int32_t>::min();
    static constexpr std::int64_t max_mpulse = std::numeric_limits<std::int32_t>::max();

    static void put_event_header(byte_buffer& out, std::uint32_t pattern, const event_header_values& head)
    {
        out.put(pattern);
        out.put(static_cast<std::uint32_t>(head.length));
        out.put(static_cast<std::uint32_t>(head.event.number));
        out.put(head.event.type);
        put_time(out, head.event.time);
        out.put(head.event.tmask);
        out.put(head.event.status);
        out.put(head.blocks);
    }
    static void put_server_head(byte_buffer& out, const server_head_values& head, std::size_t width)
    {
        put_time(out, head.time);
        out.put(static_cast<std::int32_t>(head.ltotal));
        out.put(static_cast<std::int32_t>(head.mpulse));
        out.put_text(head.name, width);
        out.put(head.tmask);
        out.put(head.status);
        out.put(head.channels);
    }
};

struct legacy_traits : narrow_traits {
    using server_head = trox_serv_block_head;
    using subhead = trox_serv_block_subhead;
    using dictionary_entry = trox_chan_dictionary_entry;
    static constexpr std::uint32_t event_pattern = 0xFFEEFFEE;
    static constexpr word references_pattern = 0xFAEFAEF1;
    static constexpr std::array<std::int32_t, 3> update_types = {TROX_UPD_BLOCK, TROX_BOR_BLOCK, TROX_EOR_BLOCK};
    static constexpr std::size_t update_size = sizeof(trox_upd_data_block);
    static constexpr std::size_t trailer = sizeof(word);

    static void put_trailer(byte_buffer& out, std::uint64_t position, const byte_buffer&)
    {
        out.put(static_cast<word>(position));
    }
};

struct traits_2010 : narrow_traits {
    using server_head = trox_serv_block_head_2010;
    using subhead = trox_serv_block_subhead_2010;
    using dictionary_entry = trox_chan_dictionary_entry_2010;
    static constexpr std::uint32_t event_pattern = 0xFFEEFF10;
    static constexpr word references_pattern = 0xFAEFAEF2;
    static constexpr std::array<std::int32_t, 3> update_types = {TROX_UPD_BLOCK_2010, TROX_BOR_BLOCK_2010,
                                                                 TROX_EOR_BLOCK_2010};
    static constexpr std::size_t update_size = sizeof(trox_upd_data_block_2010);
    static constexpr std::size_t trailer = 3 * sizeof(word);

    static void put_trailer(byte_buffer& out, std::uint64_t position, const byte_buffer& references)
    {
        out.put(static_cast<word>(position));
        out.put(word{checksum(references)});
        out.put(word{0x7A11F010});
    }
};

struct traits_2024 {
    using word = std::uint64_t;
    using event_header = trox_eventheader_2024;
    using server_head = trox_serv_block_head_2024;
    using subhead = trox_serv_block_subhead_2010;
    using dictionary_entry = trox_chan_dictionary_entry_2024;
    using index_head = trox_event_index_entry_head_2024;
    using index_info = trox_event_info_entry_2024;
    using pointers_entry = trox_event_chan_ptr_entry_2024;
    using references = trox_file_reference_table_2024;
    static constexpr std::uint32_t event_pattern = 0xFFEEFF24;
    static constexpr word references_pattern = 0xFAEFAEF3;
    static constexpr std::array<std::int32_t, 3> update_types = traits_2010::update_types;
    static constexpr std::size_t update_size = traits_2010::update_size;
    static constexpr std::size_t trailer = 3 * sizeof(word);
    static constexpr std::uint64_t max_file = signed_64_max;
    static constexpr std::uint64_t max_table = signed_64_max;
    static constexpr std::uint64_t max_event = signed_64_max;
    static constexpr std::uint64_t max_number = std::numeric_limits<std::uint64_t>::max();
    static constexpr std::int64_t min_mpulse = std::numeric_limits<std::int64_t>::min();
    static constexpr std::int64_t max_mpulse = std::numeric_limits<std::int64_t>::max();

    static void put_event_header(byte_buffer& out, std::uint32_t pattern, const event_header_values& head)
    {
        out.put(pattern);
        out.put(head.event.type);
        out.put(head.length);
        out.put(head.event.number);
        put_time(out, head.event.time);
        out.put(head.event.tmask);
        out.put(head.event.status);
        out.put(head.blocks);
        out.put(std::uint32_t{0});
    }
    static void put_server_head(byte_buffer& out, const server_head_values& head, std::size_t width)
    {
        out.put(std::uint64_t{0xFFBBFF24});
        out.put(head.ltotal);
        out.put(head.mpulse);
        put_time(out, head.time);
        out.put_text(head.name, width);
        out.put(head.tmask);
        out.put(head.status);
        out.put(head.channels);
        out.put(std::uint32_t{0});
    }
    static void put_trailer(byte_buffer& out, std::uint64_t position, const byte_buffer& references)
    {
        out.put(word{position});
        out.put(word{checksum(references)});
        out.put(word{0x7A11F024});
    }
};

template <class Traits> constexpr format_sizes sizes_of()
{
    return {.table_head = 2 * sizeof(typename Traits::word),
            .pointers_head = 3 * sizeof(typename Traits::word),
            .event_header = sizeof(typename Traits::event_header),
            .server_head = sizeof(typename Traits::server_head),
            .subhead = sizeof(typename Traits::subhead),
            .index_head = sizeof(typename Traits::index_head),
            .index_info = sizeof(typename Traits::index_info),
            .dictionary_entry = sizeof(typename Traits::dictionary_entry),
            .pointers_entry = sizeof(typename Traits::pointers_entry),
            .references = sizeof(typename Traits::references),
            .trailer = Traits::trailer,
            .server_width = sizeof(Traits::server_head::server),
            .subhead_width = sizeof(Traits::subhead::chname),
            .dictionary_width = sizeof(Traits::dictionary_entry::chan_name),
            .max_file = Traits::max_file,
            .max_table = Traits::max_table,
            .max_event = Traits::max_event,
            .max_block = Traits::max_table,
            .max_number = Traits::max_number,
            .min_mpulse = Traits::min_mpulse,
            .max_mpulse = Traits::max_mpulse,
            .update_types = Traits::update_types,
            .update_size = Traits::update_size};
}

template <class Traits> class format_for final : public format
{
    using word = typename Traits::word;

public:
    const format_sizes& sizes() const noexcept override
    {
        static constexpr format_sizes sizes = sizes_of<Traits>();
        return sizes;
    }
    void put_word(byte_buffer& out, std::uint64_t value) const override
    {
        out.put(static_cast<word>(value));
    }
    void put_table_head(byte_buffer& out, table_pattern pattern, std::uint64_t length) const override
    {
        put_word(out, static_cast<std::uint32_t>(pattern));
        put_word(out, length);
    }
    void put_event_header(byte_buffer& out, const event_header_values& head) const override
    {
        Traits::put_event_header(out, Traits::event_pattern, head);
    }
    void put_server_head(byte_buffer& out, const server_head_values& head) const override
    {
        Traits::put_server_head(out, head, sizes().server_width);
    }
    void put_index_head(byte_buffer& out, const index_head_values& head) const override
    {
        put_word(out, static_cast<std::uint64_t>(head.type));
        put_time(out, head.first_time);
        put_time(out, head.last_time);
        put_word(out, head.first_number);
        put_word(out, head.last_number);
        put_word(out, head.length);
    }
    void put_index_info(byte_buffer& out, time_stamp time, std::uint64_t number, std::uint64_t offset) const override
    {
        put_time(out, time);
        put_word(out, number);
        put_word(out, offset);
    }
    void put_references(byte_buffer& out, const reference_values& at) const override
    {
        put_word(out, Traits::references_pattern);
        put_word(out, sizes().references);
        put_word(out, at.event_index);
        for (const auto position : at.event_entries) {
            put_word(out, position);
        }
        for (const auto position : {at.dictionary, at.pointers, at.environment, at.descriptions, at.event_headers,
                                    at.server_blocks, at.channel}) {
            put_word(out, position);
        }
    }
    void put_trailer(byte_buffer& out, std::uint64_t position, const byte_buffer& references) const override
    {
        Traits::put_trailer(out, position, references);
    }
};

} // namespace

void format::put_subhead(byte_buffer& out, const subhead_values& head) const
{
    // A channel's sub-head carries its name without sub-channel.
    out.put_text(head.name.substr(0, head.name.find(':')), sizes().subhead_width);
    out.put(head.dtype);
    out.put(head.error);
    out.put(head.ldata);
}

void format::put_dictionary_entry(byte_buffer& out, const dictionary_values& entry) const
{
    out.put(entry.key);
    out.put_text(entry.name, sizes().dictionary_width);
    out.put(entry.event_mask);
    out.put(entry.dtype_mask);
    out.put(entry.count);
}

void format::put_pointers(byte_buffer& out, const pointers_values& row) const
{
    put_word(out, row.event);
    put_word(out, row.block);
    put_word(out, row.subhead);
    put_word(out, row.data);
}

const format& format_of(generation which)
{
    static const format_for<legacy_traits> legacy;
    static const format_for<traits_2010> y2010;
    static const format_for<traits_2024> y2024;
    switch (which) {
    case generation::legacy:
        return legacy;
    case generation::v2010:
        return y2010;
    case generation::v2024:
        return y2024;
    }
    throw error(fault::bad_value, "unknown file generation " + std::to_string(static_cast<std::uint32_t>(which)));
}

} // namespace trox::writer
