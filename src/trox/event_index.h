// The events of a selection, found in the tables: which events there are, and which record each channel has in each.
//
// Channels are merged as the slicers of the generations merge them for requests of the next event: every channel is
// asked for what follows the present event, and the nearest answer is the next event. Going through it needs no
// payload, so the whole sequence is known before anything is decoded, and any event can be stepped to.
#ifndef TROX_TROX_EVENT_INDEX_H
#define TROX_TROX_EVENT_INDEX_H

#include "trox/channel_cursor.h"
#include "trox/event_reader.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

namespace trox::detail
{

/// Where a channel's record of an event lies.
struct record_place {
    std::uint32_t event = 0; ///< index of the event
    std::uint32_t file = 0;
    std::uint32_t row = 0;
    bool is_update = false;
};

struct indexed_event {
    std::uint64_t number = 0;
    time_point time{};
};

/// Grows event by event. One thread.
class event_index
{
public:
    /// `checks_numbers`: per file, whether its generation checks a neighbour found by time against the numbers.
    event_index(std::size_t channels, std::vector<bool> checks_numbers, const selection& what, column_source columns);

    /// Finds one more event; false when there is none. A file that must not be passed over fails again each time; what
    /// failed for lack of memory or descriptors is tried once more. The events found before stay.
    bool grow();
    /// Finds events until there are more than `index`; false when there are not so many.
    bool reach(std::size_t index);
    /// The same as far as files, memory and descriptors let it; throws nothing but what progress throws.
    void look_ahead(std::size_t index);
    void complete();

    const std::vector<indexed_event>& events() const noexcept
    {
        return events_;
    }
    /// The first event of a number, and the first that is not before a time; of those found so far.
    std::optional<std::size_t> find_number(std::uint64_t number);
    std::optional<std::size_t> find_time(time_point time);
    /// A channel's records in order of their events.
    const std::vector<record_place>& records(std::size_t channel) const noexcept
    {
        return records_[channel];
    }
    /// A channel's records that have become part of no event, as far as the index has gone.
    std::uint64_t unmatched(std::size_t channel) const noexcept
    {
        return cursors_[channel].unmatched();
    }
    /// Position in `records` of a channel's last record that is not behind an event; none before the first.
    std::optional<std::size_t> position(std::size_t channel, std::size_t event) const;
    /// Whether a channel has had a slow value in an event up to this one.
    bool has_slow_value(std::size_t channel, std::size_t event) const noexcept
    {
        return first_updates_[channel] <= event;
    }

private:
    struct round;
    bool find_one();
    void find_again();
    bool step(round& state);
    bool begin_anew(round& state);
    void let_wait_no_longer(bool only_files);
    void ask_those_who_waited(round& state);
    void go_on(channel_cursor& cursor);
    bool is_behind_others(const channel_cursor& cursor) const;
    void ask(std::size_t channel, round& state);
    bool compare(const trox_time_id_2024& a, const trox_time_id_2024& b, int& sign) const;
    void consider(const trox_time_id_2024& found, round& state) const;
    bool collect(round& state, bool confirms);
    bool insist(round& state);
    bool is_in_range(std::uint64_t number, time_point time) const;

    synchronisation match_;
    event_range range_;
    std::vector<bool> checks_numbers_;
    column_source columns_;
    std::vector<channel_cursor> cursors_;
    trox_time_id_2024 current_{};
    bool begun_ = false;
    bool complete_ = false;
    bool has_moved_ = false;     // a channel to another stretch, since those that wait were looked at
    bool trusts_numbers_ = true; // the last event had a record that none had before
    std::exception_ptr failure_;
    bool stands_anywhere_ = false; // the channels, after a failure that is not kept
    std::vector<indexed_event> events_;
    std::vector<std::uint32_t> by_number_; // the events, once one was looked for
    std::vector<time_point> latest_;       // up to each event, once one was looked for
    std::vector<std::vector<record_place>> records_;
    std::vector<std::size_t> first_updates_;                  // index of the event with a channel's first slow value
    std::vector<std::pair<std::size_t, record_place>> found_; // of the event that is collected
};

} // namespace trox::detail

#endif
