// Steps of the file check: event index and event headers.
#ifndef TROX_INSPECT_CHECK_EVENTS_INL
#define TROX_INSPECT_CHECK_EVENTS_INL

#include "file_check.h"

#include <algorithm>
#include <span>

namespace trox::inspect
{

/// Where the walk through the index table is.
template <class G> struct file_check<G>::index_place {
    std::uint64_t at = 0; ///< the next entry
    std::uint64_t walked = 0;
};

template <class G> void file_check<G>::check_index()
{
    using head_type = index_head<word>;
    if (!require(item_kind::index, references_.eit_pos_ref)) {
        return;
    }
    const std::uint64_t position = references_.eit_pos_ref;
    const finding_place here{.item = item_kind::index, .offset = position};
    const auto head = window_.load<head_type>(position);
    const auto referenced =
        static_cast<std::uint64_t>(trox_event_type_count - std::count(std::begin(references_.eite_pos_ref),
                                                                      std::end(references_.eite_pos_ref), word{0}));
    if (!head) {
        add(finding_code::table_position, here, "outside the file", "a position below " + hex(file_.size()));
        return;
    }
    if (head->pattern != index_pattern) {
        const bool is_elsewhere = head->nevent_types > trox_event_type_count ||
                                  (referenced != 0 && !is_referenced_entry(position + sizeof(head_type)));
        add(is_elsewhere ? finding_code::table_position : finding_code::table_pattern, here, hex(head->pattern),
            hex(index_pattern));
        if (is_elsewhere) {
            return;
        }
    }
    // The references count the entries, too: one of the two numbers may be damaged.
    index_place place{position + sizeof(head_type), 0};
    const std::uint64_t announced = head->nevent_types;
    const std::uint64_t most = std::min<std::uint64_t>(std::max(announced, referenced), trox_event_type_count);
    while (place.walked < most && check_index_entry(place)) {
        ++place.walked;
    }
    is_index_whole_ = place.walked == announced || place.walked == referenced;
    if (!is_index_whole_) {
        add(finding_code::index_entry, {.item = item_kind::index, .record = place.walked, .offset = place.at},
            "no entry", "one, with a length that fits the file");
    } else if (place.walked != announced) {
        add(finding_code::index_types, here, std::to_string(announced) + " event types", std::to_string(place.walked));
    }
    report_.items.push_back({item_kind::index, {}, position, place.at - position});
    check_index_references();
}

/// The nearest entry behind a position that a reference leads to and that says so itself, or 0.
template <class G> std::uint64_t file_check<G>::next_index_entry(std::uint64_t position)
{
    std::uint64_t next = 0;
    for (std::int32_t type = 0; type < trox_event_type_count; ++type) {
        const std::uint64_t reference = references_.eite_pos_ref[type];
        if (reference > position && (next == 0 || reference < next)) {
            const auto head = file_.load<typename G::event_index_head>(reference);
            next = head && head->event_type == type ? reference : next;
        }
    }
    return next;
}

template <class G> bool file_check<G>::is_referenced_entry(std::uint64_t position) const
{
    return std::any_of(std::begin(references_.eite_pos_ref), std::end(references_.eite_pos_ref),
                       [position](word reference) { return reference == position; });
}

/// True when an entry seems to begin at a position: something leads there, or its head has possible values.
template <class G> bool file_check<G>::is_index_entry(std::uint64_t position)
{
    const auto head = file_.load<typename G::event_index_head>(position);
    if (!head || is_referenced_entry(position)) {
        return head.has_value();
    }
    const std::uint64_t length = static_cast<word>(head->length);
    return head->event_type >= 0 && head->event_type < trox_event_type_count && length >= sizeof *head &&
           length <= room_for_item(position) && (length - sizeof *head) % sizeof(typename G::event_info) == 0;
}

/// Checks one entry and moves behind it; false when there is none.
template <class G> bool file_check<G>::check_index_entry(index_place& place)
{
    using head_type = typename G::event_index_head;
    const auto head = window_.load<head_type>(place.at);
    if (!head) {
        return false;
    }
    const std::uint64_t room = std::min(format::longest_table, room_for_item(place.at));
    const auto is_length = [&](std::uint64_t length) {
        return length >= sizeof(head_type) && length <= room &&
               (length - sizeof(head_type)) % sizeof(typename G::event_info) == 0;
    };
    const bool is_referenced = is_referenced_entry(place.at);
    const bool has_type = head->event_type >= 0 && head->event_type < trox_event_type_count;
    const std::uint64_t length = static_cast<word>(head->length);
    const std::uint64_t next = next_index_entry(place.at);
    std::uint64_t end = place.at + length;
    const bool leads_on = is_length(length) && (end == next || is_index_entry(end));
    // The next entry begins where this one ends, which tells a damaged length.
    if (is_referenced && next != 0 && !leads_on && is_length(next - place.at)) {
        add(finding_code::index_entry, {.item = item_kind::index, .record = place.walked, .offset = place.at},
            std::to_string(length) + " bytes", std::to_string(next - place.at));
        end = next;
    } else if (!is_length(length) || (!has_type && !is_referenced)) {
        return false;
    }
    auto checked = *head;
    checked.event_type = check_entry_type(*head, place.at);
    check_infos(checked, place.at, end);
    place.at = end;
    return true;
}

/// Checks the entry's event type against the references, and gives the one that is right.
template <class G>
std::int32_t file_check<G>::check_entry_type(const typename G::event_index_head& head, std::uint64_t at)
{
    const auto* const begin = std::begin(references_.eite_pos_ref);
    const auto* const end = std::end(references_.eite_pos_ref);
    const auto referenced = static_cast<std::int32_t>(std::find(begin, end, at) - begin);
    const bool is_referenced = referenced < trox_event_type_count;
    const finding_place here{.item = item_kind::index, .offset = at};
    const bool is_type = head.event_type >= 0 && head.event_type < trox_event_type_count;
    const bool is_new = is_type && (types_seen_ >> head.event_type & 1U) == 0;
    if (is_referenced && referenced != head.event_type) {
        add(finding_code::index_types, here, "event type " + std::to_string(head.event_type),
            std::to_string(referenced) + ", whose reference leads here");
        types_seen_ |= 1U << referenced;
        return referenced;
    }
    if (!is_new) {
        add(finding_code::index_types, here, "event type " + std::to_string(head.event_type),
            "a type from 0 to 31, each once");
        return static_cast<std::int32_t>(head.event_type);
    }
    types_seen_ |= 1U << head.event_type;
    if (!is_referenced) {
        const auto type = static_cast<std::uint64_t>(head.event_type);
        add(finding_code::reference_index_entry,
            {.item = item_kind::references, .record = type, .offset = references_position_},
            hex(references_.eite_pos_ref[type]) + " for event type " + std::to_string(type), hex(at));
    }
    return static_cast<std::int32_t>(head.event_type);
}

template <class G> void file_check<G>::check_index_references()
{
    for (std::size_t type = 0; type < trox_event_type_count && is_index_whole_; ++type) {
        if ((types_seen_ >> type & 1U) == 0 && references_.eite_pos_ref[type] != 0) {
            add(finding_code::reference_index_entry,
                {.item = item_kind::references, .record = type, .offset = references_position_},
                hex(references_.eite_pos_ref[type]) + " for event type " + std::to_string(type),
                "0: the index has no entry of that type");
        }
    }
}

template <class G>
void file_check<G>::check_infos(typename G::event_index_head head, std::uint64_t at, std::uint64_t end)
{
    using info_type = typename G::event_info;
    const std::size_t first = events_.size();
    const std::size_t lost_before = lost_events_.size();
    std::uint64_t bad_from = 0; // the first info of those at the end that lead nowhere
    std::uint64_t bad = 0;
    for (std::uint64_t i = at + sizeof head; i < end; i += sizeof(info_type)) {
        const auto info = window_.load<info_type>(i);
        if (!info) {
            return;
        }
        ++indexed_;
        if (add_indexed_event(static_cast<std::int32_t>(head.event_type), *info, i)) {
            bad = 0;
            continue;
        }
        bad_from = bad++ == 0 ? i : bad_from;
    }
    // Several at the end are no events at all: the entry is shorter than it says.
    const std::size_t kept = bad > 1 ? lost_events_.size() - bad : lost_events_.size();
    for (std::size_t i = lost_before; i < kept; ++i) {
        add(finding_code::index_offset,
            {.item = item_kind::index, .event = lost_events_[i].number, .offset = lost_events_[i].position},
            "an offset that leads to no event header", "an event header");
        lost_names_.insert(lost_events_[i].name());
    }
    if (bad > 1) {
        indexed_ -= bad;
        lost_events_.resize(kept);
        add(finding_code::index_entry, {.item = item_kind::index, .offset = at}, std::to_string(end - at) + " bytes",
            std::to_string(bad_from - at) + ", where its events end");
    }
    if (lost_events_.size() == lost_before) { // a lost event may be the first or the last one
        check_entry_ends(head, at, first);
    }
}

/// True when `time` and `number` are those of an event than which none is `less`.
template <class Less>
bool is_extreme(std::span<const event_state> events, time_stamp time, std::uint64_t number, Less less)
{
    bool is_named = false;
    for (const event_state& event : events) {
        if (less(microseconds_of(event.time), microseconds_of(time))) {
            return false;
        }
        is_named = is_named || (same_time(event.time, time) && event.number == number);
    }
    return is_named;
}

template <class G>
void file_check<G>::check_entry_ends(const typename G::event_index_head& head, std::uint64_t at, std::size_t first)
{
    const std::span<const event_state> events(events_.data() + first, events_.size() - first);
    const bool is_doubtful = std::any_of(events.begin(), events.end(), [](const auto& one) { return !one.is_sound; });
    const finding_place here{.item = item_kind::index, .offset = at};
    if (is_doubtful || events.empty()) {
        check_time(head.event_time_first, here);
        check_time(head.event_time_last, here);
        return; // an event of doubtful time, too
    }
    const auto told = [](time_stamp time, std::uint64_t number) {
        return "event " + std::to_string(number) + " at " + time_text(time);
    };
    if (!is_extreme(events, head.event_time_first, head.event_number_first, std::less<>())) {
        add(finding_code::index_first, here, told(head.event_time_first, head.event_number_first),
            "the earliest of " + std::to_string(events.size()) + " events");
    }
    if (!is_extreme(events, head.event_time_last, head.event_number_last, std::greater<>())) {
        add(finding_code::index_last, here, told(head.event_time_last, head.event_number_last),
            "the latest of " + std::to_string(events.size()) + " events");
    }
}

/// Takes an event in; false, and among the lost ones, when it has no header.
template <class G>
bool file_check<G>::add_indexed_event(std::int32_t type, const typename G::event_info& info, std::uint64_t at)
{
    using header_type = typename G::event_header;
    const finding_place here{.item = item_kind::index, .event = info.event_number, .offset = at};
    event_state event;
    event.number = info.event_number;
    event.time = info.time;
    event.type = type;
    event.position = info.offset;
    const bool is_inside = event_headers_.holds(event.position, sizeof(header_type));
    const auto header = is_inside ? file_.load<header_type>(event.position) : std::nullopt;
    // A header that is damaged in one place still says more that is right than another event's.
    const int agreeing = !header ? 0
                                 : (header->pattern == format::event_pattern) + (header->event_type == type) +
                                       (header->event_number == info.event_number) +
                                       same_time(header->event_time, info.time);
    if (agreeing < 3) {
        event.position = at;
        lost_events_.push_back(event);
        return false;
    }
    const auto index = static_cast<std::uint32_t>(events_.size());
    if (!event_at_.emplace(event.position, index).second) {
        add(finding_code::event_shared, here, "the header at " + hex(event.position), "a header of its own");
        event.is_sound = false;
        events_.push_back(event);
        return true;
    }
    check_event_header(*header, event);
    if (event.is_sound) {
        check_time(info.time, here);
    }
    if (!events_.empty() && events_.back().type == type) {
        check_event_order(events_.back(), event, at);
    }
    events_.push_back(event);
    return true;
}

template <class G> void file_check<G>::check_event_header(const typename G::event_header& header, event_state& event)
{
    const finding_place here{.item = item_kind::event_headers, .event = event.number, .offset = event.position};
    event.length = static_cast<std::uint64_t>(header.event_length);
    event.blocks = header.num_svr_block;
    if (!format::is_readable_event_pattern(header.pattern)) {
        add(finding_code::event_pattern, here, hex(header.pattern), hex(format::event_pattern));
    } else if (header.pattern != format::event_pattern) {
        add(finding_code::event_mark, here, hex(header.pattern), hex(format::event_pattern));
    }
    if (header.event_type != event.type || header.event_number != event.number ||
        !same_time(header.event_time, event.time)) {
        const auto told = [](std::int64_t type, std::uint64_t number, time_stamp time) {
            return "event " + std::to_string(number) + " of type " + std::to_string(type) + " at " + time_text(time);
        };
        add(finding_code::event_mismatch, here, told(header.event_type, header.event_number, header.event_time),
            told(event.type, event.number, event.time) + " as indexed");
        event.is_sound = false;
    }
    if constexpr (format::has_64_bits) {
        if (header.padding != 0) {
            add(finding_code::padding, here, std::to_string(header.padding), "0");
        }
    }
}

template <class G>
void file_check<G>::check_event_order(const event_state& before, const event_state& event, std::uint64_t at)
{
    const finding_place here{.item = item_kind::index, .event = event.number, .offset = at};
    if (event.position <= before.position) {
        add(finding_code::index_order, here, "header at " + hex(event.position), "behind " + hex(before.position));
    }
    if (!before.is_sound || !event.is_sound) {
        return;
    }
    if (microseconds_of(event.time) < microseconds_of(before.time)) {
        add(finding_code::event_order, here, time_text(event.time), "not before " + time_text(before.time));
    }
    if (event.number < before.number) {
        add(finding_code::event_order, here, "number " + std::to_string(event.number),
            "not below " + std::to_string(before.number));
    }
}

/// The event whose header lies at a position that a row names. A header that the index does not lead to is taken in.
template <class G> std::uint32_t file_check<G>::find_event(std::uint64_t position)
{
    using header_type = typename G::event_header;
    const auto known = event_at_.find(position);
    if (known != event_at_.end()) {
        return known->second;
    }
    const bool is_inside = event_headers_.holds(position, sizeof(header_type));
    const auto header = is_inside ? file_.load<header_type>(position) : std::nullopt;
    if (!header || header->pattern != format::event_pattern || header->event_type < 0 ||
        header->event_type >= trox_event_type_count || events_.size() >= no_event) {
        return no_event;
    }
    event_state event;
    event.position = position;
    event.number = header->event_number;
    event.time = header->event_time;
    event.type = header->event_type;
    const bool is_lost = lost_names_.count(event.name()) != 0;
    if (is_index_whole_ && !is_lost) {
        add(finding_code::event_unlisted, {.item = item_kind::event_headers, .event = event.number, .offset = position},
            "an event that the index has not got", "an entry in the event index");
    }
    check_event_header(*header, event);
    const auto index = static_cast<std::uint32_t>(events_.size());
    event_at_.emplace(position, index);
    events_.push_back(event);
    return index;
}

/// Once all server blocks are known: does an event count them, and their bytes?
template <class G> void file_check<G>::check_event_totals()
{
    for (const block_state& block : blocks_) {
        if (block.is_there && block.event != no_event) {
            ++events_[block.event].blocks_seen;
            events_[block.event].length_seen += block.length;
            events_[block.event].is_sound = events_[block.event].is_sound && block.is_sound;
        }
    }
    for (const event_state& event : events_) {
        const finding_place here{.item = item_kind::event_headers, .event = event.number, .offset = event.position};
        const std::uint64_t known = sizeof(typename G::event_header) + event.length_seen;
        if (event.blocks < event.blocks_seen ||
            (event.is_sound && event.blocks > event.blocks_seen && event.length == known)) {
            add(finding_code::event_blocks, here, std::to_string(event.blocks) + " server blocks",
                std::to_string(event.blocks_seen));
        } else if (event.is_sound) {
            // Blocks without records are counted, but nothing leads to them.
            const auto unseen = static_cast<std::uint64_t>(event.blocks - event.blocks_seen);
            const std::uint64_t least = known + unseen * sizeof(typename G::server_block_head);
            if (event.length < least || (unseen == 0 && event.length != least)) {
                add(finding_code::event_length, here, std::to_string(event.length) + " bytes",
                    (unseen == 0 ? "" : "at least ") + std::to_string(least));
            }
        }
    }
}

} // namespace trox::inspect

#endif
