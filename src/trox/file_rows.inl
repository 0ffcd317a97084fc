// The rows of some channels of one data file, generic over the generation.
#ifndef TROX_TROX_FILE_ROWS_INL
#define TROX_TROX_FILE_ROWS_INL

#include "generic/channel_extent.inl"
#include "generic/record_index.h"
#include "trox/file_decoder.inl"
#include "trox/file_tables.inl"
#include "trox/stretches.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace trox::detail
{

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

inline std::tuple<std::uint64_t, std::uint32_t, std::uint32_t> key_of(const trox_time_id_2024& event)
{
    return {event.event_number, event.time.timeup, event.time.timelow};
}

inline bool is_before(const known_event& a, const known_event& b)
{
    return a.offset != b.offset ? a.offset < b.offset : key_of(a.id) < key_of(b.id);
}

/// Of events in order of their positions, those that share theirs with others, ordered so that one can be found.
inline std::vector<known_event> events_that_share(const std::vector<known_event>& events)
{
    std::vector<known_event> shared;
    for (std::size_t i = 0; i < events.size(); ++i) {
        if ((i > 0 && events[i - 1].offset == events[i].offset) ||
            (i + 1 < events.size() && events[i + 1].offset == events[i].offset)) {
            shared.push_back(events[i]);
        }
    }
    std::sort(shared.begin(), shared.end(), is_before);
    return shared;
}

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
    std::vector<restart_point> restarts(restart_rule rule) const override;
    stored_channel stored(std::size_t channel) const override;
    std::unique_ptr<channel_decoder> decoder(std::size_t channel, std::uint32_t first, std::uint32_t last,
                                             decode_workspace& workspace) const override
    {
        const std::uint64_t begin = offset(channel, first);
        const std::uint64_t end = offset(channel, last);
        const std::uint64_t bytes = (begin < end ? end - begin : begin - end) + single_record_ahead;
        return std::make_unique<typed_decoder<G>>(
            *this, channel, static_cast<std::size_t>(std::min<std::uint64_t>(bytes, records_ahead)),
            begin > end ? file_window::reach::before : file_window::reach::behind, workspace);
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
    std::vector<bool> is_slow_; // channels that only slow events carry
    std::vector<known_event> events_;
    std::vector<known_event> shared_; // those of them that share their positions
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
      block_types_(channels.size()), is_slow_(channels.size()), baskets_(channels.size())
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
    shared_ = events_that_share(events_);
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
            is_slow_[i] = has_slow_events_only(found->second->ev_mask);
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

template <class G> std::vector<restart_point> typed_rows<G>::restarts(restart_rule rule) const
{
    if (numbers_ascend()) {
        return {};
    }
    restart_finder finder(rule);
    bool has_fast = false;
    for (std::size_t channel = 0; channel < counts_.size(); ++channel) {
        has_fast = has_fast || (counts_[channel] > 0 && !is_slow_[channel]);
    }
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
        finder.add(events, is_slow_[channel] && has_fast);
    }
    return finder.points();
}

/// Whether an event, or another one of the same position, is the one of a header.
template <class G> bool typed_rows<G>::confirms(const known_event* known, const trox_time_id_2024& header) const
{
    if (known == nullptr) {
        return false;
    }
    return key_of(known->id) == key_of(header) ||
           std::binary_search(shared_.begin(), shared_.end(), known_event{known->offset, header}, is_before);
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

} // namespace trox::detail

#endif
