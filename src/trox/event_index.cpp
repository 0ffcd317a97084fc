#include "trox/event_index.h"

#include "event_util.h"

#include <algorithm>
#include <limits>
#include <map>
#include <new>
#include <numeric>
#include <utility>

namespace trox::detail
{

namespace
{

time_point time_of(const time_stamp& stamp)
{
    return time_point(std::chrono::seconds(stamp.timeup) + microseconds(stamp.timelow));
}

} // namespace

struct event_index::round {
    bool is_first = false; ///< looks for the target itself, not for what follows
    trox_time_id_2024 target{};
    std::size_t supplier = 0; ///< when it is first: the channel whose record gave the target
    std::optional<trox_time_id_2024> chosen{};
    bool has_new_record = false; ///< took one that no event had taken before
};

event_index::event_index(std::size_t channels, std::vector<bool> checks_numbers, const selection& what,
                         column_source columns)
    : match_(what.match), range_(what.range), checks_numbers_(std::move(checks_numbers)), columns_(std::move(columns)),
      records_(channels), first_updates_(channels, std::numeric_limits<std::size_t>::max())
{
    cursors_.reserve(channels);
    for (std::size_t i = 0; i < channels; ++i) {
        cursors_.emplace_back(i, match_);
    }
}

bool event_index::compare(const trox_time_id_2024& a, const trox_time_id_2024& b, int& sign) const
{
    if (a.event_number != 0 && b.event_number != 0) {
        sign = a.event_number == b.event_number ? 0 : a.event_number < b.event_number ? -1 : 1;
    } else {
        trox_time_stamp_eq(&a.time, &b.time, static_cast<double>(match_.tolerance.count()), &sign, nullptr);
    }
    return sign == 0;
}

/// Leads a channel to its next stretch, where it waits when numbers begin anew: always behind the first stretch of a
/// file; in the first one when another channel stands in a file with regard to which that file does so.
void event_index::go_on(channel_cursor& cursor)
{
    cursor.go_on(checks_numbers_.size(), columns_);
    if (match_.how == synchronisation::mode::by_number && cursor.is_alive() && cursor.stretch() == 0) {
        cursor.wait(columns_.files.may_begin_anew(cursor.file()) && is_behind_others(cursor));
    }
    has_moved_ = true;
}

/// Whether a channel has come to a stretch before others that will come there, too, from earlier ones, or to a file
/// whose numbers begin anew while others stand before that.
bool event_index::is_behind_others(const channel_cursor& cursor) const
{
    const std::size_t file = cursor.file();
    std::optional<std::size_t> before; // many channels stand in one file
    bool is_anew = false;
    for (std::size_t i = 0; i < cursors_.size(); ++i) {
        const channel_cursor& other = cursors_[i];
        if (!other.is_alive() || other.file() > file) {
            continue;
        }
        if (other.file() == file) {
            if (other.stretch() < cursor.stretch()) {
                return true;
            }
            continue;
        }
        if (cursor.stretch() > 0 && columns_.has(file, i)) {
            return true;
        }
        if (before != other.file()) {
            before = other.file();
            is_anew = columns_.files.begins_anew(file, other.file());
        }
        if (is_anew && other.last().event_number > columns_.files.lowest_number(file)) {
            return true;
        }
    }
    return false;
}

/// Lets the channels begin with their files, and with later stretches of them, that no others have to reach first.
void event_index::let_wait_no_longer(bool only_files)
{
    std::map<std::pair<std::size_t, std::size_t>, bool> waits; // hundreds of channels stand in few stretches
    for (channel_cursor& cursor : cursors_) {
        if (!cursor.is_alive() || !cursor.is_waiting() || (only_files && cursor.stretch() > 0)) {
            continue;
        }
        const auto known = waits.find({cursor.file(), cursor.stretch()});
        const bool has_to_wait = known != waits.end() ? known->second : is_behind_others(cursor);
        waits[{cursor.file(), cursor.stretch()}] = has_to_wait;
        if (!has_to_wait) {
            cursor.wait(false);
        }
    }
}

/// Chooses the earliest of the channels' first records in stretches of which no event has taken any. False when there
/// is none.
bool event_index::begin_anew(round& state)
{
    const bool by_time = match_.how == synchronisation::mode::by_time;
    state = {};
    state.is_first = true;
    for (channel_cursor& cursor : cursors_) {
        if (!begun_ || (cursor.is_alive() && cursor.was_taken())) {
            cursor.go_on(checks_numbers_.size(), columns_);
            if (cursor.is_alive() && cursor.stretch() == 0) {
                cursor.wait(!by_time && columns_.files.may_begin_anew(cursor.file()));
            }
        }
    }
    begun_ = true;
    let_wait_no_longer(false);
    std::optional<trox_time_id_2024> target;
    for (std::size_t i = 0; i < cursors_.size(); ++i) {
        channel_cursor& cursor = cursors_[i];
        if (!cursor.is_alive() || cursor.is_waiting()) {
            continue;
        }
        const trox_time_id_2024& first = cursor.rewind().event_id;
        int sign = 0;
        const bool is_earlier =
            !target || (target->event_number != 0
                            ? first.event_number < target->event_number
                            : !trox_time_stamp_eq(&target->time, &first.time,
                                                  static_cast<double>(match_.tolerance.count()), &sign, nullptr) &&
                                  sign > 0);
        if (is_earlier) {
            target = first;
            target->event_number = by_time ? 0 : first.event_number;
            state.supplier = i;
        }
    }
    state.target = target.value_or(trox_time_id_2024{});
    return target.has_value();
}

/// Asks one channel, which goes on to its next files as long as it is out of window.
void event_index::ask(std::size_t channel, round& state)
{
    channel_cursor& cursor = cursors_[channel];
    while (cursor.is_alive() && !cursor.is_waiting()) {
        int before_first = 0;
        int behind_last = 0;
        compare(state.target, cursor.first(), before_first);
        compare(cursor.last(), state.target, behind_last);
        if (behind_last < 0 || (state.is_first && before_first < 0)) {
            return;
        }
        const channel_cursor::answer found =
            state.is_first ? cursor.at(state.target)
                           : cursor.behind(state.target, trusts_numbers_ && checks_numbers_[cursor.file()]);
        switch (found) {
        case channel_cursor::answer::record:
            consider(cursor.present()->event_id, state);
            return;
        case channel_cursor::answer::none:
            return;
        case channel_cursor::answer::out_of_window:
            if (state.is_first) {
                return;
            }
            go_on(cursor);
        }
    }
}

/// The nearest answer becomes the event. The first one counts whatever it is; of those that are equal by time the
/// exactly earlier one.
void event_index::consider(const trox_time_id_2024& found, round& state) const
{
    const bool by_time = match_.how == synchronisation::mode::by_time;
    bool takes = !state.chosen;
    int from_target = 0;
    compare(state.target, found, from_target);
    if (!takes && state.is_first) {
        takes = from_target == 0;
    } else if (!takes && from_target < 0) {
        int from_chosen = 0;
        compare(*state.chosen, found, from_chosen);
        takes =
            from_chosen > 0 || (from_chosen == 0 && by_time &&
                                trox_detail::microseconds(state.chosen->time) > trox_detail::microseconds(found.time));
    }
    if (takes) {
        state.chosen = found;
        state.chosen->event_number = by_time ? 0 : found.event_number;
    }
}

/// Asks the channels that wait in their files for none any more, since others have gone on.
void event_index::ask_those_who_waited(round& state)
{
    const auto waits = [](const channel_cursor& cursor) {
        return cursor.is_alive() && cursor.is_waiting() && cursor.stretch() == 0;
    };
    while (has_moved_) {
        has_moved_ = false;
        std::vector<std::size_t> waiting;
        for (std::size_t i = 0; i < cursors_.size(); ++i) {
            if (waits(cursors_[i])) {
                waiting.push_back(i);
            }
        }
        let_wait_no_longer(true);
        for (const std::size_t i : waiting) {
            if (!waits(cursors_[i])) {
                ask(i, state);
            }
        }
    }
}

bool event_index::step(round& state)
{
    const auto ask_all = [&] {
        for (std::size_t i = 0; i < cursors_.size(); ++i) {
            ask(i, state);
        }
    };
    if (begun_) {
        state.target = current_;
        ask_all();
        ask_those_who_waited(state);
    }
    // Numbers or times that begin anew lie before the present event: no channel finds them behind it.
    if (!state.chosen && begin_anew(state)) {
        ask_all();
        if (!state.chosen) { // a search by time ends at a record without one
            consider(cursors_[state.supplier].rewind().event_id, state);
        }
    }
    return state.chosen.has_value();
}

/// Takes the record that gave a round its target, after look-ups by number have led away from it.
bool event_index::insist(round& state)
{
    channel_cursor& cursor = cursors_[state.supplier];
    cursor.go_to_first();
    state.chosen.reset();
    consider(cursor.present()->event_id, state);
    return collect(state, false);
}

bool event_index::is_in_range(std::uint64_t number, time_point time) const
{
    return (!range_.first_number || number >= *range_.first_number) &&
           (!range_.end_number || number < *range_.end_number) && (!range_.begin || time >= *range_.begin) &&
           (!range_.end || time < *range_.end);
}

/// Takes the present records of the chosen event, if it has any and lies in the range.
bool event_index::collect(round& state, bool confirms)
{
    found_.clear();
    const indexed_record* reference = nullptr;
    bool has_other = false;
    for (std::size_t i = 0; i < cursors_.size(); ++i) {
        channel_cursor& cursor = cursors_[i];
        if (!cursor.is_alive() || cursor.is_waiting() || cursor.present() == nullptr) {
            continue;
        }
        if (confirms) {
            cursor.confirm();
        }
        const indexed_record* record = cursor.present();
        int sign = 0;
        if (!compare(*state.chosen, record->event_id, sign)) {
            continue;
        }
        state.has_new_record = cursor.take() || state.has_new_record;
        // The event's number and time are those of the first record that is no slow value, else of the first one.
        if (reference == nullptr || (!has_other && !record->is_update)) {
            reference = record;
            has_other = !record->is_update;
        }
        found_.emplace_back(i, record_place{static_cast<std::uint32_t>(events_.size()),
                                            static_cast<std::uint32_t>(cursor.file()), record->row, record->is_update});
    }
    if (reference == nullptr || !is_in_range(reference->event_id.event_number, time_of(reference->event_id.time))) {
        return false;
    }
    for (const auto& [channel, place] : found_) {
        records_[channel].push_back(place);
        if (place.is_update) {
            first_updates_[channel] = std::min<std::size_t>(first_updates_[channel], place.event);
        }
    }
    events_.push_back({reference->event_id.event_number, time_of(reference->event_id.time)});
    return true;
}

bool event_index::grow()
{
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    try {
        if (stands_anywhere_) {
            find_again();
            stands_anywhere_ = false;
        }
        return find_one();
    } catch (const error& failure) {
        stands_anywhere_ = true;
        if (failure.why() != fault::input_output) {
            failure_ = std::current_exception();
        }
        throw;
    } catch (...) {
        stands_anywhere_ = true;
        throw;
    }
}

/// Leads the channels once more through all events found so far. When that fails, those stay as they are.
void event_index::find_again()
{
    std::vector<channel_cursor> cursors;
    cursors.reserve(records_.size());
    for (std::size_t i = 0; i < records_.size(); ++i) {
        cursors.emplace_back(i, match_);
    }
    std::vector<indexed_event> events;
    std::vector<std::vector<record_place>> records(records_.size());
    std::vector<std::size_t> first_updates(records_.size(), std::numeric_limits<std::size_t>::max());
    cursors_.swap(cursors);
    current_ = {};
    begun_ = false;
    complete_ = false;
    trusts_numbers_ = true;
    const auto exchange = [&]() noexcept {
        events_.swap(events);
        records_.swap(records);
        first_updates_.swap(first_updates);
    };
    exchange();
    try {
        while (events_.size() < events.size() && find_one()) {
        }
    } catch (...) {
        exchange();
        throw;
    }
}

/// Comes to an end whatever numbers and times say: every round takes a record that none has taken before, or leads to
/// one that does so or moves a channel to its next stretch, and of both there are as many as the files have.
/// A round that begins anew takes at least the first record of the channel that gave its target, which none has taken.
/// Any other round that takes no new record lets the following ones go without the numbers of neighbours. By time these
/// choose times that rise strictly, by number numbers that rise (after number 0, times, then numbers); where they end,
/// all channels that were taken from move on, and a round begins anew.
bool event_index::find_one()
{
    while (!complete_) {
        round state;
        if (!step(state)) {
            complete_ = true;
            for (channel_cursor& cursor : cursors_) {
                cursor.leave();
            }
            return false;
        }
        bool is_event = collect(state, true);
        if (state.is_first && !state.has_new_record) {
            is_event = insist(state);
        }
        current_ = *state.chosen;
        trusts_numbers_ = state.has_new_record;
        if (is_event) {
            return true;
        }
    }
    return false;
}

bool event_index::reach(std::size_t index)
{
    while (events_.size() <= index && grow()) {
    }
    return events_.size() > index;
}

void event_index::look_ahead(std::size_t index)
{
    try {
        if (!failure_ && !stands_anywhere_) {
            reach(index);
        }
    } catch (const error&) { // kept for the one who needs the event, as the next
    } catch (const std::bad_alloc&) {
    }
}

void event_index::complete()
{
    while (grow()) {
    }
}

std::optional<std::size_t> event_index::find_number(std::uint64_t number)
{
    if (by_number_.size() != events_.size()) {
        std::vector<std::uint32_t> order(events_.size());
        std::iota(order.begin(), order.end(), 0U);
        std::stable_sort(order.begin(), order.end(),
                         [this](std::uint32_t a, std::uint32_t b) { return events_[a].number < events_[b].number; });
        by_number_ = std::move(order);
    }
    const auto found =
        std::lower_bound(by_number_.begin(), by_number_.end(), number,
                         [this](std::uint32_t event, std::uint64_t wanted) { return events_[event].number < wanted; });
    return found == by_number_.end() || events_[*found].number != number ? std::nullopt
                                                                         : std::optional<std::size_t>(*found);
}

/// Times need not ascend; the latest so far does, and reaches a time where the first event does that is not before it.
std::optional<std::size_t> event_index::find_time(time_point time)
{
    if (latest_.size() != events_.size()) {
        std::vector<time_point> latest;
        latest.reserve(events_.size());
        for (const indexed_event& event : events_) {
            latest.push_back(latest.empty() ? event.time : std::max(latest.back(), event.time));
        }
        latest_ = std::move(latest);
    }
    const auto found = std::lower_bound(latest_.begin(), latest_.end(), time);
    return found == latest_.end() ? std::nullopt : std::optional<std::size_t>(found - latest_.begin());
}

std::optional<std::size_t> event_index::position(std::size_t channel, std::size_t event) const
{
    const auto& records = records_[channel];
    const auto behind =
        std::upper_bound(records.begin(), records.end(), event,
                         [](std::size_t wanted, const record_place& place) { return wanted < place.event; });
    if (behind == records.begin()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(behind - records.begin()) - 1;
}

} // namespace trox::detail
