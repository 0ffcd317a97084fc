// Compares what a reader delivers, event by event, with what the machine must have recorded.
#ifndef TROX_DEMO_CHECK_H
#define TROX_DEMO_CHECK_H

#include "event.h"
#include "linac.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace trox_demo
{

/// The records of one event, by channel; null for a channel without data.
struct event_records {
    std::array<const trox_channel_entry_long*, channel_count> records{};
    std::uint32_t number = 0;
    time_stamp time{};

    const trox_serv_block_subhead_2010* block(channel of) const;
    /// Whether the channel's record is of this event, and not the earlier value of a slow channel.
    bool is_updated(channel of) const;
};

/// Sorts a reader's result by channel. Number and time are those of the first record that is no slow value.
event_records sort_records(const std::vector<trox_channel_entry_long*>& result);

class checker
{
public:
    /// Checks the `event`-th event: which channels are there, whose event they carry, and every byte of their data.
    void check(int event, const event_records& read);
    /// Notes another difference.
    void fail(std::string what);

    std::size_t records() const; ///< compared so far, each once
    std::size_t payload_bytes() const;
    const std::vector<std::string>& differences() const;

private:
    void check_channel(channel of, int event, const event_records& read);
    void check_record(channel of, int recorded, const trox_channel_entry_long& record);

    std::size_t records_ = 0;
    std::size_t payload_bytes_ = 0;
    std::vector<std::string> differences_;
};

} // namespace trox_demo

#endif
