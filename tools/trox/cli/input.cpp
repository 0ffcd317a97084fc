#include "input.h"

#include "coverage.h"
#include "errors.h"
#include "event_util.h"
#include "text.h"
#include "trox/error.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>

namespace trox_cli
{
namespace
{

constexpr const char* input_group = "Input";
constexpr const char* selection_group = "Selection";

/// Files of that ending; `failed` tells of a directory that cannot be read.
std::vector<std::string> files_in(const std::string& directory, const char* ending, std::error_code& failed)
{
    std::vector<std::string> files;
    for (std::filesystem::directory_iterator at(directory, failed), end; !failed && at != end; at.increment(failed)) {
        // What is no data file after all, and links that lead nowhere, are told of when they are opened.
        std::error_code ignored;
        if (at->path().extension() == ending && !at->is_directory(ignored)) {
            files.push_back(at->path().string());
        }
    }
    return files;
}

std::vector<std::string> paths_of(const trox::data_set& data)
{
    std::vector<std::string> paths;
    for (const auto& file : data.files()) {
        paths.push_back(file.path);
    }
    for (const auto& file : data.skipped_files()) {
        paths.push_back(file.path);
    }
    return paths;
}

std::vector<std::string> data_files_in(const std::string& directory)
{
    std::error_code failed;
    std::vector<std::string> files = files_in(directory, ".raw", failed);
    if (failed) {
        throw failure(directory + ": cannot be read: " + failed.message());
    }
    if (files.empty()) {
        throw failure(directory + ": holds no *.raw files");
    }
    ::sort_files(files);
    return files;
}

/// Event numbers, which may need all 64 bits.
void add_number(CLI::App& app, const std::string& names, std::optional<std::uint64_t>& target,
                const std::string& description)
{
    const auto take = [&target, names](const std::string& word) {
        target = number_from_text(word);
        if (!target) {
            throw CLI::ValidationError(names, "\"" + word + "\" is no event number");
        }
    };
    app.add_option_function<std::string>(names, take, description)->type_name("N")->group(selection_group);
}

/// A name that does not exist; throws what tells so.
[[noreturn]] void throw_unknown_channel(const trox::data_set& data, const std::string& name)
{
    throw failure("there is no channel \"" + name + "\"", did_you_mean(data.similar_names(name)));
}

/// Reads "FIRST:COUNT[:STEP]"; an empty count means all. Throws wrong_use.
trox::sample_window parse_slice(const std::string& text)
{
    const auto refuse = [&]() {
        throw wrong_use("\"" + text + "\" is no slice like 0:16, 100:50:2 or 512: (all from there on)");
    };
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == ':') {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    const auto number = [&](std::size_t part, std::size_t otherwise) {
        if (part >= parts.size() || parts[part].empty()) {
            return otherwise;
        }
        const auto value = number_from_text(parts[part]);
        if (!value) {
            refuse();
        }
        return static_cast<std::size_t>(*value);
    };
    const trox::sample_window window{number(0, 0), number(1, std::numeric_limits<std::size_t>::max()), number(2, 1)};
    if (parts.size() < 2 || parts.size() > 3 || window.step == 0) {
        refuse();
    }
    return window;
}

} // namespace

// --- places -------------------------------------------------------------------------------------------------

void place_options::declare(CLI::App& app)
{
    app.add_option("--catalogue", place_.catalogue, "Directory of the run catalogue")
        ->type_name(directory_value)
        ->group(input_group);
    add_repeated(app, "--data", place_.data, directory_value,
                 "Directory of data files, several in the order in which files are looked for (the catalogue's)")
        ->group(input_group);
    app.add_option("--experiment", place_.experiment, "Runs of this experiment only")
        ->type_name("NAME")
        ->group(input_group);
    app.add_option("--stream", place_.stream, "Runs of this stream only")->type_name("NAME")->group(input_group);
}

trox::run_place place_options::place(const context& context) const
{
    if (place_.catalogue.empty()) {
        throw wrong_use("--catalogue is missing", "the directory of the run catalogue");
    }
    trox::run_place where = place_;
    if (where.data.empty()) {
        where.data.push_back(where.catalogue);
    }
    std::error_code ignored; // whoever reads the catalogue tells of that
    context.keep_inputs(files_in(where.catalogue, ".xml", ignored));
    return where;
}

void place_options::refuse_beside_files() const
{
    const char* const given = !place_.catalogue.empty()    ? "--catalogue"
                              : !place_.data.empty()       ? "--data"
                              : !place_.experiment.empty() ? "--experiment"
                              : !place_.stream.empty()     ? "--stream"
                                                           : nullptr;
    if (given != nullptr) {
        throw wrong_use(std::string(given) + " tells where runs lie, and files are named as well", "name one of them");
    }
}

// --- files, runs, periods -----------------------------------------------------------------------------------

void data_source::declare_files(CLI::App& app)
{
    app.add_option("file", arguments_, "Data files of any generation, or directories of *.raw files")
        ->type_name(file_value);
    declare_places(app);
}

void data_source::declare_files_and_channels(CLI::App& app)
{
    takes_channels_ = true;
    app.add_option("file", arguments_,
                   "Data files of any generation, directories of *.raw files, and channels (see --channel); a word "
                   "that names no file, and does not end with \".raw\", is a channel")
        ->type_name("FILE|CHANNEL");
    declare_places(app);
    add_repeated(app, "-c,--channel", channels_, "CHANNEL",
                 "Name of a channel, glob (\"LINAC.RF/*\"), or regular expression behind \"re:\"; repeated for more "
                 "(all)")
        ->group(selection_group);
}

void data_source::declare_places(CLI::App& app)
{
    add_integer(app, "--run", run_, 0, INT32_MAX, "The files of a run of the catalogue")->group(input_group);
    where_.declare(app);
    add_time(app, "--from", begin_,
             "Begin in time; without files or --run, the catalogue's files from there on. Like 2012-06-14T09:30:00.25 "
             "(UTC), with an offset, or @SECONDS")
        ->group(selection_group);
    add_time(app, "--to", end_, "End in time; what happens then is not included")->group(selection_group);
}

void data_source::declare_event_range(CLI::App& app)
{
    limits_events_ = true;
    add_number(app, "--from-event", first_number_, "First event by number");
    add_number(app, "--to-event", end_number_, "End by event number, which is not included");
}

data_source::sorted_arguments data_source::sort_arguments() const
{
    sorted_arguments sorted;
    std::vector<std::string> words = first_arguments_;
    words.insert(words.end(), arguments_.begin(), arguments_.end());
    for (const auto& word : words) {
        std::error_code ignored;
        const bool is_file = !takes_channels_ || word.ends_with(".raw") || std::filesystem::exists(word, ignored);
        (is_file ? sorted.files : sorted.channels).push_back(word);
    }
    sorted.channels.insert(sorted.channels.end(), channels_.begin(), channels_.end());
    if (std::find(sorted.files.begin(), sorted.files.end(), "") != sorted.files.end()) {
        throw wrong_use("the name of a file is empty");
    }
    return sorted;
}

void data_source::put_argument_first(const std::string& word)
{
    first_arguments_.push_back(word);
}

bool data_source::has_files() const
{
    return !sort_arguments().files.empty();
}

void data_source::refuse_two_sources(const sorted_arguments& sorted) const
{
    if (!sorted.files.empty() && run_) {
        throw wrong_use("files and --run are two things to read", "name one of them");
    }
    if (!sorted.files.empty()) {
        where_.refuse_beside_files();
    }
    if (!limits_events_ && (begin_ || end_) && (!sorted.files.empty() || run_)) {
        throw wrong_use("--from and --to name a period, and files or a run are named as well", "name one of them");
    }
}

trox::data_set data_source::open_period(const context& context, const trox::open_options& how) const
{
    constexpr trox::time_point earliest{std::chrono::seconds(0)};
    constexpr trox::time_point latest{std::chrono::seconds(253402300799)}; // end of the year 9999
    return trox::data_set::open_period(where_.place(context), begin_.value_or(earliest), end_.value_or(latest), how);
}

trox::data_set data_source::open(context& context) const
{
    const sorted_arguments sorted = sort_arguments();
    refuse_two_sources(sorted);
    trox::open_options as_named;
    as_named.progress = context.follow_files("opening files");
    trox::open_options by_time = as_named;
    by_time.order = trox::open_options::file_order::by_time;
    const auto open = [&]() {
        if (!sorted.files.empty()) {
            const auto files = expand_directories(sorted.files);
            context.keep_inputs(files);
            return trox::data_set::open_files(files, by_time);
        }
        if (run_) {
            return trox::data_set::open_run(where_.place(context), *run_, as_named);
        }
        if (where_.is_given() && (begin_ || end_)) {
            return open_period(context, by_time);
        }
        if (!sorted.channels.empty() && channels_.empty()) {
            throw wrong_use("no file is named: \"" + sorted.channels.front() + "\" is none",
                            "a file, a directory, or --run N --catalogue DIR");
        }
        throw wrong_use("nothing to read is named",
                        "a file, a directory, --run N --catalogue DIR, or --from TIME --to TIME --catalogue DIR");
    };
    trox::data_set data = open();
    context.keep_inputs(paths_of(data));
    context.tell_losses(data.skipped_files());
    context.tell_problems(data.files());
    return data;
}

std::vector<std::string> data_source::files(const context& context) const
{
    const sorted_arguments sorted = sort_arguments();
    refuse_two_sources(sorted);
    if (!sorted.files.empty()) {
        const auto files = expand_directories(sorted.files);
        context.keep_inputs(files);
        return files;
    }
    std::vector<std::string> paths;
    if (run_) {
        trox::run_query query;
        query.first = run_;
        query.last = run_;
        for (const auto& found : trox::find_runs(where_.place(context), query)) {
            paths.insert(paths.end(), found.files.begin(), found.files.end());
        }
        if (paths.empty()) {
            throw failure("there is no run " + std::to_string(*run_) + " in the catalogue");
        }
    } else if (where_.is_given() && (begin_ || end_)) {
        trox::open_options by_time;
        by_time.order = trox::open_options::file_order::by_time;
        paths = paths_of(open_period(context, by_time));
    } else {
        throw wrong_use("nothing to read is named",
                        "a file, a directory, --run N --catalogue DIR, or --from TIME --to TIME --catalogue DIR");
    }
    context.keep_inputs(paths);
    return paths;
}

std::vector<std::string> expand_directories(const std::vector<std::string>& paths)
{
    std::vector<std::string> files;
    for (const auto& path : paths) {
        std::error_code ignored;
        if (std::filesystem::is_directory(path, ignored)) {
            const auto found = data_files_in(path);
            files.insert(files.end(), found.begin(), found.end());
        } else {
            files.push_back(path);
        }
    }
    return files;
}

// --- channels and events ------------------------------------------------------------------------------------

bool data_source::names_channels() const
{
    return !sort_arguments().channels.empty();
}

std::vector<std::size_t> data_source::channels(const trox::data_set& data) const
{
    const auto words = sort_arguments().channels;
    std::vector<trox::channel_pattern> patterns;
    for (const auto& word : words) {
        patterns.push_back(trox::pattern_from_text(word));
        if (patterns.back().kind == trox::channel_pattern::syntax::name && !data.find(word)) {
            throw_unknown_channel(data, word);
        }
        if (trox::match_channels(data, {patterns.back()}).empty()) {
            throw failure("no channel matches \"" + word + "\"");
        }
    }
    if (patterns.empty()) {
        patterns.push_back({"*", trox::channel_pattern::syntax::glob});
    }
    return trox::match_channels(data, patterns);
}

trox::event_range data_source::range() const
{
    trox::event_range range;
    range.first_number = first_number_;
    range.end_number = end_number_;
    range.begin = begin_;
    range.end = end_;
    return range;
}

trox::selection data_source::selection(const trox::data_set& data) const
{
    trox::selection selected;
    for (const std::size_t index : channels(data)) {
        selected.channels.push_back({data.channels()[index].name, trox::channel_pattern::syntax::name});
    }
    selected.range = range();
    return selected;
}

std::size_t require_channel(const trox::data_set& data, const std::string& name)
{
    const auto found = data.find(name);
    if (!found) {
        throw_unknown_channel(data, name);
    }
    return *found;
}

namespace
{

/// The median step of the fast channel that has the smallest; none without two records at different times.
std::optional<trox::microseconds> smallest_step(const trox::data_set& data, const trox::selection& selected,
                                                const trox::file_progress& progress)
{
    std::vector<std::size_t> fast;
    for (const std::size_t channel : trox::match_channels(data, selected.channels)) {
        if (has_fast_events(data.channels()[channel])) {
            fast.push_back(channel);
        }
    }
    std::optional<trox::microseconds> smallest;
    for (const trox::channel_stamps& stamps : data.stamps(fast, progress)) {
        const auto step = median_step(stamps.records);
        smallest = smallest && (!step || *smallest < *step) ? smallest : step;
    }
    return smallest;
}

} // namespace

void synchronisation_options::declare(CLI::App& app)
{
    const trox::synchronisation usual;
    // A flag, so that it takes a value only behind "=", and never swallows the next argument.
    by_time_ =
        app.add_flag("--by-time{" + duration_text(usual.tolerance) + "}", tolerance_,
                     "Match channels by time instead of by event number: records that lie no farther apart are of one "
                     "event (50ms, or half the distance of events when that is less)")
            ->type_name("TOLERANCE")
            ->group(selection_group);
    has_step_ = add_duration(app, "--step", step_,
                             "With --by-time, the distance of events: behind an event, the next one is looked for so "
                             "much later, less the tolerance (the smallest of the channels' median steps)");
    has_step_->group(selection_group);
    add_choice<trox::on_missing>(
        app, "--missing", missing_,
        {{"keep", trox::on_missing::keep}, {"drop", trox::on_missing::drop}, {"fail", trox::on_missing::fail}},
        "What becomes of an event in which a channel is missing: kept with a gap (the default), dropped, or an error")
        ->group(selection_group);
}

void synchronisation_options::apply(context& context, const trox::data_set& data, trox::selection& selection) const
{
    selection.missing = missing_;
    if (by_time_->count() == 0) {
        if (has_step_->count() != 0) {
            throw wrong_use("--step is for --by-time");
        }
        return;
    }
    selection.match.how = trox::synchronisation::mode::by_time;
    std::string text = tolerance_;
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end()); // "50 ms"
    const auto tolerance = duration_from_text(text);
    if (!tolerance || tolerance->count() < 0) {
        throw wrong_use("--by-time: \"" + tolerance_ + "\" is no duration like 300us, 50ms or 1.5s");
    }
    selection.match.tolerance = *tolerance;
    auto& step = selection.match.time_step;
    step = has_step_->count() != 0
               ? step_
               : smallest_step(data, selection, context.follow_files("reading tables")).value_or(step);
    if (*tolerance >= step && step.count() > 0) {
        if (tolerance_ != duration_text(trox::synchronisation().tolerance)) {
            throw wrong_use("--by-time: the tolerance must be smaller than the distance of events, " +
                                duration_text(step),
                            "a smaller tolerance, or --step");
        }
        selection.match.tolerance = step / 2;
    }
}

void add_slice(CLI::App& app, std::optional<trox::sample_window>& target, const std::string& description)
{
    const auto take = [&target](const std::string& text) {
        try {
            target = parse_slice(text);
        } catch (const failure& error) {
            throw CLI::ValidationError("--slice", error.what());
        }
    };
    app.add_option_function<std::string>("--slice", take, description)
        ->type_name("FIRST:COUNT[:STEP]")
        ->group("Selection");
}

} // namespace trox_cli
