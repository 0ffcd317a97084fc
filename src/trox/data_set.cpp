#include "trox/data_set.h"

#include "event_util.h"
#include "trox/open_files.h"
#include "trox/record.h"
#include "trox_xml.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <limits>
#include <set>
#include <sys/stat.h>
#include <tuple>

namespace trox
{

// --- runs --------------------------------------------------------------------------------------------

namespace
{

std::string path_in(const std::string& directory, const std::string& name)
{
    return directory.empty() || directory.back() == '/' ? directory + name : directory + "/" + name;
}

std::string base_name(const std::string& path)
{
    return path.substr(path.find_last_of('/') + 1);
}

/// Where a data file lies: its path in the first directory that has it, else its name.
std::string found_in(const std::vector<std::string>& directories, const std::string& name)
{
    for (const std::string& directory : directories) {
        const std::string path = path_in(directory, name);
        struct stat status {
        };
        if (::stat(path.c_str(), &status) == 0) {
            return path;
        }
    }
    return name;
}

std::int64_t whole_seconds(time_point time)
{
    return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

time_point at_second(std::int64_t seconds)
{
    return time_point(std::chrono::seconds(seconds));
}

/// What the name of a catalogue file tells: <experiment>_<stream>_run<R>_<start>_<stop>.xml.
struct catalogue_name {
    std::string experiment;
    std::string stream;
    std::int32_t run = 0;
    std::optional<time_point> start; ///< whole seconds
    std::optional<time_point> stop;  ///< none for a run that goes on
};

std::optional<time_point> time_in_name(const std::string& text)
{
    try {
        return time_from_text(text);
    } catch (const error&) {
        return std::nullopt; // "open"
    }
}

std::optional<catalogue_name> parts_of(const std::string& path)
{
    const std::string base = base_name(path);
    const std::size_t stream = base.find('_');
    const std::size_t run = stream == std::string::npos ? stream : base.find("_run", stream + 1);
    if (run == std::string::npos) {
        return std::nullopt;
    }
    catalogue_name parts{
        base.substr(0, stream), base.substr(stream + 1, run - stream - 1), std::atoi(base.c_str() + run + 4), {}, {}};
    const std::size_t start = base.find('_', run + 1);
    const std::size_t stop = start == std::string::npos ? start : base.find('_', start + 1);
    if (stop != std::string::npos) {
        parts.start = time_in_name(base.substr(start + 1, stop - start - 1));
        parts.stop = time_in_name(base.substr(stop + 1, base.rfind('.') - stop - 1));
    }
    return parts;
}

bool is_of_place(const catalogue_name& name, const run_place& place)
{
    return (place.experiment.empty() || name.experiment == place.experiment) &&
           (place.stream.empty() || name.stream == place.stream);
}

/// The lists of files that the catalogue gives, owned.
class catalogue_lists
{
public:
    ~catalogue_lists()
    {
        for (const trox_root_xml_files* list : lists_) {
            delete list;
        }
    }
    catalogue_lists() = default;
    catalogue_lists(const catalogue_lists&) = delete;
    catalogue_lists& operator=(const catalogue_lists&) = delete;
    std::vector<trox_root_xml_files*>* get() noexcept
    {
        return &lists_;
    }
    const std::vector<trox_root_xml_files*>& items() const noexcept
    {
        return lists_;
    }

private:
    std::vector<trox_root_xml_files*> lists_;
};

std::string catalogue_key(const run_place& place)
{
    return place.stream.empty() ? place.experiment : place.experiment + "/" + place.stream;
}

/// Names of the catalogue's files, sorted. Throws error when it cannot be read.
std::vector<std::string> names_in(const std::string& path)
{
    struct closer {
        void operator()(DIR* directory) const
        {
            ::closedir(directory);
        }
    };
    const std::unique_ptr<DIR, closer> directory(::opendir(path.c_str()));
    if (directory == nullptr) {
        throw error(errno == ENOENT || errno == ENOTDIR ? fault::not_found : fault::input_output,
                    std::string("the run catalogue cannot be read: ") + std::strerror(errno), {path});
    }
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(directory.get())) {
        names.emplace_back(entry->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Files of all runs in a period, which the catalogue's own look-up takes in whole seconds with both ends included.
void look_up(const run_place& place, const run_query& query, catalogue_lists& lists)
{
    const long begin = query.begin ? static_cast<long>(std::max<std::int64_t>(whole_seconds(*query.begin), 1)) : 0;
    const long end = query.end ? static_cast<long>(std::max<std::int64_t>(whole_seconds(*query.end), 1)) : 0;
    std::string key = catalogue_key(place);
    std::string last_used;
    if (query.first && query.last && *query.first == *query.last) {
        get_files_for_runs({*query.first}, lists.get(), &last_used, &key, place.catalogue.c_str(),
                           TROX_DAQ_DATA_RAW_FORMAT);
    } else {
        get_files_for_period(begin, end, lists.get(), &last_used, &key, place.catalogue.c_str(),
                             TROX_DAQ_DATA_RAW_FORMAT);
    }
}

bool overlaps(const run_info& run, const run_query& query)
{
    return (!query.first || run.number >= *query.first) && (!query.last || run.number <= *query.last) &&
           (!query.end || !run.start || *run.start < *query.end) &&
           (!query.begin || !run.stop || *run.stop >= *query.begin);
}

/// The catalogue's time of a run; nothing is told when it has none.
void take_times(const run_place& place, run_info& run)
{
    long start = 0;
    long stop = 0;
    std::string key = run.experiment + "/" + run.stream;
    if (get_time_for_run(run.number, &start, &stop, &key, place.catalogue.c_str()) == 0) {
        run.start = at_second(start);
        run.stop = stop == 0 ? std::nullopt : std::optional<time_point>(at_second(stop));
    }
}

/// The runs of some catalogue files that have data files of any format, by the names of the catalogue files.
std::set<std::string> runs_with_files(const run_place& place, const std::vector<std::pair<int, std::string>>& files)
{
    std::vector<int> numbers;
    numbers.reserve(files.size());
    for (const auto& [number, name] : files) {
        numbers.push_back(number);
    }
    catalogue_lists lists;
    std::string key = catalogue_key(place);
    get_files_for_runs(numbers, lists.get(), nullptr, &key, place.catalogue.c_str(), TROX_DAQ_DATA_BOTH_FORMAT);
    std::set<std::string> names;
    for (const trox_root_xml_files* list : lists.items()) {
        if (list->xmlfile != nullptr) {
            names.insert(base_name(*list->xmlfile));
        }
    }
    return names;
}

/// Catalogue files that the query wants by their names, of runs of which no file can be read.
void find_damaged(const run_place& place, const run_query& query, const std::vector<std::string>& names,
                  const std::vector<run_info>& found, std::vector<skipped_file>& damaged)
{
    std::set<std::tuple<std::int32_t, std::string, std::string>> known;
    for (const run_info& run : found) {
        known.emplace(run.number, run.experiment, run.stream);
    }
    std::vector<std::pair<int, std::string>> without; // files found: numbers and names
    for (const std::string& base : names) {
        const auto name = parts_of(base);
        const bool is_catalogue_file = base.size() > 4 && base.compare(base.size() - 4, 4, ".xml") == 0;
        if (!name || !is_catalogue_file || !is_of_place(*name, place)) {
            continue;
        }
        const run_info run{name->experiment, name->stream, name->run, name->start, name->stop, {}, {}};
        if (name->start && overlaps(run, query) && known.count({run.number, run.experiment, run.stream}) == 0) {
            without.emplace_back(run.number, base);
        }
    }
    // A look at one run reads the whole directory: most are settled together.
    const std::set<std::string> sound = without.empty() ? std::set<std::string>() : runs_with_files(place, without);
    for (const auto& [number, base] : without) {
        if (sound.count(base) != 0) {
            continue;
        }
        const auto name = parts_of(base);
        std::string key = name->experiment + "/" + name->stream; // then the reason
        long start = 0;
        long stop = 0;
        if (get_time_for_run(number, &start, &stop, &key, place.catalogue.c_str()) != 0) {
            damaged.push_back({path_in(place.catalogue, base), "the catalogue file cannot be read: " + key});
        }
    }
}

} // namespace

std::vector<run_info> find_runs(const run_place& place, const run_query& query, std::vector<skipped_file>* damaged)
{
    const std::vector<std::string> names = names_in(place.catalogue);
    catalogue_lists lists;
    look_up(place, query, lists);
    std::vector<run_info> runs;
    for (const trox_root_xml_files* list : lists.items()) {
        const auto name = list->xmlfile == nullptr ? std::nullopt : parts_of(*list->xmlfile);
        if (!name || !is_of_place(*name, place)) {
            continue;
        }
        run_info run;
        run.experiment = name->experiment;
        run.stream = name->stream;
        run.number = name->run;
        run.catalogue_file = *list->xmlfile;
        run.start = name->start;
        run.stop = name->stop;
        if (!run.start || !run.stop) { // it may have ended since it got its name
            take_times(place, run);
        }
        for (const std::string* file : list->rfiles) {
            run.files.push_back(found_in(place.data, *file));
        }
        if (overlaps(run, query)) {
            runs.push_back(std::move(run));
        }
    }
    if (damaged != nullptr) {
        find_damaged(place, query, names, runs, *damaged);
    }
    return runs;
}

// --- data sets ---------------------------------------------------------------------------------------

data_set::data_set(std::shared_ptr<detail::open_files> files) : files_(std::move(files)) {}

data_set data_set::open_files(const std::vector<std::string>& paths, const open_options& options)
{
    return data_set(std::make_shared<detail::open_files>(paths, options));
}

data_set data_set::open_run(const run_place& place, std::int32_t run, const open_options& options)
{
    run_query query;
    query.first = run;
    query.last = run;
    std::vector<skipped_file> damaged;
    const std::vector<run_info> runs = find_runs(place, query, &damaged);
    if (runs.empty() && !damaged.empty()) {
        throw error(fault::bad_file, damaged.front().reason, {damaged.front().path});
    }
    if (runs.empty()) {
        throw error(fault::not_found, "the catalogue has no run " + std::to_string(run), {place.catalogue});
    }
    if (runs.size() > 1) {
        std::string list;
        for (const run_info& candidate : runs) {
            list += (list.empty() ? "" : ", ") + candidate.experiment + "/" + candidate.stream;
        }
        throw error(fault::wrong_use,
                    "run " + std::to_string(run) + " is there several times, say which experiment and stream: " + list,
                    {place.catalogue});
    }
    return open_files(runs.front().files, options);
}

data_set data_set::open_period(const run_place& place, time_point begin, time_point end, const open_options& options)
{
    if (end <= begin) {
        throw error(fault::wrong_use, "the period ends before it begins");
    }
    run_query query;
    query.begin = begin;
    query.end = end;
    std::vector<std::string> files;
    std::vector<skipped_file> damaged;
    for (const run_info& run : find_runs(place, query, &damaged)) {
        files.insert(files.end(), run.files.begin(), run.files.end());
    }
    if (!damaged.empty() && (files.empty() || !options.skip_bad_files)) {
        throw error(fault::bad_file, damaged.front().reason, {damaged.front().path});
    }
    if (files.empty()) {
        throw error(fault::not_found, "the catalogue has no run from " + to_text(begin) + " to " + to_text(end),
                    {place.catalogue});
    }
    sort_files(files);
    return data_set(std::make_shared<detail::open_files>(files, options, std::move(damaged)));
}

const std::vector<file_info>& data_set::files() const noexcept
{
    return files_->files();
}

const std::vector<skipped_file>& data_set::skipped_files() const noexcept
{
    return files_->skipped();
}

const std::vector<channel_info>& data_set::channels() const noexcept
{
    return files_->channels();
}

std::optional<std::size_t> data_set::find(std::string_view name) const
{
    return files_->find(name);
}

// --- names that are meant ------------------------------------------------------------------------------

std::vector<std::string> data_set::similar_names(std::string_view name, std::size_t most) const
{
    std::vector<std::pair<std::size_t, std::string>> candidates;
    const std::size_t limit = std::max<std::size_t>(2, name.size() / 3);
    for (const channel_info& channel : channels()) {
        const std::size_t distance = edit_distance(name, channel.name);
        const bool contains = name.size() > 2 && channel.name.find(name) != std::string::npos;
        if (contains || distance <= limit) {
            candidates.emplace_back(contains ? 0 : distance, channel.name);
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> names;
    for (std::size_t i = 0; i < std::min(most, candidates.size()); ++i) {
        names.push_back(std::move(candidates[i].second));
    }
    return names;
}

// --- a look at the data ----------------------------------------------------------------------------------

namespace
{

/// Decodes the first record that can be decoded, and takes its shape over.
void take_shape(const detail::file_rows& rows, channel_details& details)
{
    detail::decode_workspace workspace;
    const auto decoder = rows.decoder(0, 0, 0, workspace);
    const auto count = static_cast<std::uint32_t>(rows.rows(0));
    for (std::uint32_t row = 0; row < count && details.block_type == 0; ++row) {
        detail::batch_arena arena(std::numeric_limits<std::size_t>::max());
        auto decoded = std::make_shared<detail::decoded_record>();
        if (!decoder->decode(row, arena, *decoded)) {
            continue;
        }
        const record first(decoded, 0, true);
        details.block_type = first.block_type();
        details.kind = first.kind();
        for (std::size_t i = 0; i < first.members(); ++i) {
            if (const auto trace = first.trace(i)) {
                details.members.emplace_back(trace->name);
                details.samples = trace->group_size;
                details.groups = trace->groups;
            }
        }
    }
}

} // namespace

channel_details data_set::inspect(std::size_t channel) const
{
    files_->expect_channel(channel);
    const channel_info& info = channels()[channel];
    channel_details details;
    bool is_first = true;
    for (std::size_t i = 0; i < files().size(); ++i) {
        if (!files_->has(i, channel)) {
            continue;
        }
        try {
            const auto rows = files_->load(i, {info.name});
            const detail::stored_channel stored = rows->stored(0);
            details.stored_bytes += stored.end - stored.begin;
            if (is_first) {
                details.stored_as = stored.first_stored_as;
                is_first = false;
            }
            if (details.block_type == 0) {
                take_shape(*rows, details);
            }
        } catch (const detail::out_of_resources&) {
            throw;
        } catch (const error& failure) {
            details.skipped_files.push_back({files()[i].path, failure.reason()});
        }
    }
    return details;
}

std::vector<channel_stamps> data_set::stamps(const std::vector<std::size_t>& channels,
                                             const file_progress& progress) const
{
    for (const std::size_t channel : channels) {
        files_->expect_channel(channel);
    }
    std::vector<channel_stamps> result(channels.size());
    for (std::size_t file = 0; file < files().size(); ++file) {
        std::vector<std::size_t> present; // positions in `channels`
        std::vector<std::string> names;
        for (std::size_t i = 0; i < channels.size(); ++i) {
            if (files_->has(file, channels[i])) {
                present.push_back(i);
                names.push_back(this->channels()[channels[i]].name);
            }
        }
        const file_info& info = files()[file];
        try {
            const auto rows = present.empty() ? nullptr : files_->load(file, names);
            for (std::size_t i = 0; i < present.size(); ++i) {
                const detail::channel_column column = rows->column(i);
                channel_stamps& stamps = result[present[i]];
                for (const detail::indexed_record& record : column.records) {
                    const time_stamp& time = record.event_id.time;
                    stamps.records.push_back(
                        {record.event_id.event_number,
                         time_point(std::chrono::seconds(time.timeup) + microseconds(time.timelow)), file});
                }
                for (const detail::bad_record& bad : column.bad) {
                    stamps.skipped.push_back({{info.path, names[i], bad.number, bad.offset}, bad.reason});
                }
            }
        } catch (const detail::out_of_resources&) {
            throw;
        } catch (const error& failure) {
            for (std::size_t i = 0; i < present.size(); ++i) {
                result[present[i]].skipped.push_back({{info.path, names[i], {}, {}}, failure.reason()});
            }
        }
        if (progress) {
            progress(file + 1, files().size());
        }
    }
    return result;
}

std::optional<time_point> data_set::first_time() const noexcept
{
    return files_->sequence().first_time();
}

std::optional<time_point> data_set::last_time() const noexcept
{
    return files_->sequence().last_time();
}

} // namespace trox
