// Reader: requests and channels.
#ifndef TROX_GENERIC_READER_REQUEST_INL
#define TROX_GENERIC_READER_REQUEST_INL

#include "generic/reader_settings.inl"

#include <cstdint>
#include <ctime>
#include <new>
#include <type_traits>

namespace trox_detail
{

/// Microseconds since the epoch.
inline double us_of(const time_stamp& time)
{
    return static_cast<double>(time.timeup) * us_per_second + static_cast<double>(time.timelow);
}

// --- init ---------------------------------------------------------------------------------------------

template <class Generation> int basic_reader<Generation>::init(request* req, std::vector<daq_channel_entry*>* chans)
try {
    if (req == nullptr) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        clean_up();
    }
    if (reader_traits<Generation>::copy_request(req, &request_)) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    // What a caller filled to the last character would run on in `get_experiment`.
    copy_name(request_.exp_name, std::string(name_in(request_.exp_name)));
    copy_name(request_.stream_name, std::string(name_in(request_.stream_name)));
    if (chans != nullptr && !chans->empty()) {
        if (const int status = set_channels(chans)) {
            return status;
        }
    }
    if (const int status = find_files()) {
        return set_error(status);
    }
    const int status = load_first_file();
    const bool is_known = status == TROX_DAQ_READER_OK || status == TROX_DAQ_READER_NOT_FOUND;
    return set_error(is_known ? status : TROX_DAQ_READER_BAD_FILE_FORMAT);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation>
int basic_reader<Generation>::init(std::vector<char*>* files, std::vector<daq_channel_entry*>* chans)
try {
    if (files == nullptr) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    std::vector<std::string> names;
    for (const char* name : *files) {
        names.emplace_back(name != nullptr ? name : "");
    }
    return init(std::move(names), chans);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation>
int basic_reader<Generation>::init(std::vector<std::string> files, std::vector<daq_channel_entry*>* chans)
try {
    if (files.empty()) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        clean_up();
    }
    found_from_run_catalogue_ = false;
    std::erase(files, std::string{});
    add_files(files);
    sort_my_files();
    if (chans != nullptr && !chans->empty()) {
        if (const int status = set_channels(chans)) {
            return status;
        }
    }
    if (files_.empty()) {
        return set_error(TROX_DAQ_READER_OK);
    }
    // Unlike for a request, a file without the channels is a bad file: the caller has named it.
    return set_error(load_first_file() == 0 ? TROX_DAQ_READER_OK : TROX_DAQ_READER_BAD_FILE_FORMAT);
} catch (const std::bad_alloc&) {
    return no_memory();
}

/// Loads the tables of the first file, and releases them when that goes well: the loader's status. While bad files
/// are passed over, the first one that loads counts. A file that loads, but has none of the channels, is not bad.
template <class Generation> int basic_reader<Generation>::load_first_file()
{
    int first_status = 0;
    for (const std::string& file : files_) {
        const int status = get_tables_->get_all_tables(file, 0, &chans_);
        if (status == 0) {
            get_tables_->clean_up();
            return 0;
        }
        first_status = first_status != 0 ? first_status : status;
        if (!skip_bad_records_ || get_tables_->lacks_listed_channels()) {
            return status;
        }
    }
    return first_status;
}

// --- checking a request -------------------------------------------------------------------------------

template <class Generation> int basic_reader<Generation>::check_request()
try {
    complete_range();
    if (!is_range_in_order()) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    time_start_ = us_of(request_.start_time.time);
    time_stop_ = us_of(request_.stop_time.time);
    if (found_from_run_catalogue_) {
        found_from_run_catalogue_ = false; // the catalogue has looked at the times already
    } else if (!files_.empty()) {
        drop_files_outside_range();
    }
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation> void basic_reader<Generation>::complete_range()
{
    time_id& start = request_.start_time;
    time_id& stop = request_.stop_time;
    if (stop.time.timeup == 0) {
        stop.time = {static_cast<std::uint32_t>(std::time(nullptr)), 0};
    }
    using event_number = typename Generation::event_number;
    if (start.event_number == 0) {
        start.event_number = static_cast<event_number>(trox_get_event_id(&start.time));
    }
    if (stop.event_number == 0) {
        stop.event_number = static_cast<event_number>(trox_get_event_id(&stop.time));
    }
}

template <class Generation> bool basic_reader<Generation>::is_range_in_order() const
{
    const time_id& start = request_.start_time;
    const time_id& stop = request_.stop_time;
    if (start.event_number != 0 && stop.event_number != 0 && start.event_number > stop.event_number) {
        if (debug_ != 0) {
            using traits = reader_traits<Generation>;
            print<reader_texts<Generation>, reader_message::wrong_event_ids>(traits::printed(start.event_number),
                                                                             traits::printed(stop.event_number));
        }
        return false;
    }
    const bool is_given = start.time.timeup != 0 || stop.time.timeup != 0;
    if (is_given && us_of(start.time) > us_of(stop.time)) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::wrong_times>(start.time.timeup, start.time.timelow,
                                                                           stop.time.timeup, stop.time.timelow);
        }
        return false;
    }
    return true;
}

/// Keeps the files whose name's time lies in the range, those that may reach into it, and the first one when it
/// begins before.
template <class Generation> void basic_reader<Generation>::drop_files_outside_range()
{
    std::uint32_t first_s = 0;
    std::uint32_t last_s = 0;
    if (const auto first = second_of_file(files_.front())) {
        first_s = *first;
        if (const auto last = second_of_file(files_.back())) {
            last_s = *last;
        } else {
            print<reader_texts<Generation>, reader_message::no_local_stop_time>();
        }
    } else {
        print<reader_texts<Generation>, reader_message::no_local_start_time>();
    }
    const std::uint64_t step = files_.size() > 1 ? std::uint32_t{last_s - first_s} / (files_.size() - 1) : 0;
    const std::uint64_t start_s = request_.start_time.time.timeup;
    const std::uint64_t stop_s = request_.stop_time.time.timeup;

    std::vector<std::string> kept;
    kept.reserve(files_.size()); // before any is moved
    for (std::size_t i = 0; i < files_.size(); ++i) {
        const auto second = second_of_file(files_[i]);
        if (!second) {
            continue;
        }
        const bool is_first_before_start = i == 0 && start_s >= *second;
        const bool ends_before_start = !is_first_before_start && *second + step < start_s;
        if (!ends_before_start && *second <= stop_s) {
            kept.push_back(std::move(files_[i]));
        }
    }
    files_ = std::move(kept);
}

// --- channels -----------------------------------------------------------------------------------------

/// Makes room, so that the next `push_back` cannot fail.
template <class Element> void reserve_one_more(std::vector<Element>& list)
{
    if (list.size() == list.capacity()) {
        list.reserve(list.size() + std::max<std::size_t>(list.size(), 1));
    }
}

/// Index of a channel; -1 when it is not there.
template <class Generation> int basic_reader<Generation>::find_channel(std::string_view name, int subchan) const
{
    for (std::size_t i = 0; i < results_.size(); ++i) {
        if (name_in(results_[i]->chan.name) == name && results_[i]->chan.subchan == subchan) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

template <class Generation> int basic_reader<Generation>::add_channel(daq_channel_entry* channel)
try {
    if (channel == nullptr || channel->name == nullptr || *channel->name == '\0') {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    owned_result result(new (std::nothrow) result_entry());
    if (!result) {
        return set_error(TROX_DAQ_READER_INTERN_ERROR);
    }
    const channel_text text = parse_channel(channel->name);
    copy_name(result->chan.name, text.name);
    copy_name(result->chan.nname, text.nickname);
    result->chan.subchan = text.subchan;
    result->chan.prms = channel->prms;

    const std::string_view name = name_in(result->chan.name);
    if (!name.empty() && find_channel(name, text.subchan) >= 0) {
        return TROX_DAQ_READER_OK; // there already: the last error stays too
    }
    reserve_one_more(results_); // so that both lists and the index grow, or none
    reserve_one_more(chans_);
    std::string listed(name);
    chan_name_map_.add(*result, nchans_);
    chans_.push_back(std::move(listed));
    results_.push_back(std::move(result));
    ++nchans_;
    return set_error(TROX_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation> int basic_reader<Generation>::set_channels(std::vector<daq_channel_entry*>* chans)
{
    if (chans == nullptr || chans->empty()) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    for (daq_channel_entry* channel : *chans) {
        if (const int status = add_channel(channel)) {
            return status;
        }
    }
    // The length of the list, also when channels were there before or stand twice: programs compare it with theirs.
    nchans_ = static_cast<int>(chans->size());
    return set_error(TROX_DAQ_READER_OK);
}

template <class Generation> int basic_reader<Generation>::rem_channel(const char* name)
{
    if (name == nullptr || *name == '\0') {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    channel_text text = parse_removed_channel(name);
    text.name = text.name.substr(0, longest_name); // as it was cut when the channel was added
    const int found = text.name.empty() ? -1 : find_channel(text.name, text.subchan);
    if (found < 0) {
        return set_error(TROX_DAQ_READER_NOT_FOUND);
    }
    chan_name_map_.remove(*results_[static_cast<std::size_t>(found)]);
    results_.erase(results_.begin() + found);
    // A look at one channel has left that one there.
    if (found < static_cast<int>(chans_.size()) && chans_[static_cast<std::size_t>(found)] == text.name) {
        chans_.erase(chans_.begin() + found);
    }
    --nchans_;
    return set_error(TROX_DAQ_READER_OK);
}

} // namespace trox_detail

#endif
