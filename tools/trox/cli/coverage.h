// How complete the records of a channel are: steps, gaps, duplicates, clock jumps.
#ifndef TROX_CLI_COVERAGE_H
#define TROX_CLI_COVERAGE_H

#include "trox/data_set.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox_cli
{

/// Whether a channel has events other than slow ones, so that it records regularly.
bool has_fast_events(const trox::channel_info& channel);

/// The median of the steps in time above 0, of an even number of steps the lower of the middle ones; none without one.
std::optional<trox::microseconds> median_step(const std::vector<trox::record_stamp>& records);

/// What is wrong between a record and the one before it.
enum class irregularity {
    gap,       ///< a step of more than 1.5 times the channel's median step
    duplicate, ///< the number or the time of a record before it
    clock_jump ///< time and number go on by amounts that differ by more than half a step
};
/// "gap", "duplicate" or "clock jump".
const char* name_of(irregularity what) noexcept;

struct coverage_finding {
    irregularity what = irregularity::gap;
    trox::record_stamp at{};      ///< the record behind the step
    trox::microseconds length{0}; ///< of the step; of a clock jump, what time went on too far (negative: too little)
};

/// What can be told of a channel that records regularly. Of one that records when it changes, only duplicates are.
struct channel_coverage {
    std::optional<trox::microseconds> step{}; ///< median distance of records in time
    std::optional<std::uint64_t> expected{};  ///< records that fit between the first and the last one
    std::vector<coverage_finding> findings{}; ///< file by file, in order of time
    std::uint64_t count(irregularity what) const;
    std::optional<trox::microseconds> longest_gap() const;
};
channel_coverage find_coverage(const std::vector<trox::record_stamp>& records, bool is_regular);

/// Records in each of `bins` equal parts of [begin, end].
std::vector<std::uint64_t> count_over_time(const std::vector<trox::record_stamp>& records, trox::time_point begin,
                                           trox::time_point end, std::size_t bins);
/// One character for each count: " " for none, "█" for as many as the fullest part has, blocks of less height between.
std::string strip_of(const std::vector<std::uint64_t>& counts);

} // namespace trox_cli

#endif
