// Bodies of the channel reader: the decompression workers.
#ifndef TROX_GENERIC_READ_CHAN_WORKERS_INL
#define TROX_GENERIC_READ_CHAN_WORKERS_INL

#include "generic/clock.h"
#include "generic/read_chan_setup.inl"
#include "generic/record_decoder.inl"

#include <utility>

namespace trox_detail
{

template <class G> bool basic_read_chan<G>::is_done()
{
    const mutex_holder lock(mx_);
    return all_done_ != 0;
}

template <class G> void basic_read_chan<G>::set_thread_exited(pthread_t id)
{
    const mutex_holder lock(mx_);
    const auto end = tid_.begin() + nthreads_;
    const auto slot = std::find(tid_.begin(), end, id);
    if (slot != end) {
        *slot = no_thread;
    }
}

template <class G> void* basic_read_chan<G>::run_worker(void* reader)
{
    auto* self = static_cast<basic_read_chan*>(reader);
    self->decode_records();
    self->workers_.fetch_sub(1, std::memory_order_release); // the last access: the reader may be gone behind it
    return nullptr;
}

template <class G> void basic_read_chan<G>::decode_records()
{
    const long begin = now_us();
    if (evh_base_ == nullptr || sbh_base_ == nullptr || chnb_ == nullptr) {
        signal_master();
        return;
    }
    {
        const mutex_holder lock(mx_);
        if (out_ == nullptr) {
            print<common_channel_texts, common_channel_message::no_out_array>(this_thread());
            signal_master();
            return;
        }
    }
    const record_source<G> source{file_->event_headers.range(), file_->server_blocks.range(), basket_.get(),
                                  chan_.c_str(), subchan_};
    record_arena arena;
    record_decoder<G> decoder(source, arena);
    int index = 0;
    while (!stop_ && take_record(index)) {
        entry record{};
        const decode_outcome outcome = decoder.decode(get_data_table_pointer(index), record);
        if (!(skip_bad_records_ ? settle_or_skip(outcome, record, index) : settle(outcome, record, index))) {
            break;
        }
    }
    int done = 0;
    {
        const mutex_holder lock(mx_);
        arenas_.push_back(std::move(arena));
        done = out_done_;
    }
    if (debug() < 0) {
        print<common_channel_texts, common_channel_message::thread_finished>(this_thread(), done, elapsed_ms(begin));
    }
}

/// Takes the next record; false, and the worker's slot freed, when there is none.
template <class G> bool basic_read_chan<G>::take_record(int& index)
{
    {
        const mutex_holder lock(mx_);
        index = out_taken_;
        if (index < out_allocated_) {
            ++out_taken_;
            return true;
        }
    }
    set_thread_exited(::pthread_self());
    return false;
}

/// A failed record is never counted, so that the wait for the channel does not end: a caller that wants to go on
/// without it says so (set_skip_bad_records). False ends the worker.
template <class G> bool basic_read_chan<G>::settle(decode_outcome outcome, const entry& record, int index)
{
    switch (outcome) {
    case decode_outcome::failed:
        return true;
    case decode_outcome::failed_hard:
        return false;
    case decode_outcome::record:
    case decode_outcome::record_without_block:
        break;
    }
    publish(record, index);
    return true;
}

template <class G> bool basic_read_chan<G>::settle_or_skip(decode_outcome outcome, const entry& record, int index)
{
    const bool looks_undecoded = record.event_id.event_number == channel_traits<G>::undecoded;
    if (outcome == decode_outcome::record && !looks_undecoded) {
        publish(record, index);
        return true;
    }
    const mutex_holder lock(mx_);
    ++out_failed_;
    finish_if_all_are_done();
    return true;
}

template <class G> void basic_read_chan<G>::publish(const entry& record, int index)
{
    const mutex_holder lock(mx_);
    out_[index].event_id = record.event_id;
    out_[index].sbchdata[0] = record.sbchdata[0];
    ++out_done_;
    finish_if_all_are_done();
}

template <class G> void basic_read_chan<G>::finish_if_all_are_done()
{
    if (out_done_ + out_failed_ != out_allocated_) {
        return;
    }
    if (out_failed_ != 0) {
        take_out_bad_records();
    }
    index_ = std::make_unique<record_index<G>>(out_, out_total_.load(), channel_traits<G>::undecoded);
    if (skip_bad_records_ && !index_->ascends()) {
        widen_limits_to_all_records();
    }
    all_done_.store(1, std::memory_order_release);
    signal_master();
}

template <class G> void basic_read_chan<G>::take_out_bad_records()
{
    int kept = 0;
    for (int i = 0; i < out_allocated_; ++i) {
        if (out_[i].sbchdata[0].evhd == 0) {
            continue;
        }
        if (kept != i) {
            out_[kept].event_id = out_[i].event_id;
            out_[kept].sbchdata[0] = std::exchange(out_[i].sbchdata[0], {});
        }
        ++kept;
    }
    bad_records_ += out_allocated_ - kept;
    out_total_ = kept;
    out_done_ = kept;
    event_first_ = {};
    event_last_ = {};
    for (int i = 0; i < kept; ++i) {
        widen_limits(out_[i].event_id, i == 0);
    }
}

/// Makes the limits enclose all numbers and times, each for itself. A damaged event header may number the earliest
/// event as the last: a search would then end before it met the events in between.
template <class G> void basic_read_chan<G>::widen_limits_to_all_records()
{
    for (int i = 0; i < out_total_; ++i) {
        const time_id& event = out_[i].event_id;
        if (event.event_number != 0 &&
            (event_first_.event_number == 0 || event.event_number < event_first_.event_number)) {
            event_first_.event_number = event.event_number;
        }
        event_last_.event_number = std::max(event_last_.event_number, event.event_number);
        const std::uint64_t time = microseconds(event.time);
        if (event.time.timeup != 0 && (event_first_.time.timeup == 0 || time < microseconds(event_first_.time))) {
            event_first_.time = event.time;
        }
        if (time > microseconds(event_last_.time)) {
            event_last_.time = event.time;
        }
    }
}

} // namespace trox_detail

#endif
