#include "placing.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace trox::recovery
{
namespace
{

std::uint64_t as_key(time_stamp time)
{
    return std::uint64_t{time.timeup} << 32U | time.timelow;
}

// So few of the others may be damaged, where the rest of a kind agrees.
bool is_trusted(std::uint64_t good, std::uint64_t bad)
{
    constexpr std::uint64_t share = 8;
    return good > 0 && bad * share <= good;
}

} // namespace

placing::placing(found& file, record_checker& checker) : file_(file), checker_(checker)
{
    for (const auto& one : file_.records) {
        taken_.insert(key(one.channel, one.event));
    }
    assigned_.assign(file_.orphans.size(), no_index);
    told_.assign(file_.orphans.size(), nullptr);
    find_servers();
    index_events();
    std::vector<std::optional<told>> marks;
    for (const auto& one : file_.orphans) {
        marks.push_back(read_mark(one));
    }
    check_marks(marks);
    look_for_order(marks);
}

void placing::find_servers()
{
    std::unordered_map<std::string, std::uint32_t> names;
    blocks_of_event_.resize(file_.events.size());
    for (std::uint32_t i = 0; i < file_.walked_blocks; ++i) {
        const auto& name = file_.blocks[i].head.server.text;
        const auto server = names.emplace(name, static_cast<std::uint32_t>(names.size())).first->second;
        server_of_block_.push_back(server);
        blocks_of_server_.resize(names.size());
        index_in_server_.push_back(static_cast<std::uint32_t>(blocks_of_server_[server].size()));
        blocks_of_server_[server].push_back(i);
        blocks_of_event_[file_.blocks[i].event].push_back(i);
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

void placing::index_events()
{
    for (std::uint32_t i = 0; i < file_.events.size(); ++i) {
        const auto& head = file_.events[i].head;
        events_at_time_[as_key(head.time)].push_back(i);
        events_of_number_[head.number].push_back(i);
        events_of_low_number_[static_cast<std::uint32_t>(head.number)].push_back(i);
    }
}

// The time or number of its event that a record carries: slow values and control-system values have the time, images
// the number.
std::optional<placing::told> placing::read_mark(const record& one)
{
    constexpr std::size_t longest = sizeof(trox_image_ext_frame_head);
    std::array<unsigned char, longest> bytes{};
    subhead_values head;
    const auto find = [](const auto& events, auto value) {
        const auto known = events.find(value);
        return known == events.end() ? nullptr : &known->second;
    };
    if (!one.damage.empty() || !checker_.read_subhead(one.subhead, head)) {
        return std::nullopt;
    }
    if (one.is_slow) {
        time_stamp time{};
        const auto kind = file_.layout.is_update_type(head.dtype) ? mark::update_time : mark::environment_time;
        return checker_.slow_time(head, one.data, time)
                   ? std::optional(told{kind, as_key(time), find(events_at_time_, as_key(time))})
                   : std::nullopt;
    }
    switch (block_type(head.dtype)) {
    case TROX_BLOCK_EQDATA: {
        constexpr std::size_t time_at = 8;
        constexpr std::size_t head_size = 20;
        if (!checker_.read_payload(one, head, bytes.data(), head_size)) {
            return std::nullopt;
        }
        const time_stamp time{trox_detail::load_big_endian<std::uint32_t>(&bytes[time_at]),
                              trox_detail::load_big_endian<std::uint32_t>(&bytes[time_at + sizeof(std::uint32_t)])};
        return told{mark::value_time, as_key(time), find(events_at_time_, as_key(time))};
    }
    case TROX_BLOCK_IMAGE: {
        if (!checker_.read_payload(one, head, bytes.data(), sizeof(trox_image_frame_head))) {
            return std::nullopt;
        }
        const auto number =
            trox_detail::load_big_endian<std::uint64_t>(&bytes[offsetof(trox_image_frame_head, event_nm)]);
        return told{mark::image_number, number, find(events_of_number_, number)};
    }
    case TROX_BLOCK_IMAGE_EXT: {
        if (!checker_.read_payload(one, head, bytes.data(), sizeof(trox_image_ext_frame_head))) {
            return std::nullopt;
        }
        const auto number =
            trox_detail::load_big_endian<std::uint32_t>(&bytes[offsetof(trox_image_ext_frame_head, event)]);
        return told{mark::extended_number, number, find(events_of_low_number_, number)};
    }
    default: // other blocks tell nothing
        return std::nullopt;
    }
}

// A mark counts while the records of its kind, and those of its channel, agree with the file: whose event is known
// with that event, the others with one that has room for them, each with another.
void placing::check_marks(const std::vector<std::optional<told>>& marks)
{
    struct tally {
        std::uint64_t good = 0, bad = 0;
    };
    std::array<tally, mark_count> of_kind{};
    std::map<std::uint32_t, tally> of_channel;
    const auto count = [&](mark kind, std::uint32_t channel, bool is_good) {
        for (auto* one : {&of_kind[static_cast<std::size_t>(kind)], &of_channel[channel]}) {
            ++(is_good ? one->good : one->bad);
        }
    };
    constexpr std::uint64_t enough = 64; // records with rows, per channel
    std::unordered_map<std::uint32_t, std::uint64_t> looked_at;
    for (const auto& one : file_.records) {
        const auto known = looked_at[one.channel]++ < enough ? read_mark(one) : std::nullopt;
        if (known) {
            count(known->kind, one.channel,
                  known->events != nullptr &&
                      std::find(known->events->begin(), known->events->end(), one.event) != known->events->end());
        }
    }
    std::map<std::pair<std::uint32_t, const void*>, std::size_t> seen;
    for (std::size_t i = 0; i < marks.size(); ++i) {
        if (!marks[i]) {
            continue;
        }
        const auto* events = marks[i]->events;
        const auto has_place = [&](std::uint32_t event) {
            const auto& blocks = blocks_of_event_[event];
            return std::any_of(blocks.begin(), blocks.end(),
                               [&](std::uint32_t which) { return has_room(file_.orphans[i], which); });
        };
        // As many records may have a number as there are events of it.
        const bool is_good = events != nullptr && std::any_of(events->begin(), events->end(), has_place) &&
                             ++seen[{file_.orphans[i].channel, events}] <= events->size();
        count(marks[i]->kind, file_.orphans[i].channel, is_good);
        told_[i] = is_good ? events : nullptr;
    }
    for (std::size_t i = 0; i < marks.size(); ++i) {
        if (marks[i]) {
            const auto& kind = of_kind[static_cast<std::size_t>(marks[i]->kind)];
            const auto& own = of_channel[file_.orphans[i].channel];
            if (!is_trusted(kind.good, kind.bad) || !is_trusted(own.good, own.bad)) {
                told_[i] = nullptr;
            }
        }
    }
}

// Whether the file keeps the records of a channel in the order of the events: by those whose event is known, or that
// carry it; where a channel's times are those of no events, by the times.
void placing::look_for_order(const std::vector<std::optional<told>>& marks)
{
    struct known_place {
        std::uint32_t channel;
        std::uint64_t order; // event, or time
        std::uint64_t position;
    };
    std::unordered_set<std::uint32_t> are_told;
    for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
        if (told_[i] != nullptr) {
            are_told.insert(file_.orphans[i].channel);
        }
    }
    std::vector<known_place> places;
    // Data away from their sub-heads, and shared sub-heads, say nothing of the order of records.
    const auto is_in_one_piece = [&](const record& one) {
        return !one.is_slow || one.data == one.subhead + file_.layout.sizes().subhead;
    };
    for (const auto& one : file_.records) {
        if (is_in_one_piece(one)) {
            places.push_back({one.channel, one.event, one.subhead});
            are_told.insert(one.channel);
        }
    }
    for (std::size_t i = 0; i < file_.orphans.size(); ++i) {
        const auto& one = file_.orphans[i];
        if (!is_in_one_piece(one) || !marks[i]) {
            continue;
        }
        if (told_[i] != nullptr) {
            places.push_back({one.channel, told_[i]->front(), one.subhead});
        } else if (one.is_slow && are_told.count(one.channel) == 0) {
            places.push_back({one.channel, marks[i]->value, one.subhead});
        }
    }
    std::sort(places.begin(), places.end(), [](const known_place& a, const known_place& b) {
        return std::pair(a.channel, a.position) < std::pair(b.channel, b.position);
    });
    for (std::size_t i = 1; i < places.size(); ++i) {
        if (places[i].channel == places[i - 1].channel && places[i].order != places[i - 1].order) {
            ++(places[i].order > places[i - 1].order ? for_order : against_order);
        }
    }
}

std::vector<std::uint32_t> placing::open_blocks() const
{
    std::vector<std::uint32_t> open;
    for (std::uint32_t i = 0; i < file_.walked_blocks; ++i) {
        if (file_.blocks[i].records_left > 0 || !file_.blocks[i].is_countable) {
            open.push_back(i);
        }
    }
    return open;
}

std::vector<std::uint32_t> placing::blocks_of(const std::vector<std::uint32_t>& events) const
{
    std::vector<std::uint32_t> blocks;
    for (const auto event : events) {
        blocks.insert(blocks.end(), blocks_of_event_[event].begin(), blocks_of_event_[event].end());
    }
    return blocks;
}

bool placing::has_room(const record& one, std::uint32_t which) const
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
    const bool is_long_enough =
        to.records_left == 1 ? to.bytes_left == length : to.bytes_left - length >= (to.records_left - 1) * least;
    return (!to.is_countable || is_long_enough) && !is_taken(one.channel, to.event);
}

bool placing::fits(std::size_t orphan, std::uint32_t which) const
{
    const auto* events = told_[orphan];
    return (events == nullptr || std::binary_search(events->begin(), events->end(), file_.blocks[which].event)) &&
           has_room(file_.orphans[orphan], which);
}

void placing::assign(std::size_t orphan, std::uint32_t which)
{
    auto& one = file_.orphans[orphan];
    auto& its_block = file_.blocks[which];
    assigned_[orphan] = which;
    one.event = its_block.event;
    one.block = which;
    --its_block.records_left;
    its_block.bytes_left -= static_cast<std::int64_t>(one.length);
    taken_.insert(key(one.channel, one.event));
    if (server_of_channel_[one.channel] == no_index) {
        server_of_channel_[one.channel] = server_of_block_[which];
    }
}

void placing::restore(const state& before)
{
    for (std::size_t i = 0; i < assigned_.size(); ++i) {
        if (assigned_[i] == before.assigned[i]) {
            continue;
        }
        auto& one = file_.orphans[i];
        auto& its_block = file_.blocks[assigned_[i]];
        ++its_block.records_left;
        its_block.bytes_left += static_cast<std::int64_t>(one.length);
        taken_.erase(key(one.channel, one.event));
        one.event = no_index;
        one.block = no_index;
    }
    assigned_ = before.assigned;
    server_of_channel_ = before.servers;
}

} // namespace trox::recovery
