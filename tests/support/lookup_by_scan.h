// The look-ups as plain scans over all records: what any faster way must agree with.
#ifndef TROX_TEST_LOOKUP_BY_SCAN_H
#define TROX_TEST_LOOKUP_BY_SCAN_H

#include "event.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <vector>

namespace trox_test
{

/// Index of the record with a number, else of the nearest below (PREV) or above (NEXT); -1 for none. All numbers
/// are of decoded records.
template <class Number> int number_by_scan(const std::vector<Number>& numbers, Number id, int type)
{
    // A binary search that assumes ascending order comes first: among equal numbers it decides.
    for (int low = 0, high = static_cast<int>(numbers.size()) - 1; low <= high;) {
        const int middle = (low + high) / 2;
        const Number number = numbers[static_cast<std::size_t>(middle)];
        if (number == id) {
            return middle;
        }
        (id < number ? high : low) = id < number ? middle - 1 : middle + 1;
    }
    if (const auto same = std::find(numbers.begin(), numbers.end(), id); same != numbers.end()) {
        return static_cast<int>(same - numbers.begin());
    }
    std::optional<std::make_signed_t<Number>> smallest;
    int found = -1;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const bool is_candidate = type == TROX_DAQ_READ_CHAN_EVENT_PREV   ? numbers[i] != 0 && numbers[i] < id
                                  : type == TROX_DAQ_READ_CHAN_EVENT_NEXT ? numbers[i] > id
                                                                          : false;
        const Number distance = type == TROX_DAQ_READ_CHAN_EVENT_PREV ? id - numbers[i] : numbers[i] - id;
        const auto as_signed = static_cast<std::make_signed_t<Number>>(distance);
        if (is_candidate && (!smallest || as_signed < *smallest)) {
            smallest = as_signed;
            found = static_cast<int>(i);
        }
    }
    return found;
}

inline double in_microseconds(const time_stamp& time)
{
    return time.timeup * 1e6 + time.timelow;
}

/// Index of the record at a time, within the tolerance; else of the nearest before (PREV) or behind (NEXT); -1 for
/// none.
inline int time_by_scan(const std::vector<time_stamp>& times, const time_stamp& wanted, int type, double tolerance)
{
    const auto ahead = [&](std::size_t i) { return in_microseconds(wanted) - in_microseconds(times[i]); };
    const auto within = [&](std::size_t i) { return std::fabs(ahead(i)) <= tolerance; };
    for (int low = 0, high = static_cast<int>(times.size()) - 1; low <= high;) {
        const int middle = (low + high) / 2;
        const auto at = static_cast<std::size_t>(middle);
        if (within(at)) {
            return middle;
        }
        if (ahead(at) > 0 && times[at].timeup == 0) {
            return -1;
        }
        (ahead(at) < 0 ? high : low) = ahead(at) < 0 ? middle - 1 : middle + 1;
    }
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (times[i].timeup == 0) {
            return -1;
        }
        if (within(i)) {
            return static_cast<int>(i);
        }
    }
    int found = -1;
    double smallest = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const bool is_candidate = type == TROX_DAQ_READ_CHAN_EVENT_NEXT   ? ahead(i) < 0
                                  : type == TROX_DAQ_READ_CHAN_EVENT_PREV ? ahead(i) > 0
                                                                          : false;
        if (is_candidate && (smallest == 0 || std::fabs(ahead(i)) < smallest)) {
            smallest = std::fabs(ahead(i));
            found = static_cast<int>(i);
        }
    }
    return found;
}

} // namespace trox_test

#endif
