// Reader: start, events and the end.
#ifndef TROX_GENERIC_READER_EVENTS_INL
#define TROX_GENERIC_READER_EVENTS_INL

#include "generic/clock.h"
#include "generic/os_calls.h"
#include "generic/reader_request.inl"

#include <atomic>
#include <cstdio>
#include <optional>

namespace trox_detail
{

// --- start --------------------------------------------------------------------------------------------

template <class Generation> int basic_reader<Generation>::start()
try {
    if (is_running()) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::already_started>();
            std::fflush(stdout);
        }
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    if (const int status = check_request()) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::request_not_ok>(status);
            std::fflush(stdout);
        }
        return set_error(status);
    }
    // From here on a failure keeps the slicer: the caller cleans up before it tries again.
    slicer_ = std::make_unique<slicer>();
    prepare_delivery();
    if (const int status = set_up_slicer()) {
        return set_error(status);
    }
    if (const int status = slicer_->start()) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::slicer_start_failed>(status);
            std::fflush(stdout);
        }
        set_error(status);
        last_error_ += ':';
        last_error_ += slicer_->get_not_found_channels();
        return status;
    }
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

/// Hands the slicer its settings, files and channels.
template <class Generation> int basic_reader<Generation>::set_up_slicer()
{
    if (debug_ != 0) {
        slicer_->set_debug(debug_);
    }
    if constexpr (reader_traits<Generation>::has_by_time_fix) {
        slicer_->set_by_time_fix(by_time_fix_);
    }
    slicer_->set_skip_bad_records(skip_bad_records_);
    std::vector<chan_param*> params;
    for (const auto& result : results_) {
        params.push_back(&result->chan);
    }
    if (const int status = reader_traits<Generation>::init_slicer(*slicer_, files_, params)) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::slicer_init_failed>(status);
        }
        return status;
    }
    if (const int status = slicer_->set_synch_mode(request_.synch_mode)) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::synch_mode_failed>(request_.synch_mode, status);
            std::fflush(nullptr);
        }
        return status;
    }
    if (const int status = slicer_->set_time_diff(&request_.time_diff)) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::time_diff_failed>(status);
            std::fflush(nullptr);
        }
        return status;
    }
    const int status = slicer_->set_event_step(&request_.period);
    if (status != 0 && debug_ != 0) {
        print<common_reader_texts, common_reader_message::event_step_failed>(status);
        std::fflush(nullptr);
    }
    return status;
}

/// Makes what the event loop looks channels up in.
template <class Generation> void basic_reader<Generation>::prepare_delivery()
{
    lookup_ = std::make_unique<channel_lookup>();
    for (const auto& result : results_) {
        lookup_->add(result->chan.name, full_channel_name(result->chan.name, result->chan.subchan));
    }
    deliveries_.assign(results_.size(), {});
}

// --- the next event -----------------------------------------------------------------------------------

template <class Generation>
int basic_reader<Generation>::get_data(time_id* target, std::vector<entry*>* result, int type)
try {
    static std::atomic<unsigned long> calls{0};
    if (!is_running()) {
        return TROX_DAQ_READER_NOT_INIT;
    }
    if (result == nullptr) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    calls.fetch_add(1, std::memory_order_relaxed);
    cur_res_.clear();
    result->clear();
    if (const int status = find_event(target, type)) {
        return status;
    }
    ++evs_;
    const int status = take_over_event();
    forget_old_updates();
    if (status != TROX_DAQ_READER_OK) {
        return status;
    }
    collect(*result);
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    result->clear();
    return TROX_DAQ_READER_INTERN_ERROR; // as for records that there is no memory for
}

/// How often in a row the slicer may answer without data, or with an event outside the range that lies no farther in
/// the requested direction than one before. It moves on with nearly every answer, but not for an explicit target or
/// for the current event: then the wait would not end.
inline constexpr int most_answers_in_place = 1000;

/// Whether an event lies farther in the direction of a request than another. Nothing is farther for the current one.
template <class TimeId> bool is_farther(const TimeId& event, const TimeId& than, int type)
{
    if (type == TROX_DAQ_READ_CHAN_EVENT_CUR) {
        return false;
    }
    const bool forward = type > TROX_DAQ_READ_CHAN_EVENT_CUR;
    if (event.event_number != 0 && than.event_number != 0) {
        return forward ? event.event_number > than.event_number : event.event_number < than.event_number;
    }
    return forward ? us_of(event.time) > us_of(than.time) : us_of(event.time) < us_of(than.time);
}

/// What progress is measured by: by time, the time alone, since the numbers may begin anew meanwhile.
template <class Generation> auto basic_reader<Generation>::place_of(const time_id& event) const -> time_id
{
    const bool is_by_time = request_.synch_mode == TROX_DAQ_SLICER_SYNCH_MODE_TIME;
    return is_by_time ? time_id{0, event.time} : event;
}

/// Asks until an event in the range comes, whose records are then in `cur_res_`; else a status.
template <class Generation> int basic_reader<Generation>::find_event(time_id* target, int type)
{
    int answers_in_place = 0;
    std::optional<time_id> farthest;
    for (;;) {
        if (const int status = ask_slicer(target, type)) {
            return slicer_failure(status);
        }
        bool moved = false;
        if (cur_res_.empty()) {
            ++evs_empty_;
            if (debug_ >= 1) {
                print<common_reader_texts, common_reader_message::empty_event>(request_.synch_mode);
            }
        } else {
            const time_id event = reference_entry().event_id;
            if (request_.synch_mode != TROX_DAQ_SLICER_SYNCH_MODE_EVID &&
                request_.synch_mode != TROX_DAQ_SLICER_SYNCH_MODE_TIME) {
                print<common_reader_texts, common_reader_message::unknown_synch_mode>(request_.synch_mode);
                return set_error(TROX_DAQ_READER_INTERN_ERROR);
            }
            const bool belongs = is_in_range(event);
            if (debug_ > 1) {
                print<common_reader_texts, common_reader_message::belongs>(belongs ? 1 : 0);
            }
            if (belongs) {
                return TROX_DAQ_READER_OK;
            }
            const time_id place = place_of(event);
            moved = !farthest || is_farther(place, *farthest, type);
            if (moved) {
                farthest = place;
            }
        }
        answers_in_place = moved ? 0 : answers_in_place + 1;
        if (answers_in_place == most_answers_in_place) {
            return set_error(TROX_DAQ_READER_NO_DATA);
        }
    }
}

template <class Generation> int basic_reader<Generation>::ask_slicer(time_id* target, int type)
{
    constexpr double worth_telling_ms = 1.0;
    const long begin = debug_ < 0 ? now_us() : 0;
    const int status = slicer_->get_data(target, &cur_res_, type);
    if (debug_ < 0) {
        const double took_ms = elapsed_ms(begin);
        if (took_ms > worth_telling_ms) {
            print<reader_texts<Generation>, reader_message::slicer_timing>(took_ms);
        }
    }
    if (debug_ > 1) {
        print<common_reader_texts, common_reader_message::slicer_answer>(static_cast<int>(cur_res_.size()), status);
    }
    return status;
}

/// What `get_data` answers when the slicer fails. The failures that it is known for leave the last error alone.
template <class Generation> int basic_reader<Generation>::slicer_failure(int status)
{
    if (status == TROX_DAQ_SLICER_NOT_READY || status == TROX_DAQ_SLICER_OUT_OF_WINDOW ||
        status == TROX_DAQ_SLICER_INTERN_ERROR || status == TROX_DAQ_SLICER_INV_PARAM) {
        return status;
    }
    print<common_reader_texts, common_reader_message::unexpected_status>(status);
    return set_error(status);
}

/// The entry that number and time of the event are taken from: the first that is no update, else the first.
template <class Generation> auto basic_reader<Generation>::reference_entry() const -> const entry&
{
    for (const entry* candidate : cur_res_) {
        const auto* head = reinterpret_cast<const subhead*>(candidate->sbchdata[0].chhd);
        if (head == nullptr) {
            if (debug_ > 0) {
                print<reader_texts<Generation>, reader_message::no_channel_head>();
            }
        } else if (!reader_traits<Generation>::is_update_type(head->dtype)) {
            return *candidate;
        }
    }
    return *cur_res_.front();
}

template <class Generation> bool basic_reader<Generation>::is_in_range(const time_id& event) const
{
    const double time_us = us_of(event.time);
    const bool is_by_number = request_.synch_mode == TROX_DAQ_SLICER_SYNCH_MODE_EVID;
    const auto first_number = is_by_number ? request_.start_time.event_number : 0;
    const auto last_number = is_by_number ? request_.stop_time.event_number : 0;
    const bool is_behind_start =
        first_number != 0 ? event.event_number >= first_number : (time_start_ == 0 || time_us >= time_start_);
    const bool is_before_stop =
        last_number != 0 ? event.event_number <= last_number : (time_stop_ == 0 || time_us <= time_stop_);
    return is_behind_start && is_before_stop;
}

/// memcpy of the C library. Of a size that it knows the compiler makes a string instruction, which starts slowly.
[[gnu::noinline]] inline void copy_bytes(void* destination, const void* source, std::size_t size)
{
    std::memcpy(destination, source, size);
}

/// Copies a record of the channel reader; clears it when the channel reader has none.
template <class Record> void copy_or_clear(Record& destination, std::uint64_t source)
{
    if (source != 0) {
        copy_bytes(&destination, reinterpret_cast<const void*>(source), sizeof destination);
    } else {
        destination = {};
    }
}

// --- results ------------------------------------------------------------------------------------------

/// Asks for memory that will be read. Inlined by force: to the compiler a function that only does this has no
/// effect, and it drops the calls.
[[gnu::always_inline]] inline void fetch_ahead(std::uint64_t address, std::size_t size)
{
    constexpr std::size_t cache_line = 64;
    for (std::size_t line = 0; line < size; line += cache_line) {
        __builtin_prefetch(reinterpret_cast<const void*>(address + line));
    }
}

/// Copies the records in `cur_res_` into the results of their channels. 0, or -6 without memory.
template <class Generation> int basic_reader<Generation>::take_over_event()
{
    // The records lie scattered over the channel readers' memory: waiting for it takes longer than copying them.
    constexpr std::size_t ahead = 8;
    constexpr std::size_t some_payload = 64;
    const std::size_t count = cur_res_.size();
    expected_ = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (count - i > 2 * ahead) {
            fetch_ahead(reinterpret_cast<std::uint64_t>(cur_res_[i + 2 * ahead]), offsetof(entry, sbchdata[1]));
        }
        if (count - i > ahead) {
            const auto& pointers = cur_res_[i + ahead]->sbchdata[0];
            fetch_ahead(pointers.evhd, sizeof(typename Generation::event_header));
            fetch_ahead(pointers.sbhd, sizeof(typename Generation::server_block_head));
            fetch_ahead(pointers.chhd, sizeof(subhead) + some_payload);
        }
        if (const int status = take_over(*cur_res_[i])) {
            return status;
        }
    }
    return TROX_DAQ_READER_OK;
}

/// Takes back the flags of results that the present event has not updated.
template <class Generation> void basic_reader<Generation>::forget_old_updates()
{
    for (std::size_t i = 0; i < deliveries_.size(); ++i) {
        delivery& state = deliveries_[i];
        if (state.updated && state.event != evs_) {
            state.updated = false;
            results_[i]->updated = 0;
        }
    }
}

/// Copies a record into the result of its channel, if it has one. 0, or -6 without memory.
template <class Generation> int basic_reader<Generation>::take_over(const entry& source)
{
    current_event_id_ = source.event_id;
    const auto& pointers = source.sbchdata[0];
    if (pointers.chhd == 0) {
        return TROX_DAQ_READER_OK;
    }
    // Published blocks are aligned and in host order: the head may be read in place.
    const auto& head = *reinterpret_cast<const subhead*>(pointers.chhd);
    const int found = find_result(head);
    if (debug_ > 1) {
        trace_search(found);
    }
    if (found < 0) {
        return TROX_DAQ_READER_OK;
    }
    expected_ = static_cast<std::size_t>(found) + 1;
    return copy_record(static_cast<std::size_t>(found), source, head);
}

/// Copies a record into a result, so that it outlives the channel reader's. 0, or -6 without memory.
template <class Generation>
int basic_reader<Generation>::copy_record(std::size_t i, const entry& source, const subhead& head)
{
    result_entry& result = *results_[i];
    delivery& state = deliveries_[i];
    if (head.dtype == reader_traits<Generation>::update_type) {
        state.slow = true;
        result.slow = 1;
    }
    // A record without payload may count less than its own head.
    const auto size = std::max(head.ldata, static_cast<std::int32_t>(sizeof(subhead)));
    if (!make_room(i, size)) {
        return TROX_DAQ_READER_INTERN_ERROR;
    }
    std::memcpy(static_cast<void*>(result.data), &head, static_cast<std::size_t>(size));
    copy_or_clear(result.evhd, source.sbchdata[0].evhd);
    copy_or_clear(result.sbhd, source.sbchdata[0].sbhd);
    if (debug_ > 1) {
        const std::string key = full_channel_name(result.chan.name, result.chan.subchan);
        print<common_reader_texts, common_reader_message::updated>(key.c_str());
    }
    state.event = evs_;
    state.updated = true;
    result.updated = 1;
    result.res.event_id = source.event_id;
    // Of the pointer sets only the first is in use; the others stay zero.
    auto& own = result.res.sbchdata[0];
    own.evhd = reinterpret_cast<std::uint64_t>(&result.evhd);
    own.sbhd = reinterpret_cast<std::uint64_t>(&result.sbhd);
    own.chhd = reinterpret_cast<std::uint64_t>(result.data);
    own.data = own.chhd + sizeof(subhead);
    return TROX_DAQ_READER_OK;
}

/// Index of the first result that a block belongs to; negative without one.
template <class Generation> int basic_reader<Generation>::find_result(const subhead& head) const
{
    if (!reader_traits<Generation>::is_update_type(head.dtype)) {
        return lookup_->find_key(name_in(head.chname), expected_);
    }
    // An update carries its channel's full name, which its sub-head may have cut.
    constexpr std::size_t name_field = sizeof(Generation::update_block::upd_prop);
    const std::size_t size = static_cast<std::size_t>(std::max(head.ldata, 0));
    const std::size_t payload = size > sizeof(subhead) ? size - sizeof(subhead) : 0;
    const char* name = reinterpret_cast<const char*>(&head) + sizeof(subhead);
    const std::size_t length = payload > 0 ? ::strnlen(name, std::min(payload, name_field)) : 0;
    return lookup_->find_name({name, length}, expected_);
}

/// The comparisons that a scan of the results would have made.
template <class Generation> void basic_reader<Generation>::trace_search(int found) const
{
    const std::size_t misses = found < 0 ? results_.size() : static_cast<std::size_t>(found);
    for (std::size_t i = 0; i < misses; ++i) {
        print<common_reader_texts, common_reader_message::found>(0);
    }
    if (found >= 0) {
        print<common_reader_texts, common_reader_message::found>(1);
    }
}

template <class Generation> bool basic_reader<Generation>::make_room(std::size_t i, std::int32_t size)
{
    std::int32_t& capacity = deliveries_[i].capacity;
    if (size <= capacity) {
        return true;
    }
    result_entry& result = *results_[i];
    void* grown = os().realloc(result.data, static_cast<std::size_t>(size));
    if (grown == nullptr) {
        const std::string key = full_channel_name(result.chan.name, result.chan.subchan);
        print<common_reader_texts, common_reader_message::no_data_memory>(size, key.c_str());
        std::perror("realloc");
        return false;
    }
    result.data = static_cast<subhead*>(grown);
    capacity = size;
    return true;
}

/// Hands out the results of the event, and the latest values of slow channels.
template <class Generation> void basic_reader<Generation>::collect(std::vector<entry*>& result)
{
    for (std::size_t i = 0; i < deliveries_.size(); ++i) {
        if (deliveries_[i].slow || deliveries_[i].updated) {
            result.push_back(&results_[i]->res);
        }
    }
}

// --- the end ------------------------------------------------------------------------------------------

template <class Generation> void basic_reader<Generation>::clean_up()
{
    if (slicer_) {
        slicer_->clean_up();
        slicer_.reset();
    }
    files_.clear();
    cur_res_.clear();
    results_.clear();
    chans_.clear();
    chan_name_map_.clear();
    nchans_ = 0;
    lookup_.reset();
    deliveries_.clear();
    current_event_id_ = {};
    set_request_defaults();
    time_start_ = 0;
    time_stop_ = 0;
    evs_ = 0;
    evs_empty_ = 0;
    found_from_run_catalogue_ = false;
    get_tables_->clean_up();
}

} // namespace trox_detail

#endif
