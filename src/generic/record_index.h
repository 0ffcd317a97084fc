// Look-up tables of a channel's complete records, made once so that finding an event costs O(log n), and O(1) when
// events are taken in order.
#ifndef TROX_GENERIC_RECORD_INDEX_H
#define TROX_GENERIC_RECORD_INDEX_H

#include "event.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

namespace trox_detail
{

inline constexpr std::uint64_t us_per_second = 1000000;

constexpr std::uint64_t microseconds(const time_stamp& time) noexcept
{
    return time.timeup * us_per_second + time.timelow;
}

/// Event numbers and times of complete records. Numbers (times) are kept only where they ascend strictly, so that
/// a binary search and a look at the neighbours answer what a scan over all records would. Not thread-safe.
template <class Generation> class record_index
{
public:
    using entry = typename Generation::channel_entry;
    using event_number = typename Generation::event_number;

    /// `undecoded`: the number that stands for none; none when every number counts.
    record_index(const entry* records, int total, std::optional<event_number> undecoded)
    {
        collect_numbers(records, static_cast<std::size_t>(total), undecoded);
        collect_times(records, static_cast<std::size_t>(total));
    }

    /// True when `find_number` answers like the scans for this number: ascending numbers, and no difference
    /// that a signed comparison would take for negative.
    bool knows_number(event_number id) const noexcept
    {
        return !numbers_.empty() && is_signed_distance(std::min(id, first_number_), std::max(id, last_number_));
    }

    /// The record with this number, else for PREV the one below (number 0 does not count), for NEXT the one
    /// above; -1 for none. `hint` is where the last search ended, or -1.
    int find_number(event_number id, int type, int hint) const noexcept
    {
        const std::size_t at = lower_bound(numbers_, id, hint);
        if (at < numbers_.size() && numbers_[at] == id) {
            return static_cast<int>(at);
        }
        if (type == TROX_DAQ_READ_CHAN_EVENT_NEXT) {
            return at < numbers_.size() ? static_cast<int>(at) : -1;
        }
        if (type == TROX_DAQ_READ_CHAN_EVENT_PREV && at > 0 && numbers_[at - 1] != 0) {
            return static_cast<int>(at - 1);
        }
        return -1;
    }

    /// True when the numbers ascend strictly, and all are there.
    bool numbers_ascend() const noexcept
    {
        return !numbers_.empty();
    }

    /// True when `find_time` answers like the scans.
    bool knows_times() const noexcept
    {
        return !times_.empty();
    }

    /// The record within `tolerance_us` of a time, the one that a binary search meets first; else the nearest
    /// before (PREV) or behind (NEXT); -1 for none.
    int find_time(const time_stamp& time, int type, double tolerance_us) noexcept
    {
        const std::uint64_t wanted = microseconds(time);
        const auto within = [&](std::size_t i) {
            const std::uint64_t distance = wanted > times_[i] ? wanted - times_[i] : times_[i] - wanted;
            return static_cast<double>(distance) <= tolerance_us;
        };
        // With records further apart than two tolerances only one can match: any search finds the same.
        if (static_cast<double>(smallest_gap_) > 2 * tolerance_us) {
            for (std::size_t i = time_hint_ > 0 ? time_hint_ - 1 : 0; i < times_.size() && i <= time_hint_ + 1; ++i) {
                if (within(i)) {
                    time_hint_ = i;
                    return static_cast<int>(i);
                }
            }
        }
        std::size_t low = 0;
        std::size_t high = times_.size();
        while (low < high) {
            const std::size_t middle = (low + high - 1) / 2; // as a search over both ends included halves
            if (within(middle)) {
                time_hint_ = middle;
                return static_cast<int>(middle);
            }
            if (wanted < times_[middle]) {
                high = middle;
            } else {
                low = middle + 1;
            }
        }
        if (type == TROX_DAQ_READ_CHAN_EVENT_NEXT) {
            return low < times_.size() ? static_cast<int>(low) : -1;
        }
        return type == TROX_DAQ_READ_CHAN_EVENT_PREV ? static_cast<int>(low) - 1 : -1;
    }

private:
    static bool is_signed_distance(event_number low, event_number high) noexcept
    {
        constexpr auto longest =
            static_cast<event_number>(std::numeric_limits<std::make_signed_t<event_number>>::max());
        return high - low <= longest;
    }

    /// First position whose value is not below `wanted`; looks near `hint` first.
    template <class T> static std::size_t lower_bound(const std::vector<T>& values, T wanted, int hint) noexcept
    {
        if (hint >= 0) {
            const auto near = static_cast<std::size_t>(hint);
            const std::size_t end = std::min(near + 3, values.size());
            if (near < end && values[near] < wanted && values[end - 1] >= wanted) {
                return static_cast<std::size_t>(
                    std::lower_bound(values.begin() + hint, values.begin() + static_cast<long>(end), wanted) -
                    values.begin());
            }
            if (near < end && values[near] == wanted) {
                return near;
            }
        }
        return static_cast<std::size_t>(std::lower_bound(values.begin(), values.end(), wanted) - values.begin());
    }

    void collect_numbers(const entry* records, std::size_t total, std::optional<event_number> undecoded)
    {
        numbers_.reserve(total);
        for (std::size_t i = 0; i < total; ++i) {
            const event_number number = records[i].event_id.event_number;
            if (number == undecoded || (i > 0 && number <= numbers_.back())) {
                numbers_.clear();
                return;
            }
            numbers_.push_back(number);
        }
        first_number_ = total > 0 ? numbers_.front() : 0;
        last_number_ = total > 0 ? numbers_.back() : 0;
    }

    void collect_times(const entry* records, std::size_t total)
    {
        times_.reserve(total);
        for (std::size_t i = 0; i < total; ++i) {
            const time_stamp& stamp = records[i].event_id.time;
            const std::uint64_t time = microseconds(stamp);
            if (stamp.timeup == 0 || stamp.timelow >= us_per_second || (i > 0 && time <= times_.back())) {
                times_.clear();
                return;
            }
            if (i > 0) {
                smallest_gap_ = std::min(smallest_gap_, time - times_.back());
            }
            times_.push_back(time);
        }
    }

    std::vector<event_number> numbers_;
    event_number first_number_ = 0; // here too: the ends of a long table are seldom in the cache
    event_number last_number_ = 0;
    std::vector<std::uint64_t> times_;
    std::uint64_t smallest_gap_ = std::numeric_limits<std::uint64_t>::max();
    std::size_t time_hint_ = 0;
};

} // namespace trox_detail

#endif
