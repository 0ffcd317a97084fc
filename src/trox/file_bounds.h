// Where the events of files lie, as far as they have numbers and times: which files begin anew, and which may hold
// records of one event.
#ifndef TROX_TROX_FILE_BOUNDS_H
#define TROX_TROX_FILE_BOUNDS_H

#include "trox/basics.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace trox::detail
{

/// Bounds of the events that have a number and a time: no number is 0, no time the epoch.
struct event_bounds {
    std::uint64_t lowest = 0; ///< 0: there are no such events
    std::uint64_t highest = 0;
    time_point earliest{};
    time_point latest{};

    void add(const event_bounds& other);
};

/// Of the events of one type.
struct type_bounds {
    int type = 0;
    event_bounds events{};
    time_point earliest{}; ///< of those that have a time; the epoch when none has
    time_point latest{};

    void add(std::uint64_t number, time_point time);
};

/// The files of a data set in their order. Numbers begin anew with a file when an earlier one lies before it in time,
/// but has higher numbers: of an event type that both have, else of all. Fast types count, in a file without any the
/// slow ones. Files that lie side by side in time belong together.
class file_sequence
{
public:
    explicit file_sequence(const std::vector<std::vector<type_bounds>>& files);

    /// Whether a file may begin anew with regard to any earlier one; if not, it does so to none.
    bool may_begin_anew(std::size_t file) const
    {
        return files_[file].may_begin_anew;
    }
    bool begins_anew(std::size_t file, std::size_t earlier) const;
    std::uint64_t lowest_number(std::size_t file) const
    {
        return files_[file].counted.lowest;
    }
    /// First and last time of all events; none when none has one.
    std::optional<time_point> first_time() const noexcept
    {
        return first_time_;
    }
    std::optional<time_point> last_time() const noexcept
    {
        return last_time_;
    }

private:
    struct known_file {
        std::vector<type_bounds> types{};
        bool counts_slow = false; ///< has no others
        event_bounds counted{};
        bool may_begin_anew = false;
    };
    std::vector<known_file> files_;
    std::optional<time_point> first_time_;
    std::optional<time_point> last_time_;
};

} // namespace trox::detail

#endif
