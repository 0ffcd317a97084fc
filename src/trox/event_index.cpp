#include "trox/event_index.h"

#include "event_util.h"
#include "generic/record_scan.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace trox::detail
{

namespace
{

constexpr std::uint64_t undecoded = std::numeric_limits<std::uint64_t>::max();

time_stamp stamp_of(microseconds duration)
{
    constexpr std::int64_t second_us = 1000000;
    return {static_cast<std::uint32_t>(duration.count() / second_us),
            static_cast<std::uint32_t>(duration.count() % second_us)};
}

time_point time_of(const time_stamp& stamp)
{
    return time_point(std::chrono::seconds(stamp.timeup) + microseconds(stamp.timelow));
}

bool is_empty(const trox_time_id_2024& event)
{
    return event.event_number == 0 && event.time.timeup == 0;
}

} // namespace

// --- one channel ----------------------------------------------------------------------------------------

channel_cursor::channel_cursor(std::size_t channel, const synchronisation& match) : channel_(channel), match_(match) {}

bool channel_cursor::enter(std::size_t file, std::size_t files, const column_source& columns)
{
    alive_ = false;
    index_.reset();
    for (; file < files && !alive_; ++file) {
        column_ = columns(file, channel_);
        file_ = file;
        alive_ = !column_.records.empty();
        if (!alive_) {
            continue;
        }
        taken_ = false;
        present_ = -1;
        last_found_ = -1;
        index_.emplace(column_.records.data(), static_cast<int>(column_.records.size()), undecoded);
        const trox_time_id_2024& first = column_.first;
        const answer found = first.event_number != 0 ? find_number(first.event_number, TROX_DAQ_READ_CHAN_EVENT_FIRST)
                                                     : find_time(first.time, TROX_DAQ_READ_CHAN_EVENT_FIRST);
        alive_ = found == answer::record;
    }
    if (!alive_) {
        column_ = {};
        index_.reset();
    }
    return alive_;
}

channel_cursor::answer channel_cursor::select(int found)
{
    present_ = found;
    if (found < 0) {
        present_number_ = 0;
        return answer::none;
    }
    present_number_ = column_.records[static_cast<std::size_t>(found)].event_id.event_number;
    return answer::record;
}

channel_cursor::answer channel_cursor::find_number(std::uint64_t number, int type)
{
    const int found =
        index_->knows_number(number)
            ? index_->find_number(number, type, last_found_)
            : trox_detail::scan_by_number(column_.records.data(), static_cast<int>(column_.records.size()), number,
                                          type, undecoded);
    last_found_ = found;
    return select(found);
}

channel_cursor::answer channel_cursor::find_time(const time_stamp& time, int type)
{
    const auto tolerance = static_cast<double>(match_.tolerance.count());
    const int found = index_->knows_times()
                          ? index_->find_time(time, type, tolerance)
                          : trox_detail::scan_by_time(column_.records.data(), static_cast<int>(column_.records.size()),
                                                      time, type, tolerance);
    return found < 0 ? answer::none : select(found); // a search by time that finds nothing leaves the present record
}

bool channel_cursor::is_within(const time_stamp& a, const time_stamp& b, int& sign) const
{
    return trox_time_stamp_eq(&a, &b, static_cast<double>(match_.tolerance.count()), &sign, nullptr);
}

channel_cursor::answer channel_cursor::at(const trox_time_id_2024& target)
{
    constexpr int type = TROX_DAQ_READ_CHAN_EVENT_CUR;
    if (target.event_number != 0) {
        if (target.event_number < column_.first.event_number || target.event_number > column_.last.event_number) {
            return answer::out_of_window;
        }
        return find_number(target.event_number, type);
    }
    int sign = 0;
    if ((!is_within(target.time, column_.first.time, sign) && sign < 0) ||
        (!is_within(column_.last.time, target.time, sign) && sign < 0)) {
        return answer::out_of_window;
    }
    return find_time(target.time, type);
}

channel_cursor::answer channel_cursor::behind(const trox_time_id_2024& target, bool checks_numbers)
{
    constexpr int type = TROX_DAQ_READ_CHAN_EVENT_NEXT;
    if (target.event_number != 0) {
        const std::uint64_t next = target.event_number + match_.number_step;
        if (next < match_.number_step || next > column_.last.event_number) {
            return answer::out_of_window;
        }
        return find_number(next, type);
    }
    const time_stamp next = target.time + stamp_of(match_.time_step);
    int sign = 0;
    if (!is_within(column_.last.time, next, sign) && sign < 0) {
        return answer::out_of_window;
    }
    const std::uint64_t before = present_number_;
    const answer found = find_time(next, type);
    if (found != answer::record || !checks_numbers ||
        column_.records[static_cast<std::size_t>(present_)].event_id.event_number - before < 2) {
        return found;
    }
    // A neighbour by time that skips numbers gives way to the neighbour by number.
    const std::uint64_t number = before + match_.number_step;
    if (number < match_.number_step || number > column_.last.event_number) {
        return answer::out_of_window;
    }
    return number == 0 ? found : find_number(number, type);
}

const indexed_record* channel_cursor::present() const
{
    return present_ < 0 ? nullptr : &column_.records[static_cast<std::size_t>(present_)];
}

const indexed_record* channel_cursor::confirmed()
{
    const indexed_record* record = present();
    if (record == nullptr || is_empty(record->event_id)) {
        return nullptr;
    }
    return at(trox_time_id_2024(record->event_id)) == answer::record ? present() : nullptr;
}

// --- all channels -------------------------------------------------------------------------------------

struct event_index::round {
    bool is_first = false; ///< looks for the target itself, not for what follows
    trox_time_id_2024 target{};
    trox_time_id_2024 chosen{};
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

/// Chooses the earliest of the channels' present records that no event has taken yet. False when there is none.
bool event_index::begin_anew(round& state)
{
    const bool by_time = match_.how == synchronisation::mode::by_time;
    state = {};
    state.is_first = true;
    for (channel_cursor& cursor : cursors_) {
        if (begun_ && cursor.is_alive() && cursor.was_taken()) {
            cursor.enter(cursor.file() + 1, checks_numbers_.size(), columns_);
        } else if (!begun_) {
            cursor.enter(0, checks_numbers_.size(), columns_);
        }
        const indexed_record* record = cursor.is_alive() ? cursor.present() : nullptr;
        if (record == nullptr) {
            continue;
        }
        trox_time_id_2024& target = state.target;
        int sign = 0;
        if (is_empty(target)) {
            target = record->event_id;
        } else if (target.event_number != 0) {
            target = record->event_id.event_number < target.event_number ? record->event_id : target;
        } else if (!trox_time_stamp_eq(&target.time, &record->event_id.time,
                                       static_cast<double>(match_.tolerance.count()), &sign, nullptr) &&
                   sign > 0) {
            target = record->event_id;
        }
        target.event_number = by_time ? 0 : target.event_number;
    }
    begun_ = true;
    return !is_empty(state.target);
}

/// Asks one channel, which goes on to its next files as long as it is out of window.
void event_index::ask(channel_cursor& cursor, round& state)
{
    while (cursor.is_alive()) {
        int before_first = 0;
        int behind_last = 0;
        compare(state.target, cursor.first(), before_first);
        compare(cursor.last(), state.target, behind_last);
        if (behind_last < 0 || (state.is_first && before_first < 0)) {
            return;
        }
        const channel_cursor::answer found =
            state.is_first ? cursor.at(state.target) : cursor.behind(state.target, checks_numbers_[cursor.file()]);
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
            cursor.enter(cursor.file() + 1, checks_numbers_.size(), columns_);
        }
    }
}

/// The nearest answer becomes the event. The first one counts whatever it is; of those that are equal by time the
/// exactly earlier one.
void event_index::consider(const trox_time_id_2024& found, round& state) const
{
    const bool by_time = match_.how == synchronisation::mode::by_time;
    bool takes = is_empty(state.chosen);
    int from_target = 0;
    compare(state.target, found, from_target);
    if (!takes && state.is_first) {
        takes = from_target == 0;
    } else if (!takes && from_target < 0) {
        int from_chosen = 0;
        compare(state.chosen, found, from_chosen);
        takes =
            from_chosen > 0 || (from_chosen == 0 && by_time &&
                                trox_detail::microseconds(state.chosen.time) > trox_detail::microseconds(found.time));
    }
    if (takes) {
        state.chosen = found;
        state.chosen.event_number = by_time ? 0 : found.event_number;
    }
}

bool event_index::step(round& state)
{
    if (!begun_) {
        if (!begin_anew(state)) {
            return false;
        }
    } else {
        state = {false, current_, {}};
    }
    for (channel_cursor& cursor : cursors_) {
        ask(cursor, state);
    }
    const auto is_alive = [](const channel_cursor& cursor) { return cursor.is_alive(); };
    // Numbers or times that begin anew in a later file lie before the present event: no channel finds them behind it.
    if (is_empty(state.chosen) && std::any_of(cursors_.begin(), cursors_.end(), is_alive)) {
        if (!begin_anew(state)) {
            return false;
        }
        for (channel_cursor& cursor : cursors_) {
            ask(cursor, state);
        }
    }
    return !is_empty(state.chosen);
}

bool event_index::is_in_range(std::uint64_t number, time_point time) const
{
    return (!range_.first_number || number >= *range_.first_number) &&
           (!range_.end_number || number < *range_.end_number) && (!range_.begin || time >= *range_.begin) &&
           (!range_.end || time < *range_.end);
}

/// Takes the present records of the chosen event, if it has any and lies in the range.
bool event_index::collect(const round& state)
{
    found_.clear();
    const indexed_record* reference = nullptr;
    bool has_other = false;
    for (std::size_t i = 0; i < cursors_.size(); ++i) {
        channel_cursor& cursor = cursors_[i];
        const indexed_record* record = cursor.is_alive() ? cursor.confirmed() : nullptr;
        int sign = 0;
        if (record == nullptr || !compare(state.chosen, record->event_id, sign)) {
            continue;
        }
        cursor.take();
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

/// False when clocks and numbers that contradict each other lead in a circle.
bool event_index::advances(const round& state)
{
    constexpr int most_stalls = 1000;
    const bool stalls = !state.is_first && match_.how == synchronisation::mode::by_time &&
                        trox_detail::microseconds(state.chosen.time) <= trox_detail::microseconds(current_.time);
    stalls_ = stalls ? stalls_ + 1 : 0;
    return stalls_ <= most_stalls;
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
    stalls_ = 0;
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

bool event_index::find_one()
{
    while (!complete_) {
        round state;
        if (!step(state) || !advances(state)) {
            complete_ = true;
            cursors_.clear();
            return false;
        }
        current_ = state.chosen;
        if (collect(state)) {
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
    } catch (...) { // kept for the one who needs the event
    }
}

void event_index::complete()
{
    while (grow()) {
    }
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
