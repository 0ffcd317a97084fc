// Steps of the file check: trailer, file reference table, and the tables other than the event index and the pointers.
#ifndef TROX_INSPECT_CHECK_TABLES_INL
#define TROX_INSPECT_CHECK_TABLES_INL

#include "event_util.h"
#include "file_check.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <set>
#include <zlib.h>

namespace trox::inspect
{

/// True when the trailer carries its pattern. One that also leads nowhere is no trailer, which is told as such.
template <class G>
bool file_check<G>::check_trailer_pattern([[maybe_unused]] const typename format::trailer& trailer,
                                          [[maybe_unused]] std::uint64_t position, [[maybe_unused]] bool leads_on)
{
    if constexpr (format::has_trailer_checks) {
        if (trailer.pattern != format::trailer_pattern && leads_on) {
            add(finding_code::trailer_pattern, {.item = item_kind::trailer, .offset = position}, hex(trailer.pattern),
                hex(format::trailer_pattern));
        }
        return trailer.pattern == format::trailer_pattern;
    }
    return false;
}

template <class G> void file_check<G>::check_trailer()
{
    const auto position = trailer_position<G>(file_);
    const auto trailer = position ? file_.load<typename format::trailer>(*position) : std::nullopt;
    if (trailer) {
        const auto table = file_.load<references_table>(trailer->references);
        const bool has_length = table && static_cast<word>(table->length) == sizeof *table;
        const bool leads_on = trailer->references != 0 && (has_length || is_references<G>(file_, trailer->references));
        const bool has_pattern = check_trailer_pattern(*trailer, *position, leads_on);
        if (has_pattern || leads_on) {
            report_.items.push_back({item_kind::trailer, {}, *position, sizeof *trailer});
        }
        if (leads_on) {
            take_references(trailer->references);
            return;
        }
    }
    const auto searched = search_references<G>(file_);
    add(finding_code::trailer_position, {.item = item_kind::trailer, .offset = position},
        trailer ? "position " + hex(trailer->references) : "no room for a trailer",
        searched ? hex(*searched) : "a file reference table");
    if (searched) {
        take_references(*searched);
        return;
    }
    add(finding_code::references_missing, {.item = item_kind::references}, "none", "one behind the tables");
}

template <class G> void file_check<G>::take_references(std::uint64_t position)
{
    references_position_ = position;
    references_ = *file_.load<references_table>(position);
    has_references_ = true;
    find_item_starts();
    report_.items.push_back({item_kind::references, {}, position, sizeof references_});
    const finding_place here{.item = item_kind::references, .offset = position};
    if (references_.pattern != format::references_pattern) {
        add(finding_code::references_pattern, here, hex(references_.pattern), hex(format::references_pattern));
        return; // which explains the checksum
    }
    if (static_cast<word>(references_.length) != sizeof references_) {
        add(finding_code::references_length, here, bytes_text(static_cast<word>(references_.length)),
            bytes_text(sizeof references_));
        return;
    }
    if constexpr (format::has_trailer_checks) {
        std::array<unsigned char, sizeof(references_table)> bytes{};
        const auto at = trailer_position<G>(file_);
        const auto trailer = at ? file_.load<typename format::trailer>(*at) : std::nullopt;
        // A trailer that leads elsewhere is told as such; its checksum says nothing about this table.
        if (trailer && trailer->references == position && file_.read(position, bytes.data(), bytes.size())) {
            const std::uint64_t sum = crc32(crc32(0, nullptr, 0), bytes.data(), static_cast<uInt>(bytes.size()));
            if (sum != trailer->checksum) {
                add(finding_code::trailer_crc, here, hex(sum), hex(trailer->checksum));
            }
        }
    }
}

template <class G> bool file_check<G>::is_item(std::uint64_t position, std::uint64_t pattern)
{
    const auto head = position == 0 ? std::nullopt : file_.load<table_head<word>>(position);
    return head && head->pattern == pattern;
}

/// References that lead elsewhere do not count.
template <class G> void file_check<G>::find_item_starts()
{
    const std::pair<std::uint64_t, std::uint64_t> places[] = {
        {references_.eit_pos_ref, index_pattern},          {references_.cdt_ref, dictionary_pattern},
        {references_.ecp_ref, pointers_pattern},           {references_.eidt_ref, environment_pattern},
        {references_.xcd_ref, descriptions_pattern},       {references_.evhdb_ref, event_headers_pattern},
        {references_.srvbb_ref, server_blocks_pattern},    {references_.chanb_ref, channel_pattern},
        {references_position_, format::references_pattern}};
    for (const auto& [position, pattern] : places) {
        if (is_item(position, pattern)) {
            item_starts_.push_back(position);
        }
    }
    std::sort(item_starts_.begin(), item_starts_.end());
}

/// Bytes from a position to the next table or basket that a reference leads to, or to the end of the file.
template <class G> std::uint64_t file_check<G>::room_for_item(std::uint64_t position) const
{
    const auto next = std::upper_bound(item_starts_.begin(), item_starts_.end(), position);
    return (next == item_starts_.end() ? file_.size() : *next) - position;
}

/// False, and told, when a table that every file has is absent.
template <class G> bool file_check<G>::require(item_kind kind, std::uint64_t position)
{
    if (position == 0) {
        add(finding_code::table_missing, {.item = kind, .offset = references_position_}, "position 0", "a table");
    }
    return position != 0;
}

/// Checks the head of a table whose entries (`entry_size` 0: bytes) follow its pattern and length.
template <class G>
opened_table file_check<G>::open_table(item_kind kind, std::uint64_t position, std::uint64_t pattern,
                                       std::uint64_t entry_size)
{
    const std::uint64_t least = kind == item_kind::pointers ? sizeof(pointers_head<word>) : head_size<G>;
    opened_table table{.position = position};
    const finding_place here{.item = kind, .offset = position};
    const auto head = window_.load<table_head<word>>(position);
    if (!head || !trox_detail::range_fits(position, least, 0, file_.size())) {
        add(finding_code::table_position, here, "outside the file", "a position below " + hex(file_.size()));
        return table;
    }
    const bool has_pattern = head->pattern == pattern;
    const std::uint64_t room = std::min(format::longest_table, room_for_item(position));
    table.length = head->length;
    table.is_usable = table.length >= least && table.length <= room;
    const bool is_whole = entry_size == 0 || (table.length - least) % entry_size == 0;
    if (!has_pattern && (!table.is_usable || !is_whole)) {
        table.is_usable = false;
        add(finding_code::table_position, here, "pattern " + hex(head->pattern), "pattern " + hex(pattern));
        return table;
    }
    table.is_present = true;
    if (!has_pattern) {
        add(finding_code::table_pattern, here, hex(head->pattern), hex(pattern));
    }
    if (!table.is_usable) {
        add(finding_code::table_length, here, bytes_text(table.length),
            std::to_string(least) + " to " + bytes_text(room));
    }
    if (table.is_usable && !is_whole) {
        add(finding_code::table_entries, here, bytes_text(table.length),
            std::to_string(least) + " and a multiple of " + std::to_string(entry_size));
    }
    report_.items.push_back({kind, {}, position, table.is_usable ? table.length : least});
    return table;
}

/// A basket's records are looked for up to the next item, whatever its length says.
template <class G>
opened_table file_check<G>::open_basket(item_kind kind, std::uint64_t position, std::uint64_t pattern)
{
    opened_table opened = open_table(kind, position, pattern, 0);
    opened.begin = opened.is_present ? position + head_size<G> : 0;
    opened.room = opened.is_present ? room_for_item(position) - head_size<G> : file_.size();
    return opened;
}

/// Once all its records are known: do they lie inside a basket?
template <class G>
void file_check<G>::check_basket_end(item_kind kind, const opened_table& opened, std::uint64_t records_end)
{
    const std::uint64_t end = opened.position + opened.length;
    if (opened.is_usable && records_end > end) {
        add(finding_code::table_length, {.item = kind, .offset = opened.position}, bytes_text(opened.length),
            "at least " + bytes_text(records_end - opened.position));
    }
}

template <class G> void file_check<G>::check_time(time_stamp time, const finding_place& where)
{
    if (time.timelow > most_microseconds) {
        add(finding_code::microseconds, where, std::to_string(time.timelow),
            "at most " + std::to_string(most_microseconds));
    }
}

// ---------------------------------------------------------------------------------------------------
// Channel dictionary
// ---------------------------------------------------------------------------------------------------

template <class G> void file_check<G>::check_dictionary()
{
    using entry = typename G::chan_dictionary_entry;
    if (!require(item_kind::dictionary, references_.cdt_ref)) {
        return;
    }
    const auto table = open_table(item_kind::dictionary, references_.cdt_ref, dictionary_pattern, sizeof(entry));
    const std::uint64_t count = dictionary_entries(table);
    for (std::uint64_t i = 0; i < count; ++i) {
        channel_state channel;
        channel.offset = table.position + head_size<G> + i * sizeof(entry);
        const auto loaded = window_.load<entry>(channel.offset);
        if (!loaded) {
            return;
        }
        check_dictionary_entry(*loaded, channel);
        channels_.push_back(std::move(channel));
    }
    check_repeated_names();
}

/// Where the dictionary's length is damaged, the columns of the pointers table tell how many channels there are.
template <class G> std::uint64_t file_check<G>::dictionary_entries(const opened_table& table)
{
    using entry = typename G::chan_dictionary_entry;
    if (table.is_usable && (table.length - head_size<G>) % sizeof(entry) == 0) {
        return (table.length - head_size<G>) / sizeof(entry);
    }
    const auto head = window_.load<pointers_head<word>>(references_.ecp_ref);
    if (!table.is_present || !head || head->pattern != pointers_pattern || head->maxev == 0 ||
        head->length < sizeof *head || head->length > file_.size()) {
        return 0;
    }
    const std::uint64_t rows = (head->length - sizeof *head) / sizeof(row);
    const std::uint64_t room = (room_for_item(table.position) - head_size<G>) / sizeof(entry);
    return rows % head->maxev == 0 && rows / head->maxev <= room ? rows / head->maxev : 0;
}

template <class G>
void file_check<G>::check_dictionary_entry(const typename G::chan_dictionary_entry& entry, channel_state& channel)
{
    channel.name = text_of(entry.chan_name);
    channel.key = entry.key;
    channel.event_mask = entry.ev_mask;
    channel.type_mask = entry.dtype_mask;
    channel.count = entry.count;
    const finding_place here{
        .item = item_kind::dictionary, .channel = channel.name, .record = channels_.size(), .offset = channel.offset};
    if (channel.name.empty() || !is_printable(channel.name)) {
        add(finding_code::dictionary_name, here, channel.name.empty() ? "no name" : "other characters",
            "printable ASCII characters");
    } else if (!is_padded(entry.chan_name)) {
        add(finding_code::padding, here, "bytes behind the name", "NULs");
    }
    constexpr std::size_t longest = sizeof(G::subhead::chname) - 1;
    const std::size_t length = std::min(channel.name.find(':'), channel.name.size());
    if (sizeof entry.chan_name > longest + 1 && length > longest) {
        add(finding_code::dictionary_name_length, here, std::to_string(length) + " characters",
            "at most " + std::to_string(longest));
    }
}

template <class G> void file_check<G>::check_repeated_names()
{
    std::set<std::string_view> names;
    std::set<std::uint32_t> keys;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        channel_state& channel = channels_[i];
        const finding_place here{
            .item = item_kind::dictionary, .channel = channel.name, .record = i, .offset = channel.offset};
        if (!channel.name.empty() && !names.insert(channel.name).second) {
            add(finding_code::dictionary_name_repeated, here, channel.name, "a name of its own");
        }
        if (!keys.insert(channel.key).second) {
            channel.shares_key = true;
            add(finding_code::dictionary_key_repeated, here, std::to_string(channel.key), "a key of its own");
        }
    }
}

// ---------------------------------------------------------------------------------------------------
// Environment dictionary, channel descriptions
// ---------------------------------------------------------------------------------------------------

template <class G> void file_check<G>::check_environment()
{
    using entry = trox_env_dictionary_entry;
    if (references_.eidt_ref == 0) {
        return;
    }
    const auto table = open_table(item_kind::environment, references_.eidt_ref, environment_pattern, sizeof(entry));
    if (!table.is_usable) {
        return;
    }
    std::set<std::uint32_t> keys;
    for (const channel_state& channel : channels_) {
        keys.insert(channel.key);
    }
    std::set<std::int32_t> indices;
    const std::uint64_t count = (table.length - head_size<G>) / sizeof(entry);
    // An empty table says as little as none at all.
    knows_environment_ = count != 0 && (table.length - head_size<G>) % sizeof(entry) == 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t at = table.position + head_size<G> + i * sizeof(entry);
        const auto loaded = window_.load<entry>(at);
        if (!loaded) {
            return;
        }
        const finding_place here{.item = item_kind::environment, .record = i, .offset = at};
        if (!environment_.emplace(loaded->key, loaded->index).second || !indices.insert(loaded->index).second) {
            add(finding_code::environment_repeated, here,
                "key " + std::to_string(loaded->key) + ", index " + std::to_string(loaded->index), "each once");
        }
        if (keys.count(loaded->key) == 0 && !channels_.empty()) {
            add(finding_code::environment_key, here, std::to_string(loaded->key), "the key of a channel");
        }
    }
}

/// Channel descriptions that the library decoded.
struct decoded_descriptions {
    std::vector<chan_descr_2010*> list;

    decoded_descriptions() = default;
    decoded_descriptions(const decoded_descriptions&) = delete;
    decoded_descriptions& operator=(const decoded_descriptions&) = delete;
    ~decoded_descriptions()
    {
        for (const auto* one : list) {
            delete one;
        }
    }
};

/// What a description repeats of the dictionary; 0 stands for an attribute that is left out.
template <class G>
void file_check<G>::check_description(const chan_descr_2010& told, const channel_state& channel, std::size_t record)
{
    const finding_place here{
        .item = item_kind::descriptions, .channel = channel.name, .record = record, .offset = references_.xcd_ref};
    if (told.db_key != 0 && static_cast<std::uint32_t>(told.db_key) != channel.key && !channel.shares_key) {
        add(finding_code::descriptions_differ, here, "key " + std::to_string(told.db_key), std::to_string(channel.key));
    }
    // A wrong count of the dictionary is told there.
    if (has_rows_ && told.count != 0 && told.count != static_cast<std::int64_t>(channel.used) &&
        channel.count == static_cast<std::int64_t>(channel.used)) {
        add(finding_code::descriptions_differ, here, std::to_string(told.count) + " records",
            std::to_string(channel.used));
    }
    if (told.ev_type != 0 && (channel.events_seen & ~told.ev_type) != 0) {
        add(finding_code::descriptions_differ, here, "event types " + hex(told.ev_type),
            hex(told.ev_type | channel.events_seen));
    }
}

template <class G> void file_check<G>::check_descriptions()
{
    using header = typename G::xml_descr_header;
    if (references_.xcd_ref == 0) {
        return;
    }
    const auto table = open_table(item_kind::descriptions, references_.xcd_ref, descriptions_pattern, 0);
    const finding_place here{.item = item_kind::descriptions, .offset = references_.xcd_ref};
    if (!table.is_usable) {
        return;
    }
    if (table.length > options_.largest_descriptions) {
        add(finding_code::descriptions_unchecked, here, bytes_text(table.length),
            "at most " + bytes_text(options_.largest_descriptions));
        return;
    }
    const auto size = std::max(static_cast<std::size_t>(table.length), sizeof(header));
    std::vector<std::uint64_t> block(size / sizeof(std::uint64_t) + 1); // for its alignment
    auto* const descriptions = reinterpret_cast<header*>(block.data());
    if (!file_.read(table.position, descriptions, static_cast<std::size_t>(table.length))) {
        return;
    }
    descriptions->length = static_cast<decltype(descriptions->length)>(table.length);
    decoded_descriptions decoded;
    if (const int status = trox_load_chan_descr(descriptions, &decoded.list); status != TROX_EVUTL_OK) {
        add(finding_code::descriptions_text, here, "text that cannot be decoded", "a list of channels in XML");
    }
    std::map<std::string_view, const channel_state*> names;
    for (const channel_state& channel : channels_) {
        names.emplace(channel.name, &channel);
        names.emplace(channel.name_of_records, &channel);
    }
    for (std::size_t i = 0; i < decoded.list.size() && !channels_.empty(); ++i) {
        const std::string name = text_of(decoded.list[i]->daq_name);
        if (const auto known = names.find(name); known != names.end()) {
            check_description(*decoded.list[i], *known->second, i);
        } else {
            add(finding_code::descriptions_channel,
                {.item = item_kind::descriptions, .channel = name, .record = i, .offset = references_.xcd_ref}, name,
                "the name of a channel");
        }
    }
}

// ---------------------------------------------------------------------------------------------------
// The file as a whole
// ---------------------------------------------------------------------------------------------------

template <class G> void file_check<G>::check_overlaps()
{
    sort_and_fill(report_.items, file_.size());
    const item* widest = nullptr;
    for (const item& one : report_.items) {
        if (one.kind == item_kind::unused) {
            ++report_.unused_pieces;
            report_.unused_bytes += one.length;
            continue;
        }
        if (widest != nullptr && one.position < widest->end()) {
            add(finding_code::item_overlap, {.item = one.kind, .channel = one.channel, .offset = one.position},
                "begins inside " + widest->title() + ", which ends at " + hex(widest->end()), "bytes of its own");
        }
        if (widest == nullptr || one.end() > widest->end()) {
            widest = &one;
        }
    }
}

} // namespace trox::inspect

#endif
