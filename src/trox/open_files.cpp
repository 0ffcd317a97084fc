#include "trox/open_files.h"

#include "event_util.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace trox::detail
{
namespace
{

/// When a file begins: its first event that is no slow one, else its first; none without a time.
std::optional<time_point> begin_of(const file_info& file)
{
    std::optional<time_point> fast;
    std::optional<time_point> slow;
    for (const event_type_info& type : file.events) {
        if (type.count > 0 && type.first_time > time_point{}) {
            std::optional<time_point>& first = is_slow_event(type.type) ? slow : fast;
            first = first ? std::min(*first, type.first_time) : type.first_time;
        }
    }
    return fast ? fast : slow;
}

/// Files in the order of their names, put into the order of their events. One without a time stays behind the file
/// that its name puts it behind.
void sort_by_time(std::vector<file_contents>& files)
{
    std::vector<std::pair<time_point, std::size_t>> order;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const time_point before = order.empty() ? time_point{} : order.back().first;
        order.emplace_back(begin_of(files[i].info).value_or(before), i);
    }
    std::sort(order.begin(), order.end());
    std::vector<file_contents> sorted;
    sorted.reserve(files.size());
    for (const auto& [time, index] : order) {
        sorted.push_back(std::move(files[index]));
    }
    files = std::move(sorted);
}

} // namespace

open_files::open_files(const std::vector<std::string>& paths, const open_options& options,
                       std::vector<skipped_file> skipped)
    : skipped_(std::move(skipped)), most_open_(options.most_open_files)
{
    if (most_open_ == 0) {
        throw error(fault::wrong_use, "at least one file must be allowed to be open");
    }
    if (paths.empty()) {
        throw error(fault::not_found, "no data files");
    }
    std::vector<std::string> ordered = paths;
    if (options.order == open_options::file_order::by_time) {
        sort_files(ordered);
    }
    std::vector<file_contents> files;
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        try {
            files.push_back(read_contents(ordered[i]));
        } catch (const out_of_resources&) {
            throw;
        } catch (const error& failure) {
            if (!options.skip_bad_files || paths.size() == 1) {
                throw;
            }
            skipped_.push_back({ordered[i], failure.reason()});
        }
        if (options.progress) {
            options.progress(i + 1, ordered.size());
        }
    }
    if (options.order == open_options::file_order::by_time) {
        sort_by_time(files);
    }
    std::vector<std::vector<type_bounds>> bounds;
    for (file_contents& file : files) {
        bounds.push_back(std::move(file.bounds));
        add(std::move(file));
    }
    sequence_ = file_sequence(bounds);
    if (files_.empty()) {
        const skipped_file& first = skipped_[skipped_.size() - paths.size()];
        throw error(fault::bad_file, "none of " + std::to_string(paths.size()) +
                                         " files can be read; the first: " + first.path + ": " + first.reason);
    }
}

void open_files::add(file_contents contents)
{
    std::unordered_map<std::string_view, const channel_info*> descriptions;
    for (const channel_info& description : contents.descriptions) {
        descriptions.emplace(description.name, &description);
    }
    std::vector<bool> has_records(channels_.size());
    for (const dictionary_channel& entry : contents.dictionary) {
        const auto [known, is_new] = by_name_.emplace(entry.name, channels_.size());
        if (is_new) {
            channels_.emplace_back().name = entry.name;
            has_records.push_back(false);
        }
        channel_info& channel = channels_[known->second];
        const auto description = descriptions.find(entry.name);
        if (description != descriptions.end() && channel.unit.empty() && channel.description.empty()) {
            const auto& text = *description->second;
            channel.unit = text.unit;
            channel.description = text.description;
            channel.property = text.property;
            channel.server = text.server;
            channel.subsystem = text.subsystem;
        }
        channel.event_types |= entry.event_types;
        channel.records += entry.count;
        channel.files += entry.count > 0 ? 1 : 0;
        has_records[known->second] = has_records[known->second] || entry.count > 0;
    }
    files_.push_back(std::move(contents.info));
    identities_.push_back(contents.identity);
    has_records_.push_back(std::move(has_records));
}

std::optional<std::size_t> open_files::find(std::string_view name) const
{
    const auto found = by_name_.find(std::string(name));
    return found == by_name_.end() ? std::nullopt : std::optional<std::size_t>(found->second);
}

void open_files::expect_channel(std::size_t channel) const
{
    if (channel >= channels_.size()) {
        throw error(fault::wrong_use, "there is no channel " + std::to_string(channel) + ", of " +
                                          std::to_string(channels_.size()) + " counted from 0");
    }
}

bool open_files::has(std::size_t file, std::size_t channel) const
{
    const auto& known = has_records_[file];
    return channel < known.size() && known[channel];
}

std::shared_ptr<const file_rows> open_files::load(std::size_t file, const std::vector<std::string>& channels) const
{
    return load_rows(files_[file].path, files_[file].format, identities_[file], channels);
}

row_cache::row_cache(std::shared_ptr<const open_files> files, std::vector<std::size_t> channels)
    : files_(std::move(files))
{
    for (const std::size_t channel : channels) {
        names_.push_back(files_->channels()[channel].name);
    }
}

std::shared_ptr<const file_rows> row_cache::rows(std::size_t file)
{
    const std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(recent_.begin(), recent_.end(), [file](const auto& entry) { return entry.first == file; });
    if (found != recent_.end()) {
        recent_.splice(recent_.begin(), recent_, found);
        return recent_.front().second;
    }
    if (failures_.count(file) != 0) {
        return nullptr;
    }
    if (auto held = take_again(file)) {
        return held;
    }
    make_room();
    try {
        load(file);
    } catch (const out_of_resources&) {
        throw;
    } catch (const error& failure) {
        if (throws_) {
            throw;
        }
        failures_.emplace(file, failure.reason());
        return nullptr;
    }
    return recent_.front().second;
}

bool row_cache::has_room_for(std::size_t file)
{
    const std::lock_guard lock(mutex_);
    const auto is_it = [file](const auto& entry) { return entry.first == file; };
    return open_now() < most_open() || std::any_of(recent_.begin(), recent_.end(), is_it) ||
           std::any_of(given_up_.begin(), given_up_.end(), is_it) ||
           std::any_of(recent_.begin(), recent_.end(),
                       [](const open_entry& one) { return one.second.use_count() == 1; });
}

/// A file that was given up while others held it, and still do: it becomes the first again.
std::shared_ptr<const file_rows> row_cache::take_again(std::size_t file)
{
    for (const auto& [other, held] : given_up_) {
        if (auto rows = other == file ? held.lock() : nullptr) {
            recent_.emplace_front(file, rows);
            return rows;
        }
    }
    return nullptr;
}

/// How many files are open; forgets those that are not any more, or are among the recent ones again.
std::size_t row_cache::open_now()
{
    const auto is_elsewhere = [this](const auto& held) {
        return held.second.expired() || std::any_of(recent_.begin(), recent_.end(),
                                                    [&](const open_entry& one) { return one.first == held.first; });
    };
    given_up_.erase(std::remove_if(given_up_.begin(), given_up_.end(), is_elsewhere), given_up_.end());
    return recent_.size() + given_up_.size();
}

/// Closes the file used least recently among those that nobody holds; false when there is none.
bool row_cache::close_one()
{
    const auto found = std::find_if(recent_.rbegin(), recent_.rend(),
                                    [](const open_entry& one) { return one.second.use_count() == 1; });
    if (found == recent_.rend()) {
        return false;
    }
    recent_.erase(std::prev(found.base()));
    return true;
}

bool row_cache::gets_relief() const
{
    return relief_ && relief_();
}

/// Room for one more file, as far as others do not hold on to theirs.
void row_cache::make_room()
{
    while (open_now() >= most_open() && (close_one() || gets_relief())) {
    }
    while (recent_.size() >= most_open()) {
        given_up_.emplace_back(recent_.back().first, recent_.back().second);
        recent_.pop_back();
    }
}

/// Puts a file in front. Where descriptors or memory are short, those of the other files are given up.
void row_cache::load(std::size_t file)
{
    for (;;) {
        try {
            recent_.emplace_front(file, files_->load(file, names_));
            return;
        } catch (const out_of_resources&) {
            if (!close_one() && !gets_relief()) {
                throw;
            }
        }
        while (close_one()) {
        }
    }
}

std::vector<skipped_file> row_cache::failures() const
{
    const std::lock_guard lock(mutex_);
    std::vector<skipped_file> result;
    for (const auto& [file, reason] : failures_) {
        result.push_back({files_->files()[file].path, reason});
    }
    std::sort(result.begin(), result.end(),
              [](const skipped_file& a, const skipped_file& b) { return a.path < b.path; });
    return result;
}

} // namespace trox::detail
