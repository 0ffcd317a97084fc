// Bodies of the channel reader: get_chan_data.
#ifndef TROX_GENERIC_READ_CHAN_DELIVERY_INL
#define TROX_GENERIC_READ_CHAN_DELIVERY_INL

#include "event_util.h"
#include "generic/read_chan_lookup.inl"

#include <optional>

namespace trox_detail
{

/// The event that a request is relative to.
template <class G> struct basic_read_chan<G>::reference_event {
    event_number number = 0;
    time_stamp time{};
    bool given = false; ///< by the caller
};

template <class G> void basic_read_chan<G>::get_time_limits(time_id* first, time_id* last) const
{
    std::optional<mutex_holder> lock;
    if (all_done_.load(std::memory_order_acquire) == 0) {
        lock.emplace(mx_); // the last worker may determine them anew
    }
    if (first != nullptr) {
        *first = event_first_;
    }
    if (last != nullptr) {
        *last = event_last_;
    }
}

template <class G> int basic_read_chan<G>::get_chan_data(time_id* id, entry** out, int type)
{
    if (chnb_ == nullptr) {
        print<channel_texts<G>, channel_message::get_data_not_initialized>(chan_.c_str());
        return TROX_DAQ_READ_CHAN_NOT_INIT;
    }
    if (out == nullptr || type < TROX_DAQ_READ_CHAN_EVENT_FIRST || type > TROX_DAQ_READ_CHAN_EVENT_LAST) {
        return TROX_DAQ_READ_CHAN_INV_PARAM;
    }
    std::optional<mutex_holder> lock;
    if (all_done_.load(std::memory_order_acquire) == 0) {
        lock.emplace(mx_); // workers may publish, and take bad records out; nobody does any more when all is done
    }
    reference_event reference;
    if (!choose_reference(id, type, reference)) {
        return TROX_DAQ_READ_CHAN_INV_PARAM;
    }
    int status = TROX_DAQ_READ_CHAN_OK;
    const bool relative = type == TROX_DAQ_READ_CHAN_EVENT_PREV || type == TROX_DAQ_READ_CHAN_EVENT_NEXT;
    entry* record = reference.number != 0 && (reference.given || !relative) ? find_by_number(reference, type, status)
                                                                            : find_by_time(reference, type, status);
    if (record != nullptr) {
        __builtin_prefetch(record + 1); // most callers go on to the next event, and ask other channels before
        event_cur_ = record->event_id;
        *out = record;
    }
    return status;
}

/// False when there is no event to start from.
template <class G> bool basic_read_chan<G>::choose_reference(const time_id* id, int type, reference_event& reference)
{
    const time_id* chosen = id;
    if (id == nullptr) {
        switch (static_cast<trox_daq_read_chan_request_type>(type)) {
        case TROX_DAQ_READ_CHAN_EVENT_FIRST:
            chosen = &event_first_;
            break;
        case TROX_DAQ_READ_CHAN_EVENT_LAST:
            chosen = &event_last_;
            break;
        case TROX_DAQ_READ_CHAN_EVENT_CUR:
            chosen = out_cur_ != nullptr ? &out_cur_->event_id : nullptr;
            break;
        case TROX_DAQ_READ_CHAN_EVENT_NEXT: // steps from the first: the event behind it is the first answer
            chosen = out_cur_ != nullptr ? &out_cur_->event_id : &event_first_;
            break;
        case TROX_DAQ_READ_CHAN_EVENT_PREV:
            chosen = out_cur_ != nullptr ? &out_cur_->event_id : &event_last_;
            break;
        }
    }
    if (chosen == nullptr) {
        return false;
    }
    reference = {chosen->event_number, chosen->time, id != nullptr};
    if (reference.number == 0 && reference.time.timeup == 0) {
        if (debug() != 0) {
            print<common_channel_texts, common_channel_message::no_reference>(0, 0);
        }
        return false;
    }
    return true;
}

template <class G>
typename G::channel_entry* basic_read_chan<G>::find_by_number(const reference_event& reference, int type, int& status)
{
    event_number target = reference.number;
    const event_number step = event_step_.event_number;
    bool outside = false;
    if (type == TROX_DAQ_READ_CHAN_EVENT_PREV) {
        outside = target < step || target - step < event_first_.event_number;
        target -= step;
    } else if (type == TROX_DAQ_READ_CHAN_EVENT_NEXT) {
        target += step;
        outside = target < step || target > event_last_.event_number;
    } else if (type == TROX_DAQ_READ_CHAN_EVENT_CUR) {
        outside = target < event_first_.event_number || target > event_last_.event_number;
    }
    if (outside) {
        status = TROX_DAQ_READ_CHAN_OUT_OF_WINDOW;
        return nullptr;
    }
    return find_entry_by_event_id(target, type, &status);
}

/// `time` less `step`. Microseconds of exactly 1000000 stay: the comparisons with a tolerance take them as they
/// are, and programs have seen such targets in the traces.
constexpr time_stamp step_back(const time_stamp& time, const time_stamp& step)
{
    if (step.timelow < time.timelow) {
        return {time.timeup - step.timeup, time.timelow - step.timelow};
    }
    return {time.timeup - step.timeup - 1, static_cast<std::uint32_t>(time.timelow + us_per_second - step.timelow)};
}

template <class G>
typename G::channel_entry* basic_read_chan<G>::find_by_time(const reference_event& reference, int type, int& status)
{
    time_stamp target = reference.time;
    if (type == TROX_DAQ_READ_CHAN_EVENT_PREV) {
        target = step_back(target, event_step_.time);
    } else if (type == TROX_DAQ_READ_CHAN_EVENT_NEXT) {
        target = target + event_step_.time;
    }
    const bool needs_start = type == TROX_DAQ_READ_CHAN_EVENT_PREV || type == TROX_DAQ_READ_CHAN_EVENT_CUR;
    const bool needs_end = type == TROX_DAQ_READ_CHAN_EVENT_NEXT || type == TROX_DAQ_READ_CHAN_EVENT_CUR;
    int sign = 0;
    if ((needs_start && !trox_time_stamp_eq(&target, &event_first_.time, time_diff_, &sign, nullptr) && sign < 0) ||
        (needs_end && !trox_time_stamp_eq(&event_last_.time, &target, time_diff_, &sign, nullptr) && sign < 0)) {
        status = TROX_DAQ_READ_CHAN_OUT_OF_WINDOW;
        return nullptr;
    }
    entry* record = find_entry_by_time(&target, type, &status);
    if constexpr (channel_traits<G>::has_by_time_fix) {
        if (by_time_fix_ && record != nullptr) {
            return check_against_numbers(record, type, status);
        }
    }
    return record;
}

/// A neighbour found by time that skips event numbers gives way to the neighbour by number. Where the next number
/// would lie outside the channel's events the record is delivered with OUT_OF_WINDOW: a slicer then moves the
/// channel to the next file.
template <class G>
typename G::channel_entry* basic_read_chan<G>::check_against_numbers(entry* record, int type, int& status)
{
    const event_number current = event_cur_.event_number;
    const event_number number = record->event_id.event_number;
    const event_number step = event_step_.event_number;
    event_number target = 0;
    bool inside = false;
    if (type == TROX_DAQ_READ_CHAN_EVENT_PREV && static_cast<event_number>(current - number) > 1) {
        target = current - step;
        inside = current >= step && target >= event_first_.event_number;
    } else if (type == TROX_DAQ_READ_CHAN_EVENT_NEXT && static_cast<event_number>(number - current) >= 2) {
        target = current + step;
        inside = target >= step && target <= event_last_.event_number;
    } else {
        return record;
    }
    if (debug() > 0) {
        print<common_channel_texts, common_channel_message::check_by_number>();
    }
    if (!inside) {
        status = TROX_DAQ_READ_CHAN_OUT_OF_WINDOW;
        return record;
    }
    int found_status = TROX_DAQ_READ_CHAN_OK;
    entry* by_number = find_entry_by_event_id(target, type, &found_status);
    if (by_number == nullptr) {
        return record; // a search that could not be made says nothing against it
    }
    status = found_status;
    return by_number;
}

} // namespace trox_detail

#endif
