// The records of a data file field by field: what a dump prints, and how a head is brought into host order.
#ifndef TROX_INSPECT_FIELDS_H
#define TROX_INSPECT_FIELDS_H

#include "detail/big_endian.h"
#include "event.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace trox::inspect
{

enum class field_kind { u32, i32, u64, i64, f32, time, text };

/// One field of a record as it lies in the file.
struct field {
    const char* name;
    field_kind kind;
    std::size_t offset;
    std::size_t size;  ///< bytes of one element; of a text, all its bytes
    std::size_t count; ///< elements
};

template <class Member> constexpr field_kind kind_of() noexcept
{
    if constexpr (std::is_same_v<Member, time_stamp>) {
        return field_kind::time;
    } else if constexpr (std::is_same_v<Member, float>) {
        return field_kind::f32;
    } else if constexpr (std::is_same_v<Member, char>) {
        return field_kind::text;
    } else if constexpr (sizeof(Member) == sizeof(std::uint64_t)) {
        return std::is_signed_v<Member> ? field_kind::i64 : field_kind::u64;
    } else {
        static_assert(sizeof(Member) == sizeof(std::uint32_t));
        return std::is_signed_v<Member> ? field_kind::i32 : field_kind::u32;
    }
}

template <class Member> constexpr field make_field(const char* name, std::size_t offset) noexcept
{
    using element = std::remove_extent_t<Member>;
    constexpr bool is_text = std::is_same_v<element, char>;
    return {name, kind_of<element>(), offset, is_text ? sizeof(Member) : sizeof(element),
            is_text ? 1 : sizeof(Member) / sizeof(element)};
}

// Heads that event.h declares as parts of tables, and those of the file itself.

struct file_head {
    char text[8]; ///< "TROXDAQ" and a NUL
    std::uint32_t generation;
    std::uint32_t reserved;
};
struct trailer_without_checks {
    std::uint32_t references;
};
template <class Word> struct checked_trailer {
    Word references;
    Word checksum;
    Word pattern;
};
/// Of every basket and of all tables but two.
template <class Word> struct table_head {
    Word pattern;
    Word length;
};
template <class Word> struct pointers_head {
    Word pattern;
    Word length;
    Word maxev;
};
template <class Word> struct index_head {
    Word pattern;
    Word nevent_types;
};
struct name_value_head {
    std::int32_t id;
    char comment[sizeof(trox_name_value_block::comment)];
    std::int32_t ndata;
};

/// The fields of a record in file order, as `list`.
template <class Record> struct record_fields;

#define TROX_FIELD(member) make_field<decltype(record::member)>(#member, offsetof(record, member))

template <> struct record_fields<file_head> {
    using record = file_head;
    static constexpr field list[] = {TROX_FIELD(text), TROX_FIELD(generation), TROX_FIELD(reserved)};
};
template <> struct record_fields<trailer_without_checks> {
    using record = trailer_without_checks;
    static constexpr field list[] = {TROX_FIELD(references)};
};
template <class Word> struct record_fields<checked_trailer<Word>> {
    using record = checked_trailer<Word>;
    static constexpr field list[] = {TROX_FIELD(references), TROX_FIELD(checksum), TROX_FIELD(pattern)};
};
template <class Word> struct record_fields<table_head<Word>> {
    using record = table_head<Word>;
    static constexpr field list[] = {TROX_FIELD(pattern), TROX_FIELD(length)};
};
template <class Word> struct record_fields<pointers_head<Word>> {
    using record = pointers_head<Word>;
    static constexpr field list[] = {TROX_FIELD(pattern), TROX_FIELD(length), TROX_FIELD(maxev)};
};
template <class Word> struct record_fields<index_head<Word>> {
    using record = index_head<Word>;
    static constexpr field list[] = {TROX_FIELD(pattern), TROX_FIELD(nevent_types)};
};

template <class Record> struct reference_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(pattern),      TROX_FIELD(length),   TROX_FIELD(eit_pos_ref),
                                     TROX_FIELD(eite_pos_ref), TROX_FIELD(cdt_ref),  TROX_FIELD(ecp_ref),
                                     TROX_FIELD(eidt_ref),     TROX_FIELD(xcd_ref),  TROX_FIELD(evhdb_ref),
                                     TROX_FIELD(srvbb_ref),    TROX_FIELD(chanb_ref)};
};
template <> struct record_fields<trox_file_reference_table> : reference_fields<trox_file_reference_table> {
};
template <> struct record_fields<trox_file_reference_table_2010> : reference_fields<trox_file_reference_table> {
};
template <> struct record_fields<trox_file_reference_table_2024> : reference_fields<trox_file_reference_table_2024> {
};

template <class Record> struct index_entry_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(event_type),        TROX_FIELD(event_time_first),
                                     TROX_FIELD(event_time_last),   TROX_FIELD(event_number_first),
                                     TROX_FIELD(event_number_last), TROX_FIELD(length)};
};
template <> struct record_fields<trox_event_index_entry_head> : index_entry_fields<trox_event_index_entry_head> {
};
template <>
struct record_fields<trox_event_index_entry_head_2024> : index_entry_fields<trox_event_index_entry_head_2024> {
};

template <class Record> struct event_info_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(time), TROX_FIELD(event_number), TROX_FIELD(offset)};
};
template <> struct record_fields<trox_event_info_entry> : event_info_fields<trox_event_info_entry> {
};
template <> struct record_fields<trox_event_info_entry_2024> : event_info_fields<trox_event_info_entry_2024> {
};

template <class Record> struct dictionary_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(key), TROX_FIELD(chan_name), TROX_FIELD(ev_mask),
                                     TROX_FIELD(dtype_mask), TROX_FIELD(count)};
};
template <> struct record_fields<trox_chan_dictionary_entry> : dictionary_fields<trox_chan_dictionary_entry> {
};
template <> struct record_fields<trox_chan_dictionary_entry_2010> : dictionary_fields<trox_chan_dictionary_entry_2010> {
};
template <> struct record_fields<trox_chan_dictionary_entry_2024> : dictionary_fields<trox_chan_dictionary_entry_2010> {
};

template <class Record> struct pointers_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(evhd), TROX_FIELD(sbhd), TROX_FIELD(chhd), TROX_FIELD(data)};
};
template <> struct record_fields<trox_event_chan_ptr_entry> : pointers_fields<trox_event_chan_ptr_entry> {
};
template <> struct record_fields<trox_event_chan_ptr_entry_2024> : pointers_fields<trox_event_chan_ptr_entry_2024> {
};

template <> struct record_fields<trox_env_dictionary_entry> {
    using record = trox_env_dictionary_entry;
    static constexpr field list[] = {TROX_FIELD(key), TROX_FIELD(index)};
};

template <> struct record_fields<trox_eventheader> {
    using record = trox_eventheader;
    static constexpr field list[] = {TROX_FIELD(pattern),    TROX_FIELD(event_length), TROX_FIELD(event_number),
                                     TROX_FIELD(event_type), TROX_FIELD(event_time),   TROX_FIELD(tmask),
                                     TROX_FIELD(status),     TROX_FIELD(num_svr_block)};
};
template <> struct record_fields<trox_eventheader_2024> {
    using record = trox_eventheader_2024;
    static constexpr field list[] = {TROX_FIELD(pattern),      TROX_FIELD(event_type),    TROX_FIELD(event_length),
                                     TROX_FIELD(event_number), TROX_FIELD(event_time),    TROX_FIELD(tmask),
                                     TROX_FIELD(status),       TROX_FIELD(num_svr_block), TROX_FIELD(padding)};
};

template <class Record> struct server_block_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(time),  TROX_FIELD(ltotal), TROX_FIELD(mpulse), TROX_FIELD(server),
                                     TROX_FIELD(tmask), TROX_FIELD(status), TROX_FIELD(nchan)};
};
template <> struct record_fields<trox_serv_block_head> : server_block_fields<trox_serv_block_head> {
};
template <> struct record_fields<trox_serv_block_head_2010> : server_block_fields<trox_serv_block_head_2010> {
};
template <> struct record_fields<trox_serv_block_head_2024> {
    using record = trox_serv_block_head_2024;
    static constexpr field list[] = {TROX_FIELD(pattern), TROX_FIELD(ltotal), TROX_FIELD(mpulse),
                                     TROX_FIELD(time),    TROX_FIELD(server), TROX_FIELD(tmask),
                                     TROX_FIELD(status),  TROX_FIELD(nchan),  TROX_FIELD(padding)};
};

template <class Record> struct subhead_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(chname), TROX_FIELD(dtype), TROX_FIELD(error), TROX_FIELD(ldata)};
};
template <> struct record_fields<trox_serv_block_subhead> : subhead_fields<trox_serv_block_subhead> {
};
template <> struct record_fields<trox_serv_block_subhead_2010> : subhead_fields<trox_serv_block_subhead_2010> {
};

template <> struct record_fields<trox_zip_header> {
    using record = trox_zip_header;
    static constexpr field list[] = {TROX_FIELD(zip_flags), TROX_FIELD(orig_length), TROX_FIELD(zipp_length)};
};

template <class Record> struct update_fields {
    using record = Record;
    static constexpr field list[] = {TROX_FIELD(upd_prop), TROX_FIELD(upd_ch_status), TROX_FIELD(upd_ch_time),
                                     TROX_FIELD(upd_ch_data)};
};
template <> struct record_fields<trox_upd_data_block> : update_fields<trox_upd_data_block> {
};
template <> struct record_fields<trox_upd_data_block_2010> : update_fields<trox_upd_data_block_2010> {
};

template <> struct record_fields<trox_env_data_block> {
    using record = trox_env_data_block;
    static constexpr field list[] = {TROX_FIELD(env_ch_idx), TROX_FIELD(env_ch_status), TROX_FIELD(env_ch_time),
                                     TROX_FIELD(env_ch_data)};
};
template <> struct record_fields<name_value_head> {
    using record = name_value_head;
    static constexpr field list[] = {TROX_FIELD(id), TROX_FIELD(comment), TROX_FIELD(ndata)};
};
template <> struct record_fields<trox_image_frame_head> {
    using record = trox_image_frame_head;
    static constexpr field list[] = {TROX_FIELD(w),        TROX_FIELD(h),      TROX_FIELD(bpp),
                                     TROX_FIELD(compr),    TROX_FIELD(frame),  TROX_FIELD(padding),
                                     TROX_FIELD(event_nm), TROX_FIELD(length), TROX_FIELD(padding2)};
};
template <> struct record_fields<trox_image_ext_frame_head> {
    using record = trox_image_ext_frame_head;
    static constexpr field list[] = {
        TROX_FIELD(width),          TROX_FIELD(height),  TROX_FIELD(aoi_width),     TROX_FIELD(aoi_height),
        TROX_FIELD(x_start),        TROX_FIELD(y_start), TROX_FIELD(bpp),           TROX_FIELD(ebitpp),
        TROX_FIELD(hbin),           TROX_FIELD(vbin),    TROX_FIELD(source_format), TROX_FIELD(image_format),
        TROX_FIELD(frame),          TROX_FIELD(event),   TROX_FIELD(scale_x),       TROX_FIELD(scale_y),
        TROX_FIELD(image_rotation), TROX_FIELD(fspare2), TROX_FIELD(fspare3),       TROX_FIELD(fspare4),
        TROX_FIELD(image_flags),    TROX_FIELD(ispare2), TROX_FIELD(ispare3),       TROX_FIELD(ispare4),
        TROX_FIELD(length)};
};
template <> struct record_fields<trox_spect_head> {
    using record = trox_spect_head;
    static constexpr field list[] = {TROX_FIELD(nmemb), TROX_FIELD(nsamp), TROX_FIELD(start), TROX_FIELD(inc)};
};
template <> struct record_fields<trox_spect_head_2010> {
    using record = trox_spect_head_2010;
    static constexpr field list[] = {TROX_FIELD(nmemb), TROX_FIELD(nsamp), TROX_FIELD(groups),    TROX_FIELD(code),
                                     TROX_FIELD(start), TROX_FIELD(inc),   TROX_FIELD(group_inc), TROX_FIELD(flags)};
};
template <> struct record_fields<trox_roi_head> {
    using record = trox_roi_head;
    static constexpr field list[] = {TROX_FIELD(x), TROX_FIELD(y), TROX_FIELD(width), TROX_FIELD(height)};
};
template <> struct record_fields<trox_eqdata_head> {
    using record = trox_eqdata_head;
    static constexpr field list[] = {TROX_FIELD(type), TROX_FIELD(status), TROX_FIELD(time), TROX_FIELD(length)};
};

#undef TROX_FIELD

/// Swaps one field of a record that lies in memory as in the file.
constexpr std::size_t swapped_width(field_kind kind) noexcept
{
    switch (kind) {
    case field_kind::u64:
    case field_kind::i64:
        return sizeof(std::uint64_t);
    case field_kind::u32:
    case field_kind::i32:
    case field_kind::f32:
    case field_kind::time:
        return sizeof(std::uint32_t);
    case field_kind::text:
        break;
    }
    return 0;
}

inline void swap_field(unsigned char* record, const field& field) noexcept
{
    unsigned char* const begin = record + field.offset;
    const std::size_t bytes = field.size * field.count;
    const std::size_t width = swapped_width(field.kind);
    for (std::size_t at = 0; width != 0 && at < bytes; at += width) {
        if (width == sizeof(std::uint64_t)) {
            trox_detail::store_big_endian(begin + at, trox_detail::load_record<std::uint64_t>(begin + at));
        } else {
            trox_detail::store_big_endian(begin + at, trox_detail::load_record<std::uint32_t>(begin + at));
        }
    }
}

/// The record whose bytes lie at `bytes` (any address, big-endian), in host order.
template <class Record> Record load_fields(const unsigned char* bytes) noexcept
{
    static_assert(std::is_trivially_copyable_v<Record>);
    Record record;
    std::memcpy(&record, bytes, sizeof record);
    for (const field& one : record_fields<Record>::list) {
        swap_field(reinterpret_cast<unsigned char*>(&record), one);
    }
    return record;
}

} // namespace trox::inspect

#endif
