// Bodies of the channel reader: construction, settings, accessors, release.
#ifndef TROX_GENERIC_READ_CHAN_SETUP_INL
#define TROX_GENERIC_READ_CHAN_SETUP_INL

#include "detail/basic_read_chan.h"
#include "generation/messages_channel.h"
#include "generic/loaded_file.h"
#include "generic/mutex_holder.h"
#include "generic/print.h"
#include "generic/record_decoder.h"
#include "generic/record_index.h"
#include "generic/skip_default.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <thread>

namespace trox_detail
{

/// A free slot among the worker handles.
inline const auto no_thread = static_cast<pthread_t>(-1);

template <class G>
basic_read_chan<G>::basic_read_chan(typename G::table_loader* cfg, const char* chan, int subchan,
                                    chan_descr_2010* descr)
    : skip_bad_records_(skip_bad_records_by_default())
{
    tid_.fill(no_thread);
    ::pthread_mutex_init(&mx_, nullptr);
    ::pthread_mutex_init(&mmx_, nullptr);
    ::pthread_cond_init(&mcond_, nullptr);
    if (cfg == nullptr) {
        return;
    }
    cfg_ = cfg;
    loader_ = cfg->weak_from_this().lock();
    evhb_ = cfg->get_evh_basket();
    if (evhb_ == nullptr || chan == nullptr || *chan == '\0') {
        return;
    }
    sbhb_ = cfg->get_sbh_basket();
    if (sbhb_ == nullptr) {
        return;
    }
    len_ = static_cast<typename G::reader_length>(cfg->get_file_len());
    fd_ = cfg->get_file_descr();
    if (cfg->get_file_len() == 0 || fd_ < 0) {
        return;
    }
    file_ = cfg->get_loaded_file();
    file_name_ = cfg->get_file_name();
    if (!cfg->is_ecp_tab_full()) {
        ecpl_ = cfg->get_ecp_tab_entry_index(chan);
    }
    evh_base_ = cfg->are_baskets_copied() ? file_->event_headers.data() : cfg->get_evh_base();
    sbh_base_ = cfg->are_baskets_copied() ? file_->server_blocks.data() : cfg->get_sbh_base();
    evh_offset_ = cfg->get_evh_offset();
    sbh_offset_ = cfg->get_sbh_offset();
    chan_.assign(chan, std::min(std::strlen(chan), channel_traits<G>::longest_name));
    subchan_ = subchan;
    if (descr != nullptr) {
        copy_description(*descr);
    }
}

template <class G> basic_read_chan<G>::~basic_read_chan()
{
    clean();
    ::pthread_cond_destroy(&mcond_);
    ::pthread_mutex_destroy(&mmx_);
    ::pthread_mutex_destroy(&mx_);
}

/// Copies a NUL-terminated text into a field, cut to it.
template <std::size_t N> void copy_text(char (&field)[N], const char (&text)[N]) noexcept
{
    const std::size_t length = std::min(strnlen(text, N), N - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
}

template <class G> void basic_read_chan<G>::copy_description(const chan_descr_2010& descr)
{
    descr_.stream = descr.stream;
    descr_.ev_type = descr.ev_type;
    copy_text(descr_.prop_name, descr.prop_name);
    copy_text(descr_.daq_name, descr.daq_name);
    copy_text(descr_.prop_desc, descr.prop_desc);
    copy_text(descr_.units, descr.units);
    descr_.max_size = descr.max_size;
    descr_.nbits = descr.nbits;
    descr_.ndims = descr.ndims;
    const auto listed = [](int count, const auto& list) {
        return std::min(static_cast<std::size_t>(std::max(count, 0)), list.size());
    };
    copy_bits(descr.bits, listed(descr.nbits, descr.bits));
    copy_dims(descr.dims, listed(descr.ndims, descr.dims));
    copy_text(descr_.sb_name, descr.sb_name);
}

/// Copies the first `count` bits; where memory ends the copy does.
template <class G> void basic_read_chan<G>::copy_bits(const std::vector<bit_descr*>& bits, std::size_t count)
try {
    descr_.bits.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        descr_.bits.push_back(new bit_descr(*bits[i]));
    }
} catch (const std::bad_alloc&) {
    print<common_channel_texts, common_channel_message::bits_allocation_failed>(chan_.c_str());
}

template <class G> void basic_read_chan<G>::copy_dims(const std::vector<dim_descr*>& dims, std::size_t count)
try {
    descr_.dims.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const dim_descr& source = *dims[i];
        descr_.dims.push_back(new dim_descr);
        dim_descr& dim = *descr_.dims.back();
        dim.dim = source.dim;
        copy_text(dim.dim_name, source.dim_name);
        copy_text(dim.dim_desc, source.dim_desc);
        copy_text(dim.units, source.units);
        dim.nstats = source.nstats;
        dim.stats.reserve(source.stats.size());
        for (const stat_descr* stat : source.stats) {
            dim.stats.push_back(new stat_descr(*stat));
        }
    }
} catch (const std::bad_alloc&) {
    print<common_channel_texts, common_channel_message::dims_allocation_failed>(chan_.c_str());
}

template <class G> bool basic_read_chan<G>::has_description() const
{
    return descr_.prop_name[0] != '\0' || descr_.daq_name[0] != '\0';
}

template <class G> void basic_read_chan<G>::clean_descr()
{
    if (!has_description()) {
        return;
    }
    for (bit_descr* bit : descr_.bits) {
        delete bit;
    }
    descr_.bits.clear();
    for (dim_descr* dim : descr_.dims) {
        delete dim;
    }
    descr_.dims.clear();
}

template <class G> void basic_read_chan<G>::clean()
{
    {
        const mutex_holder lock(mx_);
        stop_ = true;
    }
    while (workers_.load(std::memory_order_acquire) > 0) {
        std::this_thread::yield(); // does not sleep: workers end within one record
    }
    records_block_ = nullptr;
    out_ = nullptr;
    out_cur_ = nullptr;
    out_total_ = 0;
    out_allocated_ = 0;
    index_.reset();
    numbers_ascend_ = false;
    finds_current_ = false;
    arenas_.clear();
    basket_.reset();
    chnb_ = nullptr;
    chn_base_ = nullptr;
    evhb_ = nullptr;
    evh_base_ = nullptr;
    sbhb_ = nullptr;
    sbh_base_ = nullptr;
    cfg_ = nullptr;
    cdt_ = nullptr;
    index_to_start_search_ = -1;
    file_.reset();
    loader_.reset();
}

template <class G> int basic_read_chan<G>::debug() const
{
    return file_ ? file_->debug.load(std::memory_order_relaxed) : 0;
}

template <class G> int basic_read_chan<G>::set_time_diff(time_stamp* diff)
{
    if (diff == nullptr) {
        return TROX_DAQ_READ_CHAN_INV_PARAM;
    }
    event_time_diff_ = *diff;
    time_diff_ = static_cast<double>(diff->timeup) * static_cast<double>(us_per_second) + diff->timelow;
    return TROX_DAQ_READ_CHAN_OK;
}

template <class G> time_stamp* basic_read_chan<G>::get_time_diff()
{
    return &event_time_diff_;
}

template <class G> const time_stamp* basic_read_chan<G>::get_time_diff() const
{
    return &event_time_diff_;
}

template <class G> int basic_read_chan<G>::set_step(time_id* step)
{
    if (step == nullptr) {
        return TROX_DAQ_READ_CHAN_INV_PARAM;
    }
    event_step_ = *step;
    return TROX_DAQ_READ_CHAN_OK;
}

template <class G> typename G::time_id* basic_read_chan<G>::get_step()
{
    return &event_step_;
}

template <class G> const typename G::time_id* basic_read_chan<G>::get_step() const
{
    return &event_step_;
}

template <class G> int basic_read_chan<G>::set_number_of_threads(int n)
{
    if (n < 1 || n > max_threads) {
        return 1;
    }
    const mutex_holder lock(mx_);
    nthreads_ = n;
    return 0;
}

template <class G> int basic_read_chan<G>::set_max_number_of_threads(int n)
{
    if (n < 1 || n > max_threads) {
        return 1;
    }
    nthreadsmax_ = n;
    return 0;
}

template <class G> void basic_read_chan<G>::set_skip_bad_records(bool skip)
{
    skip_bad_records_ = skip;
}

template <class G> bool basic_read_chan<G>::is_skip_bad_records() const
{
    return skip_bad_records_;
}

template <class G> int basic_read_chan<G>::get_number_of_bad_records() const
{
    return bad_records_;
}

template <class G> int basic_read_chan<G>::get_number_of_records() const
{
    return out_total_;
}

template <class G> void basic_read_chan<G>::set_by_time_fix(bool on)
{
    by_time_fix_ = on;
}

template <class G> bool basic_read_chan<G>::is_by_time_fix() const
{
    return by_time_fix_;
}

template <class G> const char* basic_read_chan<G>::get_chan_name(int* subchan) const
{
    if (subchan != nullptr) {
        *subchan = subchan_;
    }
    return chan_.c_str();
}

template <class G> typename G::table_loader* basic_read_chan<G>::get_cfg() const
{
    return cfg_;
}

template <class G> typename G::event_header_basket* basic_read_chan<G>::get_evh_basket() const
{
    return evhb_;
}

template <class G> typename G::server_block_basket* basic_read_chan<G>::get_sbh_basket() const
{
    return sbhb_;
}

template <class G> typename G::channel_basket* basic_read_chan<G>::get_chn_basket() const
{
    return chnb_;
}

template <class G> unsigned char* basic_read_chan<G>::get_evh_base() const
{
    return evh_base_;
}

template <class G> unsigned char* basic_read_chan<G>::get_sbh_base() const
{
    return sbh_base_;
}

template <class G> unsigned char* basic_read_chan<G>::get_chn_base() const
{
    return chn_base_;
}

template <class G> typename G::file_offset basic_read_chan<G>::get_evh_offset() const
{
    return evh_offset_;
}

template <class G> typename G::file_offset basic_read_chan<G>::get_sbh_offset() const
{
    return sbh_offset_;
}

template <class G> typename G::file_offset basic_read_chan<G>::get_chn_offset() const
{
    return chn_offset_;
}

template <class G> int basic_read_chan<G>::get_file_descr() const
{
    return fd_;
}

template <class G> typename G::chan_ptr_entry* basic_read_chan<G>::get_data_table_pointer(int i) const
{
    if (file_ == nullptr || file_->ecp_tab == nullptr || i < 0) {
        return nullptr;
    }
    auto& table = *file_->ecp_tab;
    const auto rows = static_cast<std::uint64_t>(table.maxev);
    const auto column = static_cast<std::uint64_t>(ecpl_ >= 0 ? ecpl_ : cdtl_);
    const auto row = static_cast<std::uint64_t>(i);
    if (row >= rows || column >= file_->ecp_columns) {
        return nullptr;
    }
    typename G::chan_ptr_entry* entries = table.entries;
    return entries + (column * rows + row);
}

} // namespace trox_detail

#endif
