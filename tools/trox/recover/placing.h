// Where records can be that no row leads to: what the server blocks have left, and what a record tells of its event.
#ifndef TROX_RECOVER_PLACING_H
#define TROX_RECOVER_PLACING_H

#include "found.h"
#include "record_check.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace trox::recovery
{

/// What is left of the blocks, and what of it the records were given. The state of a search: copies are kept to go
/// back to.
class placing
{
public:
    placing(found& file, record_checker& checker);

    found& file() noexcept
    {
        return file_;
    }
    const found& file() const noexcept
    {
        return file_;
    }
    const block& block_of(std::uint32_t which) const
    {
        return file_.blocks[which];
    }
    /// The block that an orphan was given; `no_index` when none.
    std::uint32_t place_of(std::size_t orphan) const
    {
        return assigned_[orphan];
    }
    std::size_t server_count() const noexcept
    {
        return blocks_of_server_.size();
    }
    /// Index of the block's server.
    std::uint32_t server_of_block(std::uint32_t which) const
    {
        return server_of_block_[which];
    }
    /// The only server that the channel can belong to, as descriptions and records tell; else `no_index`.
    std::uint32_t server_of_channel(std::uint32_t channel) const
    {
        return server_of_channel_[channel];
    }
    void set_server(std::uint32_t channel, std::uint32_t server)
    {
        server_of_channel_[channel] = server;
    }
    /// Blocks of a server in the order of their events, and where in that list a block stands.
    const std::vector<std::uint32_t>& blocks_of_server(std::uint32_t server) const
    {
        return blocks_of_server_[server];
    }
    std::uint32_t index_in_server(std::uint32_t which) const
    {
        return index_in_server_[which];
    }
    std::vector<std::uint32_t> open_blocks() const;
    std::vector<std::uint32_t> blocks_of(const std::vector<std::uint32_t>& events) const;

    /// True when a block has room for an orphan, its event does not have a record of the channel, and the orphan's
    /// own time or number, where it has one, is the event's.
    bool fits(std::size_t orphan, std::uint32_t which) const;
    bool is_taken(std::uint32_t channel, std::uint32_t event) const
    {
        return taken_.count(key(channel, event)) > 0;
    }
    void assign(std::size_t orphan, std::uint32_t which);

    /// Events that the orphan can be of by its own time or number; null when it has none that is to be trusted.
    const std::vector<std::uint32_t>* told_events(std::size_t orphan) const
    {
        return told_[orphan];
    }
    /// How many pairs of a channel's records, known by rows or by what they carry, lie in the order of their events,
    /// and how many do not.
    std::uint64_t for_order = 0;
    std::uint64_t against_order = 0;

    /// What `assign` has changed since; `restore` takes it back.
    struct state {
        std::vector<std::uint32_t> assigned;
        std::vector<std::uint32_t> servers;
    };
    state save() const
    {
        return {assigned_, server_of_channel_};
    }
    void restore(const state& before);

private:
    enum class mark { update_time, environment_time, value_time, image_number, extended_number };
    static constexpr std::size_t mark_count = 5;
    struct told {
        mark kind;
        std::uint64_t value;                      ///< rises with time
        const std::vector<std::uint32_t>* events; ///< null: no event has that time or number
    };

    static std::uint64_t key(std::uint32_t channel, std::uint32_t event)
    {
        return std::uint64_t{channel} << 32U | event;
    }
    bool has_room(const record& one, std::uint32_t which) const;
    void find_servers();
    void index_events();
    std::optional<told> read_mark(const record& one);
    void check_marks(const std::vector<std::optional<told>>& marks);
    void look_for_order(const std::vector<std::optional<told>>& marks);

    found& file_;
    record_checker& checker_;
    std::unordered_set<std::uint64_t> taken_; // channel and event
    std::vector<std::uint32_t> assigned_;     // block per orphan
    std::vector<std::uint32_t> server_of_block_;
    std::vector<std::uint32_t> index_in_server_;
    std::vector<std::vector<std::uint32_t>> blocks_of_server_;
    std::vector<std::uint32_t> server_of_channel_;
    std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> events_at_time_;
    std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> events_of_number_;
    std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> events_of_low_number_;
    std::vector<std::vector<std::uint32_t>> blocks_of_event_;
    std::vector<const std::vector<std::uint32_t>*> told_; // per orphan
};

} // namespace trox::recovery

#endif
