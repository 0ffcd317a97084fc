#include "trox/stretches.h"

#include "generic/record_index.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace trox::detail
{

namespace
{

/// Times in microseconds; of an event without one the time of the event before it, at the beginning of the one behind.
std::vector<std::uint64_t> times_of(std::vector<std::uint64_t> times)
{
    const auto first = std::find_if(times.begin(), times.end(), [](std::uint64_t time) { return time != 0; });
    std::uint64_t before = first == times.end() ? 0 : *first;
    for (std::uint64_t& time : times) {
        time = time == 0 ? before : time;
        before = time;
    }
    return times;
}

std::uint64_t time_of(const trox_time_id_2024& event)
{
    return event.time.timeup == 0 ? 0 : trox_detail::microseconds(event.time);
}

/// Index of the stretch to which a time belongs.
std::size_t stretch_of(std::uint64_t time, const std::vector<restart_point>& points)
{
    const auto behind =
        std::upper_bound(points.begin(), points.end(), time,
                         [](std::uint64_t wanted, const restart_point& point) { return wanted < point.time; });
    return static_cast<std::size_t>(behind - points.begin());
}

} // namespace

void restart_finder::add(const std::vector<trox_time_id_2024>& events)
{
    std::vector<std::uint64_t> stamps;
    stamps.reserve(events.size());
    for (const trox_time_id_2024& event : events) {
        stamps.push_back(time_of(event));
    }
    const std::vector<std::uint64_t> times = times_of(std::move(stamps));
    std::vector<std::pair<std::uint64_t, std::uint64_t>> order; // time, number
    order.reserve(events.size());
    for (std::size_t i = 0; i < events.size(); ++i) {
        order.emplace_back(times[i], events[i].event_number);
    }
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    // Number 0 says nothing, unless smaller numbers follow: then they begin with it.
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    std::optional<std::uint64_t> zero;
    for (const auto& [time, number] : order) {
        if (number == 0) {
            zero = zero.value_or(time);
            continue;
        }
        if (number < before) {
            intervals_.push_back({after, zero.value_or(time), zero.has_value()});
        }
        before = number;
        after = time;
        zero.reset();
    }
}

std::vector<restart_point> restart_finder::points() const
{
    std::vector<interval> ordered = intervals_;
    std::sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.until < b.until; });
    std::vector<restart_point> result;
    for (const interval& next : ordered) {
        if (result.empty() || result.back().time <= next.after) {
            result.push_back({next.until, next.from_zero});
        }
    }
    return result;
}

channel_column undivided(channel_column column, std::vector<restart_point> points)
{
    column.find_bounds();
    column.restarts = std::move(points);
    return column;
}

std::vector<channel_column> split(channel_column column, const std::vector<restart_point>& points)
{
    std::vector<channel_column> result(points.size() + 1);
    if (points.empty()) {
        result.front() = std::move(column);
    } else {
        std::vector<std::uint64_t> times;
        times.reserve(column.records.size());
        for (const indexed_record& record : column.records) {
            times.push_back(time_of(record.event_id));
        }
        times = times_of(std::move(times));
        for (std::size_t i = 0; i < times.size(); ++i) {
            result[stretch_of(times[i], points)].records.push_back(column.records[i]);
        }
        for (std::size_t i = 0; i < points.size(); ++i) {
            result[i + 1].begins_with_zero = points[i].from_zero;
        }
    }
    for (channel_column& stretch : result) {
        stretch.find_bounds();
    }
    return result;
}

bool channel_column::has_restart_between(std::size_t a, std::size_t b) const
{
    return !restarts.empty() &&
           stretch_of(time_of(records[a].event_id), restarts) != stretch_of(time_of(records[b].event_id), restarts);
}

void channel_column::find_bounds()
{
    lowest_number = 0;
    highest_number = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const trox_time_id_2024& event = records[i].event_id;
        const std::uint64_t time = trox_detail::microseconds(event.time);
        // An event without a time never becomes the first, but may start as it.
        if (i == 0 || (event.time.timeup != 0 && time < trox_detail::microseconds(first.time))) {
            first = event;
            first_at = i;
        }
        if (i == 0 || time > trox_detail::microseconds(last.time)) {
            last = event;
        }
        if (event.event_number != 0) {
            if (lowest_number == 0 || event.event_number < lowest_number) {
                lowest_number = event.event_number;
                lowest_at = i;
            }
            highest_number = std::max(highest_number, event.event_number);
        }
    }
}

} // namespace trox::detail
