// Bodies of the channel reader: finding records by event number and by time.
#ifndef TROX_GENERIC_READ_CHAN_LOOKUP_INL
#define TROX_GENERIC_READ_CHAN_LOOKUP_INL

#include "event_util.h"
#include "generic/clock.h"
#include "generic/read_chan_setup.inl"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace trox_detail
{

/// Calls slower than this are worth a line when timings are traced.
inline constexpr double slow_call_ms = 1.0;

template <class G>
typename G::channel_entry* basic_read_chan<G>::find_entry_by_event_id(event_number id, int type, int* status)
{
    const int level = debug();
    const bool is_timed = channel_traits<G>::has_lookup_timing && level < 0;
    const long begin = is_timed ? now_us() : 0;
    int ignored = 0;
    int& result = status != nullptr ? *status : ignored;
    if (id == 0) {
        result = TROX_DAQ_READ_CHAN_INV_PARAM;
        return nullptr;
    }
    if (out_ == nullptr) {
        result = TROX_DAQ_READ_CHAN_NOT_INIT;
        return nullptr;
    }
    if (out_total_ == 0) {
        if (level != 0) {
            print<channel_texts<G>, channel_message::lookup_without_records>();
        }
        result = TROX_DAQ_READ_CHAN_NO_DATA;
        return nullptr;
    }
    result = TROX_DAQ_READ_CHAN_OK;
    int found = -1;
    if (has_all_records() && numbers_ascend_ && is_near(id, found)) {
        // As a search over all records would have answered: there is one record of a number.
    } else if (has_all_records() && index_ != nullptr && index_->knows_number(id)) {
        found = index_->find_number(id, type, index_to_start_search_);
    } else if (!scan_by_event_id(id, type, found)) {
        result = TROX_DAQ_READ_CHAN_NO_DATA;
        return nullptr;
    }
    // Nothing found: the position before the array is handed out all the same. Callers go by the status, and some
    // tell "looked and found nothing" from "could not look" by the pointer.
    if (found < 0) {
        result = TROX_DAQ_READ_CHAN_NO_DATA;
    }
    index_to_start_search_ = found;
    out_cur_ = out_ + found;
    if constexpr (channel_traits<G>::has_lookup_timing) {
        if (is_timed && elapsed_ms(begin) > slow_call_ms) {
            print<channel_texts<G>, channel_message::lookup_timing>(elapsed_ms(begin), channel_traits<G>::printed(id));
        }
    }
    return out_cur_;
}

template <class G> bool basic_read_chan<G>::has_all_records() const
{
    return all_done_.load(std::memory_order_acquire) != 0;
}

/// Whether the record behind the one found last, or that one, has a number.
template <class G> bool basic_read_chan<G>::is_near(event_number id, int& found) const
{
    const int total = out_total_.load(std::memory_order_relaxed);
    for (const int i : {index_to_start_search_ + 1, index_to_start_search_}) { // the next event is asked for most
        if (i >= 0 && i < total && out_[i].event_id.event_number == id) {
            found = i;
            return true;
        }
    }
    return false;
}

/// Searches records that may be unordered or incomplete: a binary search that trusts their order, then a scan,
/// then the nearest in the direction asked for. False when the scan met the end of the decoded records.
template <class G> bool basic_read_chan<G>::scan_by_event_id(event_number id, int type, int& found)
{
    const int total = out_total_;
    int low = 0;
    int high = total - 1;
    while (low <= high) {
        const int middle = low + (high - low) / 2;
        const event_number number = out_[middle].event_id.event_number;
        if (number == id && id != channel_traits<G>::undecoded) {
            found = middle;
            return true;
        }
        if (id < number) {
            high = middle - 1;
        } else {
            low = middle + 1;
        }
    }
    for (int i = 0; i < total; ++i) {
        const event_number number = out_[i].event_id.event_number;
        if (number == channel_traits<G>::undecoded) {
            if (debug() != 0) {
                print<channel_texts<G>, channel_message::lookup_met_end>();
            }
            return false;
        }
        if (number == id) {
            found = i;
            return true;
        }
    }
    found = nearest_by_event_id(id, type);
    return true;
}

/// The record with the smallest difference below (PREV) or above (NEXT) a number, -1 for none. Differences compare
/// as signed numbers; the first of equal ones wins.
template <class G> int basic_read_chan<G>::nearest_by_event_id(event_number id, int type) const
{
    using difference = std::make_signed_t<event_number>;
    int best = -1;
    difference smallest = 0;
    for (int i = 0; i < out_total_; ++i) {
        const event_number number = out_[i].event_id.event_number;
        const bool below = type == TROX_DAQ_READ_CHAN_EVENT_PREV && number != 0 && number < id;
        const bool above = type == TROX_DAQ_READ_CHAN_EVENT_NEXT && number > id;
        if (!below && !above) {
            continue;
        }
        const auto distance = static_cast<difference>(below ? id - number : number - id);
        if (best < 0 || distance < smallest) {
            best = i;
            smallest = distance;
        }
    }
    return best;
}

template <class G>
typename G::channel_entry* basic_read_chan<G>::find_entry_by_time(time_stamp* ts, int type, int* status)
{
    int ignored = 0;
    int& result = status != nullptr ? *status : ignored;
    if (ts == nullptr) {
        result = TROX_DAQ_READ_CHAN_INV_PARAM;
        return nullptr;
    }
    if (out_ == nullptr) {
        result = TROX_DAQ_READ_CHAN_NOT_INIT;
        return nullptr;
    }
    const bool is_indexed = has_all_records() && index_ != nullptr && index_->knows_times();
    const int found = out_total_ == 0 ? -1
                      : is_indexed    ? index_->find_time(*ts, type, time_diff_)
                                      : scan_by_time(*ts, type);
    if (found < 0) {
        result = TROX_DAQ_READ_CHAN_NO_DATA;
        return nullptr;
    }
    result = TROX_DAQ_READ_CHAN_OK;
    out_cur_ = out_ + found;
    return out_cur_;
}

/// As `scan_by_event_id`; a record without a time ends the search.
template <class G> int basic_read_chan<G>::scan_by_time(const time_stamp& ts, int type) const
{
    const int total = out_total_;
    int low = 0;
    int high = total - 1;
    int sign = 0;
    while (low <= high) {
        const int middle = low + (high - low) / 2;
        const time_stamp& time = out_[middle].event_id.time;
        if (trox_time_stamp_eq(&ts, &time)) {
            return middle;
        }
        trox_time_stamp_eq(&ts, &time, time_diff_, &sign, nullptr);
        if (sign == 0) {
            return middle;
        }
        if (sign < 0) {
            high = middle - 1;
        } else if (time.timeup == 0) {
            return -1;
        } else {
            low = middle + 1;
        }
    }
    for (int i = 0; i < total; ++i) {
        const time_stamp& time = out_[i].event_id.time;
        if (time.timeup == 0) {
            return -1;
        }
        if (trox_time_stamp_eq(&ts, &time, time_diff_, nullptr, nullptr)) {
            return i;
        }
    }
    return nearest_by_time(ts, type);
}

template <class G> int basic_read_chan<G>::nearest_by_time(const time_stamp& ts, int type) const
{
    const int wanted = type == TROX_DAQ_READ_CHAN_EVENT_NEXT ? -1 : type == TROX_DAQ_READ_CHAN_EVENT_PREV ? 1 : 0;
    int best = -1;
    double smallest = 0.0; // 0 counts as "none yet"
    for (int i = 0; wanted != 0 && i < out_total_; ++i) {
        int sign = 0;
        double distance = 0.0;
        trox_time_stamp_eq(&ts, &out_[i].event_id.time, time_diff_, &sign, &distance);
        if (sign == wanted && (smallest == 0.0 || distance < smallest)) {
            best = i;
            smallest = distance;
        }
    }
    return best;
}

} // namespace trox_detail

#endif
