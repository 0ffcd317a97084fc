// Bodies of the channel reader: start.
#ifndef TROX_GENERIC_READ_CHAN_START_INL
#define TROX_GENERIC_READ_CHAN_START_INL

#include "generic/channel_extent.inl"
#include "generic/clock.h"
#include "generic/read_chan_setup.inl"
#include "generic/record_decoder.inl"
#include "generic/thread_count.h"

#include <cerrno>
#include <cstdio>
#include <limits>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace trox_detail
{

template <class G> void basic_read_chan<G>::signal_master()
{
    const mutex_holder lock(mmx_);
    mcnt_ = 1;
    ::pthread_cond_signal(&mcond_);
}

template <class G> int basic_read_chan<G>::fail_start(int status)
{
    signal_master();
    return status;
}

template <class G> int basic_read_chan<G>::start(pthread_mutex_t** mutex, pthread_cond_t** cond, int** flag)
{
    if (mutex != nullptr) {
        *mutex = &mmx_;
    }
    if (cond != nullptr) {
        *cond = &mcond_;
    }
    if (flag != nullptr) {
        *flag = &mcnt_;
    }
    // Only a descriptor of exactly 0 is refused: a reader on an unusable loader, with -1, goes on to
    // "channel not found", which is what its callers handle.
    if (evhb_ == nullptr || sbhb_ == nullptr || fd_ == 0 || len_ == 0) {
        print<channel_texts<G>, channel_message::start_not_initialized>(chan_.c_str());
        return fail_start(TROX_DAQ_READ_CHAN_NOT_INIT);
    }
    if (records_block_ != nullptr) {
        return TROX_DAQ_READ_CHAN_INTERN_ERROR; // started before; the signal of that start is not given here
    }
    cdtl_ = file_ == nullptr ? -1 : channel_traits<G>::find_channel(file_->cdt_tab.get(), chan_.c_str(), &cdt_);
    if (cdtl_ < 0) {
        print<channel_texts<G>, channel_message::channel_not_found>();
        return fail_start(TROX_DAQ_READ_CHAN_NOT_FOUND);
    }
    if (cdt_->count < 1) {
        {
            const mutex_holder lock(mx_);
            all_done_ = 1;
        }
        return fail_start(TROX_DAQ_READ_CHAN_OK);
    }
    int status = TROX_DAQ_READ_CHAN_INTERN_ERROR;
    try {
        status = start_checked();
    } catch (const std::bad_alloc&) { // before any worker runs; like any other lack of memory
    }
    if (status == TROX_DAQ_READ_CHAN_OK) {
        return status;
    }
    chnb_ = nullptr; // so that the reader answers as not initialised
    return fail_start(status);
}

template <class G> int basic_read_chan<G>::start_checked()
{
    const long begin = now_us();
    skipping_ = skip_bad_records_;
    int status = allocate_records();
    if (status != TROX_DAQ_READ_CHAN_OK) {
        return status;
    }
    status = load_basket();
    if (status != TROX_DAQ_READ_CHAN_OK) {
        return status;
    }
    if (debug() < 0) {
        trace_start(elapsed_ms(begin));
    }
    if (!find_event_limits()) {
        return TROX_DAQ_READ_CHAN_INTERN_ERROR;
    }
    choose_number_of_threads();
    return start_workers();
}

template <class G> void basic_read_chan<G>::trace_start(double took_ms) const
{
    const auto mapped = static_cast<unsigned long>(basket_->base_size());
    const auto records = static_cast<int>(cdt_->count);
    if constexpr (channel_traits<G>::has_basket_size_in_timing) {
        print<channel_texts<G>, channel_message::start_timing>(
            took_ms, file_name_.c_str(), channel_traits<G>::printed_basket_size(basket_->length()), mapped, records);
    } else {
        print<channel_texts<G>, channel_message::start_timing>(took_ms, file_name_.c_str(), mapped, records);
    }
}

template <class G> int basic_read_chan<G>::allocate_records()
{
    // A count above the table's rows is damage. The rows that are there can be read when records are skipped;
    // else there is no array of that many records to make.
    const auto rows = static_cast<std::uint64_t>(file_->ecp_tab->maxev);
    int total = cdt_->count;
    if (skipping_ && static_cast<std::uint64_t>(total) > rows) {
        bad_records_ += total - static_cast<int>(rows);
        total = static_cast<int>(rows);
    }
    const std::size_t guarded = static_cast<std::size_t>(total) + 1;
    arenas_.reserve(1 + max_threads); // so that a worker that ends needs no memory
    record_arena arena;
    if (static_cast<std::uint64_t>(total) <= rows) {
        records_block_ = arena.allocate(guarded * sizeof(entry));
    }
    if (records_block_ == nullptr) {
        print<common_channel_texts, common_channel_message::no_records_memory>(chan_.c_str(),
                                                                               static_cast<int>(cdt_->count));
        return TROX_DAQ_READ_CHAN_INTERN_ERROR;
    }
    arenas_.push_back(std::move(arena));
    // A failed look-up by number answers the position before the array: a record of zeros stands there.
    std::memset(records_block_, 0, sizeof(entry));
    out_ = static_cast<entry*>(records_block_) + 1;
    std::memset(static_cast<void*>(out_), 0, static_cast<std::size_t>(total) * channel_traits<G>::cleared_per_record);
    for (int i = 0; i < total; ++i) {
        out_[i].event_id = {channel_traits<G>::undecoded, {}};
        out_[i].sbchdata[0] = {};
    }
    out_taken_ = 0;
    out_done_ = 0;
    out_failed_ = 0;
    out_allocated_ = total;
    out_total_ = total;
    all_done_ = 0;
    event_first_ = {};
    event_last_ = {};
    event_cur_ = {};
    return TROX_DAQ_READ_CHAN_OK;
}

template <class G> int basic_read_chan<G>::load_basket()
{
    using traits = channel_traits<G>;
    constexpr std::uint64_t head = 2 * traits::basket_word;
    basket_ = std::make_unique<basket_copy>(traits::keeps_basket_as);
    const auto length = static_cast<std::uint64_t>(file_->length);
    const auto* row = get_data_table_pointer(0);
    const std::uint64_t subhead = row == nullptr ? 0 : static_cast<std::uint64_t>(row->chhd);
    const std::uint64_t position = subhead < head ? 0 : subhead - head;
    const basket_shape shape{traits::basket_word, sizeof(typename G::channel_basket), traits::channel_basket_pattern};
    const basket_status status = basket_->open(fd_, length, position, shape);
    const bool usable = status == basket_status::loaded && (!skipping_ || rows_lie_in_basket());
    if (!usable && !(skipping_ && load_basket_from_rows())) {
        if (status == basket_status::head_failed) {
            std::perror("mmap");
            print<common_channel_texts, common_channel_message::basket_head_not_mapped>(chan_.c_str());
            return TROX_DAQ_READ_CHAN_INTERN_ERROR;
        }
        if (status == basket_status::body_failed) {
            print<common_channel_texts, common_channel_message::basket_not_mapped>(chan_.c_str());
            return TROX_DAQ_READ_CHAN_INTERN_ERROR;
        }
    }
    chnb_ = reinterpret_cast<typename G::channel_basket*>(basket_->data());
    chn_base_ = basket_->base();
    chn_offset_ = static_cast<typename G::file_offset>(basket_->offset());
    // A small basket is filled here; the workers fill a large one while they decode.
    constexpr std::uint64_t filled_at_once = std::uint64_t{1} << 20;
    if (basket_->length() <= filled_at_once && !basket_->fetch_all() && !skipping_) {
        print<common_channel_texts, common_channel_message::basket_not_mapped>(chan_.c_str());
        return TROX_DAQ_READ_CHAN_INTERN_ERROR;
    }
    return TROX_DAQ_READ_CHAN_OK;
}

/// True when the basket that its head announces holds all records. Of the records' lengths only that of the last
/// one counts, which alone can reach over the end when the others are whole.
template <class G> bool basic_read_chan<G>::rows_lie_in_basket()
{
    const byte_range basket = basket_->range();
    const typename G::chan_ptr_entry* last = nullptr;
    for (int i = 0; i < out_allocated_; ++i) {
        const auto* row = get_data_table_pointer(i);
        if (row == nullptr ||
            basket.find(static_cast<std::uint64_t>(row->chhd), sizeof(typename G::subhead)) == nullptr ||
            basket.find(static_cast<std::uint64_t>(row->data), 0) == nullptr) {
            return false;
        }
        if (last == nullptr || std::max(row->chhd, row->data) > std::max(last->chhd, last->data)) {
            last = row;
        }
    }
    channel_extent<G> extent(*file_, chan_);
    extent.add(*last);
    return extent.reaches() <= basket.position + basket.length;
}

/// Finds the bytes of a basket whose head (or whose first row) is damaged from the records themselves. Keeps the
/// basket as it is when there is none.
template <class G> bool basic_read_chan<G>::load_basket_from_rows()
{
    channel_extent<G> extent(*file_, chan_);
    for (int i = 0; i < out_allocated_; ++i) {
        if (const auto* row = get_data_table_pointer(i); row != nullptr) {
            extent.add(*row);
        }
    }
    const byte_range announced = basket_->data() != nullptr ? basket_->range() : byte_range{};
    const file_span span = extent.enclosing({announced.position, announced.position + announced.length});
    auto wider = std::make_unique<basket_copy>(channel_traits<G>::keeps_basket_as);
    if (span.end <= span.begin ||
        !wider->open_range(fd_, static_cast<std::uint64_t>(file_->length), span.begin, span.end - span.begin)) {
        return false;
    }
    basket_ = std::move(wider);
    return true;
}

template <class G> bool basic_read_chan<G>::find_event_limits()
{
    using header = typename G::event_header;
    const byte_range headers = file_->event_headers.range();
    const auto find = [&](int i) {
        const auto* row = get_data_table_pointer(i);
        return row == nullptr ? nullptr : headers.find(static_cast<std::uint64_t>(row->evhd), sizeof(header));
    };
    bool found = false;
    header current{};
    for (int i = 0; i < out_allocated_; ++i) {
        const unsigned char* bytes = find(i);
        if (bytes != nullptr) {
            channel_traits<G>::load(bytes, current);
            widen_limits({current.event_number, current.event_time}, !found);
            found = true;
        }
    }
    return found;
}

/// Takes one more event into account. An event without a time never becomes the first (but may start as it).
template <class G> void basic_read_chan<G>::widen_limits(const time_id& event, bool is_first)
{
    const std::uint64_t time = microseconds(event.time);
    if (is_first || (event.time.timeup != 0 && time < microseconds(event_first_.time))) {
        event_first_ = event;
    }
    if (is_first || time > microseconds(event_last_.time)) {
        event_last_ = event;
    }
}

template <class G> void basic_read_chan<G>::choose_number_of_threads()
{
    const mutex_holder lock(mx_);
    if (nthreads_ == 0) {
        nthreads_ = std::min(preferred_thread_count(cdt_->dtype_mask, cdt_->ev_mask), nthreadsmax_);
    }
}

template <class G> int basic_read_chan<G>::start_workers()
{
    stop_ = false;
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
    ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    const int wanted = std::min(nthreads_, out_allocated_);
    int started = 0;
    for (int i = 0; i < wanted; ++i) {
        const mutex_holder lock(mx_); // a worker that ends at once must find its handle
        workers_.fetch_add(1, std::memory_order_relaxed);
        pthread_t handle{};
        if (os().pthread_create(&handle, &attributes, run_worker, this) == 0) {
            tid_[static_cast<std::size_t>(i)] = handle;
            ++started;
            continue;
        }
        workers_.fetch_sub(1, std::memory_order_relaxed);
        print<common_channel_texts, common_channel_message::thread_not_started>(i);
        if (!skipping_) {
            signal_master();
        }
    }
    ::pthread_attr_destroy(&attributes);
    return started == 0 && skipping_ ? TROX_DAQ_READ_CHAN_INTERN_ERROR : TROX_DAQ_READ_CHAN_OK;
}

} // namespace trox_detail

#endif
