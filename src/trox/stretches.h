// Columns whose event numbers begin anew within a file, and their division into stretches in which numbers ascend.
#ifndef TROX_TROX_STRETCHES_H
#define TROX_TROX_STRETCHES_H

#include "trox/data_file.h"

#include <cstdint>
#include <vector>

namespace trox::detail
{

/// Finds the points in time at which the numbers of a file begin anew: common to all channels, so that those which the
/// file has only before, or only behind such a point, know of it as well.
class restart_finder
{
public:
    /// Adds the events of one channel, in the order of recording.
    void add(const std::vector<trox_time_id_2024>& events);
    /// As few points as separate every number of a channel from a smaller one that is later. Ascending.
    std::vector<restart_point> points() const;

private:
    /// Numbers begin anew behind `after`, not later than `until`; microseconds.
    struct interval {
        std::uint64_t after = 0;
        std::uint64_t until = 0;
        bool from_zero = false;
    };
    std::vector<interval> intervals_;
};

/// The column undivided, with its bounds.
channel_column undivided(channel_column column, std::vector<restart_point> points);

/// One column per stretch, empty ones included, with their bounds. A record without a time belongs to the stretch of
/// the record before it.
std::vector<channel_column> split(channel_column column, const std::vector<restart_point>& points);

} // namespace trox::detail

#endif
