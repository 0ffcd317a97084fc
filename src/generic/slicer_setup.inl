// Bodies of the slicer: construction, requests, settings.
#ifndef TROX_GENERIC_SLICER_SETUP_INL
#define TROX_GENERIC_SLICER_SETUP_INL

#include "detail/basic_slicer.h"
#include "generation/traits_slicer_common.h"
#include "generic/mutex_holder.h"
#include "generic/os_calls.h"
#include "generic/print.h"
#include "generic/skip_default.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>

namespace trox_detail
{

/// True for a trox_daq_read_chan_request_type.
constexpr bool is_request(int type)
{
    return type >= TROX_DAQ_READ_CHAN_EVENT_FIRST && type <= TROX_DAQ_READ_CHAN_EVENT_LAST;
}

template <class G> basic_slicer<G>::basic_slicer() : skip_bad_records_(skip_bad_records_by_default())
{
    ::pthread_mutex_init(&tmx_, nullptr);
    ::pthread_cond_init(&tcond_, nullptr);
}

template <class G> basic_slicer<G>::~basic_slicer()
{
    clean_up();
    ::pthread_cond_destroy(&tcond_);
    ::pthread_mutex_destroy(&tmx_);
}

template <class G>
int basic_slicer<G>::init(const std::vector<std::string>* files, const std::vector<chan_param*>* chans, int mode)
{
    if (files == nullptr || chans == nullptr) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    clean_up();
    bad_records_ = 0;
    {
        const mutex_holder lock(tmx_);
        task_.bad_files = 0;
    }
    if (!copy_lists(*files, *chans)) {
        clean_up();
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    mode_ = mode;
    if (files_.empty() || chans_.empty()) {
        return report_missing_lists();
    }
    nchans_ = static_cast<int>(chans_.size());
    get_tables_num_ = static_cast<int>(files_.size());
    return TROX_DAQ_SLICER_OK;
}

template <class G>
int basic_slicer<G>::init(const std::vector<char*>* files, const std::vector<chan_param*>* chans, int mode)
{
    if (files == nullptr || chans == nullptr) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    std::vector<std::string> names;
    try {
        names.reserve(files->size());
        for (const char* file : *files) {
            if (!add_name(file, names)) {
                clean_up();
                return TROX_DAQ_SLICER_INTERN_ERROR;
            }
        }
    } catch (const std::bad_alloc&) {
        clean_up();
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    return init(&names, chans, mode);
}

/// False when a name cannot be copied.
template <class G> bool basic_slicer<G>::add_name(const char* file, std::vector<std::string>& names) const
{
    if constexpr (slicer_traits<G>::copies_names) {
        if (file == nullptr || *file == '\0') {
            return true;
        }
        // A buffer for each, whose failure has a text of its own.
        const std::size_t length = std::strlen(file);
        const std::unique_ptr<char, block_deleter> copy(static_cast<char*>(os().malloc(length + 1)));
        if (copy == nullptr) {
            print<slicer_texts<G>, slicer_message::no_name_memory>(static_cast<int>(length + 1), file);
            return false;
        }
        std::memcpy(copy.get(), file, length + 1);
        names.emplace_back(copy.get(), length);
    } else {
        if (file == nullptr) {
            throw std::logic_error("slicer: null file name");
        }
        names.emplace_back(file);
    }
    return true;
}

/// False when memory is short; part of the lists may be there.
template <class G>
bool basic_slicer<G>::copy_lists(const std::vector<std::string>& files, const std::vector<chan_param*>& chans)
{
    try {
        files_ = files;
        if constexpr (slicer_traits<G>::leaves_empty_names_out) {
            std::erase_if(files_, [](const std::string& file) { return file.empty(); });
        }
        return copy_channels(chans);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

template <class G> bool basic_slicer<G>::copy_channels(const std::vector<chan_param*>& chans)
{
    for (const chan_param* chan : chans) {
        if (chan == nullptr) {
            continue;
        }
        param_copy copy(static_cast<chan_param*>(os().malloc(sizeof(chan_param))));
        if (copy == nullptr) {
            char name[sizeof(chan->name)]; // the caller's need not be terminated
            std::memcpy(name, chan->name, sizeof(name));
            name[sizeof(name) - 1] = '\0';
            print<slicer_texts<G>, slicer_message::no_channel_memory>(static_cast<const char*>(name));
            return false;
        }
        std::memcpy(copy.get(), chan, sizeof(chan_param));
        copy->name[sizeof(copy->name) - 1] = '\0'; // printed and compared as text from here on
        copy->nname[sizeof(copy->nname) - 1] = '\0';
        chansp_.emplace_back(copy->name);
        chans_.push_back(std::move(copy));
    }
    return true;
}

template <class G> int basic_slicer<G>::report_missing_lists() const
{
    slicer_traits<G>::tell_missing_lists(files_.size(), chans_.size());
    return TROX_DAQ_SLICER_NO_DATA;
}

template <class G> bool basic_slicer<G>::is_started() const
{
    return static_cast<bool>(get_tables_);
}

template <class G> int basic_slicer<G>::set_num_of_get_tables(int n)
{
    if (n <= 0) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    get_tables_num_ = n;
    return TROX_DAQ_SLICER_OK;
}

template <class G> int basic_slicer<G>::get_num_of_get_tables() const
{
    return get_tables_num_;
}

template <class G> int basic_slicer<G>::set_synch_mode(int mode)
{
    if (is_started()) {
        return TROX_DAQ_SLICER_NOT_ALLOWED;
    }
    if (mode == TROX_DAQ_SLICER_SYNCH_MODE_EVID || mode == TROX_DAQ_SLICER_SYNCH_MODE_TIME) {
        synch_mode_ = mode; // others are ignored without complaint: callers pass on what a request holds
    }
    return TROX_DAQ_SLICER_OK;
}

template <class G> int basic_slicer<G>::get_synch_mode() const
{
    return synch_mode_;
}

template <class G> int basic_slicer<G>::set_event_step(time_id* step)
{
    if (is_started()) {
        return TROX_DAQ_SLICER_NOT_ALLOWED;
    }
    if (step == nullptr) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    event_step_ = *step;
    return TROX_DAQ_SLICER_OK;
}

template <class G> typename G::time_id* basic_slicer<G>::get_event_step()
{
    return &event_step_;
}

template <class G> int basic_slicer<G>::set_time_diff(time_stamp* diff)
{
    if (is_started()) {
        return TROX_DAQ_SLICER_NOT_ALLOWED;
    }
    if (diff == nullptr) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    constexpr double us_in_second = 1000000.0;
    event_time_diff_ = *diff;
    time_diff_ = diff->timeup * us_in_second + diff->timelow;
    return TROX_DAQ_SLICER_OK;
}

template <class G> time_stamp* basic_slicer<G>::get_time_diff()
{
    return &event_time_diff_;
}

template <class G> void basic_slicer<G>::set_debug(int level)
{
    debug_.store(level, std::memory_order_relaxed);
}

template <class G> int basic_slicer<G>::get_debug() const
{
    return debug_.load(std::memory_order_relaxed);
}

template <class G> void basic_slicer<G>::set_skip_bad_records(bool skip)
{
    skip_bad_records_ = skip;
}

template <class G> bool basic_slicer<G>::is_skip_bad_records() const
{
    return skip_bad_records_;
}

template <class G> void basic_slicer<G>::set_by_time_fix(bool on)
{
    by_time_fix_ = on;
}

template <class G> bool basic_slicer<G>::is_by_time_fix() const
{
    return by_time_fix_;
}

template <class G> const char* basic_slicer<G>::get_not_found_channels() const
{
    return not_found_channels_.c_str();
}

template <class G> const char* basic_slicer<G>::get_name_of_empty_channel() const
{
    if (nchans_ == 0 || !read_chans_) {
        return common_slicer_texts::text(common_slicer_message::channels_missing);
    }
    for (int i = 0; i < nchans_; ++i) {
        if (read_chans_[i] == nullptr || read_chans_[i]->get_number_of_records() == 0) {
            return channel_name(i);
        }
    }
    return common_slicer_texts::text(common_slicer_message::no_empty_channel);
}

template <class G> int basic_slicer<G>::get_number_of_bad_records() const
{
    int count = bad_records_;
    for (const auto& reader : read_chans_) {
        count += reader != nullptr ? reader->get_number_of_bad_records() : 0;
    }
    return count;
}

template <class G> int basic_slicer<G>::get_number_of_bad_files() const
{
    const mutex_holder lock(tmx_);
    return task_.bad_files;
}

template <class G> int basic_slicer<G>::is_event_id_eq(const time_id* a, const time_id* b, int* diff) const
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    int sign = 0;
    if (a->event_number != 0 && b->event_number != 0) {
        sign = a->event_number == b->event_number ? 0 : a->event_number < b->event_number ? -1 : 1;
    } else {
        trox_time_stamp_eq(&a->time, &b->time, time_diff_, &sign, nullptr);
    }
    if (diff != nullptr) {
        *diff = sign;
    }
    return sign == 0 ? 1 : 0;
}

} // namespace trox_detail

#endif
