#include "trox/event_source.h"

#include "trox/stretches.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace trox::detail
{

namespace
{

constexpr std::size_t most_notes = 1000;
constexpr std::size_t farthest_horizon = 4096; // events
constexpr std::chrono::seconds longest_step{std::numeric_limits<std::uint32_t>::max()};

const selection& checked(const selection& what)
{
    const synchronisation& match = what.match;
    if (match.number_step == 0 || match.time_step <= microseconds(0)) {
        throw error(fault::wrong_use, "the distance of events must be above 0");
    }
    if (match.tolerance < microseconds(0)) {
        throw error(fault::wrong_use, "the tolerance must not be negative");
    }
    if (match.time_step > longest_step) {
        throw error(fault::wrong_use, "the distance of events in time is longer than times reach");
    }
    // A step would find the event that it comes from.
    if (match.how == synchronisation::mode::by_time && match.tolerance >= match.time_step) {
        throw error(fault::wrong_use, "the tolerance must be smaller than the distance of events");
    }
    return what;
}

std::vector<std::size_t> chosen_channels(const data_set& data, const selection& what)
{
    std::vector<std::size_t> channels;
    if (what.channels.empty()) {
        channels.resize(data.channels().size());
        std::iota(channels.begin(), channels.end(), std::size_t{0});
    } else {
        channels = match_channels(data, what.channels);
    }
    if (channels.empty()) {
        throw error(fault::not_found, "no channel is selected");
    }
    return channels;
}

/// Whether events of a type lie in a range, so far as bounds tell. Those of the first and last event do not count: they
/// need not have the lowest and the highest number.
bool is_in_range(const event_type_info& type, const event_range& range)
{
    return type.count > 0 && (!range.begin || type.latest >= *range.begin) &&
           (!range.end || type.earliest < *range.end) &&
           (!range.first_number || type.highest_number >= *range.first_number) &&
           (!range.end_number || type.lowest_number < *range.end_number);
}

/// Whether events of two types may be the same. Number 0 is matched by time.
bool may_share_events(const event_type_info& a, const event_type_info& b, const selection& what)
{
    const synchronisation& match = what.match;
    const bool by_time = match.how == synchronisation::mode::by_time || a.lowest_number == 0 || b.lowest_number == 0;
    if (by_time && a.earliest - match.tolerance <= b.latest && b.earliest - match.tolerance <= a.latest) {
        return true;
    }
    const event_range numbers{what.range.first_number, what.range.end_number, {}, {}};
    return match.how == synchronisation::mode::by_number && is_in_range(a, numbers) &&
           a.lowest_number <= b.highest_number && b.lowest_number <= a.highest_number;
}

/// The files with events in the range, and those that may have further records of such events.
std::vector<bool> files_in_range(const data_set& data, const selection& what)
{
    const std::vector<file_info>& files = data.files();
    const file_sequence& sequence = data.internals()->sequence();
    std::vector<std::size_t> inside;
    std::vector<bool> result(files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        result[i] = std::any_of(files[i].events.begin(), files[i].events.end(),
                                [&](const event_type_info& type) { return is_in_range(type, what.range); });
        if (result[i]) {
            inside.push_back(i);
        }
    }
    const auto touches = [&](std::size_t file, std::size_t other) {
        if (what.match.how == synchronisation::mode::by_number &&
            (sequence.begins_anew(file, other) || sequence.begins_anew(other, file))) {
            return false;
        }
        for (const event_type_info& a : files[file].events) {
            for (const event_type_info& b : files[other].events) {
                if (a.count > 0 && is_in_range(b, what.range) && may_share_events(a, b, what)) {
                    return true;
                }
            }
        }
        return false;
    };
    for (std::size_t i = 0; i < files.size(); ++i) {
        result[i] = result[i] ||
                    std::any_of(inside.begin(), inside.end(), [&](std::size_t other) { return touches(i, other); });
    }
    return result;
}

/// A neighbour found by time is checked against the numbers since 2010.
std::vector<bool> number_checks(const data_set& data)
{
    std::vector<bool> checks;
    for (const file_info& file : data.files()) {
        checks.push_back(file.format != generation::legacy);
    }
    return checks;
}

} // namespace

event_source::event_source(const data_set& data, const selection& what, const reading_options& options)
    : data_(data), what_(checked(what)), skips_(options.skip_bad_records), channels_(chosen_channels(data, what)),
      is_in_range_(files_in_range(data, what)), rows_(data.internals(), channels_), progress_(options.progress),
      index_(channels_.size(), number_checks(data), what_,
             {[this](std::size_t file, std::size_t channel) { return stretches(file, channel); },
              [this](std::size_t file, std::size_t channel) { return has(file, channel); },
              data.internals()->sequence()}),
      store_(channels_.size(), rows_, options.memory_budget, options.threads), wanted_(channels_.size())
{
    if (options.memory_budget == 0) {
        throw error(fault::wrong_use, "the memory budget must be above 0");
    }
    rows_.throw_failures(!skips_);
    for (const std::size_t channel : channels_) {
        is_slow_.push_back(has_slow_events_only(data_.channels()[channel].event_types));
        report_.channels.emplace_back().name = data_.channels()[channel].name;
    }
}

// --- finding events ----------------------------------------------------------------------------------------

bool event_source::has(std::size_t file, std::size_t channel) const
{
    return data_.internals()->has(file, channels_[channel]) && is_in_range_[file];
}

const std::vector<restart_point>& event_source::restarts(std::size_t file, const file_rows& rows)
{
    const auto known = restarts_.find(file);
    if (known != restarts_.end()) {
        return known->second;
    }
    const bool divides = what_.match.how == synchronisation::mode::by_number;
    const restart_rule rule = divides ? restart_rule::numbers_go_on : restart_rule::every_number;
    return restarts_.emplace(file, rows.restarts(rule)).first->second;
}

/// Puts the records among the bad ones whose event has nothing to be matched by.
void event_source::take_out_timeless(channel_column& column, const file_rows& rows, std::size_t channel) const
{
    const bool by_time = what_.match.how == synchronisation::mode::by_time;
    const auto is_timeless = [by_time](const indexed_record& record) {
        return record.event_id.time.timeup == 0 && (by_time || record.event_id.event_number == 0);
    };
    for (const indexed_record& record : column.records) {
        if (is_timeless(record)) {
            column.bad.push_back({rows.offset(channel, record.row), record.event_id.event_number,
                                  by_time ? "its event has no time" : "its event has neither a number nor a time"});
        }
    }
    column.records.erase(std::remove_if(column.records.begin(), column.records.end(), is_timeless),
                         column.records.end());
}

/// A channel's records in a file. Times go on where numbers begin anew: by time they are not divided.
std::vector<channel_column> event_source::stretches(std::size_t file, std::size_t channel)
{
    if (progress_ && file >= files_seen_) {
        files_seen_ = file + 1;
        progress_(files_seen_, data_.files().size());
    }
    if (!has(file, channel)) {
        return {};
    }
    const auto rows = rows_.rows(file);
    if (rows == nullptr) {
        return {};
    }
    channel_column column = rows->column(channel);
    take_out_timeless(column, *rows, channel);
    for (std::size_t& noted = noted_[{file, channel}]; noted < column.bad.size(); ++noted) {
        const bad_record& bad = column.bad[noted];
        note_bad_record(data_.files()[file].path, channel, bad.offset, bad.number, bad.why, bad.reason);
    }
    const std::vector<restart_point>& points = restarts(file, *rows);
    return what_.match.how == synchronisation::mode::by_number
               ? split(std::move(column), points)
               : std::vector<channel_column>{undivided(std::move(column), points)};
}

std::optional<std::size_t> event_source::find_number(std::uint64_t number)
{
    index_.complete();
    return index_.find_number(number);
}

std::optional<std::size_t> event_source::find_time(time_point time)
{
    index_.complete();
    return index_.find_time(time);
}

std::size_t event_source::count()
{
    index_.complete();
    return index_.events().size();
}

// --- delivering ---------------------------------------------------------------------------------------

std::optional<event> event_source::forward_from(std::size_t index)
{
    for (; index_.reach(index); ++index) {
        // The index runs ahead, so that the store knows what follows: the farther the longer one goes on.
        index_.look_ahead(index + horizon_);
        horizon_ = std::min(horizon_ * 2, farthest_horizon);
        if (auto found = deliver(index, true)) {
            return found;
        }
    }
    return std::nullopt;
}

std::optional<event> event_source::backward_from(std::size_t index)
{
    for (std::size_t left = index + 1; left > 0; --left) {
        if (auto found = deliver(left - 1, false)) {
            return found;
        }
    }
    return std::nullopt;
}

std::optional<event> event_source::at(std::size_t index)
{
    return deliver(index, true);
}

/// Adds the channel and the event of a record to the error of a file.
template <class Call> auto event_source::at_place(std::size_t channel, std::size_t at, Call call) -> decltype(call())
try {
    return call();
} catch (const error& failure) {
    const place& where = failure.where();
    if (!where.channel.empty()) {
        throw;
    }
    throw error(failure.why(), failure.reason(),
                {where.file, data_.channels()[channels_[channel]].name,
                 index_.events()[index_.records(channel)[at].event].number, where.offset});
}

/// Finds out which records the event needs, and has them decoded. None is held until all are, so that they have to find
/// room beside nothing but each other.
void event_source::want(std::size_t index, bool forward)
{
    store_.begin_event();
    forward_ = forward;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        wanted_record& wanted = wanted_[i];
        wanted.position = index_.position(i, index);
        wanted.is_exact = wanted.position && index_.records(i)[*wanted.position].event == index;
        if (wanted.position && !wanted.is_exact && !index_.has_slow_value(i, index)) {
            wanted.position.reset();
        }
        if (wanted.position) {
            at_place(i, *wanted.position, [&] { store_.request(i, index_.records(i), *wanted.position, forward); });
        }
    }
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        take(wanted_[i], i);
    }
}

/// The record, or an earlier slow value in its place when it is damaged.
std::shared_ptr<const decoded_record> event_source::take(wanted_record& wanted, std::size_t channel)
{
    const auto& records = index_.records(channel);
    while (wanted.position) {
        const std::size_t at = *wanted.position;
        record_failure failure;
        auto record = at_place(channel, at, [&] { return store_.wait(channel, records, at, forward_, failure); });
        if (record != nullptr) {
            return record;
        }
        at_place(channel, at, [&] { refuse_or_note(channel, at, failure); });
        wanted.is_exact = false;
        wanted.position.reset();
        if (at > 0 && index_.has_slow_value(channel, records[at - 1].event)) {
            wanted.position = at - 1;
            at_place(channel, at - 1, [&] { store_.request(channel, records, at - 1, false); });
        }
    }
    return nullptr;
}

/// Notes a record that is not there, once, or throws.
void event_source::refuse_or_note(std::size_t channel, std::size_t at, const record_failure& failure)
{
    const bool is_known = known_bad_.count({channel, at}) != 0;
    if (is_known && skips_ && !failure.may_pass) {
        return;
    }
    const record_place& bad = index_.records(channel)[at];
    const auto rows = rows_.rows(bad.file);
    const std::string& file = data_.files()[bad.file].path;
    const auto offset = rows == nullptr ? std::nullopt : std::optional<std::uint64_t>(rows->offset(channel, bad.row));
    const std::uint64_t number = index_.events()[bad.event].number;
    if (failure.may_pass) {
        throw error(failure.why(), failure.reason(), {file, data_.channels()[channels_[channel]].name, number, offset});
    }
    const auto known = known_bad_.emplace(channel, at).first;
    try {
        note_bad_record(file, channel, offset, number, failure.why(), failure.reason());
    } catch (...) {
        known_bad_.erase(known);
        throw;
    }
}

void event_source::note_bad_record(const std::string& file, std::size_t channel, std::optional<std::uint64_t> offset,
                                   std::optional<std::uint64_t> number, fault why, const std::string& reason)
{
    place where{file, data_.channels()[channels_[channel]].name, number, offset};
    if (!skips_) {
        throw error(why, reason, std::move(where));
    }
    if (report_.skipped_records.size() < most_notes) {
        report_.skipped_records.push_back({std::move(where), reason});
    }
    ++report_.channels[channel].skipped;
}

std::optional<event> event_source::deliver(std::size_t index, bool forward)
{
    want(index, forward);
    event found;
    found.records_.resize(channels_.size());
    found.number_ = index_.events()[index].number;
    found.time_ = index_.events()[index].time;
    bool has_record = false;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        if (auto decoded = take(wanted_[i], i)) {
            found.records_[i] = record(std::move(decoded), i, wanted_[i].is_exact);
            has_record = has_record || wanted_[i].is_exact;
        }
    }
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        if (wanted_[i].position) {
            store_.prefetch(i, index_.records(i), *wanted_[i].position, forward);
        }
    }
    if (!has_record || !lets_pass(found, index)) {
        ++report_.dropped;
        return std::nullopt;
    }
    count_event(found);
    position_ = index;
    return found;
}

/// Whether an event is delivered although channels may be missing in it.
bool event_source::lets_pass(const event& found, std::size_t index)
{
    if (what_.missing == on_missing::keep) {
        return true;
    }
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        if (found.records_[i] || is_slow_[i]) {
            continue;
        }
        if (what_.missing == on_missing::fail) {
            const auto other = std::find_if(found.records_.begin(), found.records_.end(),
                                            [](const record& there) { return there && there.is_updated(); });
            throw error(fault::missing_channel, "has no record",
                        {other == found.records_.end() ? std::string() : std::string(other->file()),
                         data_.channels()[channels_[i]].name,
                         index_.events()[index].number,
                         {}});
        }
        return false;
    }
    return true;
}

void event_source::count_event(const event& found)
{
    ++report_.events;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        channel_report& channel = report_.channels[i];
        const record& record = found.records_[i];
        if (!record) {
            ++channel.missing;
        } else if (!record.is_updated()) {
            ++channel.carried;
        } else {
            ++channel.present;
            const auto residual =
                record.time() < found.time_ ? found.time_ - record.time() : record.time() - found.time_;
            channel.largest_residual = std::max(channel.largest_residual, residual);
            report_.largest_residual = std::max(report_.largest_residual, residual);
        }
    }
}

const reading_report& event_source::report()
{
    report_.skipped_files = data_.skipped_files();
    const auto failures = rows_.failures();
    report_.skipped_files.insert(report_.skipped_files.end(), failures.begin(), failures.end());
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        report_.channels[i].unmatched = index_.unmatched(i);
    }
    return report_;
}

} // namespace trox::detail
