// What the tables of one data file tell without the rows, generic over the generation.
#ifndef TROX_TROX_FILE_TABLES_INL
#define TROX_TROX_FILE_TABLES_INL

#include "generic/dictionary_entries.h"
#include "generic/loaded_file.h"
#include "trox/data_file.h"
#include "trox/typed_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace trox::detail
{

using trox_detail::channel_traits;
using trox_detail::loaded_file;

inline time_point time_of(const time_stamp& stamp)
{
    return time_point(std::chrono::seconds(stamp.timeup) + microseconds(stamp.timelow));
}

template <std::size_t N> std::string text_in(const char (&field)[N])
{
    return {field, trox_detail::text_length(field)};
}

/// Throws unless a table reader succeeded.
inline void expect_table(int code, const char* table, const std::string& path)
{
    if (code == TROX_EVUTL_OK) {
        return;
    }
    if (code == TROX_EVUTL_OUT_OF_MEMORY) {
        throw out_of_resources(fault::input_output, std::string(table) + " does not fit into memory", {path});
    }
    const char* what = code == TROX_EVUTL_READ_ERROR     ? "cannot be read"
                       : code == TROX_EVUTL_BAD_PATTERN  ? "does not begin as it must"
                       : code == TROX_EVUTL_DOES_NOT_FIT ? "does not fit the file"
                                                         : "cannot be loaded";
    throw error(fault::bad_file, std::string(table) + " " + what, {path});
}

template <class G> void open_file(const std::string& path, loaded_file<G>& file)
{
    file.name = path;
    file.fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file.fd < 0) {
        throw_unopened(errno, path);
    }
}

/// Reads the reference table, event index and dictionary of an open file.
template <class G> void load_small_tables(const std::string& path, loaded_file<G>& file)
{
    using traits = channel_traits<G>;
    file.length = ::lseek(file.fd, 0, SEEK_END);
    const auto tail_length = static_cast<std::size_t>(std::min<std::int64_t>(file.length, traits::trailer_size));
    std::vector<unsigned char> tail(tail_length);
    if (::pread(file.fd, tail.data(), tail_length, file.length - static_cast<std::int64_t>(tail_length)) !=
        static_cast<ssize_t>(tail_length)) {
        throw error(fault::input_output, "cannot be read", {path});
    }
    const auto length = static_cast<std::size_t>(file.length);
    const auto read = [&](auto reader, auto& owner, const char* name) {
        typename std::decay_t<decltype(owner)>::pointer table = nullptr;
        expect_table(reader(length, file.ref_tbl.get(), file.fd, &table), name, path);
        owner.reset(table);
    };
    typename G::file_reference_table* reference = nullptr;
    expect_table(traits::read_reference_table(tail.data(), tail_length, length, file.fd, &reference),
                 "no data file, or its end is damaged (see trox recover): the file reference table", path);
    file.ref_tbl.reset(reference);
    read(traits::read_event_index, file.eit_tab, "the event index table");
    read(traits::read_dictionary, file.cdt_tab, "the channel dictionary");
}

/// Entry `i` of a dictionary; null behind the end.
template <class G> const typename G::chan_dictionary_entry* dictionary_at(const loaded_file<G>& file, std::size_t i)
{
    constexpr std::size_t head = offsetof(typename G::chan_dictionary_table, entries);
    const auto length = static_cast<std::size_t>(file.cdt_tab->length);
    const std::size_t count = length < head ? 0 : (length - head) / sizeof(typename G::chan_dictionary_entry);
    return i < count ? &file.cdt_tab->entries[i] : nullptr;
}

/// Calls `take` with the head of each event type in the event index, its first entry and their count.
template <class G, class Take> void for_each_event_type(const loaded_file<G>& file, Take take)
{
    using head_type = typename G::event_index_head;
    const auto* at =
        reinterpret_cast<const unsigned char*>(file.eit_tab.get()) + offsetof(typename G::event_index_table, entries);
    const auto types = static_cast<std::uint64_t>(file.eit_tab->nevent_types);
    for (std::uint64_t i = 0; i < types; ++i) {
        const auto head = trox_detail::load_record<head_type>(at);
        const auto length = static_cast<std::uint64_t>(head.length);
        take(head, at + sizeof head, (length - sizeof head) / sizeof(typename G::event_info));
        at += length;
    }
}

/// Number and time of an entry of the event index, which are big-endian.
template <class Info> trox_time_id_2024 event_id_of(const Info& event)
{
    return {trox_detail::big_endian(event.event_number),
            {trox_detail::big_endian(event.time.timeup), trox_detail::big_endian(event.time.timelow)}};
}

/// Widens the bounds of an event type by one event.
inline void add_to_bounds(event_type_info& type, const trox_time_id_2024& event, bool is_first)
{
    const time_point time = time_of(event.time);
    type.lowest_number = is_first ? event.event_number : std::min(type.lowest_number, event.event_number);
    type.highest_number = is_first ? event.event_number : std::max(type.highest_number, event.event_number);
    type.earliest = is_first ? time : std::min(type.earliest, time);
    type.latest = is_first ? time : std::max(type.latest, time);
}

template <class G> void take_event_types(const loaded_file<G>& file, file_contents& contents)
{
    using info_type = typename G::event_info;
    const auto time = [](const time_stamp& stamp) {
        return time_of({trox_detail::big_endian(stamp.timeup), trox_detail::big_endian(stamp.timelow)});
    };
    for_each_event_type(
        file, [&](const typename G::event_index_head& head, const unsigned char* infos, std::uint64_t count) {
            event_type_info info;
            info.type = static_cast<int>(head.event_type);
            info.count = count;
            info.first_number = trox_detail::big_endian(head.event_number_first);
            info.last_number = trox_detail::big_endian(head.event_number_last);
            info.first_time = time(head.event_time_first);
            info.last_time = time(head.event_time_last);
            type_bounds bounds;
            bounds.type = info.type;
            for (std::uint64_t i = 0; i < count; ++i) {
                const auto event = event_id_of(trox_detail::load_record<info_type>(infos + i * sizeof(info_type)));
                add_to_bounds(info, event, i == 0);
                bounds.add(event.event_number, event.time.timeup == 0 ? time_point{} : time_of(event.time));
            }
            contents.info.events.push_back(info);
            contents.bounds.push_back(bounds);
        });
}

/// The data can be read without: what fails becomes the `problem`.
template <class G> std::vector<channel_info> descriptions_of(const loaded_file<G>& file, std::string& problem)
{
    std::vector<channel_info> result;
    typename G::xml_descr_header* table = nullptr;
    if (channel_traits<G>::read_descriptions(static_cast<std::size_t>(file.length), file.ref_tbl.get(), file.fd,
                                             &table) != TROX_EVUTL_OK) {
        problem = "the channel descriptions cannot be read";
        return result;
    }
    const trox_detail::malloc_ptr<typename G::xml_descr_header> owner(table);
    std::vector<chan_descr_2010*> list;
    if (trox_load_chan_descr(table, &list) == TROX_EVUTL_OK) {
        for (const chan_descr_2010* descr : list) {
            channel_info info;
            info.name = text_in(descr->daq_name);
            info.unit = text_in(descr->units);
            info.description = text_in(descr->prop_desc);
            info.property = text_in(descr->prop_name);
            info.server = text_in(descr->sb_name);
            info.subsystem = text_in(descr->subsystem);
            result.push_back(std::move(info));
        }
    } else {
        problem = "the text of the channel descriptions is damaged";
    }
    for (const chan_descr_2010* descr : list) {
        delete descr;
    }
    return result;
}

template <class G> file_contents typed_file<G>::contents(const std::string& path)
{
    loaded_file<G> file;
    open_file(path, file);
    file_contents result;
    result.identity = identity_of(file.fd, path);
    load_small_tables(path, file);
    result.info.path = path;
    result.info.format = typed_file<G>::format;
    result.info.size = static_cast<std::uint64_t>(file.length);
    take_event_types(file, result);
    for (std::size_t i = 0; const auto* entry = dictionary_at(file, i); ++i) {
        result.dictionary.push_back({text_in(entry->chan_name), entry->ev_mask, entry->dtype_mask,
                                     static_cast<std::uint32_t>(std::max(entry->count, 0))});
    }
    result.info.channels = result.dictionary.size();
    result.descriptions = descriptions_of(file, result.info.problem);
    return result;
}

} // namespace trox::detail

#endif
