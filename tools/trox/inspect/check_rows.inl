// Steps of the file check: pointers table and server blocks.
#ifndef TROX_INSPECT_CHECK_ROWS_INL
#define TROX_INSPECT_CHECK_ROWS_INL

#include "file_check.h"

#include <algorithm>

namespace trox::inspect
{

template <class G> std::uint64_t file_check<G>::row_position(std::size_t channel, std::uint64_t index) const noexcept
{
    return pointers_.position + sizeof(pointers_head<word>) + (channel * rows_ + index) * sizeof(row);
}

/// Finds out how many rows a column has, also when one of the lengths that tell it is damaged.
template <class G> void file_check<G>::open_pointers()
{
    if (!require(item_kind::pointers, references_.ecp_ref)) {
        return;
    }
    pointers_ = open_table(item_kind::pointers, references_.ecp_ref, pointers_pattern, sizeof(row));
    const auto head = window_.load<pointers_head<word>>(references_.ecp_ref);
    if (!pointers_.is_present || !head) {
        return;
    }
    has_rows_ = true;
    settle_rows(head->maxev);
}

/// How many channels have a basket where the first row of their column leads, when columns have so many rows.
template <class G> std::uint64_t file_check<G>::columns_that_begin(std::uint64_t rows, std::uint64_t columns)
{
    std::uint64_t count = 0;
    for (std::uint64_t i = 0; i < columns; ++i) {
        const std::uint64_t at = pointers_.position + sizeof(pointers_head<word>) + i * rows * sizeof(row);
        const auto first = window_.load<row>(at);
        const auto subhead = first ? static_cast<std::uint64_t>(first->chhd) : 0;
        count += subhead > head_size<G> && is_item(subhead - head_size<G>, channel_pattern);
    }
    return count;
}

/// True when the dictionary's entries from the given one on can be some: a table that claims other bytes has none
/// there.
template <class G> bool file_check<G>::are_entries_sound_from(std::uint64_t first) const
{
    return std::all_of(
        channels_.begin() + static_cast<std::ptrdiff_t>(first), channels_.end(),
        [](const channel_state& one) { return !one.name.empty() && is_printable(one.name) && one.count >= 0; });
}

/// Three numbers tell the shape: maxev, the table's length, and the dictionary's number of channels. Where they do not
/// agree, the rows themselves show which one is damaged: columns begin where baskets are led to.
template <class G> void file_check<G>::settle_rows(std::uint64_t announced)
{
    constexpr std::size_t head = sizeof(pointers_head<word>);
    const std::uint64_t columns = channels_.size();
    const std::uint64_t room = (room_for_item(pointers_.position) - head) / sizeof(row);
    const bool fits_room = columns != 0 && announced <= room / columns;
    if (!pointers_.is_usable) {
        rows_ = fits_room ? announced : 0;
        has_rows_ = rows_ != 0;
        return;
    }
    const std::uint64_t bytes = pointers_.length - head;
    const std::uint64_t entries = bytes / sizeof(row);
    const bool is_whole = bytes % sizeof(row) == 0;
    rows_ = announced;
    if (columns == 0 || (is_whole && fits_room && announced * columns == entries)) {
        return;
    }
    if (is_whole) { // told by another code when it is not
        add(finding_code::pointers_columns, {.item = item_kind::pointers, .offset = pointers_.position},
            std::to_string(entries) + " rows in columns of " + std::to_string(announced),
            std::to_string(columns) + " columns");
    }
    const bool divides = is_whole && announced != 0 && entries % announced == 0;
    if (divides && entries / announced < columns && !are_entries_sound_from(entries / announced)) {
        channels_.resize(static_cast<std::size_t>(entries / announced)); // the dictionary is shorter than it says
        return;
    }
    const bool has_other = !fits_room || (is_whole && entries % columns == 0);
    const std::uint64_t other = has_other ? std::min(entries, room) / columns : announced;
    if (!fits_room || columns_that_begin(other, columns) > columns_that_begin(announced, columns)) {
        rows_ = other;
    }
}

/// Looks through all rows once: which are in use, and which server blocks they lead to.
template <class G> void file_check<G>::survey_rows()
{
    for (std::size_t c = 0; c < channels_.size(); ++c) {
        channel_state& channel = channels_[c];
        for (std::uint64_t i = 0; i < rows_; ++i) {
            const auto pointers = window_.load<row>(row_position(c, i));
            if (!pointers) {
                break;
            }
            if (!is_row_in_use(*pointers, i, channel)) {
                continue;
            }
            channel.used = i + 1;
            note_block(static_cast<std::uint64_t>(pointers->sbhd),
                       find_event(static_cast<std::uint64_t>(pointers->evhd)));
        }
        if (has_rows_ && channel.count != static_cast<std::int64_t>(channel.used)) {
            add(finding_code::dictionary_count,
                {.item = item_kind::dictionary, .channel = channel.name, .record = c, .offset = channel.offset},
                std::to_string(channel.count) + " records", std::to_string(channel.used) + " rows in use");
        }
    }
}

/// A row behind the dictionary's count is in use when it leads to an event and a server block.
template <class G>
bool file_check<G>::is_row_in_use(const row& pointers, std::uint64_t index, const channel_state& channel)
{
    const auto evhd = static_cast<std::uint64_t>(pointers.evhd);
    const auto sbhd = static_cast<std::uint64_t>(pointers.sbhd);
    const auto chhd = static_cast<std::uint64_t>(pointers.chhd);
    if (is_zero_row(pointers)) {
        return false;
    }
    if (channel.count >= 0 && index < static_cast<std::uint64_t>(channel.count)) {
        return true;
    }
    return event_at_.count(evhd) != 0 && chhd < file_.size() &&
           server_blocks_.holds(sbhd, sizeof(typename G::server_block_head));
}

/// Most rows of a block agree about its event; the majority is found without keeping all.
template <class G> void file_check<G>::note_block(std::uint64_t position, std::uint32_t event)
{
    if (!server_blocks_.holds(position, sizeof(typename G::server_block_head))) {
        ++lost_rows_;
        return;
    }
    const auto [known, is_new] = block_at_.emplace(position, static_cast<std::uint32_t>(blocks_.size()));
    if (is_new) {
        blocks_.emplace_back().position = position;
    }
    block_state& block = blocks_[known->second];
    ++block.rows;
    if (event == no_event) {
        return;
    }
    if (block.event == event || block.votes == 0) {
        block.event = event;
        ++block.votes;
    } else {
        block.other_event = event;
        --block.votes;
    }
}

// ---------------------------------------------------------------------------------------------------
// Server blocks
// ---------------------------------------------------------------------------------------------------

template <class G> void file_check<G>::check_blocks()
{
    find_false_blocks();
    std::uint64_t end = 0;
    for (block_state& block : blocks_) {
        if (block.is_there) {
            check_block(block);
        }
        if (block.is_there) {
            end = std::max(end, block.position + sizeof(typename G::server_block_head));
        } else {
            lost_rows_ += block.rows;
        }
    }
    tell_pulses();
    check_basket_end(item_kind::server_blocks, server_blocks_, end);
    end = 0;
    for (const event_state& event : events_) {
        end = std::max(end, event.position + sizeof(typename G::event_header));
    }
    check_basket_end(item_kind::event_headers, event_headers_, end);
}

/// How much speaks for a head where a row leads: its time and its name.
template <class G> int file_check<G>::evidence_for(const block_state& block) const
{
    const auto head = file_.load<typename G::server_block_head>(block.position);
    const bool has_time = head && block.event != no_event && same_time(head->time, events_[block.event].time);
    return head ? has_time + is_printable(text_of(head->server)) : 0;
}

/// Of two heads that share bytes one is not there: that to which fewer rows lead.
template <class G> void file_check<G>::find_false_blocks()
{
    std::vector<block_state*> by_position;
    by_position.reserve(blocks_.size());
    for (block_state& block : blocks_) {
        by_position.push_back(&block);
    }
    std::sort(by_position.begin(), by_position.end(),
              [](const block_state* a, const block_state* b) { return a->position < b->position; });
    block_state* before = nullptr;
    for (block_state* block : by_position) {
        if (before != nullptr && block->position - before->position < sizeof(typename G::server_block_head)) {
            const bool is_better =
                std::pair(block->rows, evidence_for(*block)) > std::pair(before->rows, evidence_for(*before));
            (is_better ? before : block)->is_there = false;
        }
        if (block->is_there) {
            before = block;
        }
    }
}

inline std::uint64_t time_distance(time_stamp a, time_stamp b) noexcept
{
    const auto x = microseconds_of(a);
    const auto y = microseconds_of(b);
    return x < y ? y - x : x - y;
}

/// A head with one wrong field is damaged; with several it is none, and the rows lead elsewhere.
template <class G> void file_check<G>::check_block(block_state& block)
{
    using head_type = typename G::server_block_head;
    constexpr std::uint64_t minute = 60'000'000;
    const auto head = file_.load<head_type>(block.position);
    if (!head) {
        block.is_there = false;
        return;
    }
    if (block.other_event != no_event && same_time(events_[block.other_event].time, head->time) &&
        !same_time(events_[block.event].time, head->time)) {
        std::swap(block.event, block.other_event);
    }
    const event_state* event = block.event == no_event ? nullptr : &events_[block.event];
    const finding_place here{.item = item_kind::server_blocks,
                             .event = event == nullptr ? std::nullopt : std::optional(event->number),
                             .offset = block.position};
    block.length = static_cast<std::uint64_t>(head->ltotal);
    block.channels = head->nchan;
    std::vector<finding> found;
    const auto note = [&](finding_code code, std::string what, std::string expected) {
        found.push_back({code, here, std::move(what), std::move(expected)});
    };
    if constexpr (format::has_64_bits) {
        if (head->pattern != format::block_pattern) {
            note(finding_code::block_pattern, hex(head->pattern), hex(format::block_pattern));
        }
        if (head->padding != 0) {
            note(finding_code::padding, std::to_string(head->padding), "0");
        }
    }
    constexpr std::uint32_t unassigned_bits = 0xB8000000;
    const auto status = static_cast<std::uint32_t>(head->status);
    if ((status & unassigned_bits) != 0) {
        note(finding_code::block_status, hex(status), hex(status & ~unassigned_bits));
    }
    const bool has_time = head->time.timelow <= most_microseconds; // else told as such
    if (event != nullptr && event->is_sound && has_time && time_distance(head->time, event->time) > minute) {
        note(finding_code::block_time, time_text(head->time), "about " + time_text(event->time));
    }
    if (head->ltotal < static_cast<std::int64_t>(sizeof(head_type))) {
        note(finding_code::block_head, "ltotal " + std::to_string(head->ltotal),
             "at least " + std::to_string(sizeof(head_type)));
    }
    if (head->nchan < 0 || static_cast<std::uint64_t>(head->nchan) > channels_.size()) {
        note(finding_code::block_head, "nchan " + std::to_string(head->nchan),
             "0 to " + std::to_string(channels_.size()));
    }
    if (!is_printable(text_of(head->server))) {
        note(finding_code::block_head, "a name of other characters", "printable ASCII characters");
    } else if (!is_padded(head->server)) {
        note(finding_code::padding, "bytes behind the server's name", "NULs");
    }
    if (found.size() > 1) {
        block.is_there = false;
        return;
    }
    block.is_sound = found.empty();
    for (finding& one : found) {
        add(one.code, std::move(one.where), std::move(one.found), std::move(one.expected));
    }
    check_time(head->time, here);
    if (event != nullptr && event->is_sound) {
        const auto pulse = static_cast<std::uint32_t>(head->mpulse);
        const auto number = static_cast<std::uint32_t>(event->number);
        if (pulse == number) {
            ++same_pulses_;
        } else {
            other_pulses_.push_back({finding_code::block_pulse, here, std::to_string(pulse), std::to_string(number)});
        }
    }
}

/// A number that is no event's in most blocks counts something else.
template <class G> void file_check<G>::tell_pulses()
{
    for (finding& one : other_pulses_) {
        if (other_pulses_.size() < same_pulses_) {
            add(one.code, std::move(one.where), std::move(one.found), std::move(one.expected));
        }
    }
    other_pulses_.clear();
}

/// Once all records are known: does a block count them, and their bytes?
template <class G> void file_check<G>::check_block_totals()
{
    std::uint64_t missing = 0;
    for (const block_state& block : blocks_) {
        if (block.is_there && block.channels > static_cast<std::int64_t>(block.rows)) {
            missing += static_cast<std::uint64_t>(block.channels) - block.rows;
        }
    }
    const bool is_explained = missing <= lost_rows_;
    for (block_state& block : blocks_) {
        if (!block.is_there || !block.is_sound) {
            continue;
        }
        const finding_place here{.item = item_kind::server_blocks,
                                 .event = block.event == no_event ? std::nullopt
                                                                  : std::optional(events_[block.event].number),
                                 .offset = block.position};
        const auto rows = static_cast<std::int64_t>(block.rows);
        if (block.channels < rows || (block.channels > rows && !is_explained)) {
            add(finding_code::block_channels, here, std::to_string(block.channels) + " channels",
                std::to_string(rows) + " rows");
            continue;
        }
        const std::uint64_t stored = sizeof(typename G::server_block_head) + block.stored;
        if (block.channels == rows && block.length != stored) {
            add(finding_code::block_length, here, std::to_string(block.length) + " bytes", std::to_string(stored));
            block.is_sound = false; // and its event's length says nothing new
        }
    }
}

} // namespace trox::inspect

#endif
