// Bodies of the slicer: start, the channels' life, tear-down.
#ifndef TROX_GENERIC_SLICER_CHANNELS_INL
#define TROX_GENERIC_SLICER_CHANNELS_INL

#include "generic/clock.h"
#include "generic/reader_signal.h"
#include "generic/slicer_tables_thread.inl"

#include <string_view>

namespace trox_detail
{

/// Shorter calls are not worth a timing trace.
inline constexpr double traced_from_ms = 1.0;

/// An object's identity in traces.
inline unsigned trace_id(const void* object)
{
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object));
}

template <class G> int basic_slicer<G>::start()
{
    const int debug = get_debug();
    if (files_.empty() || chans_.empty()) {
        return TROX_DAQ_SLICER_NO_DATA;
    }
    if (is_started()) {
        return TROX_DAQ_SLICER_NOT_ALLOWED;
    }
    try {
        return start_all(debug);
    } catch (const std::bad_alloc&) { // what runs by then is ended by clean_up
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
}

template <class G> int basic_slicer<G>::start_all(int debug)
{
    if (const int status = start_table_thread(); status != TROX_DAQ_SLICER_OK) {
        return status;
    }
    table_loader* first = find_first_table();
    if (first == nullptr || !allocate_readers()) {
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    for (int i = 0; i < nchans_; ++i) {
        if (const int status = create_channel(i, first); status != TROX_DAQ_SLICER_OK) {
            if (slicer_traits<G>::has_life_cycle_traces && debug != 0) {
                print<common_slicer_texts, common_slicer_message::create_failed>(i);
            }
            return status;
        }
        start_or_drop(i, debug);
    }
    choose_first_event(debug);
    return TROX_DAQ_SLICER_OK;
}

/// Tables of the first file; with bad files passed over, of the first that loads.
template <class G> typename G::table_loader* basic_slicer<G>::find_first_table()
{
    table_loader* first = find_ready_table(files_.front());
    for (std::size_t file = 1; first == nullptr && task_.skip && file < files_.size(); ++file) {
        first = find_ready_table(files_[file]);
    }
    return first;
}

template <class G> bool basic_slicer<G>::allocate_readers()
{
    const auto count = static_cast<std::size_t>(nchans_);
    void* block = os().malloc(count * sizeof(std::unique_ptr<channel_reader>));
    if (block == nullptr) {
        std::perror("malloc");
        print<common_slicer_texts, common_slicer_message::no_readers_memory>();
        return false;
    }
    read_chans_.adopt(block, count);
    return true;
}

/// Starts a channel in the first file that has data of it, from the one of its reader on.
template <class G> void basic_slicer<G>::start_or_drop(int i, int debug)
{
    // Each move but the last leads to a file behind, unless the list names a file twice.
    for (std::size_t moves_left = files_.size();; --moves_left) {
        const int status = start_channel(i, TROX_DAQ_READ_CHAN_EVENT_FIRST);
        if (status == TROX_DAQ_SLICER_OK) {
            return;
        }
        if (!goes_to_next_file(status)) {
            if (debug != 0) {
                print<common_slicer_texts, common_slicer_message::channel_not_started>(channel_name(i),
                                                                                       chans_[i]->subchan, status);
            }
            add_to_not_found(i);
            break;
        }
        if (moves_left == 0 || change_config(i, TROX_DAQ_READ_CHAN_EVENT_NEXT, 1) != TROX_DAQ_SLICER_OK) {
            if (debug != 0) {
                print<common_slicer_texts, common_slicer_message::no_file_has_channel>(channel_name(i),
                                                                                       chans_[i]->subchan);
            }
            add_to_not_found(i);
            if (slicer_traits<G>::has_life_cycle_traces && debug != 0) {
                print<common_slicer_texts, common_slicer_message::cleaning_description>();
            }
            break;
        }
    }
    close_reader(i);
}

/// Whether a channel that answered so when it was started is tried in another file.
template <class G> bool basic_slicer<G>::goes_to_next_file(int status) const
{
    return status == TROX_DAQ_SLICER_NO_DATA || status == TROX_DAQ_SLICER_OUT_OF_WINDOW ||
           // Damage, when that is passed over; a damaged dictionary may have lost the channel's name.
           (task_.skip && (status == TROX_DAQ_SLICER_INTERN_ERROR || status == TROX_DAQ_SLICER_NOT_FOUND));
}

template <class G> void basic_slicer<G>::add_to_not_found(int i)
{
    if (!not_found_channels_.empty()) {
        not_found_channels_ += ';';
    }
    not_found_channels_ += channel_name(i);
}

template <class G> void basic_slicer<G>::choose_first_event(int debug)
{
    constexpr int trace_limits = -1;
    for (const auto& reader : read_chans_) {
        if (reader == nullptr) {
            continue;
        }
        if (debug > 1) {
            print<common_slicer_texts, common_slicer_message::asking_for_first>();
        }
        entry* record = nullptr;
        const int status = reader->get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_CUR);
        if (status == TROX_DAQ_READ_CHAN_OK && record != nullptr) {
            if (debug == trace_limits) {
                print<common_slicer_texts, common_slicer_message::first_found>();
                reader->print_time_limits();
            }
            take_first_event(record->event_id);
        } else if (debug == trace_limits) {
            print<common_slicer_texts, common_slicer_message::first_missing>(status);
        }
    }
}

/// Makes `event` the current one when it is the first or an earlier one.
template <class G> void basic_slicer<G>::take_first_event(const time_id& event)
{
    bool takes = false;
    if (current_event_id_.event_number != 0) {
        takes = event.event_number < current_event_id_.event_number;
    } else if (current_event_id_.time.timeup == 0) {
        takes = true;
    } else {
        int sign = 0;
        trox_time_stamp_eq(&current_event_id_.time, &event.time, time_diff_, &sign, nullptr);
        takes = sign > 0;
    }
    if (!takes) {
        return;
    }
    current_event_id_ = event;
    if (synch_mode_ == TROX_DAQ_SLICER_SYNCH_MODE_TIME) {
        current_event_id_.event_number = 0;
    }
}

template <class G> bool basic_slicer<G>::has_channel(int i) const
{
    return i >= 0 && i < nchans_;
}

template <class G> const char* basic_slicer<G>::channel_name(int i) const
{
    return chans_[i]->name;
}

template <class G> int basic_slicer<G>::create_channel(int i, table_loader* table)
{
    const int debug = get_debug();
    const long start = debug < 0 ? now_us() : 0;
    if (!has_channel(i) || table == nullptr) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    if (!read_chans_) {
        return TROX_DAQ_SLICER_NOT_INIT;
    }
    const int subchan = chans_[i]->subchan;
    if (debug > 0) {
        print<slicer_texts<G>, slicer_message::creating_channel>(channel_name(i), subchan, table->get_file_name());
    }
    const auto loader = table->weak_from_this().lock(); // the channel's present reader may be its last owner
    remove_channel(i);
    try {
        read_chans_[i] = std::make_unique<channel_reader>(table, channel_name(i), subchan, nullptr);
    } catch (const std::bad_alloc&) {
        return TROX_DAQ_SLICER_INTERN_ERROR; // the channel has no reader now
    }
    channel_reader& reader = *read_chans_[i];
    if constexpr (slicer_traits<G>::has_by_time_fix) {
        reader.set_by_time_fix(by_time_fix_);
    }
    reader.set_skip_bad_records(task_.skip);
    if (reader.set_time_diff(&event_time_diff_) != TROX_DAQ_READ_CHAN_OK) {
        print<common_slicer_texts, common_slicer_message::time_diff_refused>(i, channel_name(i), subchan);
        remove_channel(i);
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    if (reader.set_step(&event_step_) != TROX_DAQ_READ_CHAN_OK) {
        print<common_slicer_texts, common_slicer_message::step_refused>(i, channel_name(i), subchan);
        remove_channel(i);
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    if constexpr (slicer_traits<G>::has_timing_traces) {
        if (debug < 0 && elapsed_ms(start) > traced_from_ms) {
            print<common_slicer_texts, common_slicer_message::create_timing>(elapsed_ms(start));
        }
    }
    return TROX_DAQ_SLICER_OK;
}

template <class G> int basic_slicer<G>::start_channel(int i, int direction)
{
    const int debug = get_debug();
    const long start = debug < 0 ? now_us() : 0;
    if (!has_channel(i) || !is_request(direction)) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    if (!read_chans_) {
        return TROX_DAQ_SLICER_NOT_INIT;
    }
    if (read_chans_[i] == nullptr) {
        return TROX_DAQ_SLICER_NO_DATA;
    }
    channel_reader& reader = *read_chans_[i];
    pthread_mutex_t* mutex = nullptr;
    pthread_cond_t* cond = nullptr;
    int* flag = nullptr;
    int status = TROX_DAQ_READ_CHAN_INTERN_ERROR;
    try {
        status = reader.start(&mutex, &cond, &flag);
    } catch (const std::bad_alloc&) { // like any other lack of memory that the reader reports
    }
    if (status != TROX_DAQ_READ_CHAN_OK) {
        print<common_slicer_texts, common_slicer_message::start_failed>(i, channel_name(i), chans_[i]->subchan, status);
        return status;
    }
    wait_for_reader(*mutex, *cond, *flag);
    if (reader.get_number_of_records() == 0) {
        return TROX_DAQ_SLICER_NO_DATA;
    }
    const bool from_end = direction == TROX_DAQ_READ_CHAN_EVENT_PREV || direction == TROX_DAQ_READ_CHAN_EVENT_LAST;
    if (debug > 1 && from_end) {
        print<common_slicer_texts, common_slicer_message::position_at_last>();
    } else if (debug > 1) {
        slicer_traits<G>::tell_position_at_first(TROX_DAQ_READ_CHAN_OK);
    }
    entry* record = nullptr;
    status = reader.get_chan_data(nullptr, &record,
                                  from_end ? TROX_DAQ_READ_CHAN_EVENT_LAST : TROX_DAQ_READ_CHAN_EVENT_FIRST);
    if constexpr (slicer_traits<G>::has_timing_traces) {
        if (debug < 0) {
            print<common_slicer_texts, common_slicer_message::start_timing>(elapsed_ms(start));
        }
    }
    return status;
}

template <class G> void basic_slicer<G>::remove_channel(int i)
{
    if (!has_channel(i) || !read_chans_ || read_chans_[i] == nullptr) {
        return;
    }
    const unsigned id = trace_id(read_chans_[i].get());
    close_reader(i);
    if (get_debug() > 0) {
        print<common_slicer_texts, common_slicer_message::deleting_reader>(i, id);
    }
}

/// Ends a channel's reader, if there is one, and keeps its count.
template <class G> void basic_slicer<G>::close_reader(int i)
{
    if (read_chans_[i] == nullptr) {
        return;
    }
    bad_records_ += read_chans_[i]->get_number_of_bad_records();
    read_chans_[i]->clean_descr();
    read_chans_[i]->clean();
    read_chans_[i].reset();
}

template <class G> int basic_slicer<G>::change_config(int i, int direction, int /*flag*/)
{
    const int debug = get_debug();
    if (!has_channel(i) || !is_request(direction)) {
        return TROX_DAQ_SLICER_INV_PARAM;
    }
    if (!read_chans_) {
        return TROX_DAQ_SLICER_NOT_INIT;
    }
    if (read_chans_[i] == nullptr) {
        return TROX_DAQ_SLICER_NO_DATA;
    }
    const int left = leave_file(i, read_chans_[i]->get_cfg());
    if (left < 0) {
        return lose_channel(i);
    }
    // Bad files are passed over in the direction of the move: inwards from the first and the last file.
    const bool backwards = direction == TROX_DAQ_READ_CHAN_EVENT_PREV || direction == TROX_DAQ_READ_CHAN_EVENT_LAST;
    for (int file = first_choice(left, direction);; file += backwards ? -1 : 1) {
        if (debug > 0) {
            print<common_slicer_texts, common_slicer_message::file_index>(i, file);
        }
        if (file < 0 || file >= static_cast<int>(files_.size())) {
            if (debug > 0) {
                print<common_slicer_texts, common_slicer_message::no_such_file>(file, i, channel_name(i));
            }
            remove_channel(i);
            return TROX_DAQ_SLICER_NO_DATA;
        }
        const std::string& name = files_[file];
        if (table_loader* loader = table_for(i, name); loader != nullptr) {
            const int status = create_channel(i, loader);
            if (debug > 0 && status == TROX_DAQ_SLICER_OK) {
                print<common_slicer_texts, common_slicer_message::switched>(file, name.c_str());
            }
            return status;
        }
        if (direction == TROX_DAQ_READ_CHAN_EVENT_CUR || !task_.skip || !is_bad(file)) {
            if (debug > 0) {
                print<common_slicer_texts, common_slicer_message::no_tables>(channel_name(i), name.c_str());
            }
            return TROX_DAQ_SLICER_NO_DATA;
        }
    }
}

/// Counts a channel out of its file and lets the file's loader go when that was the last. Answers the file's
/// index, negative when the file or its loader is not known.
template <class G> int basic_slicer<G>::leave_file(int i, table_loader* loader)
{
    const int debug = get_debug();
    const char* name = loader != nullptr ? loader->get_file_name() : "";
    if (debug > 0) {
        print<common_slicer_texts, common_slicer_message::switching_file>(channel_name(i), name);
    }
    if (loader != nullptr) {
        loader->inc_client_counter();
    }
    int file = -1;
    {
        const mutex_holder lock(tmx_);
        auto* slot = loader != nullptr ? slot_of(loader) : nullptr;
        if (slot == nullptr) {
            // Whoever holds it, the channel's reader for one, lets it go in time.
            print<common_slicer_texts, common_slicer_message::loader_unknown>();
            return -1;
        }
        const auto found = std::find(files_.begin(), files_.end(), name);
        file = found != files_.end() ? static_cast<int>(found - files_.begin()) : -1;
        if (loader->get_client_counter() >= nchans_ && !is_shared(loader, i)) {
            slot->reset(); // lives on in the channel's reader until that is replaced
            ++task_.go;
            ::pthread_cond_broadcast(&tcond_);
        }
    }
    if (debug > 0) {
        slicer_traits<G>::tell_leaving_file(i, channel_name(i), file);
    }
    return file;
}

/// Whether another channel's reader uses a loader. Begins behind the channel: those are the ones that still
/// have to leave when channel after channel moves on.
template <class G> bool basic_slicer<G>::is_shared(const table_loader* loader, int i) const
{
    for (int step = 1; step < nchans_; ++step) {
        const auto& reader = read_chans_[(i + step) % nchans_];
        if (reader != nullptr && reader->get_cfg() == loader) {
            return true;
        }
    }
    return false;
}

/// Index of the file that a channel goes to from file `file`; may lie outside the list.
template <class G> int basic_slicer<G>::first_choice(int file, int direction) const
{
    switch (static_cast<trox_daq_read_chan_request_type>(direction)) {
    case TROX_DAQ_READ_CHAN_EVENT_NEXT:
        return file + 1;
    case TROX_DAQ_READ_CHAN_EVENT_PREV:
        return file - 1;
    case TROX_DAQ_READ_CHAN_EVENT_FIRST:
        return 0;
    case TROX_DAQ_READ_CHAN_EVENT_LAST:
        return static_cast<int>(files_.size()) - 1;
    case TROX_DAQ_READ_CHAN_EVENT_CUR:
        break;
    }
    return file;
}

/// Tables of a file for a channel that moves there: those of another channel that is there already, else loaded
/// ones. Begins before the channel: those are the ones that have moved.
template <class G> typename G::table_loader* basic_slicer<G>::table_for(int i, const std::string& name)
{
    const table_loader* other = nullptr; // the last one seen; many readers have the same
    for (int step = 1; step < nchans_; ++step) {
        const auto& reader = read_chans_[(i + nchans_ - step) % nchans_];
        table_loader* loader = reader != nullptr ? reader->get_cfg() : nullptr;
        if (loader == nullptr || loader == other) {
            continue;
        }
        if (name == loader->get_file_name()) {
            return loader;
        }
        other = loader;
    }
    return find_ready_table(name);
}

/// Drops a channel whose file is not known any more.
template <class G> int basic_slicer<G>::lose_channel(int i)
{
    print<common_slicer_texts, common_slicer_message::lost>(i, channel_name(i));
    remove_channel(i);
    return TROX_DAQ_SLICER_NO_DATA;
}

template <class G> void basic_slicer<G>::clean_up()
{
    const bool has_traces = slicer_traits<G>::has_life_cycle_traces && get_debug() > 0;
    stop_table_thread(); // before the lists go that it reads
    files_.clear();
    chansp_.clear();
    for (auto& loader : get_tables_) {
        if (loader != nullptr) {
            loader->clean_up(); // readers keep what they took from it
            loader.reset();
        }
    }
    get_tables_.clear();
    for (int i = 0; i < static_cast<int>(read_chans_.size()); ++i) {
        if (read_chans_[i] != nullptr) {
            close_reader(i);
            if (has_traces) {
                print<common_slicer_texts, common_slicer_message::reader_cleaned>(i);
                std::fflush(nullptr);
            }
        }
    }
    read_chans_.clear();
    chans_.clear();
    nchans_ = 0;
    cur_file_ = -1;
    prev_file_ = -1;
    current_event_id_ = {};
    not_found_channels_.clear();
}

} // namespace trox_detail

#endif
