// Everything in one data file, read through the table loader and the channel reader, in the form of the expected
// files' `<file>.dump.json`.
#ifndef TROX_GOLDEN_FILE_DUMP_H
#define TROX_GOLDEN_FILE_DUMP_H

#include "find_by_number.h"
#include "payload_values.h"

#include <algorithm>
#include <bit>
#include <fstream>
#include <memory>
#include <pthread.h>

namespace trox_golden
{

/// Which columns of the pointers table a loader takes.
enum class loaded_columns {
    all,      ///< no list: all channels, and the baskets stay mapped
    reversed, ///< a list of all channels, last one first: the baskets are copied, where the generation does that
};

struct dump_options {
    loaded_columns columns = loaded_columns::all;
    int workers = 0; ///< decompression threads of each channel; 0 leaves the choice to the channel reader
};

template <class G> class file_dump
{
public:
    file_dump(const std::string& path, const dump_options& options) : path_(path), options_(options)
    {
        load(options.columns == loaded_columns::all ? std::vector<std::string>{} : reversed_names());
    }

    json read()
    {
        json dump{{"file", path_.substr(path_.rfind('/') + 1)}, {"generation", G::name}};
        dump["size"] = loader_->get_file_len();
        dump["frt"] = reference_table_json();
        dump["eit"] = event_index_json();
        dump["cdt"] = dictionary_json();
        dump["maxev"] = loader_->get_ecp_table()->maxev;
        dump["eidt"] = environment_json();
        const auto& references = *loader_->get_ref_tbl();
        dump["evhb"] = {references.evhdb_ref, big_endian_length(loader_->get_evh_basket())};
        dump["srvb"] = {references.srvbb_ref, big_endian_length(loader_->get_sbh_basket())};
        dump["descriptions"] = descriptions_json();
        dump["channels"] = json::array();
        for (const auto& channel : channels()) {
            dump["channels"].push_back(channel_json(channel));
        }
        return dump;
    }

private:
    using dictionary_entry = typename G::chan_dictionary_entry;
    using entry = typename G::channel_entry;
    using channel_reader = typename G::channel_reader;

    void load(const std::vector<std::string>& list)
    {
        loader_ = std::make_shared<typename G::table_loader>(1);
        const int status = loader_->get_all_tables(path_, 1, list.empty() ? nullptr : &list);
        if (status != 0) {
            throw std::runtime_error(path_ + ": tables cannot be loaded: " + std::to_string(status));
        }
        if (loader_->are_baskets_copied() != (G::may_copy_baskets && !list.empty())) {
            throw std::runtime_error(path_ + ": baskets are in the wrong place");
        }
    }

    std::vector<std::string> reversed_names()
    {
        load({});
        std::vector<std::string> names;
        for (const auto& channel : channels()) {
            names.push_back(field_text(channel.chan_name));
        }
        std::reverse(names.begin(), names.end());
        return names;
    }

    // --- tables ---------------------------------------------------------------------------------------

    template <class Basket> static auto big_endian_length(const Basket* basket)
    {
        using length = decltype(Basket::length);
        const auto* bytes = reinterpret_cast<const unsigned char*>(basket);
        return trox_detail::load_big_endian<length>(bytes + offsetof(Basket, length));
    }

    /// The file reference table's position is only in the file's trailer.
    typename G::trailer_position reference_table_position() const
    {
        std::ifstream file(path_, std::ios::binary);
        file.seekg(-static_cast<std::streamoff>(G::trailer_size), std::ios::end);
        char bytes[sizeof(typename G::trailer_position)];
        if (!file.read(bytes, sizeof bytes)) {
            throw std::runtime_error(path_ + ": no trailer");
        }
        return trox_detail::load_big_endian<typename G::trailer_position>(bytes);
    }

    json reference_table_json() const
    {
        const auto& table = *loader_->get_ref_tbl();
        json entries = json::object();
        for (int type = 0; type < trox_event_type_count; ++type) {
            if (table.eite_pos_ref[type] != 0) {
                entries[std::to_string(type)] = table.eite_pos_ref[type];
            }
        }
        return {{"position", reference_table_position()},
                {"length", table.length},
                {"eit", table.eit_pos_ref},
                {"eite", entries},
                {"cdt", table.cdt_ref},
                {"ecpt", table.ecp_ref},
                {"eidt", table.eidt_ref},
                {"xcd", table.xcd_ref},
                {"evhb", table.evhdb_ref},
                {"srvb", table.srvbb_ref},
                {"chanb", table.chanb_ref}};
    }

    /// Times and event numbers of this table stay big-endian.
    static time_stamp swapped(time_stamp time)
    {
        return {trox_detail::big_endian(time.timeup), trox_detail::big_endian(time.timelow)};
    }

    template <class Number> static json event_json(Number number, time_stamp time)
    {
        const time_stamp host = swapped(time);
        return json::array({trox_detail::big_endian(number), host.timeup, host.timelow});
    }

    json event_index_json() const
    {
        using table = typename G::event_index_table;
        using index_entry = std::remove_all_extents_t<decltype(table::entries)>;
        using entry_head = decltype(index_entry::head);
        const auto* bytes = reinterpret_cast<const unsigned char*>(loader_->get_eit_table()) + offsetof(table, entries);
        json types = json::array();
        const auto count = static_cast<std::int64_t>(loader_->get_eit_table()->nevent_types);
        for (std::int64_t i = 0; i < count; ++i) {
            const auto head = trox_detail::load_record<entry_head>(bytes);
            json type{{"event_type", head.event_type},
                      {"position", loader_->get_ref_tbl()->eite_pos_ref[head.event_type]},
                      {"first", event_json(head.event_number_first, head.event_time_first)},
                      {"last", event_json(head.event_number_last, head.event_time_last)},
                      {"length", head.length},
                      {"events", json::array()}};
            add_events<std::remove_all_extents_t<decltype(index_entry::info)>>(
                type["events"], bytes + sizeof head, static_cast<std::size_t>(head.length) - sizeof head);
            types.push_back(type);
            bytes += head.length;
        }
        return types;
    }

    template <class Info> static void add_events(json& events, const unsigned char* bytes, std::size_t size)
    {
        for (std::size_t at = 0; at < size; at += sizeof(Info)) {
            const auto info = trox_detail::load_record<Info>(bytes + at);
            const time_stamp time = swapped(info.time);
            events.push_back(
                json::array({time.timeup, time.timelow, trox_detail::big_endian(info.event_number), info.offset}));
        }
    }

    std::vector<dictionary_entry> channels() const
    {
        const auto& table = *loader_->get_cdt_table();
        const std::size_t head = offsetof(typename G::chan_dictionary_table, entries);
        const auto* bytes = reinterpret_cast<const unsigned char*>(&table);
        std::vector<dictionary_entry> list;
        for (std::size_t at = head; at < static_cast<std::size_t>(table.length); at += sizeof(dictionary_entry)) {
            list.push_back(trox_detail::load_record<dictionary_entry>(bytes + at));
        }
        return list;
    }

    json dictionary_json() const
    {
        json list = json::array();
        for (const auto& channel : channels()) {
            list.push_back({{"key", channel.key},
                            {"name", field_text(channel.chan_name)},
                            {"ev_mask", channel.ev_mask},
                            {"dtype_mask", channel.dtype_mask},
                            {"count", channel.count}});
        }
        return list;
    }

    json environment_json() const
    {
        const auto& table = *loader_->get_eidt_table();
        const std::size_t head = offsetof(typename G::env_dictionary_table, entries);
        const auto* bytes = reinterpret_cast<const unsigned char*>(&table);
        json list = json::array();
        for (std::size_t at = head; at < static_cast<std::size_t>(table.length);
             at += sizeof(trox_env_dictionary_entry)) {
            const auto item = trox_detail::load_record<trox_env_dictionary_entry>(bytes + at);
            list.push_back(json::array({item.key, item.index}));
        }
        return list;
    }

    // --- descriptions ---------------------------------------------------------------------------------

    static json bits_json(const chan_descr_2010& channel)
    {
        json list = json::array();
        for (const auto* bit : channel.bits) {
            list.push_back({{"n", bit->bit}, {"name", field_text(bit->bit_name)}, {"desc", field_text(bit->bit_desc)}});
        }
        return list;
    }

    static json statistics_json(const dim_descr& dimension)
    {
        json list = json::array();
        for (const auto* stat : dimension.stats) {
            list.push_back({{"n", stat->stat},
                            {"name", field_text(stat->stat_name)},
                            {"desc", field_text(stat->stat_desc)},
                            {"units", field_text(stat->units)}});
        }
        return list;
    }

    static json dimensions_json(const chan_descr_2010& channel)
    {
        json list = json::array();
        for (const auto* dim : channel.dims) {
            list.push_back({{"n", dim->dim},
                            {"name", field_text(dim->dim_name)},
                            {"desc", field_text(dim->dim_desc)},
                            {"units", field_text(dim->units)},
                            {"stats", statistics_json(*dim)}});
            if (dim->nstats != static_cast<int>(dim->stats.size())) {
                throw std::runtime_error("wrong number of statistics descriptions");
            }
        }
        return list;
    }

    json descriptions_json() const
    {
        json list = json::array();
        for (const auto* channel : *loader_->get_descr_list()) {
            if (channel->nbits != static_cast<int>(channel->bits.size()) ||
                channel->ndims != static_cast<int>(channel->dims.size())) {
                throw std::runtime_error("wrong number of bit or dimension descriptions");
            }
            list.push_back({{"daq_name", field_text(channel->daq_name)},
                            {"prop_name", field_text(channel->prop_name)},
                            {"desc", field_text(channel->prop_desc)},
                            {"units", field_text(channel->units)},
                            {"sb_name", field_text(channel->sb_name)},
                            {"subsystem", field_text(channel->subsystem)},
                            {"stream", channel->stream},
                            {"ev_type", channel->ev_type},
                            {"count", channel->count},
                            {"dtype", channel->dtype},
                            {"db_key", channel->db_key},
                            {"max_size", channel->max_size},
                            {"set_point", channel->set_point},
                            {"bits", bits_json(*channel)},
                            {"dims", dimensions_json(*channel)}});
        }
        return list;
    }

    // --- channels -------------------------------------------------------------------------------------

    /// Starts a reader and waits until all its records are decoded.
    static int start(channel_reader& reader)
    {
        pthread_mutex_t* mutex = nullptr;
        pthread_cond_t* condition = nullptr;
        int* flag = nullptr;
        const int status = reader.start(&mutex, &condition, &flag);
        if (status == 0) {
            ::pthread_mutex_lock(mutex);
            while (*flag == 0) {
                ::pthread_cond_wait(condition, mutex);
            }
            *flag = 0;
            ::pthread_mutex_unlock(mutex);
        }
        return status;
    }

    json channel_json(const dictionary_entry& channel)
    {
        const std::string name = field_text(channel.chan_name);
        channel_reader reader(loader_.get(), name.c_str(), -1, nullptr);
        if (options_.workers > 0) {
            reader.set_number_of_threads(options_.workers);
        }
        time_stamp exactly{0, 0}; // with the default tolerance a look-up by time may give a neighbour
        reader.set_time_diff(&exactly);
        json value{{"name", name}, {"start", start(reader)}, {"records", json::array()}};
        if (reader.get_chn_basket() != nullptr) {
            const auto* const basket = reinterpret_cast<const unsigned char*>(reader.get_chn_basket());
            value["basket"] = {static_cast<std::uint64_t>(reader.get_chn_offset()) +
                                   static_cast<std::uint64_t>(basket - reader.get_chn_base()),
                               big_endian_length(reader.get_chn_basket())};
        }
        const entry* first = nullptr;
        for (int row = 0; row < channel.count; ++row) {
            const entry* const record = find_record(reader, row);
            first = row == 0 ? record : first;
            if (record - first != row) {
                throw std::runtime_error(name + ": record " + std::to_string(row) + " stands in another place");
            }
            value["records"].push_back(record_json(reader, *reader.get_data_table_pointer(row), *record));
        }
        return value;
    }

    /// The record of a row of the pointers table, found by the number and by the time in the row's event header.
    static const entry* find_record(channel_reader& reader, int row)
    {
        using header = typename G::event_header;
        const auto* const pointers = reader.get_data_table_pointer(row);
        if (pointers == nullptr) {
            throw std::runtime_error("no row " + std::to_string(row) + " in the pointers table");
        }
        const unsigned char* const stored =
            reader.get_evh_base() +
            (static_cast<std::uint64_t>(pointers->evhd) - static_cast<std::uint64_t>(reader.get_evh_offset()));
        const auto number =
            trox_detail::load_big_endian<typename G::event_number>(stored + offsetof(header, event_number));
        time_stamp time = swapped(trox_detail::load_record<time_stamp>(stored + offsetof(header, event_time)));
        int by_number_status = 1;
        int by_time_status = 1;
        const auto* by_number =
            trox_test::find_by_number(reader, number, TROX_DAQ_READ_CHAN_EVENT_CUR, &by_number_status);
        const auto* by_time = reader.find_entry_by_time(&time, TROX_DAQ_READ_CHAN_EVENT_CUR, &by_time_status);
        if (by_number_status != 0 || by_time_status != 0 || by_number != by_time) {
            throw std::runtime_error("event " + std::to_string(number) + " is not one record by number and by time: " +
                                     std::to_string(by_number_status) + ", " + std::to_string(by_time_status));
        }
        return by_number;
    }

    static json record_json(channel_reader& reader, const typename G::chan_ptr_entry& pointers, const entry& record)
    {
        const auto& address = record.sbchdata[0];
        const auto* const header = std::bit_cast<const typename G::event_header*>(address.evhd);
        const auto* const server = std::bit_cast<const typename G::server_block_head*>(address.sbhd);
        const auto* const block = std::bit_cast<const typename G::subhead*>(address.chhd);
        if (header == nullptr || server == nullptr || block == nullptr ||
            address.data != address.chhd + sizeof(typename G::subhead)) {
            throw std::runtime_error("record with wrong addresses");
        }
        check_identity(record, *header, *server);
        json value{{"ev", record.event_id.event_number},
                   {"t", time_json(record.event_id.time)},
                   {"type", header->event_type},
                   {"sb", field_text(server->server)},
                   {"pos", {pointers.evhd, pointers.sbhd, pointers.chhd, pointers.data}}};
        const std::int32_t stored_type = add_stored_heads(value, stored(reader, pointers.chhd));
        value["out"] = published_json<G>(block);
        const block_view<G> view(block);
        value["v"] = stored_type == TROX_ENV_BLOCK
                         ? trox_golden::environment_json(
                               view, trox_detail::load_big_endian<std::int32_t>(stored(reader, pointers.data)))
                         : values_json(view);
        return value;
    }

    static void check_identity(const entry& record, const typename G::event_header& header,
                               const typename G::server_block_head& server)
    {
        const auto number = record.event_id.event_number;
        if (header.event_number != number || !trox_time_stamp_eq(&header.event_time, &record.event_id.time)) {
            throw std::runtime_error("event " + std::to_string(number) + ": header and record differ");
        }
        if (static_cast<std::uint64_t>(server.mpulse) != (number & 0x7FFFFFFFU)) {
            throw std::runtime_error("event " + std::to_string(number) + ": wrong pulse number");
        }
    }

    /// What the file holds at a position of the channel's basket.
    template <class Position> static const unsigned char* stored(channel_reader& reader, Position position)
    {
        return reader.get_chn_base() +
               (static_cast<std::uint64_t>(position) - static_cast<std::uint64_t>(reader.get_chn_offset()));
    }

    /// Adds `dtype`, `error`, `ldata` and, of a compressed record, `zip`. Answers `dtype`.
    static std::int32_t add_stored_heads(json& value, const unsigned char* head)
    {
        using subhead = typename G::subhead;
        const auto type = trox_detail::load_big_endian<std::int32_t>(head + offsetof(subhead, dtype));
        const auto error = trox_detail::load_big_endian<std::int32_t>(head + offsetof(subhead, error));
        value["dtype"] = type;
        value["error"] = error;
        value["ldata"] = trox_detail::load_big_endian<std::int32_t>(head + offsetof(subhead, ldata));
        if ((static_cast<unsigned>(error) & TROX_CHAN_ZIP_FLAG) != 0) {
            json zip = json::array();
            for (std::size_t at = 0; at < sizeof(trox_zip_header); at += sizeof(std::uint32_t)) {
                zip.push_back(trox_detail::load_big_endian<std::uint32_t>(head + sizeof(subhead) + at));
            }
            value["zip"] = zip;
        }
        return type;
    }

    std::string path_;
    dump_options options_;
    std::shared_ptr<typename G::table_loader> loader_;
};

/// Everything in the file at `path`. Throws std::runtime_error when it cannot be read or contradicts itself.
template <class G> json dump_file(const std::string& path, const dump_options& options = {})
{
    return file_dump<G>(path, options).read();
}

} // namespace trox_golden

#endif
