// The records of one channel, found one after the other or by number and time, through all files of a data set.
#ifndef TROX_TROX_CHANNEL_CURSOR_H
#define TROX_TROX_CHANNEL_CURSOR_H

#include "generic/record_index.h"
#include "trox/data_file.h"
#include "trox/event_reader.h"
#include "trox/number_order.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace trox::detail
{

/// Where the index finds the channels' records.
struct column_source {
    /// A channel's columns in a file, one per stretch in which numbers ascend; none when the file has no record of it,
    /// or was passed over.
    std::function<std::vector<channel_column>(std::size_t file, std::size_t channel)> stretches{};
    /// Whether a file has records of a channel.
    std::function<bool(std::size_t file, std::size_t channel)> has{};
    /// Where the events of the files lie.
    const file_sequence& files;
};

/// What the search functions of the generations need to know of a record.
struct record_types {
    using channel_entry = indexed_record;
    using event_number = std::uint64_t;
};

/// One channel on its way through the files, and through the stretches of a file in which its numbers ascend.
class channel_cursor
{
public:
    enum class answer { record, none, out_of_window };

    channel_cursor(std::size_t channel, const synchronisation& match);

    /// Goes to the first record of the next stretch that has any, at first of the first one. False when there is none.
    bool go_on(std::size_t files, const column_source& columns);
    /// Lets the rest of the records be.
    void leave();
    bool is_alive() const noexcept
    {
        return alive_;
    }
    std::size_t file() const noexcept
    {
        return file_;
    }
    std::size_t stretch() const noexcept
    {
        return stretch_;
    }
    /// Whether numbers begin anew with the stretch or the file, and the other channels may not have come that far.
    bool is_waiting() const noexcept
    {
        return waiting_;
    }
    void wait(bool on) noexcept
    {
        waiting_ = on;
    }
    /// The lowest number and the earliest time; the highest, and the latest.
    trox_time_id_2024 first() const noexcept
    {
        return {column_.lowest_number, column_.first.time};
    }
    trox_time_id_2024 last() const noexcept
    {
        return {column_.highest_number, column_.last.time};
    }
    /// Back to the first record of the stretch.
    void go_to_first();
    /// The same, and the record that a look-up by its number answers.
    const indexed_record& rewind();
    /// Looks for the record of an event, or of what follows it. The record becomes the present one.
    answer at(const trox_time_id_2024& target);
    answer behind(const trox_time_id_2024& target, bool checks_numbers);
    /// The present record; null without one.
    const indexed_record* present() const;
    /// Takes the record that a look-up by the present record's number answers for the present one.
    void confirm();
    /// Whether a record of this stretch was taken for an event.
    bool was_taken() const noexcept
    {
        return taken_count_ > 0;
    }
    /// Takes the present record for an event; false when it was taken before.
    bool take();
    /// Records of the stretches left so far that no event has taken.
    std::uint64_t unmatched() const noexcept
    {
        return unmatched_;
    }

private:
    bool is_by_time() const noexcept
    {
        return match_.how == synchronisation::mode::by_time;
    }
    answer find_number(std::uint64_t number, int type);
    answer find_time(const time_stamp& time, int type);
    answer select(int found);
    answer neighbour_by_number(std::uint64_t before);
    bool is_of_other_stretch(int record) const;
    bool is_within(const time_stamp& a, const time_stamp& b, int& sign) const;

    std::size_t channel_;
    const synchronisation& match_;
    bool alive_ = false;
    bool begun_ = false;
    bool waiting_ = false;
    std::size_t file_ = 0;
    std::size_t stretch_ = 0;
    std::vector<channel_column> stretches_; // of the file
    channel_column column_;                 // the present stretch
    std::optional<trox_detail::record_index<record_types>> index_;
    std::optional<number_order<indexed_record>> order_; // where numbers do not ascend, once one is looked for
    std::vector<bool> taken_;                           // by record of the stretch
    std::size_t taken_count_ = 0;
    std::uint64_t unmatched_ = 0;
    int present_ = -1;
    int last_found_ = -1; // by number
    std::uint64_t present_number_ = 0;
};

} // namespace trox::detail

#endif
