// Reader: construction, settings, status and reporting.
#ifndef TROX_GENERIC_READER_SETTINGS_INL
#define TROX_GENERIC_READER_SETTINGS_INL

#include "detail/basic_reader.h"
#include "detail/big_endian.h"
#include "event_util.h"
#include "generic/channel_lookup.h"
#include "generic/data_files.h"
#include "generic/data_path_list.h"
#include "generic/print.h"
#include "generic/reader_names.h"
#include "generic/reader_status.h"
#include "generic/skip_default.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace trox_detail
{

inline constexpr double us_per_second = 1e6;

// --- construction -------------------------------------------------------------------------------------

template <class Generation>
basic_reader<Generation>::basic_reader()
    : get_tables_(std::make_shared<table_loader>(0)), skip_bad_records_(skip_bad_records_by_default())
{
    using traits = reader_traits<Generation>;
    constexpr std::size_t longest_status = 32;
    last_error_.reserve(longest_status); // so that a failure for lack of memory can be kept
    set_request_defaults();
    if constexpr (traits::reads_max_time_step) {
        if (const char* seconds = std::getenv("DAQ_MAX_TIME_STEP_SEC")) {
            request_.time_diff.timeup = decimal_number(seconds);
        }
        if (const char* microseconds = std::getenv("DAQ_MAX_TIME_STEP_USEC")) {
            request_.time_diff.timelow = decimal_number(microseconds);
        }
    }
    data_path_list_ = data_path_list_or(traits::default_path_list);
    traits::select_data_format();
}

template <class Generation> basic_reader<Generation>::~basic_reader()
{
    clean_up();
}

template <class Generation> void basic_reader<Generation>::set_request_defaults()
{
    using traits = reader_traits<Generation>;
    copy_name(request_.exp_name, "linac");
    copy_name(request_.stream_name, "main");
    request_.cdir = "/daq/trox/admtemp/";
    request_.ddir = traits::data_dir;
    request_.period = traits::period;
    request_.time_diff = traits::time_diff;
    request_.synch_mode = TROX_DAQ_SLICER_SYNCH_MODE_EVID;
}

// --- status -------------------------------------------------------------------------------------------

template <class Generation> int basic_reader<Generation>::set_error(int code)
{
    last_error_ = error_i2a(code);
    return code;
}

/// What an operation answers that has run out of memory; for its handler.
template <class Generation> int basic_reader<Generation>::no_memory()
{
    return set_error(TROX_DAQ_READER_INTERN_ERROR);
}

template <class Generation> const char* basic_reader<Generation>::get_last_error() const
{
    return last_error_.c_str();
}

template <class Generation> const char* basic_reader<Generation>::error_i2a(int code) const
{
    return reader_status_text(code);
}

template <class Generation> bool basic_reader<Generation>::is_running() const
{
    return slicer_ != nullptr;
}

// --- settings -----------------------------------------------------------------------------------------

template <class Generation> void basic_reader<Generation>::set_debug(int level)
{
    debug_ = level;
    if (slicer_) {
        slicer_->set_debug(level);
    }
}

template <class Generation> int basic_reader<Generation>::get_debug() const
{
    return debug_;
}

template <class Generation> int basic_reader<Generation>::set_synch_mode(int mode)
{
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    // Any other mode is ignored without complaint: programs hand on modes of their own.
    if (mode == TROX_DAQ_SLICER_SYNCH_MODE_EVID || mode == TROX_DAQ_SLICER_SYNCH_MODE_TIME) {
        request_.synch_mode = mode;
    }
    return set_error(TROX_DAQ_READER_OK);
}

template <class Generation> int basic_reader<Generation>::get_synch_mode() const
{
    return request_.synch_mode;
}

template <class Generation> int basic_reader<Generation>::set_time_id(time_id& destination, const time_id* source)
{
    if (source == nullptr) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    destination = *source;
    return set_error(TROX_DAQ_READER_OK);
}

template <class Generation> int basic_reader<Generation>::set_period(time_id* period)
{
    return set_time_id(request_.period, period);
}

template <class Generation> auto basic_reader<Generation>::get_period() -> time_id*
{
    return &request_.period;
}

template <class Generation> int basic_reader<Generation>::set_start_point(time_id* start)
{
    return set_time_id(request_.start_time, start);
}

template <class Generation> auto basic_reader<Generation>::get_start_point() -> time_id*
{
    return &request_.start_time;
}

template <class Generation> int basic_reader<Generation>::set_stop_point(time_id* stop)
{
    return set_time_id(request_.stop_time, stop);
}

template <class Generation> auto basic_reader<Generation>::get_stop_point() -> time_id*
{
    return &request_.stop_time;
}

// Alone among the setters it answers 1 for null and leaves the last error as it was: programs test for nonzero.
template <class Generation> int basic_reader<Generation>::set_time_diff(time_stamp* diff)
{
    if (diff == nullptr) {
        return 1;
    }
    request_.time_diff = *diff;
    return 0;
}

template <class Generation> time_stamp* basic_reader<Generation>::get_time_diff()
{
    return &request_.time_diff;
}

template <class Generation> void basic_reader<Generation>::set_by_time_fix(bool on)
{
    by_time_fix_ = on;
    if constexpr (reader_traits<Generation>::has_by_time_fix) {
        if (slicer_) {
            slicer_->set_by_time_fix(on);
        }
    }
}

template <class Generation> bool basic_reader<Generation>::is_by_time_fix() const
{
    return by_time_fix_;
}

template <class Generation>
const typename Generation::channel_index& basic_reader<Generation>::get_channel_index() const
{
    return chan_name_map_;
}

template <class Generation>
template <std::size_t Size>
int basic_reader<Generation>::set_name(char (&field)[Size], const char* name)
{
    if (name == nullptr || *name == '\0') {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    copy_name(field, name);
    return set_error(TROX_DAQ_READER_OK);
}

template <class Generation> int basic_reader<Generation>::set_experiment(const char* name)
{
    return set_name(request_.exp_name, name);
}

template <class Generation> const char* basic_reader<Generation>::get_experiment() const
{
    return request_.exp_name;
}

template <class Generation> int basic_reader<Generation>::set_stream(const char* name)
{
    return set_name(request_.stream_name, name);
}

template <class Generation> const char* basic_reader<Generation>::get_stream() const
{
    return request_.stream_name;
}

template <class Generation> int basic_reader<Generation>::set_catalog_dir(const char* directory)
try {
    if (directory == nullptr || *directory == '\0') {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    request_.cdir = directory;
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation> const char* basic_reader<Generation>::get_catalog_dir() const
{
    return request_.cdir.c_str();
}

template <class Generation> int basic_reader<Generation>::set_data_dir(const char* directory)
try {
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    std::string closed = directory == nullptr ? "" : directory; // may be our own text
    if (!closed.empty() && !closed.ends_with('/')) {
        closed += '/';
    }
    request_.ddir = closed; // keeps the room that the default takes when it is put back
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation> const char* basic_reader<Generation>::get_data_dir() const
{
    return request_.ddir.c_str();
}

template <class Generation> void basic_reader<Generation>::set_data_path_list(const char* list)
{
    if (list != nullptr) {
        data_path_list_ = list;
    }
}

template <class Generation> const char* basic_reader<Generation>::get_data_path_list() const
{
    return data_path_list_.c_str();
}

template <class Generation> void basic_reader<Generation>::set_skip_bad_records(bool skip)
{
    skip_bad_records_ = skip;
}

template <class Generation> bool basic_reader<Generation>::is_skip_bad_records() const
{
    return skip_bad_records_;
}

// --- counters and lists -------------------------------------------------------------------------------

template <class Generation> int basic_reader<Generation>::get_number_of_files() const
{
    return static_cast<int>(files_.size());
}

template <class Generation> const char* basic_reader<Generation>::get_file_name(int i) const
{
    return i >= 0 && i < get_number_of_files() ? files_[static_cast<std::size_t>(i)].c_str() : nullptr;
}

template <class Generation> int basic_reader<Generation>::get_number_of_channels() const
{
    return nchans_;
}

template <class Generation> int basic_reader<Generation>::get_number_of_events() const
{
    return evs_;
}

template <class Generation> int basic_reader<Generation>::get_number_of_empty_events() const
{
    return evs_empty_;
}

template <class Generation> int basic_reader<Generation>::get_number_of_bad_records() const
{
    return slicer_ ? slicer_->get_number_of_bad_records() : 0;
}

template <class Generation> int basic_reader<Generation>::get_number_of_bad_files() const
{
    return slicer_ ? slicer_->get_number_of_bad_files() : 0;
}

template <class Generation> std::vector<chan_descr_2010*>* basic_reader<Generation>::get_descr_list()
{
    return get_tables_->get_descr_list();
}

} // namespace trox_detail

#endif
