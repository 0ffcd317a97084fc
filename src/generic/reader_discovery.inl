// Reader: the data files of a request, from the run catalogue or a directory.
#ifndef TROX_GENERIC_READER_DISCOVERY_INL
#define TROX_GENERIC_READER_DISCOVERY_INL

#include "generic/reader_settings.inl"
#include "generic/run_files.h"

#include <limits>

namespace trox_detail
{

/// Runs of a request; `first` 0 without any.
template <class Request> run_range runs_of(const Request& request)
{
    if (request.run_first < 1) {
        return {};
    }
    return {request.run_first, std::max(request.run_first, request.run_last)};
}

template <class Request> run_files catalogue_of(const Request& request)
{
    return {request.cdir, std::string(name_in(request.exp_name)), std::string(name_in(request.stream_name))};
}

// --- the whole list -----------------------------------------------------------------------------------

/// Builds the list of files. 0, or -10 without a file or a readable directory.
template <class Generation> int basic_reader<Generation>::find_files()
{
    const run_range runs = runs_of(request_);
    set_data_dir(std::string(request_.ddir).c_str());
    found_from_run_catalogue_ = false;
    std::vector<std::string> names;
    std::string before; // of a scan: the nearest file before the span
    const bool is_from_catalogue = runs.first > 0 ? find_files_of_runs(names) : find_files_of_period(names);
    if (!is_from_catalogue) {
        const int status = runs.first > 0 ? scan_for_runs(names, before) : scan_for_period(names, before);
        if (status != TROX_DAQ_READER_OK) {
            return status;
        }
    }
    add_files(names);
    sort_my_files();
    if (files_.empty()) {
        return TROX_DAQ_READER_FILES_NOT_FOUND;
    }
    if (!is_from_catalogue) {
        complete_scanned_files(before);
    }
    if (runs.first > 0) {
        correct_times();
    }
    return TROX_DAQ_READER_OK;
}

template <class Generation> void basic_reader<Generation>::add_files(const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        put_file(name.c_str(), true); // one that is not to be had is left out
    }
}

// --- run catalogue ------------------------------------------------------------------------------------

template <class Generation> bool basic_reader<Generation>::find_files_of_runs(std::vector<std::string>& names)
{
    names = catalogue_of(request_).of_runs(runs_of(request_));
    if (names.empty()) {
        if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::runs_not_in_catalogue>();
        }
        return false;
    }
    found_from_run_catalogue_ = reader_traits<Generation>::trusts_run_catalogue;
    if (request_.start_time.time.timeup != 0 && request_.stop_time.time.timeup != 0) {
        keep_files_of_period(names);
    }
    return true;
}

/// Of the runs' files keeps those that the catalogue names for the period too; all when it names none.
template <class Generation> void basic_reader<Generation>::keep_files_of_period(std::vector<std::string>& names) const
{
    const std::vector<std::string> of_period =
        catalogue_of(request_).of_period(request_.start_time.time.timeup, request_.stop_time.time.timeup);
    if (of_period.empty()) {
        return;
    }
    if (debug_ > 0) {
        print<common_reader_texts, common_reader_message::removing_files>(of_period.size(), names.size());
    }
    const auto is_of_period = [&](const std::string& name) {
        return std::any_of(of_period.begin(), of_period.end(), [&](const std::string& other) {
            if (debug_ > 0) {
                print<common_reader_texts, common_reader_message::comparing_files>(name.c_str(), other.c_str());
            }
            return base_name(name) == base_name(other);
        });
    };
    std::erase_if(names, [&](const std::string& name) { return !is_of_period(name); });
}

template <class Generation> bool basic_reader<Generation>::find_files_of_period(std::vector<std::string>& names)
{
    names = catalogue_of(request_).of_period(request_.start_time.time.timeup, request_.stop_time.time.timeup);
    if (names.empty()) {
        if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::period_not_in_catalogue>();
        }
        return false;
    }
    found_from_run_catalogue_ = reader_traits<Generation>::trusts_run_catalogue;
    return true;
}

// --- directory scan -----------------------------------------------------------------------------------

/// True for a second from start to stop, both included; a request without a stop is open there.
template <class Generation> bool basic_reader<Generation>::is_in_span(std::uint32_t second) const
{
    const std::uint32_t stop = request_.stop_time.time.timeup;
    return second >= request_.start_time.time.timeup && (stop == 0 || second <= stop);
}

/// Keeps the latest file before the start.
template <class Generation>
void basic_reader<Generation>::remember_nearest(const scanned_file& file, const scanned_file*& nearest) const
{
    if (file.second < request_.start_time.time.timeup && (nearest == nullptr || nearest->second < file.second)) {
        nearest = &file;
    }
}

template <class Generation>
int basic_reader<Generation>::scan_for_runs(std::vector<std::string>& names, std::string& before)
{
    const run_range runs = runs_of(request_);
    const auto files = scan_directory(request_.ddir, name_in(request_.exp_name), runs.first, runs.last);
    if (!files) {
        return TROX_DAQ_READER_FILES_NOT_FOUND;
    }
    const std::uint32_t start = request_.start_time.time.timeup;
    const std::uint32_t stop = request_.stop_time.time.timeup;
    const scanned_file* nearest = nullptr;
    for (const scanned_file& file : *files) {
        const char* name = file.name.c_str();
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::scanned_file>(name, file.second, start, stop);
        }
        remember_nearest(file, nearest);
        if (is_in_span(file.second)) {
            if (debug_ != 0) {
                print<common_reader_texts, common_reader_message::scanned_file_of_runs>(name, file.second, start, stop);
            }
            names.push_back(file.name);
        }
    }
    before = nearest != nullptr ? nearest->name : "";
    if (names.empty() && serves_alone(before)) {
        names.push_back(before);
    }
    return TROX_DAQ_READER_OK;
}

template <class Generation>
int basic_reader<Generation>::scan_for_period(std::vector<std::string>& names, std::string& before)
{
    const auto files = scan_directory(request_.ddir, name_in(request_.exp_name), 0, 0);
    if (!files) {
        return TROX_DAQ_READER_FILES_NOT_FOUND;
    }
    const std::uint32_t start = request_.start_time.time.timeup;
    const std::uint32_t stop = request_.stop_time.time.timeup;
    const scanned_file* nearest = nullptr;
    for (const scanned_file& file : *files) {
        const char* name = file.name.c_str();
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::scanned_file>(name, file.second, start, stop);
        }
        remember_nearest(file, nearest);
        if (is_in_span(file.second)) {
            if (debug_ != 0) {
                print<common_reader_texts, common_reader_message::scanned_file_of_period>(name, file.second, start,
                                                                                          stop);
                print<common_reader_texts, common_reader_message::taking_file>(name, file.second, start, stop);
            }
            names.push_back(file.name);
        }
    }
    before = nearest != nullptr ? nearest->name : "";
    if (names.empty() && serves_alone(before)) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::taking_file_before>(before.c_str());
        }
        names.push_back(before);
    }
    return TROX_DAQ_READER_OK;
}

/// True when the only file there is reaches into the span. Without the channels it is taken too, so that `init`
/// can say that they are what is missing.
template <class Generation> bool basic_reader<Generation>::serves_alone(const std::string& name) const
{
    return reaches_start(name, chans_) || (!chans_.empty() && reaches_start(name, {}));
}

/// True when the last event of a file before the span, which has the channels, lies in or behind the start second.
template <class Generation>
bool basic_reader<Generation>::reaches_start(const std::string& name, const std::vector<std::string>& chans) const
{
    if (name.empty()) {
        return false;
    }
    table_loader tables(0);
    std::uint32_t first_s = 0;
    std::uint32_t last_s = 0;
    return tables.get_all_tables(request_.ddir + name, 0, &chans) == 0 && event_span(tables, first_s, last_s) &&
           last_s >= request_.start_time.time.timeup;
}

// --- files around the scanned ones --------------------------------------------------------------------

/// Adds the files that a scan by time misses: the one before the first, which holds the start of the span, and
/// the one behind the last.
template <class Generation> void basic_reader<Generation>::complete_scanned_files(const std::string& before)
{
    if (!starts_before_span()) {
        add_very_first_file();
    }
    if (!starts_before_span() && reaches_start(before, chans_)) {
        put_file(before.c_str(), false);
        sort_my_files();
    }
    if (!ends_behind_span()) {
        add_very_last_file();
    }
}

template <class Generation> bool basic_reader<Generation>::starts_before_span() const
{
    const std::uint32_t start = request_.start_time.time.timeup;
    const auto first = second_of_file(files_.front());
    return start != 0 && request_.stop_time.time.timeup != 0 && first && *first < start;
}

template <class Generation> bool basic_reader<Generation>::ends_behind_span() const
{
    const std::uint32_t stop = request_.stop_time.time.timeup;
    const auto last = second_of_file(files_.back());
    return stop != 0 && request_.start_time.time.timeup != 0 && last && *last > stop;
}

template <class Generation> void basic_reader<Generation>::add_very_first_file()
{
    const std::string first(base_name(files_.front()));
    const numbered_name parts = split_at_file_number(first);
    if (debug_ != 0) {
        print<common_reader_texts, common_reader_message::very_first_file>(first.c_str());
        print<common_reader_texts, common_reader_message::file_number>(parts.token.c_str());
    }
    constexpr long second_file = 2;
    if (parts.number < second_file) {
        if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::no_very_first_name>();
        }
        return;
    }
    const std::string found = find_numbered_file(parts.prefix, parts.number - 1);
    if (!found.empty()) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::found_very_first>(found.c_str());
        }
        put_file(found.c_str(), false);
    }
}

template <class Generation> void basic_reader<Generation>::add_very_last_file()
{
    const std::string last(base_name(files_.back()));
    const numbered_name parts = split_at_file_number(last);
    if (debug_ != 0) {
        print<common_reader_texts, common_reader_message::very_last_file>(last.c_str());
        print<common_reader_texts, common_reader_message::file_number>(parts.token.c_str());
    }
    if (parts.number < 1) {
        if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::no_very_last_name>();
        }
        return;
    }
    const std::string found = find_numbered_file(parts.prefix, parts.number + 1);
    if (!found.empty()) {
        if (debug_ != 0) {
            print<common_reader_texts, common_reader_message::found_very_last>(found.c_str());
        }
        put_file(found.c_str(), false);
    }
    sort_my_files();
}

/// The first file of that number in the data directory; empty without one.
template <class Generation>
std::string basic_reader<Generation>::find_numbered_file(const std::string& prefix, long number) const
{
    const std::string pattern = prefix + "file" + std::to_string(number) + "_";
    if (debug_ != 0) {
        print<common_reader_texts, common_reader_message::partial_name>(pattern.c_str());
    }
    const auto names = names_in_directory(request_.ddir);
    if (!names) {
        if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::directory_not_read>();
        }
        return {};
    }
    const auto found = std::find_if(names->begin(), names->end(),
                                    [&](const std::string& name) { return name.find(pattern) != std::string::npos; });
    return found != names->end() ? *found : std::string{};
}

// --- times of a request for runs ----------------------------------------------------------------------

/// Puts the runs' span in the place of a range that lies elsewhere, and opens the range when the span is unknown.
template <class Generation> void basic_reader<Generation>::correct_times()
{
    const run_span span = span_of_runs();
    time_id& start = request_.start_time;
    time_id& stop = request_.stop_time;
    if (span.start_s == 0 || span.stop_s == 0) {
        start = {};
        stop = {};
        if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::time_reset>();
        }
        return;
    }
    const bool overlaps = span.stop_s >= long{start.time.timeup} && long{stop.time.timeup} >= span.start_s;
    if (span.start_s == span.stop_s || overlaps) {
        return;
    }
    start = {};
    stop = {};
    start.time.timeup = static_cast<std::uint32_t>(span.start_s);
    stop.time.timeup = static_cast<std::uint32_t>(span.stop_s);
    if (debug_ != 0) {
        print<reader_texts<Generation>, reader_message::time_corrected>();
    }
}

/// First second of the first and last second of the last run, as the catalogue or the file names tell; 0 unknown.
template <class Generation> run_span basic_reader<Generation>::span_of_runs() const
{
    const run_files catalogue = catalogue_of(request_);
    run_span span;
    if (const auto first = catalogue.span_of(request_.run_first)) {
        span = *first;
    } else {
        if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::run_time_not_found_trying_locally>(request_.run_first);
        }
        span = span_of_file_names();
    }
    if (request_.run_last > 0) {
        if (const auto last = catalogue.span_of(request_.run_last)) {
            span.stop_s = last->stop_s;
        } else if (debug_ != 0) {
            print<reader_texts<Generation>, reader_message::run_time_not_found>(request_.run_last);
        }
    }
    return span;
}

/// From the first to the last file, which lasts about as long as the others.
template <class Generation> run_span basic_reader<Generation>::span_of_file_names() const
{
    const auto first = second_of_file(files_.front());
    const auto last = second_of_file(files_.back());
    run_span span;
    if (first) {
        span.start_s = *first;
    } else {
        print<reader_texts<Generation>, reader_message::no_local_start_time>();
    }
    if (last) {
        span.stop_s = *last;
    } else {
        print<reader_texts<Generation>, reader_message::no_local_stop_time>();
    }
    if (first && last && files_.size() > 1) {
        span.stop_s += (span.stop_s - span.start_s) / static_cast<long>(files_.size() - 1);
        span.stop_s = std::min(span.stop_s, long{std::numeric_limits<std::uint32_t>::max()});
    }
    return span;
}

} // namespace trox_detail

#endif
