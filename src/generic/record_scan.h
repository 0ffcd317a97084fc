// Finding records by event number and by time among records that may be unordered or incomplete: the rules that every
// faster search has to answer like.
#ifndef TROX_GENERIC_RECORD_SCAN_H
#define TROX_GENERIC_RECORD_SCAN_H

#include "event_util.h"

#include <cstdint>
#include <type_traits>

namespace trox_detail
{

/// Answers of the scans other than the index of a record.
inline constexpr int scan_found_nothing = -1;
inline constexpr int scan_met_end = -2; ///< the scan met a record that is not decoded yet

/// The record with the smallest difference below (PREV) or above (NEXT) a number, -1 for none. Differences compare
/// as signed numbers; the first of equal ones wins.
template <class Entry, class Number> int nearest_by_number(const Entry* records, int total, Number id, int type)
{
    using difference = std::make_signed_t<Number>;
    int best = scan_found_nothing;
    difference smallest = 0;
    for (int i = 0; i < total; ++i) {
        const Number number = records[i].event_id.event_number;
        const bool below = type == TROX_DAQ_READ_CHAN_EVENT_PREV && number != 0 && number < id;
        const bool above = type == TROX_DAQ_READ_CHAN_EVENT_NEXT && number > id;
        if (!below && !above) {
            continue;
        }
        const auto distance = static_cast<difference>(below ? id - number : number - id);
        if (best < 0 || distance < smallest) {
            best = i;
            smallest = distance;
        }
    }
    return best;
}

/// A binary search that trusts the records' order: a record with this number when it meets one, else -1.
template <class Entry, class Number> int search_by_number(const Entry* records, int total, Number id)
{
    int low = 0;
    int high = total - 1;
    while (low <= high) {
        const int middle = low + (high - low) / 2;
        const Number number = records[middle].event_id.event_number;
        if (number == id) {
            return middle;
        }
        if (id < number) {
            high = middle - 1;
        } else {
            low = middle + 1;
        }
    }
    return scan_found_nothing;
}

/// That search, then a scan, then the nearest in the direction asked for. Number `undecoded` stands in records that are
/// not decoded yet.
template <class Entry, class Number>
int scan_by_number(const Entry* records, int total, Number id, int type, Number undecoded)
{
    const int met = id == undecoded ? scan_found_nothing : search_by_number(records, total, id);
    if (met >= 0) {
        return met;
    }
    for (int i = 0; i < total; ++i) {
        const Number number = records[i].event_id.event_number;
        if (number == undecoded) {
            return scan_met_end;
        }
        if (number == id) {
            return i;
        }
    }
    return nearest_by_number(records, total, id, type);
}

/// The nearest record before (PREV) or behind (NEXT) a time, farther than the tolerance.
template <class Entry>
int nearest_by_time(const Entry* records, int total, const time_stamp& time, int type, double tolerance_us)
{
    const int wanted = type == TROX_DAQ_READ_CHAN_EVENT_NEXT ? -1 : type == TROX_DAQ_READ_CHAN_EVENT_PREV ? 1 : 0;
    int best = scan_found_nothing;
    double smallest = 0.0; // 0 counts as "none yet"
    for (int i = 0; wanted != 0 && i < total; ++i) {
        int sign = 0;
        double distance = 0.0;
        trox_time_stamp_eq(&time, &records[i].event_id.time, tolerance_us, &sign, &distance);
        if (sign == wanted && (smallest == 0.0 || distance < smallest)) {
            best = i;
            smallest = distance;
        }
    }
    return best;
}

/// As `scan_by_number`; a record without a time ends the search.
template <class Entry>
int scan_by_time(const Entry* records, int total, const time_stamp& wanted, int type, double tolerance_us)
{
    int low = 0;
    int high = total - 1;
    int sign = 0;
    while (low <= high) {
        const int middle = low + (high - low) / 2;
        const time_stamp& time = records[middle].event_id.time;
        if (trox_time_stamp_eq(&wanted, &time)) {
            return middle;
        }
        trox_time_stamp_eq(&wanted, &time, tolerance_us, &sign, nullptr);
        if (sign == 0) {
            return middle;
        }
        if (sign < 0) {
            high = middle - 1;
        } else if (time.timeup == 0) {
            return scan_found_nothing;
        } else {
            low = middle + 1;
        }
    }
    for (int i = 0; i < total; ++i) {
        const time_stamp& time = records[i].event_id.time;
        if (time.timeup == 0) {
            return scan_found_nothing;
        }
        if (trox_time_stamp_eq(&wanted, &time, tolerance_us, nullptr, nullptr)) {
            return i;
        }
    }
    return nearest_by_time(records, total, wanted, type, tolerance_us);
}

} // namespace trox_detail

#endif
