// Bodies of the channel reader: finding records by event number and by time.
#ifndef TROX_GENERIC_READ_CHAN_LOOKUP_INL
#define TROX_GENERIC_READ_CHAN_LOOKUP_INL

#include "event_util.h"
#include "generic/clock.h"
#include "generic/read_chan_setup.inl"
#include "generic/record_scan.h"

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

/// Searches records that may be unordered or incomplete. False when the scan met the end of the decoded records.
template <class G> bool basic_read_chan<G>::scan_by_event_id(event_number id, int type, int& found)
{
    const event_number undecoded = channel_traits<G>::undecoded;
    found = scan_by_number(out_, out_total_.load(), id, type, undecoded);
    if (found == scan_met_end && debug() != 0) {
        print<channel_texts<G>, channel_message::lookup_met_end>();
    }
    return found != scan_met_end;
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
                                      : scan_by_time(out_, out_total_.load(), *ts, type, time_diff_);
    if (found < 0) {
        result = TROX_DAQ_READ_CHAN_NO_DATA;
        return nullptr;
    }
    result = TROX_DAQ_READ_CHAN_OK;
    out_cur_ = out_ + found;
    return out_cur_;
}

} // namespace trox_detail

#endif
