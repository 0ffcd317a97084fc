// Reading the events of a data set: which channels, which range, how they are matched; stepping and iterating.
#ifndef TROX_TROX_EVENT_READER_H
#define TROX_TROX_EVENT_READER_H

#include "data_set.h"
#include "record.h"

#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Not exported: declared before the pragma.
namespace trox::detail
{
class event_source;
}

#pragma GCC visibility push(default)

namespace trox
{

/// Which channels. A name is matched exactly; in a glob "*" stands for any text, "?" for one character, "[a-z]" and
/// "[!a-z]" for one of a set, and a channel of just that name goes before all that the glob matches; a regular
/// expression (ECMAScript without back-references, up to 1000 characters) must match the whole name. No pattern takes
/// longer than some product of the lengths.
struct channel_pattern {
    enum class syntax { name, glob, regex };
    std::string text{};
    syntax kind = syntax::name;
};
/// "re:..." is a regular expression, a text with "*", "?" or "[" a glob, any other a name.
channel_pattern pattern_from_text(std::string_view text);
/// Indices of the channels that any of the patterns matches, in the order of the patterns, then of the data set, each
/// once. Throws error (wrong_use) for a malformed pattern, (not_found) for a name that no channel has.
std::vector<std::size_t> match_channels(const data_set& data, const std::vector<channel_pattern>& patterns);

/// Half-open: begin <= event < end. What is not given limits nothing; what is given holds together.
struct event_range {
    std::optional<std::uint64_t> first_number{};
    std::optional<std::uint64_t> end_number{};
    std::optional<time_point> begin{};
    std::optional<time_point> end{};
};

/// How channels are matched to one event.
///
/// By number, records of equal numbers are of one event; where numbers begin anew, in a file or with a later one, their
/// events follow those before. In a file they do so behind a lower number from which they go on: the next number of the
/// channel, if there is one, is lower than the one before, too, and of slow channels beside others at least the next
/// three are. Any other lower number is an outlier, and its event stands where its number belongs. With a file they do
/// so when an earlier file that lies before it in time has higher numbers; numbers that it repeats in part, for a
/// channel that goes on from one of them, are those events again. By time, records within the tolerance are of one
/// event, and the next event is looked for one step on: those that lie closer together than the step less the tolerance
/// are passed over, so that step and tolerance must suit the fastest channel. Of several records of a channel that
/// match one event one is taken, which concerns repeated numbers, slow values that change twice in an event, and files
/// that overlap; number steps above 1 pass over what lies between. By time, a record within the tolerance of two
/// events may be part of both. `channel_report::unmatched` counts what no event took.
struct synchronisation {
    enum class mode { by_number, by_time };
    mode how = mode::by_number;
    microseconds tolerance{50000};  ///< by time: records that lie no farther apart are of one event
    std::uint64_t number_step = 1;  ///< distance of events
    microseconds time_step{100000}; ///< the same by time: a step looks for the first event that lies about this far on
};

/// What becomes of an event in which a channel has no record. Slow channels have their last value in every event
/// behind it; before their first value in the range they have none, but never count as missing.
enum class on_missing {
    keep, ///< deliver it with a gap
    drop, ///< pass over the event
    fail  ///< throw error (missing_channel)
};

/// What is read.
struct selection {
    std::vector<channel_pattern> channels{}; ///< none: all
    event_range range{};
    synchronisation match{};
    on_missing missing = on_missing::keep;
};

/// How it is read.
struct reading_options {
    std::size_t memory_budget = std::size_t{256}
                                << 20; ///< bytes for decoded records, those that a caller holds included
    unsigned threads = 0; ///< that decode, 256 at most, and fewer when the system gives no more; 0: one per processor
    /// Take records that cannot be decoded for missing ones, and those that can never fit the budget; else throw
    /// (damaged_record, input_output, out_of_budget).
    bool skip_bad_records = true;
    file_progress progress{}; ///< while events are looked for in the tables; what it throws ends the step
};

/// What reading met. Counts are of the events delivered so far by stepping in any direction; a range-for pass begins
/// with whatever there is.
struct channel_report {
    std::string name{};
    std::uint64_t present = 0;        ///< events with a record
    std::uint64_t carried = 0;        ///< events with an earlier slow value
    std::uint64_t missing = 0;        ///< events without
    std::uint64_t skipped = 0;        ///< records that cannot be decoded or have no credible event, each counted once
    std::uint64_t unmatched = 0;      ///< sound records of files gone through so far that became part of no event
    microseconds largest_residual{0}; ///< largest distance between a record's time and its event's
};
struct reading_report {
    std::uint64_t events = 0;  ///< delivered
    std::uint64_t dropped = 0; ///< passed over since a channel was missing, or all of its records damaged
    std::vector<channel_report> channels{};
    std::vector<skipped_record> skipped_records{}; ///< the first 1000
    std::vector<skipped_file> skipped_files{};
    microseconds largest_residual{0};
};

/// One event: its number, its time, and the records of the selected channels. Copies are cheap, and keep the records'
/// memory alive; what is held counts for the budget.
class event
{
public:
    /// Of the first record that is no slow value, else of the first one updated; by the tables, so that they stay the
    /// same when that record is damaged.
    std::uint64_t number() const noexcept
    {
        return number_;
    }
    time_point time() const noexcept
    {
        return time_;
    }
    /// One per selected channel, in the order of the selection; an empty record where the channel has none.
    const std::vector<record>& records() const noexcept
    {
        return records_;
    }
    const record& operator[](std::size_t channel) const
    {
        return records_[channel];
    }

private:
    friend class detail::event_source;
    std::uint64_t number_ = 0;
    time_point time_{};
    std::vector<record> records_{};
};

/// Reads events. Making one matches channels only; events are found (in the tables) as far as steps need, and records
/// are decoded by worker threads ahead of the direction in which one reads.
///
/// Going forward delivers the events, records and slow values that the reader classes deliver for requests of the next
/// event, and further ones where numbers or times do not ascend, so that none is lost; every other way of stepping
/// leads to the same events.
///
///     auto data = trox::data_set::open_run({"/catalogue", {"/data"}}, 1042);
///     trox::event_reader events(data, {{trox::pattern_from_text("LINAC.DIAG/TOROID/*")}});
///     for (const trox::event& event : events) {
///         if (auto charge = event[0].trace()) { ... charge->samples ... } // none in an event without the channel
///     }
///
/// One thread at a time; events and records may go to other threads.
class event_reader
{
public:
    /// Throws error (not_found) when no channel matches, (wrong_use).
    event_reader(const data_set& data, const selection& what, const reading_options& options = {});
    ~event_reader();
    event_reader(event_reader&&) noexcept;
    event_reader& operator=(event_reader&&) noexcept;

    /// The selected channels, by their index in the data set; `records()` of an event has the same order.
    const std::vector<std::size_t>& channels() const noexcept;
    const data_set& data() const noexcept;

    // --- stepping: each moves to the event and delivers it; none, and no move, when there is no such event ----------
    //
    // All of them throw error: (out_of_budget) when the event does not fit beside what the program holds,
    // (missing_channel) when the selection asks for it, (input_output) when descriptors or memory are short, and with
    // `skip_bad_records` off for the first record or file that cannot be read. std::bad_alloc may leave them as well,
    // and what progress throws. After any of these the reader stands where it stood.

    std::optional<event> first();
    std::optional<event> last();
    /// Behind the present event; the first one at the beginning. Null behind the last: the present event stays, and
    /// files that have grown are not looked at again.
    std::optional<event> next();
    /// Before the present event; the last one at the beginning.
    std::optional<event> previous();
    /// The event of a number (the first, should several have it), and the first event at a time or behind it.
    std::optional<event> at_number(std::uint64_t number);
    std::optional<event> at_time(time_point time);
    /// The present event once more.
    std::optional<event> current();
    /// Back to the beginning, where no event is present.
    void rewind() noexcept;

    /// Events in the range by the tables, those that stepping would pass over included. Finds all of them.
    std::uint64_t count();
    const reading_report& report() const;

    /// Input iterator of a range-for pass, which begins at the first event.
    class iterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = event;
        using difference_type = std::ptrdiff_t;
        using pointer = const event*;
        using reference = const event&;

        iterator() = default;
        explicit iterator(event_reader* reader) : reader_(reader), event_(reader->first()) {}
        reference operator*() const
        {
            return *event_;
        }
        pointer operator->() const
        {
            return &*event_;
        }
        iterator& operator++()
        {
            event_.reset(); // before the next one is made: what is not held need not fit the budget
            event_ = reader_->next();
            return *this;
        }
        void operator++(int)
        {
            ++*this;
        }
        friend bool operator==(const iterator& a, const iterator& b)
        {
            return a.event_.has_value() == b.event_.has_value();
        }
        friend bool operator!=(const iterator& a, const iterator& b)
        {
            return !(a == b);
        }

    private:
        event_reader* reader_ = nullptr;
        std::optional<event> event_;
    };
    iterator begin()
    {
        return iterator(this);
    }
    iterator end()
    {
        return {};
    }

private:
    std::unique_ptr<detail::event_source> source_;
};

} // namespace trox

#pragma GCC visibility pop

#endif
