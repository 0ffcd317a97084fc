// The numbers of records in any order, sorted once, so that finding one costs O(log n).
#ifndef TROX_TROX_NUMBER_ORDER_H
#define TROX_TROX_NUMBER_ORDER_H

#include "generic/record_scan.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace trox::detail
{

/// Answers like `trox_detail::scan_by_number`, except that all records are there, so that no number stands for a
/// missing one, and that distances are compared as they are, however large. Borrows the records.
template <class Record> class number_order
{
public:
    number_order(const Record* records, std::size_t total) : records_(records), order_(total)
    {
        for (std::size_t i = 0; i < order_.size(); ++i) {
            order_[i] = static_cast<std::uint32_t>(i);
        }
        std::sort(order_.begin(), order_.end(), [this](std::uint32_t a, std::uint32_t b) {
            return number(a) != number(b) ? number(a) < number(b) : a < b;
        });
    }

    /// The record with this number: of several the one that a binary search over the records meets, else the first.
    /// Without one the first record of the next lower number (PREV; 0 does not count) or of the next higher one (NEXT).
    /// -1 for none.
    int find(std::uint64_t id, int type) const
    {
        const int met = trox_detail::search_by_number(records_, static_cast<int>(order_.size()), id);
        if (met >= 0) {
            return met;
        }
        const auto at = lower_bound(id);
        if (at != order_.end() && (number(*at) == id || type == TROX_DAQ_READ_CHAN_EVENT_NEXT)) {
            return static_cast<int>(*at);
        }
        if (type != TROX_DAQ_READ_CHAN_EVENT_PREV || at == order_.begin() || number(*(at - 1)) == 0) {
            return trox_detail::scan_found_nothing;
        }
        return static_cast<int>(*lower_bound(number(*(at - 1))));
    }

private:
    std::uint64_t number(std::uint32_t record) const noexcept
    {
        return records_[record].event_id.event_number;
    }
    std::vector<std::uint32_t>::const_iterator lower_bound(std::uint64_t id) const
    {
        return std::lower_bound(order_.begin(), order_.end(), id,
                                [this](std::uint32_t record, std::uint64_t wanted) { return number(record) < wanted; });
    }

    const Record* records_;
    std::vector<std::uint32_t> order_; // by number, then as they come
};

} // namespace trox::detail

#endif
