// What is behind an event reader: the index of events, the store of records, and where the reader stands.
#ifndef TROX_TROX_EVENT_SOURCE_H
#define TROX_TROX_EVENT_SOURCE_H

#include "trox/event_index.h"
#include "trox/event_reader.h"
#include "trox/open_files.h"
#include "trox/record_store.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace trox::detail
{

class event_source
{
public:
    event_source(const data_set& data, const selection& what, const reading_options& options);

    const std::vector<std::size_t>& channels() const noexcept
    {
        return channels_;
    }
    const data_set& data() const noexcept
    {
        return data_;
    }
    /// The first event from `index` on, in the direction, that is delivered; the reader then stands there.
    std::optional<event> forward_from(std::size_t index);
    std::optional<event> backward_from(std::size_t index);
    /// Where the reader stands; none at the beginning.
    std::optional<std::size_t> position() const noexcept
    {
        return position_;
    }
    void rewind() noexcept
    {
        position_.reset();
    }
    /// The event of this index, which becomes the present one.
    std::optional<event> at(std::size_t index);
    /// Index of the event of a number; of the first event that is not before a time.
    std::optional<std::size_t> find_number(std::uint64_t number);
    std::optional<std::size_t> find_time(time_point time);
    std::size_t count();
    const reading_report& report();

private:
    /// The record that a channel has to deliver for the present event.
    struct wanted_record {
        std::optional<std::size_t> position{}; ///< in the channel's list
        bool is_exact = false;                 ///< of this event, no earlier slow value
    };

    std::vector<channel_column> stretches(std::size_t file, std::size_t channel);
    const std::vector<restart_point>& restarts(std::size_t file, const file_rows& rows);
    void take_out_timeless(channel_column& column, const file_rows& rows, std::size_t channel) const;
    bool has(std::size_t file, std::size_t channel) const;
    std::optional<event> deliver(std::size_t index, bool forward);
    template <class Call> auto at_place(std::size_t channel, std::size_t at, Call call) -> decltype(call());
    void want(std::size_t index, bool forward);
    std::shared_ptr<const decoded_record> take(wanted_record& wanted, std::size_t channel);
    void refuse_or_note(std::size_t channel, std::size_t at, const record_failure& failure);
    void note_bad_record(const std::string& file, std::size_t channel, std::optional<std::uint64_t> offset,
                         std::optional<std::uint64_t> number, fault why, const std::string& reason);
    bool lets_pass(const event& found, std::size_t index);
    void count_event(const event& found);

    data_set data_;
    selection what_;
    bool skips_;
    std::vector<std::size_t> channels_;
    std::vector<bool> is_slow_;     ///< channels that only slow events carry
    std::vector<bool> is_in_range_; ///< files that may have records of events in the range
    row_cache rows_;
    std::unordered_map<std::size_t, std::vector<restart_point>> restarts_; ///< by file, those that were looked for
    file_progress progress_;
    std::size_t files_seen_ = 0;
    event_index index_;
    record_store store_;
    std::optional<std::size_t> position_;
    std::size_t horizon_ = 16; ///< events that the index is ahead of the reader going forward
    std::vector<wanted_record> wanted_;
    bool forward_ = true;                                     ///< where the reader goes
    std::set<std::pair<std::size_t, std::size_t>> known_bad_; ///< channel, and position in its list
    /// Records without an event that were noted, by file and channel: a column may be asked for again.
    std::map<std::pair<std::size_t, std::size_t>, std::size_t> noted_;
    reading_report report_;
};

} // namespace trox::detail

#endif
