#include "file_layout.h"

#include "generation/traits_channel_2010.h"
#include "generation/traits_channel_2024.h"
#include "generation/traits_channel_legacy.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace trox::recovery
{
namespace
{

using trox_detail::big_endian;
using trox_detail::load_record;

template <std::size_t N> text_field text_of(const char (&field)[N])
{
    const auto length = strnlen(field, N);
    text_field result;
    result.text.assign(field, length);
    result.is_printable = length > 0 && std::all_of(field, field + length, [](char c) { return c >= ' ' && c <= '~'; });
    result.is_padded = std::all_of(field + length, field + N, [](char c) { return c == '\0'; });
    return result;
}

time_stamp time_of(time_stamp stored)
{
    return {big_endian(stored.timeup), big_endian(stored.timelow)};
}

template <class Integer> std::uint64_t position_of(Integer stored)
{
    return static_cast<std::uint64_t>(big_endian(static_cast<std::make_unsigned_t<Integer>>(stored)));
}

// What a generation has beside its records.
template <class Generation> struct marks;
template <> struct marks<trox_detail::generation_legacy> {
    static constexpr auto format = writer::generation::legacy;
    static constexpr std::uint32_t event_pattern = 0xFFEEFFEE;
    static constexpr std::uint32_t references_pattern = 0xFAEFAEF1;
    static constexpr std::uint32_t trailer_pattern = 0;
};
template <> struct marks<trox_detail::generation_2010> {
    static constexpr auto format = writer::generation::v2010;
    static constexpr std::uint32_t event_pattern = 0xFFEEFF10;
    static constexpr std::uint32_t references_pattern = 0xFAEFAEF2;
    static constexpr std::uint32_t trailer_pattern = 0x7A11F010;
};
template <> struct marks<trox_detail::generation_2024> {
    static constexpr auto format = writer::generation::v2024;
    static constexpr std::uint32_t event_pattern = 0xFFEEFF24;
    static constexpr std::uint32_t references_pattern = 0xFAEFAEF3;
    static constexpr std::uint32_t trailer_pattern = 0x7A11F024;
};

template <class Generation> class layout_for final : public file_layout
{
    using traits = trox_detail::channel_traits<Generation>;
    using stored_word = std::conditional_t<traits::basket_word == sizeof(std::uint64_t), std::uint64_t, std::uint32_t>;

public:
    const layout_sizes& sizes() const noexcept override
    {
        using update_block = typename Generation::update_block;
        static constexpr layout_sizes result{
            .word = sizeof(stored_word),
            .table_head = 2 * sizeof(stored_word),
            .pointers_head = 3 * sizeof(stored_word),
            .event_header = sizeof(typename Generation::event_header),
            .server_head = sizeof(typename Generation::server_block_head),
            .subhead = sizeof(typename Generation::subhead),
            .index_head = sizeof(typename Generation::event_index_head),
            .index_info = sizeof(typename Generation::event_info),
            .dictionary_entry = sizeof(typename Generation::chan_dictionary_entry),
            .row = sizeof(typename Generation::chan_ptr_entry),
            .references = sizeof(typename Generation::file_reference_table),
            .trailer = traits::trailer_size,
            .subhead_width = sizeof(Generation::subhead::chname),
            .update = sizeof(update_block),
            .update_width = sizeof(update_block::upd_prop),
            .event_pattern = marks<Generation>::event_pattern,
            .references_pattern = marks<Generation>::references_pattern,
            .trailer_pattern = marks<Generation>::trailer_pattern,
        };
        return result;
    }
    writer::generation generation() const noexcept override
    {
        return marks<Generation>::format;
    }
    std::uint64_t word(const unsigned char* bytes) const noexcept override
    {
        return trox_detail::load_big_endian<stored_word>(bytes);
    }
    event_values event(const unsigned char* bytes) const override
    {
        typename Generation::event_header head;
        traits::load(bytes, head);
        return {head.pattern, head.event_number, head.event_time,    head.event_type,
                head.tmask,   head.status,       head.num_svr_block, static_cast<std::uint64_t>(head.event_length)};
    }
    block_values block(const unsigned char* bytes) const override
    {
        typename Generation::server_block_head head;
        traits::load(bytes, head);
        block_values result{true,
                            head.time,
                            head.ltotal,
                            head.mpulse,
                            text_of(head.server),
                            head.tmask,
                            static_cast<std::uint32_t>(head.status),
                            head.nchan};
        if constexpr (requires { head.pattern; }) {
            constexpr std::uint64_t block_pattern = 0xFFBBFF24;
            result.has_pattern = static_cast<std::uint64_t>(head.pattern) == block_pattern;
        }
        return result;
    }
    subhead_values subhead(const unsigned char* bytes) const override
    {
        typename Generation::subhead head;
        traits::load(bytes, head);
        return {text_of(head.chname), head.dtype, static_cast<std::uint32_t>(head.error), head.ldata};
    }
    update_values update(const unsigned char* bytes) const override
    {
        const auto block = load_record<typename Generation::update_block>(bytes);
        return {text_of(block.upd_prop), time_of(block.upd_ch_time)};
    }
    row_values row(const unsigned char* bytes) const noexcept override
    {
        const auto row = load_record<typename Generation::chan_ptr_entry>(bytes);
        return {position_of(row.evhd), position_of(row.sbhd), position_of(row.chhd), position_of(row.data)};
    }
    index_head_values index_head(const unsigned char* bytes) const noexcept override
    {
        const auto head = load_record<typename Generation::event_index_head>(bytes);
        return {big_endian(head.event_type), position_of(head.length)};
    }
    index_info_values index_info(const unsigned char* bytes) const noexcept override
    {
        const auto info = load_record<typename Generation::event_info>(bytes);
        return {time_of(info.time), big_endian(info.event_number), position_of(info.offset)};
    }
    dictionary_values dictionary(const unsigned char* bytes) const override
    {
        const auto entry = load_record<typename Generation::chan_dictionary_entry>(bytes);
        return {big_endian(entry.key), text_of(entry.chan_name), big_endian(entry.ev_mask),
                big_endian(entry.dtype_mask), big_endian(entry.count)};
    }
    reference_values references(const unsigned char* bytes) const noexcept override
    {
        const auto table = load_record<typename Generation::file_reference_table>(bytes);
        reference_values result;
        result.pattern = position_of(table.pattern);
        result.length = position_of(table.length);
        result.items = {position_of(table.eit_pos_ref), position_of(table.cdt_ref),  position_of(table.ecp_ref),
                        position_of(table.eidt_ref),    position_of(table.xcd_ref),  position_of(table.evhdb_ref),
                        position_of(table.srvbb_ref),   position_of(table.chanb_ref)};
        for (std::size_t type = 0; type < result.event_entries.size(); ++type) {
            result.event_entries[type] = position_of(table.eite_pos_ref[type]);
        }
        return result;
    }
    bool is_update_type(std::int32_t dtype) const noexcept override
    {
        return traits::is_update_type(block_type(dtype));
    }
};

} // namespace

std::uint32_t pattern_of(item what) noexcept
{
    static constexpr std::array<std::uint32_t, item_count> patterns = {0xEDAEDAF3, 0xDCADCAF3, 0xECAECAF3, 0xEAAEAAF3,
                                                                       0xCDACDAF3, 0xEBAEBAF3, 0xBBABBAF3, 0xCBACBAF3};
    return patterns[static_cast<std::size_t>(what)];
}

const char* name_of(item what) noexcept
{
    static constexpr std::array<const char*, item_count> names = {
        "event index",          "channel dictionary",  "pointers table",      "environment dictionary",
        "channel descriptions", "event header basket", "server block basket", "channel basket"};
    return names[static_cast<std::size_t>(what)];
}

const file_layout& layout_of(writer::generation which)
{
    static const layout_for<trox_detail::generation_legacy> legacy;
    static const layout_for<trox_detail::generation_2010> y2010;
    static const layout_for<trox_detail::generation_2024> y2024;
    switch (which) {
    case writer::generation::legacy:
        return legacy;
    case writer::generation::v2010:
        return y2010;
    case writer::generation::v2024:
        return y2024;
    }
    throw std::logic_error("no such generation");
}

} // namespace trox::recovery
