// Printers of tables, heads and descriptions, and the switches that name the generation of records that two
// generations share.
#include "print_records.h"
#include "detail/big_endian.h"
#include "event_util.h"
#include "read_dictionaries.h"

#include <atomic>

namespace trox_evutl
{

namespace
{

std::atomic<bool> format_is_2010{false};
std::atomic<bool> format_is_2024{false};

/// Prints which generation a record is taken for that legacy and 2010 share.
void print_narrow_layout(const field_printer& out) noexcept
{
    out.text("layout", std::string_view{format_is_2010.load() ? "2010" : "legacy"});
}

/// The same for a record that 2010 and 2024 share.
void print_wide_layout(const field_printer& out) noexcept
{
    out.text("layout", std::string_view{format_is_2024.load() ? "2024" : "2010"});
}

template <class Entry> void print_dictionary_entry(const Entry& entry, const field_printer& out) noexcept
{
    out.number("key", entry.key);
    out.text("chan_name", entry.chan_name);
    out.mask("ev_mask", entry.ev_mask);
    out.mask("dtype_mask", entry.dtype_mask);
    out.number("count", entry.count);
}

template <class Table> void print_dictionary(const Table* table) noexcept
{
    if (table == nullptr) {
        return;
    }
    const field_printer out;
    out.mask("pattern", table->pattern);
    out.number("length", table->length);
    const auto* const entries = table->entries;
    for (std::size_t i = 0; i < dictionary_size(*table); ++i) {
        print_dictionary_entry(entries[i], out.element("entries", i));
    }
}

time_stamp host_time(time_stamp stored) noexcept
{
    return {trox_detail::big_endian(stored.timeup), trox_detail::big_endian(stored.timelow)};
}

template <class Head, class Info> void print_event_index(const void* entry, const field_printer& out) noexcept
{
    const auto head = trox_detail::load_record<Head>(entry);
    out.number("event_type", head.event_type);
    out.time("event_time_first", host_time(head.event_time_first));
    out.time("event_time_last", host_time(head.event_time_last));
    out.number("event_number_first", trox_detail::big_endian(head.event_number_first));
    out.number("event_number_last", trox_detail::big_endian(head.event_number_last));
    out.number("length", head.length);
    const auto length = static_cast<std::size_t>(head.length);
    const std::size_t count = length < sizeof head ? 0 : (length - sizeof head) / sizeof(Info);
    const unsigned char* at = static_cast<const unsigned char*>(entry) + sizeof head;
    for (std::size_t i = 0; i < count; ++i, at += sizeof(Info)) {
        const auto info = trox_detail::load_record<Info>(at);
        const field_printer line = out.element("info", i);
        line.time("time", host_time(info.time));
        line.number("event_number", trox_detail::big_endian(info.event_number));
        line.number("offset", info.offset);
    }
}

template <class Entry> void print_pointers(const Entry& entry, const field_printer& out) noexcept
{
    out.number("evhd", entry.evhd);
    out.number("sbhd", entry.sbhd);
    out.number("chhd", entry.chhd);
    out.number("data", entry.data);
}

void print_server_head(const trox_serv_block_head_2024& head, const field_printer& out) noexcept
{
    out.mask("pattern", head.pattern);
    out.number("ltotal", head.ltotal);
    out.number("mpulse", head.mpulse);
    out.time("time", head.time);
}

template <class Head> void print_server_head(const Head& head, const field_printer& out) noexcept
{
    out.time("time", head.time);
    out.number("ltotal", head.ltotal);
    out.number("mpulse", head.mpulse);
}

template <class Head> void print_whole_server_head(const Head* address) noexcept
{
    if (address == nullptr) {
        return;
    }
    const auto head = trox_detail::load_record<Head>(address);
    const field_printer out;
    print_server_head(head, out);
    out.text("server", head.server);
    out.mask("tmask", head.tmask);
    out.mask("status", head.status);
    out.number("nchan", head.nchan);
}

void print_descriptions(const chan_descr_2010& descr, const field_printer& out) noexcept
{
    for (std::size_t i = 0; i < descr.bits.size(); ++i) {
        const field_printer line = out.element("bits", i);
        line.number("bit", descr.bits[i]->bit);
        line.text("bit_name", descr.bits[i]->bit_name);
        line.text("bit_desc", descr.bits[i]->bit_desc);
    }
    out.number("ndims", descr.ndims);
    for (std::size_t i = 0; i < descr.dims.size(); ++i) {
        const dim_descr& dim = *descr.dims[i];
        const field_printer line = out.element("dims", i);
        line.number("dim", dim.dim);
        line.text("dim_name", dim.dim_name);
        line.text("dim_desc", dim.dim_desc);
        line.text("units", dim.units);
        line.number("nstats", dim.nstats);
        for (std::size_t k = 0; k < dim.stats.size(); ++k) {
            const field_printer inner = line.element("stats", k);
            inner.number("stat", dim.stats[k]->stat);
            inner.text("stat_name", dim.stats[k]->stat_name);
            inner.text("stat_desc", dim.stats[k]->stat_desc);
            inner.text("units", dim.stats[k]->units);
        }
    }
}

} // namespace

void print_subhead(const trox_serv_block_subhead* subhead, const field_printer& out) noexcept
{
    print_subhead_fields(trox_detail::load_record<trox_serv_block_subhead>(subhead), out);
}

void print_subhead(const trox_serv_block_subhead_2010* subhead, const field_printer& out) noexcept
{
    print_wide_layout(out);
    print_subhead_fields(trox_detail::load_record<trox_serv_block_subhead_2010>(subhead), out);
}

} // namespace trox_evutl

using trox_evutl::field_printer;

void set_data_format_2010(bool on)
{
    trox_evutl::format_is_2010.store(on);
}

void set_data_format_2024(bool on)
{
    trox_evutl::format_is_2024.store(on);
}

void print_trox_channel_dictionary_table(const trox_chan_dictionary_table* table)
{
    trox_evutl::print_dictionary(table);
}

void print_trox_channel_dictionary_table(const trox_chan_dictionary_table_2010* table)
{
    trox_evutl::print_dictionary(table);
}

void print_trox_channel_dictionary_table(const trox_chan_dictionary_table_2024* table)
{
    trox_evutl::print_dictionary(table);
}

void print_trox_event_index_table(const trox_event_index_entry* entry)
{
    if (entry != nullptr) {
        const field_printer out;
        trox_evutl::print_narrow_layout(out);
        trox_evutl::print_event_index<trox_event_index_entry_head, trox_event_info_entry>(entry, out);
    }
}

void print_trox_event_index_table(const trox_event_index_entry_2024* entry)
{
    if (entry != nullptr) {
        trox_evutl::print_event_index<trox_event_index_entry_head_2024, trox_event_info_entry_2024>(entry, {});
    }
}

void print_trox_event_chan_ptr_entry(const trox_event_chan_ptr_entry* entry)
{
    if (entry != nullptr) {
        const field_printer out;
        trox_evutl::print_narrow_layout(out);
        trox_evutl::print_pointers(trox_detail::load_record<trox_event_chan_ptr_entry>(entry), out);
    }
}

void print_trox_event_chan_ptr_entry(const trox_event_chan_ptr_entry_2024* entry)
{
    if (entry != nullptr) {
        trox_evutl::print_pointers(trox_detail::load_record<trox_event_chan_ptr_entry_2024>(entry), {});
    }
}

void print_trox_chan_dictionary_entry(const trox_chan_dictionary_entry* entry)
{
    if (entry != nullptr) {
        trox_evutl::print_dictionary_entry(trox_detail::load_record<trox_chan_dictionary_entry>(entry), {});
    }
}

void print_trox_chan_dictionary_entry(const trox_chan_dictionary_entry_2010* entry)
{
    if (entry != nullptr) {
        const field_printer out;
        trox_evutl::print_wide_layout(out);
        trox_evutl::print_dictionary_entry(trox_detail::load_record<trox_chan_dictionary_entry_2010>(entry), out);
    }
}

void print_trox_zip_header(const trox_zip_header* address)
{
    if (address == nullptr) {
        return;
    }
    const auto header = trox_detail::load_record<trox_zip_header>(address);
    const field_printer out;
    out.mask("zip_flags", header.zip_flags);
    out.number("orig_length", header.orig_length);
    out.number("zipp_length", header.zipp_length);
}

void print_trox_event_header(const trox_eventheader* address)
{
    if (address == nullptr) {
        return;
    }
    const auto header = trox_detail::load_record<trox_eventheader>(address);
    const field_printer out;
    out.mask("pattern", header.pattern);
    out.number("event_length", header.event_length);
    out.number("event_number", header.event_number);
    out.number("event_type", header.event_type);
    out.time("event_time", header.event_time);
    out.mask("tmask", header.tmask);
    out.mask("status", header.status);
    out.number("num_svr_block", header.num_svr_block);
}

void print_trox_event_header(const trox_eventheader_2024* address)
{
    if (address == nullptr) {
        return;
    }
    const auto header = trox_detail::load_record<trox_eventheader_2024>(address);
    const field_printer out;
    out.mask("pattern", header.pattern);
    out.number("event_type", header.event_type);
    out.number("event_length", header.event_length);
    out.number("event_number", header.event_number);
    out.time("event_time", header.event_time);
    out.mask("tmask", header.tmask);
    out.mask("status", header.status);
    out.number("num_svr_block", header.num_svr_block);
}

void print_trox_serv_block_head(const trox_serv_block_head* head)
{
    trox_evutl::print_whole_server_head(head);
}

void print_trox_serv_block_head(const trox_serv_block_head_2010* head)
{
    trox_evutl::print_whole_server_head(head);
}

void print_trox_serv_block_head(const trox_serv_block_head_2024* head)
{
    trox_evutl::print_whole_server_head(head);
}

void print_trox_serv_block_subhead(const trox_serv_block_subhead* subhead)
{
    if (subhead != nullptr) {
        trox_evutl::print_subhead(subhead, {});
    }
}

void print_trox_serv_block_subhead(const trox_serv_block_subhead_2010* subhead)
{
    if (subhead != nullptr) {
        trox_evutl::print_subhead(subhead, {});
    }
}

void print_trox_chan_descr(const chan_descr_2010* descr)
{
    if (descr == nullptr) {
        return;
    }
    const field_printer out;
    out.number("stream", descr->stream);
    out.mask("ev_type", descr->ev_type);
    out.number("count", descr->count);
    out.number("dtype", descr->dtype);
    out.number("db_key", descr->db_key);
    out.text("prop_name", descr->prop_name);
    out.text("daq_name", descr->daq_name);
    out.text("prop_desc", descr->prop_desc);
    out.text("units", descr->units);
    out.number("max_size", descr->max_size);
    out.number("nbits", descr->nbits);
    trox_evutl::print_descriptions(*descr, out);
    out.text("sb_name", descr->sb_name);
    out.number("set_point", descr->set_point);
    out.text("subsystem", descr->subsystem);
}
