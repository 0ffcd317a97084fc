// Bodies of the slicer: events of all channels, one at a time.
#ifndef TROX_GENERIC_SLICER_EVENTS_INL
#define TROX_GENERIC_SLICER_EVENTS_INL

#include "event_util.h"
#include "generic/slicer_channels.inl"

#include <cstdint>

namespace trox_detail
{

/// Debug level of the trace of every step.
inline constexpr int trace_steps = -2;

/// What one call of `get_data` works with.
template <class G> struct basic_slicer<G>::search {
    int request = 0;  ///< the request in effect
    time_id target{}; ///< what it is relative to
    time_id chosen{}; ///< the best event so far
    bool by_time = false;
    int debug = 0;
    long start = 0; ///< for timing traces

    bool has_chosen() const
    {
        return chosen.event_number != 0 || chosen.time.timeup != 0;
    }
};

template <class G> int basic_slicer<G>::get_data(const time_id* target, std::vector<entry*>* result, int request)
{
    if (!is_request(request) || result == nullptr) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    search state;
    state.by_time = synch_mode_ == TROX_DAQ_SLICER_SYNCH_MODE_TIME;
    state.debug = get_debug();
    state.start = state.debug < 0 ? now_us() : 0;
    if (state.by_time) {
        current_event_id_.event_number = 0;
    }
    try { // before anything changes, so that the call may be repeated
        result->reserve(read_chans_.size());
        answers_.assign(read_chans_.size(), {});
    } catch (const std::bad_alloc&) {
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    // The first call delivers the event that `start` chose.
    state.request = first_event_ != 0 ? static_cast<int>(TROX_DAQ_READ_CHAN_EVENT_CUR) : request;
    result->clear();
    state.target = target != nullptr ? *target : current_event_id_;
    if (state.by_time) {
        state.target.event_number = 0;
    }
    if (state.debug >= 1) {
        print<slicer_texts<G>, slicer_message::input>(slicer_traits<G>::printed(current_event_id_.event_number),
                                                      current_event_id_.time.timeup, current_event_id_.time.timelow,
                                                      synch_mode_);
    }
    if (const int status = ask_channels(state); status != TROX_DAQ_SLICER_OK) {
        return status;
    }
    if constexpr (slicer_traits<G>::has_timing_traces) {
        if (state.debug < 0 && elapsed_ms(state.start) > traced_from_ms) {
            print<common_slicer_texts, common_slicer_message::middle_timing>(elapsed_ms(state.start));
        }
    }
    current_event_id_ = state.chosen;
    const int channels = collect(state, *result);
    first_event_ = 0;
    if (state.debug >= 1) {
        print<slicer_texts<G>, slicer_message::chosen_event>(
            slicer_traits<G>::printed(current_event_id_.event_number), current_event_id_.time.timeup,
            current_event_id_.time.timelow, static_cast<int>(result->size()));
    }
    return channels > 0 ? TROX_DAQ_SLICER_OK : TROX_DAQ_SLICER_OUT_OF_WINDOW;
}

/// First pass: every channel's answer to the request, and the best of them.
template <class G> int basic_slicer<G>::ask_channels(search& state)
{
    const int count = static_cast<int>(read_chans_.size());
    for (int i = 0; i < count; ++i) {
        fetch_ahead(i);
        if (const int status = ask_channel(i, state); status != TROX_DAQ_SLICER_OK) {
            return status;
        }
    }
    return TROX_DAQ_SLICER_OK;
}

/// Fetches what asking the channels behind `i` will look at: with hundreds of channels a reader is out of the cache
/// when its turn comes, and then what it points at is as well.
template <class G> void basic_slicer<G>::fetch_ahead(int i) const
{
    constexpr int far = 20;
    constexpr int near = 10;
    constexpr std::size_t cache_line = 64;
    constexpr std::size_t lines_used = 3;
    const int count = static_cast<int>(read_chans_.size());
    if (i + far < count && read_chans_[i + far] != nullptr) {
        const auto* reader = reinterpret_cast<const char*>(read_chans_[i + far].get());
        for (std::size_t line = 0; line < lines_used; ++line) {
            __builtin_prefetch(reader + line * cache_line);
        }
    }
    if (i + near < count && read_chans_[i + near] != nullptr) {
        read_chans_[i + near]->fetch_ahead();
    }
}

template <class G> int basic_slicer<G>::ask_channel(int i, search& state)
{
    // A channel cannot move on more often than there are files. The same file is opened anew only once: where it
    // answered out of window twice, it would go on doing so.
    std::size_t moves_left = state.request == TROX_DAQ_READ_CHAN_EVENT_CUR ? 1 : files_.size();
    while (read_chans_[i] != nullptr && is_in_range(i, state)) {
        if (state.debug != 0) {
            trace_asking(i, state);
        }
        entry* record = nullptr;
        const int status = read_chans_[i]->get_chan_data(&state.target, &record, state.request);
        switch (static_cast<trox_daq_read_chan_data_status>(status)) {
        case TROX_DAQ_READ_CHAN_OK:
            if (state.debug != 0) {
                trace_answer(i, record, state);
            }
            if (record != nullptr) {
                if (read_chans_[i]->is_current(*record)) {
                    answers_[i] = {record, record->event_id};
                }
                consider(i, *record, state);
            }
            return TROX_DAQ_SLICER_OK;
        case TROX_DAQ_READ_CHAN_OUT_OF_WINDOW:
            if (!move_channel(i, state, moves_left)) {
                return TROX_DAQ_SLICER_OK;
            }
            continue;
        case TROX_DAQ_READ_CHAN_NO_DATA:
        case TROX_DAQ_READ_CHAN_NOT_READY:
        case TROX_DAQ_READ_CHAN_NOT_INIT:
        case TROX_DAQ_READ_CHAN_NOT_FOUND:
        case TROX_DAQ_READ_CHAN_INTERN_ERROR:
        case TROX_DAQ_READ_CHAN_INV_PARAM:
            return report_channel(i, status);
        }
        return TROX_DAQ_SLICER_OK; // a positive code
    }
    return TROX_DAQ_SLICER_OK;
}

/// Whether the file of a channel may hold what is asked for.
template <class G> bool basic_slicer<G>::is_in_range(int i, const search& state) const
{
    time_id first;
    time_id last;
    read_chans_[i]->get_time_limits(&first, &last);
    const auto is_before = [this](const time_id& a, const time_id& b) {
        int sign = 0;
        is_event_id_eq(&a, &b, &sign);
        return sign < 0;
    };
    switch (static_cast<trox_daq_read_chan_request_type>(state.request)) {
    case TROX_DAQ_READ_CHAN_EVENT_CUR:
        return !is_before(state.target, first) && !is_before(last, state.target);
    case TROX_DAQ_READ_CHAN_EVENT_NEXT:
    case TROX_DAQ_READ_CHAN_EVENT_LAST:
        return !is_before(last, state.target);
    case TROX_DAQ_READ_CHAN_EVENT_PREV:
    case TROX_DAQ_READ_CHAN_EVENT_FIRST:
        return !is_before(state.target, first);
    }
    return true;
}

/// Prints a channel's status; the answer of the whole call that follows from it.
template <class G> int basic_slicer<G>::report_channel(int i, int status) const
{
    using texts = common_slicer_texts;
    const char* name = channel_name(i);
    switch (static_cast<trox_daq_read_chan_data_status>(status)) {
    case TROX_DAQ_READ_CHAN_INV_PARAM:
        print<texts, common_slicer_message::invalid_parameter>(i, name);
        return TROX_DAQ_SLICER_INTERN_ERROR;
    case TROX_DAQ_READ_CHAN_INTERN_ERROR:
        print<texts, common_slicer_message::intern_error>(i, name);
        return TROX_DAQ_SLICER_INTERN_ERROR;
    case TROX_DAQ_READ_CHAN_NOT_FOUND:
        print<texts, common_slicer_message::not_found>(i, name);
        return TROX_DAQ_SLICER_INTERN_ERROR;
    case TROX_DAQ_READ_CHAN_NOT_INIT:
        print<texts, common_slicer_message::not_initialized>(i, name);
        return TROX_DAQ_SLICER_INTERN_ERROR;
    case TROX_DAQ_READ_CHAN_NOT_READY:
        print<texts, common_slicer_message::not_ready>(i, name);
        return TROX_DAQ_SLICER_NOT_READY;
    case TROX_DAQ_READ_CHAN_NO_DATA:
        print<texts, common_slicer_message::no_data>(i, name);
        break;
    case TROX_DAQ_READ_CHAN_OUT_OF_WINDOW:
    case TROX_DAQ_READ_CHAN_OK:
        break;
    }
    return TROX_DAQ_SLICER_OK;
}

/// Moves a channel that is out of window to the next file in the request's direction that starts; false when there
/// is none.
template <class G> bool basic_slicer<G>::move_channel(int i, const search& state, std::size_t& moves_left)
{
    while (moves_left > 0) {
        --moves_left;
        if (state.debug == trace_steps) {
            print<common_slicer_texts, common_slicer_message::loop_trace>(static_cast<int>(moves_left));
        }
        if (const int moved = change_config(i, state.request, 1); moved != TROX_DAQ_SLICER_OK) {
            // Callers know the text; change_config never answers so today.
            if (slicer_traits<G>::moves_again && moved == TROX_DAQ_SLICER_OUT_OF_WINDOW && nchans_ == 1) {
                print<common_slicer_texts, common_slicer_message::moving_again>();
                continue;
            }
            break;
        }
        const int started = start_channel(i, state.request);
        if (started == TROX_DAQ_SLICER_OK) {
            return true;
        }
        if (!goes_to_next_file(started)) {
            if (state.debug > 0) {
                print<common_slicer_texts, common_slicer_message::no_more_data>(channel_name(i));
            }
            remove_channel(i);
            return false;
        }
    }
    if (state.debug > 0) {
        print<common_slicer_texts, common_slicer_message::no_more_files>(channel_name(i), chans_[i]->subchan);
    }
    // The last file may be one that did not start: its reader would fail every later call.
    if (read_chans_[i] != nullptr && read_chans_[i]->get_number_of_records() == 0) {
        remove_channel(i);
    }
    return false;
}

/// Makes a channel's answer the chosen event when it is the first, or nearer than the chosen one.
template <class G> void basic_slicer<G>::consider(int i, const entry& record, search& state) const
{
    const bool is_first = !state.has_chosen();
    if (!is_first && !is_better(record, state)) {
        return;
    }
    if (is_first && state.debug >= 1) { // later replacements are silent
        print<slicer_texts<G>, slicer_message::candidate>(slicer_traits<G>::printed(record.event_id.event_number), i);
    }
    state.chosen = record.event_id;
    if (state.by_time) {
        state.chosen.event_number = 0;
    }
}

/// Whether a record is exactly later than another event; both have the same second, or nearly.
template <class TimeId> bool is_exactly_later(const TimeId& a, const TimeId& b)
{
    constexpr std::uint64_t us_in_second = 1000000;
    return a.time.timeup * us_in_second + a.time.timelow > b.time.timeup * us_in_second + b.time.timelow;
}

/// Whether a record's first block is an update block.
template <class G> bool has_update(const typename G::channel_entry& record)
{
    using subhead = typename G::subhead;
    const auto* block = reinterpret_cast<const subhead*>(record.sbchdata[0].chhd);
    return block != nullptr && block->dtype == slicer_traits<G>::update_type;
}

template <class G> bool basic_slicer<G>::is_better(const entry& record, const search& state) const
{
    int from_target = 0; // sign of target - record
    int from_chosen = 0; // sign of chosen - record
    is_event_id_eq(&state.target, &record.event_id, &from_target);
    is_event_id_eq(&state.chosen, &record.event_id, &from_chosen);
    if (state.debug != 0) {
        if (state.debug >= 1) {
            print<common_slicer_texts, common_slicer_message::difference>(from_target);
        }
        if (state.debug == trace_steps && state.request == TROX_DAQ_READ_CHAN_EVENT_NEXT) {
            print<common_slicer_texts, common_slicer_message::next_trace>(from_target, from_chosen);
        }
        if (state.debug >= 3 && state.request == TROX_DAQ_READ_CHAN_EVENT_CUR) {
            print<common_slicer_texts, common_slicer_message::current>(from_target);
        }
    }
    // Within the tolerance, the exactly earlier record wins.
    const auto wins_tie = [&] {
        return state.by_time && from_chosen == 0 && is_exactly_later(state.chosen, record.event_id);
    };
    switch (static_cast<trox_daq_read_chan_request_type>(state.request)) {
    case TROX_DAQ_READ_CHAN_EVENT_CUR:
        return from_target == 0;
    case TROX_DAQ_READ_CHAN_EVENT_NEXT:
        return from_target < 0 && (from_chosen > 0 || wins_tie());
    case TROX_DAQ_READ_CHAN_EVENT_LAST: // an update's time must not displace that of a machine event
        return from_target < 0 && (from_chosen > 0 || (wins_tie() && !has_update<G>(record)));
    case TROX_DAQ_READ_CHAN_EVENT_PREV:
        return from_target > 0 && from_chosen < 0;
    case TROX_DAQ_READ_CHAN_EVENT_FIRST:
        return from_target > 0 && from_chosen > 0;
    }
    return false;
}

/// Second pass: the records of the chosen event. Answers the number of channels with a reader.
template <class G> int basic_slicer<G>::collect(const search& state, std::vector<entry*>& result)
{
    int channels = 0;
    const int count = static_cast<int>(read_chans_.size());
    for (int i = 0; i < count; ++i) {
        if (read_chans_[i] == nullptr) {
            continue;
        }
        ++channels;
        if (state.debug >= 2) {
            print<slicer_texts<G>, slicer_message::second_pass>();
        }
        const answer current = current_record(i);
        if (current.record == nullptr) {
            continue;
        }
        const int same = is_event_id_eq(&current_event_id_, &current.event, nullptr);
        if (state.debug >= 3) {
            slicer_traits<G>::tell_match(same);
        }
        if (same != 0) {
            result.push_back(current.record);
        } else if (state.debug >= 2) {
            trace_empty(i, *current.record);
        }
    }
    return channels;
}

/// A channel's current record; none in the answer when it has none.
template <class G> typename basic_slicer<G>::answer basic_slicer<G>::current_record(int i)
{
    if (answers_[i].record != nullptr) {
        return answers_[i]; // the records of hundreds of channels are no longer in the cache
    }
    entry* record = nullptr;
    const int status = read_chans_[i]->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_CUR);
    if (status != TROX_DAQ_READ_CHAN_OK || record == nullptr) {
        return {};
    }
    return {record, record->event_id};
}

template <class G> void basic_slicer<G>::trace_asking(int i, const search& state) const
{
    if (state.debug == trace_steps) {
        print<common_slicer_texts, common_slicer_message::channel_trace>(i, trace_id(read_chans_[i].get()));
    }
    if (state.debug >= 1) {
        print<common_slicer_texts, common_slicer_message::calling>(i, state.request);
    }
    if (state.debug >= 2) {
        print<common_slicer_texts, common_slicer_message::first_pass>();
    }
}

template <class G>
void basic_slicer<G>::trace_answer([[maybe_unused]] int i, const entry* record, const search& state) const
{
    if constexpr (slicer_traits<G>::has_timing_traces) {
        if (state.debug < 0 && elapsed_ms(state.start) > traced_from_ms) {
            slicer_traits<G>::tell_start_of_pass(elapsed_ms(state.start), i);
        }
    }
    if (state.debug < 2) {
        return;
    }
    if (record == nullptr) {
        print<common_slicer_texts, common_slicer_message::no_record>();
        return;
    }
    const time_id& event = record->event_id;
    print<slicer_texts<G>, slicer_message::answer>(
        slicer_traits<G>::printed(event.event_number), event.time.timeup, event.time.timelow,
        slicer_traits<G>::printed(state.chosen.event_number), state.chosen.time.timeup, state.chosen.time.timelow);
}

template <class G> void basic_slicer<G>::trace_empty(int i, const entry& record) const
{
    const time_id& event = record.event_id;
    const auto* loader = read_chans_[i]->get_cfg();
    print<slicer_texts<G>, slicer_message::no_data_of_event>(
        channel_name(i), slicer_traits<G>::printed(current_event_id_.event_number), current_event_id_.time.timeup,
        current_event_id_.time.timelow, slicer_traits<G>::printed(event.event_number), event.time.timeup,
        event.time.timelow, trace_id(loader != nullptr ? loader->get_evh_base() : nullptr));
}

} // namespace trox_detail

#endif
