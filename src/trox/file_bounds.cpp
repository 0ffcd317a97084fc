#include "trox/file_bounds.h"

#include "event_util.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace trox::detail
{

void event_bounds::add(const event_bounds& other)
{
    if (other.lowest == 0) {
        return;
    }
    const bool is_first = lowest == 0;
    lowest = is_first ? other.lowest : std::min(lowest, other.lowest);
    highest = std::max(highest, other.highest);
    earliest = is_first ? other.earliest : std::min(earliest, other.earliest);
    latest = std::max(latest, other.latest);
}

void type_bounds::add(std::uint64_t number, time_point time)
{
    if (time == time_point{}) {
        return;
    }
    earliest = earliest == time_point{} ? time : std::min(earliest, time);
    latest = std::max(latest, time);
    events.add({number, number, time, time});
}

namespace
{

/// The highest number until each time.
class highest_until
{
public:
    void add(time_point time, std::uint64_t number)
    {
        if (at(time) >= number) {
            return;
        }
        auto behind = steps_.insert_or_assign(time, number).first;
        for (++behind; behind != steps_.end() && behind->second <= number;) {
            behind = steps_.erase(behind);
        }
    }
    std::uint64_t at(time_point time) const
    {
        const auto behind = steps_.upper_bound(time);
        return behind == steps_.begin() ? 0 : std::prev(behind)->second;
    }

private:
    std::map<time_point, std::uint64_t> steps_; // numbers ascend
};

} // namespace

file_sequence::file_sequence(const std::vector<std::vector<type_bounds>>& files)
{
    highest_until highest;
    for (const std::vector<type_bounds>& types : files) {
        known_file& next = files_.emplace_back();
        next.types = types;
        next.counts_slow = std::none_of(types.begin(), types.end(), [](const type_bounds& type) {
            return !is_slow_event(type.type) && type.events.lowest != 0;
        });
        std::uint64_t highest_of_all = 0;
        for (const type_bounds& type : types) {
            highest_of_all = std::max(highest_of_all, type.events.highest);
            if (type.earliest != time_point{}) {
                first_time_ = std::min(first_time_.value_or(type.earliest), type.earliest);
                last_time_ = std::max(last_time_.value_or(type.latest), type.latest);
            }
            if (next.counts_slow || !is_slow_event(type.type)) {
                next.counted.add(type.events);
            }
        }
        if (next.counted.lowest != 0) {
            next.may_begin_anew = highest.at(next.counted.earliest) > next.counted.lowest;
            highest.add(next.counted.latest, highest_of_all);
        }
    }
}

bool file_sequence::begins_anew(std::size_t file, std::size_t earlier) const
{
    const auto& later = files_[file];
    const auto& before = files_[earlier];
    if (!later.may_begin_anew || earlier >= file || before.counted.lowest == 0 ||
        before.counted.latest > later.counted.earliest) {
        return false;
    }
    bool has_common = false;
    for (const type_bounds& type : later.types) {
        if (!later.counts_slow && is_slow_event(type.type)) {
            continue;
        }
        const auto same = std::find_if(before.types.begin(), before.types.end(), [&](const type_bounds& other) {
            return other.type == type.type && other.events.lowest != 0 && type.events.lowest != 0;
        });
        if (same != before.types.end()) {
            has_common = true;
            if (same->events.highest > type.events.lowest) {
                return true;
            }
        }
    }
    return !has_common && before.counted.highest > later.counted.lowest;
}

} // namespace trox::detail
