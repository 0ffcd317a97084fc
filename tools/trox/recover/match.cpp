#include "match.h"

#include "fill.h"

#include <algorithm>
#include <set>
#include <unordered_set>

namespace trox::recovery
{
namespace
{

class matcher
{
public:
    matcher(found& file, record_checker& checker) : file_(file), checker_(checker) {}

    void run()
    {
        if (!file_.are_blocks_whole || file_.orphans.empty()) {
            return;
        }
        for (const auto& one : file_.records) {
            taken_.insert(key(one.channel, one.event));
        }
        assigned_.assign(file_.orphans.size(), no_index);
        find_servers();
        look_for_order();
        take_single_places();
        if (against_order_ == 0) {
            fill_servers();
            if (for_order_ >= enough_for_order) {
                take_as_many_as_blocks();
            }
            take_single_places();
        }
        move_assigned();
    }

private:
    static constexpr std::uint64_t enough_for_order = 3;

    static std::uint64_t key(std::uint32_t channel, std::uint32_t event)
    {
        return std::uint64_t{channel} << 32U | event;
    }

    // --- servers ---------------------------------------------------------------------------------------

    void find_servers()
    {
        std::unordered_map<std::string, std::uint32_t> names;
        for (std::uint32_t i = 0; i < file_.walked_blocks; ++i) {
            const auto& name = file_.blocks[i].head.server.text;
            server_of_block_.push_back(names.emplace(name, static_cast<std::uint32_t>(names.size())).first->second);
        }
        server_of_channel_.assign(file_.channels.size(), no_index);
        for (std::size_t i = 0; i < file_.channels.size(); ++i) {
            const auto described = names.find(file_.channels[i].server);
            if (described != names.end()) {
                server_of_channel_[i] = described->second;
            }
        }
        // What the records tell goes before what the descriptions say.
        std::unordered_map<std::uint32_t, std::uint32_t> seen;
        for (const auto& one : file_.records) {
            if (one.block < file_.walked_blocks) {
                const auto [known, is_first] = seen.emplace(one.channel, server_of_block_[one.block]);
                if (!is_first && known->second != server_of_block_[one.block]) {
                    known->second = no_index;
                }
            }
        }
        for (const auto& [channel, server] : seen) {
            server_of_channel_[channel] = server;
        }
    }

    // --- order -----------------------------------------------------------------------------------------

    // Data away from their sub-heads, and shared sub-heads, say nothing of the order of records.
    bool is_in_one_piece(const record& one) const
    {
        return !one.is_slow || one.data == one.subhead + file_.layout.sizes().subhead;
    }

    // Whether the file keeps the records of a channel in the order of the events: by those whose event, or time, is
    // known.
    void look_for_order()
    {
        std::vector<std::pair<std::uint64_t, std::uint64_t>> places;
        for (const auto& one : file_.records) {
            if (is_in_one_piece(one)) {
                places.emplace_back(key(one.channel, one.event), one.subhead);
            }
        }
        std::sort(places.begin(), places.end());
        for (std::size_t i = 1; i < places.size(); ++i) {
            if (places[i].first >> 32U == places[i - 1].first >> 32U) {
                ++(places[i].second > places[i - 1].second ? for_order_ : against_order_);
            }
        }
        const record* before = nullptr;
        time_stamp last{};
        for (const auto& one : file_.orphans) {
            subhead_values head;
            time_stamp time{};
            if (!one.is_slow || !is_in_one_piece(one) || !one.damage.empty() ||
                !checker_.read_subhead(one.subhead, head) || !checker_.slow_time(head, one.data, time)) {
                continue;
            }
            if (before != nullptr && before->channel == one.channel && !same_time(last, time)) {
                const bool rises = std::pair(time.timeup, time.timelow) > std::pair(last.timeup, last.timelow);
                ++(rises ? for_order_ : against_order_);
            }
            before = &one;
            last = time;
        }
    }

    // --- one place only --------------------------------------------------------------------------------

    bool has_room(const record& one, std::uint32_t which) const
    {
        const auto& to = file_.blocks[which];
        const auto& owner = file_.channels[one.channel];
        const auto length = static_cast<std::int64_t>(one.length);
        const auto least = static_cast<std::int64_t>(file_.layout.sizes().subhead);
        const auto type = static_cast<unsigned>(file_.events[to.event].head.type);
        const auto server = server_of_channel_[one.channel];
        if ((to.is_countable && to.records_left < 1) || (server != no_index && server != server_of_block_[which]) ||
            (owner.event_mask != 0 && (owner.event_mask >> type & 1U) == 0)) {
            return false;
        }
        // Where the counts of a block cannot be right, it might have room for anything.
        const bool fits =
            to.records_left == 1 ? to.bytes_left == length : to.bytes_left - length >= (to.records_left - 1) * least;
        return (!to.is_countable || fits) && taken_.count(key(one.channel, to.event)) == 0;
    }

    void assign(std::size_t orphan, std::uint32_t to)
    {
        auto& one = file_.orphans[orphan];
        auto& its_block = file_.blocks[to];
        assigned_[orphan] = to;
        one.event = its_block.event;
        one.block = to;
        --its_block.records_left;
        its_block.bytes_left -= static_cast<std::int64_t>(one.length);
        taken_.insert(key(one.channel, one.event));
    }

    std::vector<std::uint32_t> open_blocks() const
    {
        std::vector<std::uint32_t> open;
        for (std::uint32_t i = 0; i < file_.walked_blocks; ++i) {
            if (file_.blocks[i].records_left > 0 || !file_.blocks[i].is_countable) {
                open.push_back(i);
            }
        }
        return open;
    }

    void take_single_places()
    {
        constexpr std::uint64_t most_work = 100'000'000;
        std::uint64_t work = 0;
        for (bool changed = true; changed;) {
            changed = false;
            const auto open = open_blocks();
            for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
                if (assigned_[i] != no_index || file_.orphans[i].length == 0) {
                    continue;
                }
                work += open.size();
                if (work > most_work) {
                    return;
                }
                const auto place = single_place(file_.orphans[i], open);
                if (place != no_index) {
                    assign(i, place);
                    changed = true;
                }
            }
        }
    }

    std::uint32_t single_place(const record& one, const std::vector<std::uint32_t>& open) const
    {
        std::uint32_t place = no_index;
        for (const auto which : open) {
            if (has_room(one, which)) {
                if (place != no_index || !file_.blocks[which].is_countable) {
                    return no_index;
                }
                place = which;
            }
        }
        return place;
    }

    // --- as many records as blocks ---------------------------------------------------------------------

    // The orphans of each channel, in order; those of a channel whose basket has holes, or records of unknown length,
    // are not all that the channel has.
    std::map<std::uint32_t, std::vector<std::size_t>> whole_sequences() const
    {
        std::map<std::uint32_t, std::vector<std::size_t>> result;
        std::set<std::uint32_t> broken;
        for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
            const auto& one = file_.orphans[i];
            if (assigned_[i] != no_index) {
                continue;
            }
            result[one.channel].push_back(i);
            if (one.length == 0 || file_.channels[one.channel].holes > 0) {
                broken.insert(one.channel);
            }
        }
        for (const auto channel : broken) {
            result.erase(channel);
        }
        return result;
    }

    // Where data lie away from their sub-heads, their order is any.
    bool is_ordered(const std::vector<std::size_t>& orphans) const
    {
        return orphans.size() == 1 || file_.channels[file_.orphans[orphans.front()].channel].is_ordered;
    }

    void take_as_many_as_blocks()
    {
        std::map<std::uint32_t, std::vector<std::uint32_t>> open_of_server;
        for (const auto which : open_blocks()) {
            open_of_server[server_of_block_[which]].push_back(which);
        }
        for (const auto& [channel, orphans] : whole_sequences()) {
            const auto server = server_of_channel_[channel];
            const auto mask = file_.channels[channel].event_mask;
            if (server == no_index || mask == 0 || !is_ordered(orphans)) {
                continue;
            }
            std::vector<std::uint32_t> blocks;
            for (const auto which : open_of_server[server]) {
                const auto type = static_cast<unsigned>(file_.events[file_.blocks[which].event].head.type);
                if ((mask >> type & 1U) != 0 && taken_.count(key(channel, file_.blocks[which].event)) == 0) {
                    blocks.push_back(which);
                }
            }
            bool fits = blocks.size() == orphans.size();
            for (std::size_t i = 0; fits && i < blocks.size(); ++i) {
                fits = file_.blocks[blocks[i]].is_countable && has_room(file_.orphans[orphans[i]], blocks[i]);
            }
            for (std::size_t i = 0; fits && i < blocks.size(); ++i) {
                assign(orphans[i], blocks[i]);
            }
        }
    }

    // --- all records of a server -----------------------------------------------------------------------

    struct filled_server {
        std::vector<std::uint32_t> channels;
        std::vector<std::uint32_t> blocks;
        std::optional<fill_result> result;
    };

    // Lengths that change from record to record fit a server's blocks by chance hardly ever.
    bool has_fingerprint(const std::vector<std::size_t>& orphans) const
    {
        constexpr int enough = 8;
        int changes = 0;
        for (std::size_t i = 1; i < orphans.size(); ++i) {
            changes += file_.orphans[orphans[i]].length != file_.orphans[orphans[i - 1]].length ? 1 : 0;
        }
        return changes >= enough;
    }

    filled_server fill(std::uint32_t server, const std::map<std::uint32_t, std::vector<std::size_t>>& sequences,
                       const std::vector<std::uint32_t>& blocks, std::uint64_t& effort)
    {
        filled_server tried;
        tried.blocks = blocks;
        std::vector<fill_block> to_fill;
        for (const auto which : blocks) {
            const auto& one = file_.blocks[which];
            if (!one.is_countable) {
                return tried;
            }
            to_fill.push_back(
                {one.records_left, one.bytes_left, static_cast<std::int32_t>(file_.events[one.event].head.type)});
        }
        std::vector<fill_channel> channels;
        for (const auto& [channel, orphans] : sequences) {
            if (server_of_channel_[channel] != server && server_of_channel_[channel] != no_index) {
                continue;
            }
            fill_channel added;
            added.event_mask = file_.channels[channel].event_mask;
            added.must_be_used = server_of_channel_[channel] == server;
            for (const auto orphan : orphans) {
                added.lengths.push_back(file_.orphans[orphan].length);
            }
            tried.channels.push_back(channel);
            channels.push_back(std::move(added));
        }
        tried.result = fill_blocks(channels, to_fill, effort);
        return tried;
    }

    void fill_servers()
    {
        std::uint64_t effort = 20'000'000;
        const auto sequences = whole_sequences();
        std::map<std::uint32_t, std::vector<std::uint32_t>> open_of_server;
        for (const auto which : open_blocks()) {
            open_of_server[server_of_block_[which]].push_back(which);
        }
        std::vector<filled_server> servers;
        std::map<std::uint32_t, int> users;
        bool are_all_filled = true;
        for (const auto& [server, blocks] : open_of_server) {
            servers.push_back(fill(server, sequences, blocks, effort));
            const auto& tried = servers.back();
            are_all_filled = are_all_filled && tried.result.has_value();
            for (std::size_t i = 0; tried.result && i < tried.channels.size(); ++i) {
                users[tried.channels[i]] += tried.result->is_used[i] ? 1 : 0;
            }
        }
        // The order of records must show somewhere: in known times and events, or in lengths that fit in order only.
        bool shows_order = for_order_ >= enough_for_order;
        for (const auto& tried : servers) {
            for (std::size_t i = 0; tried.result && i < tried.channels.size(); ++i) {
                shows_order = shows_order || (is_placed(tried, i, users, are_all_filled, sequences) &&
                                              has_fingerprint(sequences.at(tried.channels[i])));
            }
        }
        for (const auto& tried : servers) {
            for (std::size_t i = 0; shows_order && tried.result && i < tried.channels.size(); ++i) {
                if (is_placed(tried, i, users, are_all_filled, sequences)) {
                    take_filled(tried, i, sequences.at(tried.channels[i]));
                }
            }
        }
        for_order_ += shows_order ? enough_for_order : 0;
    }

    // A channel that may have been cut off could fill the place of another: then only lengths that change convince.
    bool is_placed(const filled_server& tried, std::size_t i, std::map<std::uint32_t, int>& users, bool are_all_filled,
                   const std::map<std::uint32_t, std::vector<std::size_t>>& sequences) const
    {
        const auto channel = tried.channels[i];
        if (users[channel] != 1 || !tried.result->is_used[i] || tried.result->is_unused[i]) {
            return false;
        }
        bool are_known = true;
        for (std::size_t other = 0; other < tried.channels.size(); ++other) {
            are_known =
                are_known && (!tried.result->is_used[other] || server_of_channel_[tried.channels[other]] != no_index ||
                              has_fingerprint(sequences.at(tried.channels[other])));
        }
        return are_all_filled || are_known || has_fingerprint(sequences.at(channel));
    }

    void take_filled(const filled_server& tried, std::size_t channel, const std::vector<std::size_t>& orphans)
    {
        for (std::size_t i = 0; is_ordered(orphans) && i < orphans.size(); ++i) {
            const auto place = tried.result->places[channel][i];
            if (!place || assigned_[orphans[i]] != no_index) {
                continue;
            }
            const auto which = tried.blocks[*place];
            if (taken_.count(key(tried.channels[channel], file_.blocks[which].event)) == 0) {
                assign(orphans[i], which);
            }
        }
    }

    void move_assigned()
    {
        std::vector<record> left;
        for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
            (assigned_[i] == no_index ? left : file_.records).push_back(std::move(file_.orphans[i]));
        }
        file_.orphans = std::move(left);
    }

    found& file_;
    record_checker& checker_;
    std::unordered_set<std::uint64_t> taken_; // channel and event
    std::vector<std::uint32_t> assigned_;     // block per orphan
    std::vector<std::uint32_t> server_of_block_;
    std::vector<std::uint32_t> server_of_channel_;
    std::uint64_t for_order_ = 0;
    std::uint64_t against_order_ = 0;
};

} // namespace

void match_orphans(found& file, record_checker& checker)
{
    matcher(file, checker).run();
}

} // namespace trox::recovery
