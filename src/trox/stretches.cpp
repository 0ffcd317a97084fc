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

/// A number with its time, and where numbers would begin with it.
struct timed_number {
    std::uint64_t time = 0;
    std::uint64_t number = 0;
    std::uint64_t begin = 0;
    bool begin_is_zero = false;
};

/// Number 0 says nothing, unless smaller numbers follow: then they begin with it.
void take_zeros_out(std::vector<timed_number>& order)
{
    std::optional<std::uint64_t> zero;
    for (timed_number& next : order) {
        if (next.number == 0) {
            zero = zero.value_or(next.time);
            continue;
        }
        next.begin = zero.value_or(next.time);
        next.begin_is_zero = zero.has_value();
        zero.reset();
    }
    order.erase(std::remove_if(order.begin(), order.end(), [](const timed_number& next) { return next.number == 0; }),
                order.end());
}

constexpr std::size_t slow_numbers_behind = 3;

} // namespace

void restart_finder::add(const std::vector<trox_time_id_2024>& events, bool is_slow)
{
    std::vector<std::uint64_t> stamps;
    stamps.reserve(events.size());
    for (const trox_time_id_2024& event : events) {
        stamps.push_back(time_of(event));
    }
    const std::vector<std::uint64_t> times = times_of(std::move(stamps));
    std::vector<timed_number> order;
    order.reserve(events.size());
    for (std::size_t i = 0; i < events.size(); ++i) {
        order.push_back({times[i], events[i].event_number, times[i]});
    }
    std::stable_sort(order.begin(), order.end(),
                     [](const timed_number& a, const timed_number& b) { return a.time < b.time; });
    take_zeros_out(order);
    const std::size_t needed = is_slow ? slow_numbers_behind : 1;
    const timed_number* before = nullptr;
    for (std::size_t i = 0; i < order.size(); ++i) {
        const timed_number& next = order[i];
        if (before != nullptr && next.number < before->number) {
            const auto first = order.begin() + static_cast<std::ptrdiff_t>(i) + 1;
            const auto last = first + static_cast<std::ptrdiff_t>(std::min(needed, order.size() - i - 1));
            const bool is_enough = !is_slow || last - first == static_cast<std::ptrdiff_t>(needed);
            const bool goes_on = is_enough && std::all_of(first, last, [&](const timed_number& one) {
                                     return one.number < before->number;
                                 });
            if (rule_ == restart_rule::numbers_go_on && !goes_on) {
                continue;
            }
            intervals_.push_back({before->time, next.begin, next.begin_is_zero});
        }
        before = &next;
    }
}

std::vector<restart_point> restart_finder::points() const
{
    std::vector<interval> ordered = intervals_;
    std::sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.until < b.until; });
    std::vector<restart_point> result;
    for (const interval& next : ordered) {
        if (result.empty() || (result.back().time <= next.after && result.back().time < next.until)) {
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
