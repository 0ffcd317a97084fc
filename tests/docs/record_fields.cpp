// The on-disk records of event.h, member by member.
#include "record_fields.h"

#include "event.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

// Members that a generation inherits: offsetof is supported by the compilers that this library builds with.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace trox_test
{

namespace
{

/// How a page writes the name of a type.
template <class T> std::string name_of();

#define NAMED(type, text)                                                                                              \
    template <> std::string name_of<type>()                                                                            \
    {                                                                                                                  \
        return text;                                                                                                   \
    }
NAMED(std::uint32_t, "u32")
NAMED(std::int32_t, "i32")
NAMED(std::uint64_t, "u64")
NAMED(std::int64_t, "i64")
NAMED(float, "f32")
NAMED(unsigned char, "u8")
#define RECORD(type) NAMED(type, #type)
RECORD(char)
RECORD(time_stamp)
RECORD(trox_chan_dictionary_entry)
RECORD(trox_chan_dictionary_entry_2010)
RECORD(trox_chan_dictionary_entry_2024)
RECORD(trox_env_dictionary_entry)
RECORD(trox_event_chan_ptr_entry)
RECORD(trox_event_chan_ptr_entry_2024)
RECORD(trox_event_index_entry)
RECORD(trox_event_index_entry_2024)
RECORD(trox_event_index_entry_head)
RECORD(trox_event_index_entry_head_2024)
RECORD(trox_event_info_entry)
RECORD(trox_event_info_entry_2024)
RECORD(trox_eventheader)
RECORD(trox_eventheader_2024)
RECORD(trox_image_ext_frame_head)
RECORD(trox_image_frame_head)
RECORD(trox_name_value_channel)
RECORD(trox_serv_block_head)
RECORD(trox_serv_block_head_2010)
RECORD(trox_serv_block_head_2024)
RECORD(trox_serv_block_subhead)
RECORD(trox_serv_block_subhead_2010)

/// How a page writes a member's type: u32, char[80], u64[32], or the name of a record.
template <class T> std::string type_text()
{
    if constexpr (std::is_array_v<T>) {
        return name_of<std::remove_extent_t<T>>() + '[' + std::to_string(std::extent_v<T>) + ']';
    } else {
        return name_of<T>();
    }
}

template <class T> field_layout field(const char* name, std::size_t offset)
{
    return {name, offset, sizeof(T), type_text<T>(), false};
}

template <class T> field_layout tail(const char* name, std::size_t offset)
{
    return {name, offset, sizeof(T), name_of<std::remove_extent_t<T>>() + "[]", true};
}

#define FIELD(member) field<decltype(R::member)>(#member, offsetof(R, member))
#define TAIL(member) tail<decltype(R::member)>(#member, offsetof(R, member))

} // namespace

std::vector<record_layout> on_disk_records()
{
    std::vector<record_layout> records;
    {
        using R = time_stamp;
        records.push_back({"time_stamp", sizeof(R), alignof(R), {FIELD(timeup), FIELD(timelow)}});
    }
    {
        using R = trox_eventheader;
        records.push_back({"trox_eventheader",
                           sizeof(R),
                           alignof(R),
                           {FIELD(pattern), FIELD(event_length), FIELD(event_number), FIELD(event_type),
                            FIELD(event_time), FIELD(tmask), FIELD(status), FIELD(num_svr_block)}});
    }
    {
        using R = trox_eventheader_2024;
        records.push_back({"trox_eventheader_2024",
                           sizeof(R),
                           alignof(R),
                           {FIELD(pattern), FIELD(event_type), FIELD(event_length), FIELD(event_number),
                            FIELD(event_time), FIELD(tmask), FIELD(status), FIELD(num_svr_block), FIELD(padding)}});
    }
    {
        using R = trox_serv_block_head;
        records.push_back(
            {"trox_serv_block_head",
             sizeof(R),
             alignof(R),
             {FIELD(time), FIELD(ltotal), FIELD(mpulse), FIELD(server), FIELD(tmask), FIELD(status), FIELD(nchan)}});
    }
    {
        using R = trox_serv_block_head_2010;
        records.push_back(
            {"trox_serv_block_head_2010",
             sizeof(R),
             alignof(R),
             {FIELD(time), FIELD(ltotal), FIELD(mpulse), FIELD(server), FIELD(tmask), FIELD(status), FIELD(nchan)}});
    }
    {
        using R = trox_serv_block_head_2024;
        records.push_back({"trox_serv_block_head_2024",
                           sizeof(R),
                           alignof(R),
                           {FIELD(pattern), FIELD(ltotal), FIELD(mpulse), FIELD(time), FIELD(server), FIELD(tmask),
                            FIELD(status), FIELD(nchan), FIELD(padding)}});
    }
    {
        using R = trox_serv_block_subhead;
        records.push_back({"trox_serv_block_subhead",
                           sizeof(R),
                           alignof(R),
                           {FIELD(chname), FIELD(dtype), FIELD(error), FIELD(ldata)}});
    }
    {
        using R = trox_serv_block_subhead_2010;
        records.push_back({"trox_serv_block_subhead_2010",
                           sizeof(R),
                           alignof(R),
                           {FIELD(chname), FIELD(dtype), FIELD(error), FIELD(ldata)}});
    }
    {
        using R = trox_zip_header;
        records.push_back(
            {"trox_zip_header", sizeof(R), alignof(R), {FIELD(zip_flags), FIELD(orig_length), FIELD(zipp_length)}});
    }
    {
        using R = trox_file_reference_table;
        records.push_back(
            {"trox_file_reference_table",
             sizeof(R),
             alignof(R),
             {FIELD(pattern), FIELD(length), FIELD(eit_pos_ref), FIELD(eite_pos_ref), FIELD(cdt_ref), FIELD(ecp_ref),
              FIELD(eidt_ref), FIELD(xcd_ref), FIELD(evhdb_ref), FIELD(srvbb_ref), FIELD(chanb_ref)}});
    }
    {
        using R = trox_file_reference_table_2010;
        records.push_back(
            {"trox_file_reference_table_2010",
             sizeof(R),
             alignof(R),
             {FIELD(pattern), FIELD(length), FIELD(eit_pos_ref), FIELD(eite_pos_ref), FIELD(cdt_ref), FIELD(ecp_ref),
              FIELD(eidt_ref), FIELD(xcd_ref), FIELD(evhdb_ref), FIELD(srvbb_ref), FIELD(chanb_ref)}});
    }
    {
        using R = trox_file_reference_table_2024;
        records.push_back(
            {"trox_file_reference_table_2024",
             sizeof(R),
             alignof(R),
             {FIELD(pattern), FIELD(length), FIELD(eit_pos_ref), FIELD(eite_pos_ref), FIELD(cdt_ref), FIELD(ecp_ref),
              FIELD(eidt_ref), FIELD(xcd_ref), FIELD(evhdb_ref), FIELD(srvbb_ref), FIELD(chanb_ref)}});
    }
    {
        using R = trox_event_info_entry;
        records.push_back(
            {"trox_event_info_entry", sizeof(R), alignof(R), {FIELD(time), FIELD(event_number), FIELD(offset)}});
    }
    {
        using R = trox_event_info_entry_2024;
        records.push_back(
            {"trox_event_info_entry_2024", sizeof(R), alignof(R), {FIELD(time), FIELD(event_number), FIELD(offset)}});
    }
    {
        using R = trox_event_index_entry_head;
        records.push_back({"trox_event_index_entry_head",
                           sizeof(R),
                           alignof(R),
                           {FIELD(event_type), FIELD(event_time_first), FIELD(event_time_last),
                            FIELD(event_number_first), FIELD(event_number_last), FIELD(length)}});
    }
    {
        using R = trox_event_index_entry_head_2024;
        records.push_back({"trox_event_index_entry_head_2024",
                           sizeof(R),
                           alignof(R),
                           {FIELD(event_type), FIELD(event_time_first), FIELD(event_time_last),
                            FIELD(event_number_first), FIELD(event_number_last), FIELD(length)}});
    }
    {
        using R = trox_event_index_entry;
        records.push_back({"trox_event_index_entry", sizeof(R), alignof(R), {FIELD(head), TAIL(info)}});
    }
    {
        using R = trox_event_index_entry_2024;
        records.push_back({"trox_event_index_entry_2024", sizeof(R), alignof(R), {FIELD(head), TAIL(info)}});
    }
    {
        using R = trox_event_index_table;
        records.push_back(
            {"trox_event_index_table", sizeof(R), alignof(R), {FIELD(pattern), FIELD(nevent_types), TAIL(entries)}});
    }
    {
        using R = trox_event_index_table_2010;
        records.push_back({"trox_event_index_table_2010",
                           sizeof(R),
                           alignof(R),
                           {FIELD(pattern), FIELD(nevent_types), TAIL(entries)}});
    }
    {
        using R = trox_event_index_table_2024;
        records.push_back({"trox_event_index_table_2024",
                           sizeof(R),
                           alignof(R),
                           {FIELD(pattern), FIELD(nevent_types), TAIL(entries)}});
    }
    {
        using R = trox_chan_dictionary_entry;
        records.push_back({"trox_chan_dictionary_entry",
                           sizeof(R),
                           alignof(R),
                           {FIELD(key), FIELD(chan_name), FIELD(ev_mask), FIELD(dtype_mask), FIELD(count)}});
    }
    {
        using R = trox_chan_dictionary_entry_2010;
        records.push_back({"trox_chan_dictionary_entry_2010",
                           sizeof(R),
                           alignof(R),
                           {FIELD(key), FIELD(chan_name), FIELD(ev_mask), FIELD(dtype_mask), FIELD(count)}});
    }
    {
        using R = trox_chan_dictionary_entry_2024;
        records.push_back({"trox_chan_dictionary_entry_2024",
                           sizeof(R),
                           alignof(R),
                           {FIELD(key), FIELD(chan_name), FIELD(ev_mask), FIELD(dtype_mask), FIELD(count)}});
    }
    {
        using R = trox_chan_dictionary_table;
        records.push_back(
            {"trox_chan_dictionary_table", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(entries)}});
    }
    {
        using R = trox_chan_dictionary_table_2010;
        records.push_back(
            {"trox_chan_dictionary_table_2010", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(entries)}});
    }
    {
        using R = trox_chan_dictionary_table_2024;
        records.push_back(
            {"trox_chan_dictionary_table_2024", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(entries)}});
    }
    {
        using R = trox_event_chan_ptr_entry;
        records.push_back(
            {"trox_event_chan_ptr_entry", sizeof(R), alignof(R), {FIELD(evhd), FIELD(sbhd), FIELD(chhd), FIELD(data)}});
    }
    {
        using R = trox_event_chan_ptr_entry_2024;
        records.push_back({"trox_event_chan_ptr_entry_2024",
                           sizeof(R),
                           alignof(R),
                           {FIELD(evhd), FIELD(sbhd), FIELD(chhd), FIELD(data)}});
    }
    {
        using R = trox_event_chan_pointers_table;
        records.push_back({"trox_event_chan_pointers_table",
                           sizeof(R),
                           alignof(R),
                           {FIELD(pattern), FIELD(length), FIELD(maxev), TAIL(entries)}});
    }
    {
        using R = trox_event_chan_pointers_table_2024;
        records.push_back({"trox_event_chan_pointers_table_2024",
                           sizeof(R),
                           alignof(R),
                           {FIELD(pattern), FIELD(length), FIELD(maxev), TAIL(entries)}});
    }
    {
        using R = trox_env_dictionary_entry;
        records.push_back({"trox_env_dictionary_entry", sizeof(R), alignof(R), {FIELD(key), FIELD(index)}});
    }
    {
        using R = trox_env_dictionary_table;
        records.push_back(
            {"trox_env_dictionary_table", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(entries)}});
    }
    {
        using R = trox_env_dictionary_table_2010;
        records.push_back(
            {"trox_env_dictionary_table_2010", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(entries)}});
    }
    {
        using R = trox_env_dictionary_table_2024;
        records.push_back(
            {"trox_env_dictionary_table_2024", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(entries)}});
    }
    {
        using R = trox_xml_chan_descr_header;
        records.push_back(
            {"trox_xml_chan_descr_header", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(xml)}});
    }
    {
        using R = trox_xml_chan_descr_header_2010;
        records.push_back(
            {"trox_xml_chan_descr_header_2010", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(xml)}});
    }
    {
        using R = trox_xml_chan_descr_header_2024;
        records.push_back(
            {"trox_xml_chan_descr_header_2024", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(xml)}});
    }
    {
        using R = trox_event_header_basket;
        records.push_back(
            {"trox_event_header_basket", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(evhd)}});
    }
    {
        using R = trox_event_header_basket_2010;
        records.push_back(
            {"trox_event_header_basket_2010", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(evhd)}});
    }
    {
        using R = trox_event_header_basket_2024;
        records.push_back(
            {"trox_event_header_basket_2024", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(evhd)}});
    }
    {
        using R = trox_server_block_basket;
        records.push_back(
            {"trox_server_block_basket", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(sbhd)}});
    }
    {
        using R = trox_server_block_basket_2010;
        records.push_back(
            {"trox_server_block_basket_2010", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(sbhd)}});
    }
    {
        using R = trox_server_block_basket_2024;
        records.push_back(
            {"trox_server_block_basket_2024", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(sbhd)}});
    }
    {
        using R = trox_channel_basket;
        records.push_back({"trox_channel_basket", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(chhd)}});
    }
    {
        using R = trox_channel_basket_2010;
        records.push_back(
            {"trox_channel_basket_2010", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(chhd)}});
    }
    {
        using R = trox_channel_basket_2024;
        records.push_back(
            {"trox_channel_basket_2024", sizeof(R), alignof(R), {FIELD(pattern), FIELD(length), TAIL(chhd)}});
    }
    {
        using R = trox_upd_data_block;
        records.push_back({"trox_upd_data_block",
                           sizeof(R),
                           alignof(R),
                           {FIELD(upd_prop), FIELD(upd_ch_status), FIELD(upd_ch_time), FIELD(upd_ch_data)}});
    }
    {
        using R = trox_upd_data_block_2010;
        records.push_back({"trox_upd_data_block_2010",
                           sizeof(R),
                           alignof(R),
                           {FIELD(upd_prop), FIELD(upd_ch_status), FIELD(upd_ch_time), FIELD(upd_ch_data)}});
    }
    {
        using R = trox_env_data_block;
        records.push_back({"trox_env_data_block",
                           sizeof(R),
                           alignof(R),
                           {FIELD(env_ch_idx), FIELD(env_ch_status), FIELD(env_ch_time), FIELD(env_ch_data)}});
    }
    {
        using R = trox_env_data_block_2010;
        records.push_back({"trox_env_data_block_2010",
                           sizeof(R),
                           alignof(R),
                           {FIELD(env_ch_idx), FIELD(env_ch_status), FIELD(env_ch_time), FIELD(env_ch_data)}});
    }
    {
        using R = trox_name_value_channel;
        records.push_back({"trox_name_value_channel", sizeof(R), alignof(R), {FIELD(name), FIELD(value)}});
    }
    {
        using R = trox_name_value_block;
        records.push_back(
            {"trox_name_value_block", sizeof(R), alignof(R), {FIELD(id), FIELD(comment), FIELD(ndata), TAIL(values)}});
    }
    {
        using R = trox_image_frame_head;
        records.push_back({"trox_image_frame_head",
                           sizeof(R),
                           alignof(R),
                           {FIELD(w), FIELD(h), FIELD(bpp), FIELD(compr), FIELD(frame), FIELD(padding), FIELD(event_nm),
                            FIELD(length), FIELD(padding2)}});
    }
    {
        using R = trox_image_block;
        records.push_back({"trox_image_block", sizeof(R), alignof(R), {FIELD(head), TAIL(pixels)}});
    }
    {
        using R = trox_image_ext_frame_head;
        records.push_back({"trox_image_ext_frame_head",
                           sizeof(R),
                           alignof(R),
                           {FIELD(width),          FIELD(height),  FIELD(aoi_width),     FIELD(aoi_height),
                            FIELD(x_start),        FIELD(y_start), FIELD(bpp),           FIELD(ebitpp),
                            FIELD(hbin),           FIELD(vbin),    FIELD(source_format), FIELD(image_format),
                            FIELD(frame),          FIELD(event),   FIELD(scale_x),       FIELD(scale_y),
                            FIELD(image_rotation), FIELD(fspare2), FIELD(fspare3),       FIELD(fspare4),
                            FIELD(image_flags),    FIELD(ispare2), FIELD(ispare3),       FIELD(ispare4),
                            FIELD(length)}});
    }
    {
        using R = trox_image_ext_block;
        records.push_back({"trox_image_ext_block", sizeof(R), alignof(R), {FIELD(head), TAIL(pixels)}});
    }
    {
        using R = trox_spect_statistics_2010;
        records.push_back({"trox_spect_statistics_2010", sizeof(R), alignof(R), {FIELD(mask), FIELD(val)}});
    }
    {
        using R = trox_spect_head;
        records.push_back(
            {"trox_spect_head", sizeof(R), alignof(R), {FIELD(nmemb), FIELD(nsamp), FIELD(start), FIELD(inc)}});
    }
    {
        using R = trox_spect_head_2010;
        records.push_back({"trox_spect_head_2010",
                           sizeof(R),
                           alignof(R),
                           {FIELD(nmemb), FIELD(nsamp), FIELD(groups), FIELD(code), FIELD(start), FIELD(inc),
                            FIELD(group_inc), FIELD(flags)}});
    }
    {
        using R = trox_roi_head;
        records.push_back({"trox_roi_head", sizeof(R), alignof(R), {FIELD(x), FIELD(y), FIELD(width), FIELD(height)}});
    }
    {
        using R = trox_eqdata_head;
        records.push_back(
            {"trox_eqdata_head", sizeof(R), alignof(R), {FIELD(type), FIELD(status), FIELD(time), FIELD(length)}});
    }
    return records;
}

} // namespace trox_test
