// Bodies of the channel reader: the decompression workers.
#ifndef TROX_GENERIC_READ_CHAN_WORKERS_INL
#define TROX_GENERIC_READ_CHAN_WORKERS_INL

#include "generic/clock.h"
#include "generic/indexed_events.inl"
#include "generic/read_chan_setup.inl"
#include "generic/record_decoder.inl"

#include <new>
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
    self->work();
    self->workers_.fetch_sub(1, std::memory_order_release); // the last access: the reader may be gone behind it
    return nullptr;
}

/// For a thread that the reader did not start: counted like one of its own, unless `clean` is at work, which no longer
/// waits for it.
template <class G> void basic_read_chan<G>::decode_records()
{
    bool enters = false;
    try {
        const mutex_holder lock(mx_);
        enters = !stop_;
        if (enters) { // else the arenas may be on their way out
            // Room for what it decodes, beside that of all who are at work.
            arenas_.reserve(arenas_.size() + static_cast<std::size_t>(workers_.load()) + max_threads + 1);
            workers_.fetch_add(1, std::memory_order_relaxed);
        }
    } catch (const std::bad_alloc&) {
        return; // the others decode without it
    }
    if (enters) {
        run_worker(this);
    } else {
        signal_master();
    }
}

template <class G> void basic_read_chan<G>::work()
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
        const record_arena::mark before = arena.position();
        const decode_outcome outcome = decoder.decode(get_data_table_pointer(index), record);
        if (!skipping_) {
            if (!settle(outcome, record, index)) {
                break;
            }
        } else if (!settle_or_skip(outcome, record, index)) {
            arena.rewind(before);
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
    return false;
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
    if (skipping_ && !records_ascend()) {
        disown_records_with_damaged_headers();
    }
    if (out_failed_ != 0) {
        take_out_bad_records();
    }
    make_index();
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
    out_cur_ = nullptr; // what was delivered before now may stand elsewhere
    bad_records_ += out_allocated_ - kept;
    out_total_ = kept;
    out_done_ = kept;
    event_first_ = {};
    event_last_ = {};
    for (int i = 0; i < kept; ++i) {
        widen_limits(out_[i].event_id, i == 0);
    }
}

/// Without memory for the index, look-ups scan.
template <class G> void basic_read_chan<G>::make_index()
try {
    index_ = std::make_unique<record_index<G>>(out_, out_total_.load(), channel_traits<G>::undecoded);
    numbers_ascend_ = index_->numbers_ascend();
    finds_current_ = numbers_ascend_ && out_[0].event_id.event_number >= event_first_.event_number &&
                     out_[out_total_ - 1].event_id.event_number <= event_last_.event_number;
} catch (const std::bad_alloc&) {
    index_.reset();
}

/// True when the numbers and the times of the decoded records ascend.
template <class G> bool basic_read_chan<G>::records_ascend() const
{
    const entry* last = nullptr;
    for (int i = 0; i < out_allocated_; ++i) {
        if (out_[i].sbchdata[0].evhd == 0) {
            continue;
        }
        const time_id& event = out_[i].event_id;
        if (last != nullptr && (event.event_number <= last->event_id.event_number ||
                                microseconds(event.time) <= microseconds(last->event_id.time))) {
            return false;
        }
        last = out_ + i;
    }
    return true;
}

/// Takes records whose event header contradicts the file's event index for failed ones. A damaged header would
/// give its event a place far from its neighbours, and a search that starts there would miss these. Records that
/// are in order need no such doubt, and records that the index confirms may be in any order.
template <class G> void basic_read_chan<G>::disown_records_with_damaged_headers()
try {
    const auto events = indexed_events<G>(file_->eit_tab.get());
    for (int i = 0; i < out_allocated_; ++i) {
        const auto* row = get_data_table_pointer(i);
        if (out_[i].sbchdata[0].evhd == 0 || row == nullptr) {
            continue;
        }
        const auto known = events.find(static_cast<std::uint64_t>(row->evhd));
        const time_id& event = out_[i].event_id;
        if (known == events.end() || known->second.event_number != event.event_number ||
            !trox_time_stamp_eq(&known->second.time, &event.time)) {
            out_[i].sbchdata[0] = {};
            --out_done_;
            ++out_failed_;
        }
    }
} catch (const std::bad_alloc&) {
    return; // read as they are
}

} // namespace trox_detail

#endif
