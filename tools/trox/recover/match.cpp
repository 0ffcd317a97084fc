#include "match.h"

#include "align.h"
#include "fill.h"
#include "placing.h"

#include <algorithm>
#include <map>
#include <set>

namespace trox::recovery
{
namespace
{

class matcher
{
public:
    matcher(found& file, record_checker& checker) : file_(file), places_(file, checker) {}

    void run()
    {
        if (file_.are_events_whole) {
            take_proven_places();
        } else {
            // The place of a record may be in an event that is lost: that there is one other only proves nothing.
            file_.result.remarks.push_back(
                "event headers: some may be lost; records that no row leads to are given to no event");
        }
        if (file_.options.in_order) {
            assume_order();
        }
        move_assigned();
    }

private:
    static constexpr std::uint64_t enough_for_order = 3;

    void take_proven_places()
    {
        take_single_places();
        if (places_.against_order == 0) {
            if (is_in_order()) {
                align(places_);
            } else {
                align_on_trial();
            }
            fill_servers();
            if (is_in_order()) {
                align(places_);
            }
            take_single_places();
        }
    }

    bool is_in_order() const
    {
        return places_.for_order >= enough_for_order;
    }

    // Nothing that is known shows the order: then records that fill their blocks exactly in order must.
    void align_on_trial()
    {
        const auto before = places_.save();
        align(places_);
        if (is_aligned_for_certain(places_, before)) {
            places_.for_order += enough_for_order;
        } else {
            places_.restore(before);
        }
    }

    // What was asked for: all records that are left in order, and into the first blocks that take them.
    void assume_order()
    {
        std::vector<std::uint32_t> certain;
        for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
            certain.push_back(places_.place_of(i));
        }
        align(places_);
        place_in_order(places_);
        std::map<std::uint32_t, std::uint64_t> assumed;
        for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
            auto& one = file_.orphans[i];
            one.is_assumed = places_.place_of(i) != certain[i];
            assumed[one.channel] += one.is_assumed ? 1 : 0;
        }
        for (const auto& [channel, count] : assumed) {
            if (count > 0) {
                file_.lose("channel " + file_.channels[channel].name + ": assumed from their order are the events of " +
                           amount(count, "record", "records"));
            }
        }
    }

    // --- one place only --------------------------------------------------------------------------------

    void take_single_places()
    {
        constexpr std::uint64_t most_work = 100'000'000;
        std::uint64_t work = 0;
        for (bool changed = true; changed;) {
            changed = false;
            const auto open = places_.open_blocks();
            for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
                if (places_.place_of(i) != no_index || file_.orphans[i].length == 0) {
                    continue;
                }
                const auto* told = places_.told_events(i);
                work += told != nullptr ? told->size() : open.size();
                if (work > most_work) {
                    return;
                }
                const auto place = told != nullptr ? single_place(i, places_.blocks_of(*told)) : single_place(i, open);
                if (place != no_index) {
                    places_.assign(i, place);
                    changed = true;
                }
            }
        }
    }

    std::uint32_t single_place(std::size_t orphan, const std::vector<std::uint32_t>& open) const
    {
        std::uint32_t place = no_index;
        for (const auto which : open) {
            if (places_.fits(orphan, which)) {
                if (place != no_index || !file_.blocks[which].is_countable) {
                    return no_index;
                }
                place = which;
            }
        }
        return place;
    }

    // --- all records of a server -----------------------------------------------------------------------

    // The orphans of each channel, in order; those of a channel whose basket has holes, or records of unknown length,
    // are not all that the channel has.
    std::map<std::uint32_t, std::vector<std::size_t>> whole_sequences() const
    {
        std::map<std::uint32_t, std::vector<std::size_t>> result;
        std::set<std::uint32_t> broken;
        for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
            const auto& one = file_.orphans[i];
            if (places_.place_of(i) != no_index) {
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
            if (places_.server_of_channel(channel) != server && places_.server_of_channel(channel) != no_index) {
                continue;
            }
            fill_channel added;
            added.event_mask = file_.channels[channel].event_mask;
            added.must_be_used = places_.server_of_channel(channel) == server;
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
        for (const auto which : places_.open_blocks()) {
            open_of_server[places_.server_of_block(which)].push_back(which);
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
        bool shows_order = is_in_order();
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
        places_.for_order += shows_order ? enough_for_order : 0;
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
            are_known = are_known && (!tried.result->is_used[other] ||
                                      places_.server_of_channel(tried.channels[other]) != no_index ||
                                      has_fingerprint(sequences.at(tried.channels[other])));
        }
        return are_all_filled || are_known || has_fingerprint(sequences.at(channel));
    }

    void take_filled(const filled_server& tried, std::size_t channel, const std::vector<std::size_t>& orphans)
    {
        for (std::size_t i = 0; is_ordered(orphans) && i < orphans.size(); ++i) {
            const auto place = tried.result->places[channel][i];
            if (place && places_.place_of(orphans[i]) == no_index && places_.fits(orphans[i], tried.blocks[*place])) {
                places_.assign(orphans[i], tried.blocks[*place]);
            }
        }
    }

    void move_assigned()
    {
        std::vector<record> left;
        for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
            (places_.place_of(i) == no_index ? left : file_.records).push_back(std::move(file_.orphans[i]));
        }
        file_.orphans = std::move(left);
    }

    found& file_;
    placing places_;
};

} // namespace

void match_orphans(found& file, record_checker& checker)
{
    if (file.are_blocks_whole && !file.orphans.empty()) {
        matcher(file, checker).run();
    }
}

} // namespace trox::recovery
