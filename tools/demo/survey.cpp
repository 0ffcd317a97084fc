#include "survey.h"

#include "detail/big_endian.h"
#include "text.h"
#include "trox_daq_read_chan_2010.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <unistd.h>

namespace trox_demo
{
namespace
{

using dictionary_entry = trox_chan_dictionary_entry_2010;

std::vector<dictionary_entry> dictionary(const trox_file_get_tables_2010& tables)
{
    const auto* const table = tables.get_cdt_table();
    const auto* const bytes = reinterpret_cast<const unsigned char*>(table);
    const auto length = static_cast<std::size_t>(table->length);
    std::vector<dictionary_entry> entries;
    for (std::size_t at = offsetof(trox_chan_dictionary_table_2010, entries);
         trox_detail::range_fits(at, sizeof(dictionary_entry), 0, length); at += sizeof(dictionary_entry)) {
        entries.push_back(trox_detail::load_record<dictionary_entry>(bytes + at));
    }
    return entries;
}

/// Counts the record whose sub-head lies at a position of the file.
void add_record(stored_channel& channel, int file, std::uint32_t position)
{
    using subhead = trox_serv_block_subhead_2010;
    std::array<unsigned char, sizeof(subhead) + sizeof(trox_zip_header)> bytes{};
    const ssize_t got = ::pread(file, bytes.data(), bytes.size(), position);
    if (got < static_cast<ssize_t>(sizeof(subhead))) {
        throw std::runtime_error("a record lies behind the end of the file");
    }
    const auto word = [&](std::size_t at) { return trox_detail::load_big_endian<std::uint32_t>(bytes.data() + at); };
    const std::uint32_t length = word(offsetof(subhead, ldata));
    const std::size_t stored = length < sizeof(subhead) ? 0 : length - sizeof(subhead);
    const bool is_zipped = (word(offsetof(subhead, error)) & TROX_CHAN_ZIP_FLAG) != 0;
    const std::uint32_t flags = is_zipped ? word(sizeof(subhead) + offsetof(trox_zip_header, zip_flags)) : 0;
    channel.dtype = static_cast<std::int32_t>(word(offsetof(subhead, dtype)));
    ++channel.records;
    channel.stored_bytes += stored;
    channel.payload_bytes += is_zipped ? word(sizeof(subhead) + offsetof(trox_zip_header, orig_length)) : stored;
    ++((flags & trox_zip_zlib) != 0 ? channel.zlib : (flags & trox_zip_lzo) != 0 ? channel.lzo : channel.plain);
}

/// Counts a channel's records: its column of the pointers table, which has all channels in dictionary order.
void add_column(stored_channel& channel, const trox_file_get_tables_2010& tables, std::size_t column, int count)
{
    const auto& table = *tables.get_ecp_table();
    constexpr std::size_t head = offsetof(trox_event_chan_pointers_table, entries);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&table) + head;
    const std::size_t size = static_cast<std::size_t>(table.length) - head;
    for (std::size_t row = 0; row < static_cast<std::size_t>(count); ++row) {
        const std::size_t at =
            (column * static_cast<std::size_t>(table.maxev) + row) * sizeof(trox_event_chan_ptr_entry);
        if (!trox_detail::range_fits(at, sizeof(trox_event_chan_ptr_entry), 0, size)) {
            throw std::runtime_error("the pointers table is too short");
        }
        const auto pointers = trox_detail::load_record<trox_event_chan_ptr_entry>(bytes + at);
        add_record(channel, tables.get_file_descr(), pointers.chhd);
    }
}

void add_file(survey& all, const std::string& path)
{
    trox_file_get_tables_2010 tables(1);
    const int status = tables.get_all_tables(path, 1, nullptr);
    if (status != 0) {
        throw std::runtime_error(path + ": the tables cannot be read: " + std::to_string(status));
    }
    all.file_bytes += static_cast<std::size_t>(tables.get_file_len());
    std::size_t column = 0;
    for (const auto& entry : dictionary(tables)) {
        const std::string name(entry.chan_name, strnlen(entry.chan_name, sizeof entry.chan_name));
        const auto [at, is_new] = all.channels.try_emplace(name);
        if (is_new) {
            all.names.push_back(name);
        }
        add_column(at->second, tables, column++, entry.count);
    }
    for (const auto* description : *tables.get_descr_list()) {
        const auto channel = all.channels.find(description->daq_name);
        if (channel != all.channels.end()) {
            channel->second.unit = description->units;
        }
    }
}

} // namespace

survey survey_files(const std::vector<std::string>& paths)
{
    survey all;
    for (const auto& path : paths) {
        add_file(all, path);
    }
    return all;
}

std::string compression_text(const stored_channel& channel)
{
    if (channel.zlib == 0 && channel.lzo == 0) {
        return "plain";
    }
    const bool is_mixed = (channel.plain != 0) + (channel.zlib != 0) + (channel.lzo != 0) > 1;
    const char* const kind = is_mixed ? "mixed" : channel.zlib != 0 ? "zlib" : "LZO";
    const double ratio = static_cast<double>(channel.payload_bytes) / static_cast<double>(channel.stored_bytes);
    return text("%-5s %4.1f : 1", kind, ratio);
}

} // namespace trox_demo
