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
///
/// They begin anew in a channel where a smaller number follows and they go on from it, so that the number behind, if
/// there is any, is below the one before as well. Otherwise the smaller one is an outlier, which leaves the others
/// together. Slow channels may send a value late, now and then a few: of them at least three such numbers must follow.
/// Where no events are divided, every smaller number counts.
class restart_finder
{
public:
    explicit restart_finder(restart_rule rule) : rule_(rule) {}
    /// Adds the events of one channel, in the order of recording.
    void add(const std::vector<trox_time_id_2024>& events, bool is_slow);
    /// As few points as separate the numbers before from those behind in every channel. Ascending.
    std::vector<restart_point> points() const;

private:
    /// Numbers begin anew behind `after`, not later than `until`; microseconds.
    struct interval {
        std::uint64_t after = 0;
        std::uint64_t until = 0;
        bool from_zero = false;
    };
    restart_rule rule_;
    std::vector<interval> intervals_;
};

/// The column undivided, with its bounds.
channel_column undivided(channel_column column, std::vector<restart_point> points);

/// One column per stretch, empty ones included, with their bounds. A record without a time belongs to the stretch of
/// the record before it.
std::vector<channel_column> split(channel_column column, const std::vector<restart_point>& points);

} // namespace trox::detail

#endif
