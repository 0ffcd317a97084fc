// Bodies for one data file, generic over the generation; included by the source of each.
#ifndef TROX_TROX_DATA_FILE_INL
#define TROX_TROX_DATA_FILE_INL

#include "generic/channel_extent.inl"
#include "generic/dictionary_entries.h"
#include "generic/loaded_file.h"
#include "generic/record_decoder.inl"
#include "generic/record_index.h"
#include "trox/data_file.h"
#include "trox/stream_check.h"
#include "trox/stretches.h"
#include "trox/typed_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <unordered_map>
#include <utility>

namespace trox::detail
{

using trox_detail::byte_range;
using trox_detail::channel_traits;
using trox_detail::decode_failure;
using trox_detail::decode_outcome;
using trox_detail::file_span;
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
    if (file.fd < 0 && (errno == EMFILE || errno == ENFILE)) {
        throw out_of_resources(fault::input_output, std::strerror(errno), {path});
    }
    if (file.fd < 0) {
        throw error(errno == ENOENT ? fault::not_found : fault::input_output, std::strerror(errno), {path});
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

template <class G> std::vector<event_type_info> event_types_of(const loaded_file<G>& file)
{
    using info_type = typename G::event_info;
    std::vector<event_type_info> types;
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
            for (std::uint64_t i = 0; i < count; ++i) {
                add_to_bounds(info, event_id_of(trox_detail::load_record<info_type>(infos + i * sizeof(info_type))),
                              i == 0);
            }
            types.push_back(info);
        });
    return types;
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
    result.info.events = event_types_of(file);
    for (std::size_t i = 0; const auto* entry = dictionary_at(file, i); ++i) {
        result.dictionary.push_back({text_in(entry->chan_name), entry->ev_mask, entry->dtype_mask,
                                     static_cast<std::uint32_t>(std::max(entry->count, 0))});
    }
    result.info.channels = result.dictionary.size();
    result.descriptions = descriptions_of(file, result.info.problem);
    return result;
}

/// Where the decoder reads the bytes of a record: windows, by reference.
struct windowed_source {
    struct window_reference {
        file_window* window = nullptr;
        const unsigned char* find(std::uint64_t at, std::uint64_t size) const noexcept
        {
            return window->fetch(at, size);
        }
    };
    window_reference event_headers;
    window_reference server_blocks;
    file_window* channel = nullptr;
    const char* name = "";
    int subchan = -1; // whole records: members are told apart by who takes the values
};

inline const char* text_of(decode_failure failure)
{
    switch (failure) {
    case decode_failure::none:
        return "is sound";
    case decode_failure::outside:
        return "the pointers table points outside the file's baskets";
    case decode_failure::length:
        return "its length does not fit its basket";
    case decode_failure::unknown_compressor:
        return "it is compressed in an unknown way";
    case decode_failure::announced_sizes:
        return "the sizes in its zip header cannot be true";
    case decode_failure::damaged_stream:
        return "its compressed data are damaged";
    case decode_failure::stream_size:
        return "its compressed data give another size than announced";
    case decode_failure::payload:
        return "its payload is too short for its block type";
    case decode_failure::no_memory:
        return "there is no memory for it";
    }
    return "";
}

/// Why a record is not there, by what the decoder says, or by why a window could not read (0: it could).
inline record_failure failure_of(decode_failure failure, int reading)
{
    using cause = record_failure::cause;
    if (failure == decode_failure::none) {
        return {};
    }
    if (failure == decode_failure::no_memory || reading == ENOMEM) {
        return {cause::no_memory, text_of(decode_failure::no_memory)};
    }
    if (reading == file_window::cut) {
        return {cause::unreadable, "its file was cut while it was read"};
    }
    if (reading != 0) {
        return {cause::unreadable, "it cannot be read", reading};
    }
    return {cause::damaged, text_of(failure)};
}

/// A piece of a file as a window gives it, where lack of memory says nothing of the file. Throws std::bad_alloc.
inline const unsigned char* piece_of(file_window& window, std::uint64_t at, std::uint64_t size)
{
    const unsigned char* bytes = window.fetch(at, size);
    if (bytes == nullptr && window.failure() == ENOMEM) {
        throw std::bad_alloc();
    }
    return bytes;
}

/// Reads so much at once where records follow each other.
inline constexpr std::size_t heads_ahead = std::size_t{32} << 10;
inline constexpr std::size_t records_ahead = std::size_t{128} << 10;
inline constexpr std::size_t single_record_ahead = std::size_t{4} << 10;

inline std::uint64_t next_identity()
{
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

/// An event of a file's event index, by the position of its header.
struct known_event {
    std::uint64_t offset = 0;
    trox_time_id_2024 id{};
};

/// All events of an event index, in order of their positions.
template <class G> std::vector<known_event> known_events(const loaded_file<G>& file)
{
    using info_type = typename G::event_info;
    std::vector<known_event> events;
    for_each_event_type(file,
                        [&](const typename G::event_index_head&, const unsigned char* infos, std::uint64_t count) {
                            for (std::uint64_t i = 0; i < count; ++i) {
                                const auto event = trox_detail::load_record<info_type>(infos + i * sizeof(info_type));
                                events.push_back({static_cast<std::uint64_t>(event.offset), event_id_of(event)});
                            }
                        });
    std::stable_sort(events.begin(), events.end(),
                     [](const known_event& a, const known_event& b) { return a.offset < b.offset; });
    return events;
}

template <class G> class typed_rows;

template <class G> class typed_decoder final : public channel_decoder
{
public:
    typed_decoder(const typed_rows<G>& rows, std::size_t channel, std::size_t bytes, decode_workspace& workspace);
    bool decode(std::uint32_t row, batch_arena& arena, decoded_record& out) override;
    record_failure failure() const noexcept override
    {
        return failure_;
    }
    record_failure defect(std::uint32_t row) noexcept override;

private:
    int reading_failure() const noexcept;

    const typed_rows<G>& rows_;
    std::size_t channel_;
    windowed_source source_;
    record_failure failure_{};
};

/// A file with the columns of some channels.
template <class G> class typed_rows final : public file_rows
{
public:
    using row_type = typename G::chan_ptr_entry;

    typed_rows(const std::string& path, const file_identity& identity, const std::vector<std::string>& channels);

    const std::shared_ptr<const std::string>& path() const override
    {
        return path_;
    }
    std::size_t rows(std::size_t channel) const override
    {
        return counts_[channel];
    }
    channel_column column(std::size_t channel) const override;
    std::vector<restart_point> restarts() const override;
    stored_channel stored(std::size_t channel) const override;
    std::unique_ptr<channel_decoder> decoder(std::size_t channel, std::uint32_t first, std::uint32_t last,
                                             decode_workspace& workspace) const override
    {
        const std::uint64_t begin = offset(channel, first);
        const std::uint64_t end = offset(channel, last);
        const std::uint64_t bytes = (begin < end ? end - begin : begin - end) + single_record_ahead;
        return std::make_unique<typed_decoder<G>>(
            *this, channel, static_cast<std::size_t>(std::min<std::uint64_t>(bytes, records_ahead)), workspace);
    }
    std::uint64_t offset(std::size_t channel, std::uint32_t row) const override
    {
        return row < counts_[channel] ? static_cast<std::uint64_t>(row_at(channel, row).chhd) : 0;
    }

    /// A row below the channel's number of rows.
    const row_type& row_at(std::size_t channel, std::uint32_t row) const
    {
        return file_.ecp_tab->entries[channel * static_cast<std::size_t>(file_.ecp_tab->maxev) + row];
    }
    const loaded_file<G>& file() const
    {
        return file_;
    }
    const std::string& name(std::size_t channel) const
    {
        return names_[channel];
    }
    /// Tells files apart, also when one is opened again.
    std::uint64_t identity() const noexcept
    {
        return identity_;
    }
    file_span event_headers() const
    {
        return event_headers_;
    }
    file_span server_blocks() const
    {
        return server_blocks_;
    }
    /// The channel's basket; made out from the records when its head is damaged.
    file_span basket(std::size_t channel) const;

private:
    file_span find_basket(std::size_t channel) const;
    bool holds_all_rows(std::size_t channel, file_span basket) const;
    file_span basket_at(std::uint64_t position, std::size_t fixed, std::uint64_t pattern) const;
    bool is_update(file_window& window, const row_type& row) const;
    const known_event* find_event(std::uint64_t offset, std::size_t& hint) const;
    bool confirms(const known_event* known, const trox_time_id_2024& header) const;
    bool numbers_ascend() const;
    void disown(channel_column& column, std::size_t channel) const;

    loaded_file<G> file_;
    std::shared_ptr<const std::string> path_; // outlives this in records
    std::vector<std::string> names_;
    std::vector<std::size_t> counts_;
    std::vector<std::uint32_t> block_types_;
    std::vector<known_event> events_;
    file_span event_headers_;
    file_span server_blocks_;
    const std::uint64_t identity_ = next_identity();
    mutable std::mutex mutex_;                              // guards the baskets
    mutable std::vector<std::optional<file_span>> baskets_; // those that were looked for
};

template <class G>
typed_rows<G>::typed_rows(const std::string& path, const file_identity& identity,
                          const std::vector<std::string>& channels)
    : path_(std::make_shared<std::string>(path)), names_(channels), counts_(channels.size()),
      block_types_(channels.size()), baskets_(channels.size())
{
    using traits = channel_traits<G>;
    open_file(path, file_);
    if (identity_of(file_.fd, path) != identity) {
        throw error(fault::bad_file, "was changed since it was opened", {path});
    }
    load_small_tables(path, file_);
    typename G::chan_pointers_table* table = nullptr;
    const int code = traits::read_pointers_table_by_list(static_cast<std::size_t>(file_.length), file_.ref_tbl.get(),
                                                         file_.fd, channels, file_.cdt_tab.get(), &table);
    if (code == TROX_EVUTL_NO_CHANNEL) {
        return;
    }
    expect_table(code, "the event-channel pointers table", path);
    file_.ecp_tab.reset(table);
    events_ = known_events(file_);
    std::unordered_map<std::string_view, const typename G::chan_dictionary_entry*> entries;
    for (std::size_t i = 0; const auto* entry = dictionary_at(file_, i); ++i) {
        entries.emplace(std::string_view(entry->chan_name, trox_detail::text_length(entry->chan_name)), entry);
    }
    const auto most = static_cast<std::uint64_t>(table->maxev);
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const auto found = entries.find(channels[i]);
        if (found != entries.end()) {
            const auto count = static_cast<std::uint64_t>(std::max(found->second->count, 0));
            counts_[i] = static_cast<std::size_t>(std::min(count, most));
            block_types_[i] = found->second->dtype_mask;
        }
    }
    event_headers_ = basket_at(file_.ref_tbl->evhdb_ref, sizeof(typename G::event_header_basket),
                               traits::event_header_basket_pattern);
    server_blocks_ = basket_at(file_.ref_tbl->srvbb_ref, sizeof(typename G::server_block_basket),
                               traits::server_block_basket_pattern);
    if (event_headers_.end == 0 || server_blocks_.end == 0) {
        throw error(fault::bad_file, "the basket of event headers or of server blocks is damaged", {path});
    }
}

template <class G>
file_span typed_rows<G>::basket_at(std::uint64_t position, std::size_t fixed, std::uint64_t pattern) const
{
    const trox_detail::basket_shape shape{channel_traits<G>::basket_word, fixed, pattern};
    std::uint64_t length = 0;
    const auto status =
        trox_detail::read_basket_head(file_.fd, static_cast<std::uint64_t>(file_.length), position, shape, length);
    return status == trox_detail::basket_status::loaded ? file_span{position, position + length} : file_span{};
}

template <class G> file_span typed_rows<G>::basket(std::size_t channel) const
{
    const std::lock_guard lock(mutex_);
    auto& known = baskets_[channel];
    if (!known) {
        known = find_basket(channel);
    }
    return *known;
}

template <class G> file_span typed_rows<G>::find_basket(std::size_t channel) const
{
    using traits = channel_traits<G>;
    constexpr std::uint64_t head = 2 * traits::basket_word;
    const std::size_t count = counts_[channel];
    if (count == 0) {
        return {};
    }
    const auto first = static_cast<std::uint64_t>(row_at(channel, 0).chhd);
    const file_span announced =
        first < head ? file_span{}
                     : basket_at(first - head, sizeof(typename G::channel_basket), traits::channel_basket_pattern);
    if (announced.end != 0 && holds_all_rows(channel, announced)) {
        return announced;
    }
    trox_detail::channel_extent<G> extent(file_, names_[channel]);
    for (std::size_t i = 0; i < count; ++i) {
        extent.add(row_at(channel, static_cast<std::uint32_t>(i)));
    }
    return extent.enclosing(announced);
}

/// Of the records' lengths only that of the last one counts, which alone can reach over the end when the others are
/// whole.
template <class G> bool typed_rows<G>::holds_all_rows(std::size_t channel, file_span basket) const
{
    const auto place_of = [](const row_type& row) {
        return std::max(static_cast<std::uint64_t>(row.chhd), static_cast<std::uint64_t>(row.data));
    };
    const std::uint64_t length = basket.end - basket.begin;
    const row_type* last = &row_at(channel, 0);
    for (std::size_t i = 0; i < counts_[channel]; ++i) {
        const row_type& row = row_at(channel, static_cast<std::uint32_t>(i));
        if (!trox_detail::range_fits(static_cast<std::uint64_t>(row.chhd), sizeof(typename G::subhead), basket.begin,
                                     length) ||
            !trox_detail::range_fits(static_cast<std::uint64_t>(row.data), 0, basket.begin, length)) {
            return false;
        }
        last = place_of(row) > place_of(*last) ? &row : last;
    }
    trox_detail::channel_extent<G> extent(file_, names_[channel]);
    extent.add(*last);
    return extent.reaches() <= basket.end;
}

template <class G> bool typed_rows<G>::is_update(file_window& window, const row_type& row) const
{
    typename G::subhead head;
    const unsigned char* bytes = piece_of(window, static_cast<std::uint64_t>(row.chhd), sizeof head);
    if (bytes == nullptr) {
        return false;
    }
    channel_traits<G>::load(bytes, head);
    const int type = trox_detail::block_type(head.dtype);
    const bool is_zipped = (static_cast<unsigned>(head.error) & TROX_CHAN_ZIP_FLAG) != 0;
    return channel_traits<G>::is_update_type(type) || (type == TROX_ENV_BLOCK && !is_zipped);
}

template <class G> channel_column typed_rows<G>::column(std::size_t channel) const
{
    using header = typename G::event_header;
    // Update, environment, begin and end of run, as a dictionary's mask has them.
    constexpr std::uint32_t slow_types = 1U << 1 | 1U << 3 | 1U << 4 | 1U << 5;
    channel_column result;
    const std::size_t count = counts_[channel];
    result.records.reserve(count);
    file_window headers;
    headers.look_at(identity_, file_.fd, event_headers_.begin, event_headers_.end, heads_ahead);
    file_window subheads;
    subheads.look_at(identity_, file_.fd, 0, static_cast<std::uint64_t>(file_.length), sizeof(typename G::subhead));
    const bool may_be_slow = (block_types_[channel] & slow_types) != 0;
    header event{};
    for (std::size_t i = 0; i < count; ++i) {
        const auto row_number = static_cast<std::uint32_t>(i);
        const row_type& row = row_at(channel, row_number);
        const unsigned char* bytes = piece_of(headers, static_cast<std::uint64_t>(row.evhd), sizeof event);
        if (bytes == nullptr) {
            const record_failure failure = failure_of(decode_failure::outside, headers.failure());
            result.bad.push_back({static_cast<std::uint64_t>(row.chhd), {}, failure.reason(), failure.why()});
            headers.forget_failure();
            continue;
        }
        channel_traits<G>::load(bytes, event);
        result.records.push_back(
            {{event.event_number, event.event_time}, row_number, may_be_slow && is_update(subheads, row)});
    }
    disown(result, channel);
    return result;
}

/// The first event whose header stands at a position; null when the event index knows none. Looks behind the last one
/// first.
template <class G> const known_event* typed_rows<G>::find_event(std::uint64_t offset, std::size_t& hint) const
{
    const std::size_t near = std::min(hint + 1, events_.size());
    auto found = events_.begin() + static_cast<std::ptrdiff_t>(near);
    if (found == events_.end() || found->offset != offset || (near > 0 && events_[near - 1].offset == offset)) {
        found = std::lower_bound(events_.begin(), events_.end(), offset,
                                 [](const known_event& event, std::uint64_t wanted) { return event.offset < wanted; });
    }
    if (found == events_.end() || found->offset != offset) {
        return nullptr;
    }
    hint = static_cast<std::size_t>(found - events_.begin());
    return &*found;
}

/// Whether the numbers of all events ascend with their times: then those of every channel do.
template <class G> bool typed_rows<G>::numbers_ascend() const
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> order; // time, number
    order.reserve(events_.size());
    for (const known_event& event : events_) {
        order.emplace_back(trox_detail::microseconds(event.id.time), event.id.event_number);
        if (event.id.event_number == 0 || event.id.time.timeup == 0) {
            return false;
        }
    }
    std::sort(order.begin(), order.end());
    return std::is_sorted(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
}

template <class G> std::vector<restart_point> typed_rows<G>::restarts() const
{
    if (numbers_ascend()) {
        return {};
    }
    restart_finder finder;
    for (std::size_t channel = 0; channel < counts_.size(); ++channel) {
        std::vector<trox_time_id_2024> events;
        events.reserve(counts_[channel]);
        std::size_t hint = 0;
        for (std::size_t i = 0; i < counts_[channel]; ++i) {
            const auto offset = static_cast<std::uint64_t>(row_at(channel, static_cast<std::uint32_t>(i)).evhd);
            if (const known_event* event = find_event(offset, hint)) {
                events.push_back(event->id);
            }
        }
        finder.add(events);
    }
    return finder.points();
}

/// Whether an event, or another one of the same position, is the one of a header.
template <class G> bool typed_rows<G>::confirms(const known_event* known, const trox_time_id_2024& header) const
{
    const known_event* const end = events_.data() + events_.size();
    for (const known_event* event = known; event != nullptr && event != end && event->offset == known->offset;
         ++event) {
        if (event->id.event_number == header.event_number && event->id.time.timeup == header.time.timeup &&
            event->id.time.timelow == header.time.timelow) {
            return true;
        }
    }
    return false;
}

/// Takes out the records whose event header contradicts the file's event index: one of both is damaged, and would give
/// the event a wrong number or a place far from its neighbours. The header is believed when it alone suits the records
/// around; an event that the index does not know, when all records ascend.
template <class G> void typed_rows<G>::disown(channel_column& column, std::size_t channel) const
{
    const auto ascends = [](const trox_time_id_2024& a, const trox_time_id_2024& b) {
        return a.event_number < b.event_number && trox_detail::microseconds(a.time) < trox_detail::microseconds(b.time);
    };
    const auto& records = column.records;
    const auto suits = [&](std::size_t at, const trox_time_id_2024& event) {
        return (at == 0 || ascends(records[at - 1].event_id, event)) &&
               (at + 1 == records.size() || ascends(event, records[at + 1].event_id));
    };
    const bool sorted = std::adjacent_find(records.begin(), records.end(), [&](const auto& a, const auto& b) {
                            return !ascends(a.event_id, b.event_id);
                        }) == records.end();
    std::vector<indexed_record> kept;
    kept.reserve(records.size());
    std::size_t hint = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const trox_time_id_2024& event = records[i].event_id;
        const row_type& row = row_at(channel, records[i].row);
        const known_event* known = find_event(static_cast<std::uint64_t>(row.evhd), hint);
        if (confirms(known, event) || (known == nullptr ? sorted : suits(i, event) && !suits(i, known->id))) {
            kept.push_back(records[i]);
        } else {
            column.bad.push_back({static_cast<std::uint64_t>(row.chhd), event.event_number,
                                  "its event header contradicts the event index"});
        }
    }
    column.records = std::move(kept);
}

template <class G> stored_channel typed_rows<G>::stored(std::size_t channel) const
{
    const file_span span = basket(channel);
    stored_channel result{span.begin, span.end};
    if (counts_[channel] == 0) {
        return result;
    }
    struct {
        typename G::subhead head;
        trox_zip_header zip;
    } raw{};
    constexpr std::size_t size = sizeof(typename G::subhead) + sizeof(trox_zip_header);
    file_window window;
    window.look_at(identity_, file_.fd, span.begin, span.end, size);
    const auto position = static_cast<std::uint64_t>(row_at(channel, 0).chhd);
    if (const unsigned char* bytes = piece_of(window, position, size)) {
        channel_traits<G>::load(bytes, raw.head);
        trox_detail::load_words(bytes + sizeof raw.head, raw.zip);
        if ((static_cast<unsigned>(raw.head.error) & TROX_CHAN_ZIP_FLAG) != 0) {
            result.first_stored_as = (raw.zip.zip_flags & trox_zip_zlib) != 0 ? compression::zlib : compression::lzo;
        }
    }
    return result;
}

template <class G>
typed_decoder<G>::typed_decoder(const typed_rows<G>& rows, std::size_t channel, std::size_t bytes,
                                decode_workspace& workspace)
    : rows_(rows), channel_(channel), source_{{&workspace.event_headers},
                                              {&workspace.server_blocks},
                                              &workspace.channel,
                                              rows.name(channel).c_str(),
                                              -1}
{
    const int fd = rows.file().fd;
    const file_span basket = rows.basket(channel);
    const std::uint64_t file = rows.identity();
    workspace.event_headers.look_at(file, fd, rows.event_headers().begin, rows.event_headers().end, heads_ahead);
    workspace.server_blocks.look_at(file, fd, rows.server_blocks().begin, rows.server_blocks().end, heads_ahead);
    workspace.channel.look_at(file, fd, basket.begin, basket.end, bytes);
}

template <class G> bool typed_decoder<G>::decode(std::uint32_t row, batch_arena& arena, decoded_record& out)
{
    if (row >= rows_.rows(channel_)) {
        failure_ = failure_of(decode_failure::outside, 0);
        return false;
    }
    for (file_window* window : {source_.event_headers.window, source_.server_blocks.window, source_.channel}) {
        window->forget_failure();
    }
    source_.channel->borrow_from(&arena);
    const trox_detail::message_silencer quiet;
    trox_detail::record_decoder<G, windowed_source, batch_arena> decoder(source_, arena);
    typename G::channel_entry entry{};
    const batch_arena::mark before = arena.position();
    const decode_outcome outcome = decoder.decode(&rows_.row_at(channel_, row), entry);
    source_.channel->borrow_from(nullptr);
    failure_ = failure_of(decoder.failure(), reading_failure());
    if (outcome != decode_outcome::record) {
        arena.rewind(before);
        return false;
    }
    const auto& addresses = entry.sbchdata[0];
    const auto& event = *reinterpret_cast<const typename G::event_header*>(addresses.evhd);
    const auto& server = *reinterpret_cast<const typename G::server_block_head*>(addresses.sbhd);
    out.block = reinterpret_cast<const void*>(addresses.chhd);
    out.format = typed_file<G>::format;
    out.number = event.event_number;
    out.time = time_of(event.event_time);
    out.event_type = event.event_type;
    out.server = {server.server, trox_detail::text_length(server.server)};
    out.server_status = static_cast<std::uint32_t>(server.status);
    out.file = *rows_.path();
    out.offset = rows_.offset(channel_, row);
    return true;
}

/// Why one of the windows could not read; 0 when all could.
template <class G> int typed_decoder<G>::reading_failure() const noexcept
{
    for (const file_window* window : {source_.event_headers.window, source_.server_blocks.window, source_.channel}) {
        if (window->failure() != 0) {
            return window->failure();
        }
    }
    return 0;
}

template <class G> record_failure typed_decoder<G>::defect(std::uint32_t row) noexcept
{
    const std::uint64_t position = rows_.offset(channel_, row);
    file_window& window = *source_.channel;
    window.forget_failure();
    typename G::subhead head{};
    trox_zip_header zip{};
    const unsigned char* bytes = window.fetch(position, sizeof head + sizeof zip);
    if (bytes == nullptr) {
        return {};
    }
    channel_traits<G>::load(bytes, head);
    trox_detail::load_words(bytes + sizeof head, zip);
    const bool is_zipped = (static_cast<unsigned>(head.error) & TROX_CHAN_ZIP_FLAG) != 0;
    if (!is_zipped || (zip.zip_flags & trox_zip_zlib) == 0) {
        return {};
    }
    const decode_failure found =
        check_zlib_stream(window, position + sizeof head + sizeof zip, zip.zipp_length, zip.orig_length);
    return failure_of(found, window.failure());
}

template <class G>
std::shared_ptr<const file_rows> typed_file<G>::rows(const std::string& path, const file_identity& identity,
                                                     const std::vector<std::string>& channels)
{
    return std::make_shared<typed_rows<G>>(path, identity, channels);
}

} // namespace trox::detail

#endif
