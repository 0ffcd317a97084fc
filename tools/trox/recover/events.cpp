#include "events.h"

#include "tables.h"

#include <algorithm>
#include <map>
#include <unordered_set>

namespace trox::recovery
{
namespace
{

// How much of a number a server block's pulse number has: writers keep 31 or 32 bits of it, or all.
bool is_pulse_of(std::int64_t mpulse, std::uint64_t number) noexcept
{
    constexpr std::uint64_t bits_31 = 0x7FFFFFFF;
    constexpr std::uint64_t bits_32 = 0xFFFFFFFF;
    const auto pulse = static_cast<std::uint64_t>(mpulse);
    return pulse == number || pulse == (number & bits_31) || (pulse & bits_32) == (number & bits_32);
}

bool is_equal(const index_entry& entry, const event_values& head) noexcept
{
    return entry.info.number == head.number && entry.type == head.type && same_time(entry.info.time, head.time);
}

class event_finder
{
public:
    event_finder(found& file, patterns& scanned)
        : file_(file), scanned_(scanned), size_(file.layout.sizes().event_header)
    {
    }

    void run()
    {
        for (std::uint32_t i = 0; i < file_.index.size(); ++i) {
            by_position_.emplace(file_.index[i].info.offset, i);
        }
        const auto& basket = file_.table(item::event_headers);
        if (basket.is_there()) {
            walk(basket.position + file_.layout.sizes().table_head, basket.end());
        }
        look_at_index();
        if (!basket.is_there() && file_.index.empty()) {
            take_runs_of_patterns();
        }
        rebuild();
        for (auto& [position, found_event] : events_) {
            file_.events.push_back(std::move(found_event));
        }
    }

private:
    bool read(std::uint64_t position, event_values& head)
    {
        bytes_.resize(size_);
        if (!file_.file.read(position, bytes_.data(), bytes_.size())) {
            return false;
        }
        head = file_.layout.event(bytes_.data());
        return true;
    }

    bool is_free(std::uint64_t position) const
    {
        const auto next = events_.lower_bound(position);
        const bool behind = next == events_.end() || next->first - position >= size_;
        const bool before = next == events_.begin() || position - std::prev(next)->first >= size_;
        return behind && before;
    }

    void add(std::uint64_t position, const event_values& head)
    {
        event added;
        added.position = position;
        added.head = head;
        events_.emplace(position, std::move(added));
    }

    void walk(std::uint64_t position, std::uint64_t end)
    {
        event_values head;
        while (position < end && read(position, head)) {
            const auto known = by_position_.find(position);
            const bool is_indexed = known != by_position_.end() && is_plausible_event(file_.layout, head) &&
                                    (file_.layout.generation() == writer::generation::v2010 ||
                                     head.pattern == file_.layout.sizes().event_pattern);
            if (is_indexed || is_certain_event(file_.layout, head)) {
                add(position, head);
                position += size_;
            } else {
                ++position;
            }
        }
        // Where the basket's length is damaged, more headers may follow.
        while (position >= end && read(position, head) && is_certain_event(file_.layout, head)) {
            add(position, head);
            position += size_;
        }
    }

    // Headers that the index points at, where the basket is not to be found.
    void look_at_index()
    {
        for (const auto& [position, entry] : by_position_) {
            event_values head;
            if (events_.count(position) == 0 && is_free(position) && read(position, head) &&
                is_plausible_event(file_.layout, head) && is_equal(file_.index[entry], head)) {
                add(position, head);
            }
        }
    }

    // Without basket and index: headers that directly follow each other. One alone may be anything.
    void take_runs_of_patterns()
    {
        std::uint64_t before = 0;
        event_values before_head;
        for (const auto position : scanned_.get().events) {
            event_values head;
            if (!read(position, head) || !is_certain_event(file_.layout, head)) {
                continue;
            }
            if (before != 0 && position - before == size_) {
                if (events_.count(before) == 0 && is_free(before)) {
                    add(before, before_head);
                }
                add(position, head);
            }
            before = position;
            before_head = head;
        }
    }

    // Events of the index without a header; those that disagree with theirs are settled later.
    void rebuild()
    {
        std::multimap<std::uint64_t, event*> numbers;
        for (auto& [position, known] : events_) {
            numbers.emplace(known.head.number, &known);
        }
        std::unordered_set<const event*> confirmed;
        std::vector<std::uint32_t> left;
        for (std::uint32_t i = 0; i < file_.index.size(); ++i) {
            const auto [first, last] = numbers.equal_range(file_.index[i].info.number);
            const auto same = std::find_if(
                first, last, [&](const auto& known) { return is_equal(file_.index[i], known.second->head); });
            if (same != last) {
                same->second->is_indexed = true;
                confirmed.insert(same->second); // wherever the entry's offset leads to
            } else {
                left.push_back(i);
            }
        }
        for (const auto i : left) {
            const auto at = events_.find(file_.index[i].info.offset);
            if (at != events_.end() && confirmed.count(&at->second) == 0) {
                at->second.index_entry = i;
                at->second.is_indexed = true;
            } else {
                rebuild_event(file_.index[i]);
            }
        }
    }

    void rebuild_event(const index_entry& entry)
    {
        const auto position = entry.info.offset;
        const auto& basket = file_.table(item::event_headers);
        const auto first = basket.position + file_.layout.sizes().table_head;
        if (basket.is_there() && !basket.cut &&
            (position < first || position > basket.end() - std::min(basket.end(), size_) || !is_free(position))) {
            file_.result.remarks.push_back("event index: the entry of event " + std::to_string(entry.info.number) +
                                           " is damaged; it leads to no event header");
            return;
        }
        if (!is_time(entry.info.time) || position == 0 || size_ > file_.file.rest(position) || !is_free(position)) {
            file_.result.lost_events.push_back(
                {entry.info.number, position, "the event index tells of it, but there is no event header"});
            return;
        }
        event added;
        added.position = position;
        added.head.number = entry.info.number;
        added.head.time = entry.info.time;
        added.head.type = entry.type;
        added.is_rebuilt = true;
        events_.emplace(position, std::move(added));
    }

    found& file_;
    patterns& scanned_;
    std::uint64_t size_;
    std::vector<unsigned char> bytes_;
    std::map<std::uint64_t, event> events_;
    std::map<std::uint64_t, std::uint32_t> by_position_; // the index, by the headers' positions
};

// What an event's blocks say about one of two values: +1 for the header's, -1 for the index's, 0 for neither or both.
template <class Matches> int vote(const found& file, const std::vector<std::uint32_t>& blocks, Matches matches)
{
    int header = 0;
    int index = 0;
    for (const auto one : blocks) {
        header += matches(file.blocks[one].head, true) ? 1 : 0;
        index += matches(file.blocks[one].head, false) ? 1 : 0;
    }
    return header == index ? 0 : (header > index ? 1 : -1);
}

// Numbers and times rise from event to event: of two values, the one that is nearer to those of the events before and
// behind.
template <class Get> int vote_of_neighbours(const found& file, std::uint32_t which, std::uint64_t indexed, Get get)
{
    const auto distance = [](std::uint64_t a, std::uint64_t b) { return a < b ? b - a : a - b; };
    const auto header = get(file.events[which].head);
    int votes = 0;
    for (const auto other : {which - 1, which + 1}) { // below the first is above the last
        if (other < file.events.size() && file.events[other].index_entry == no_index) {
            const auto value = get(file.events[other].head);
            const auto of_header = distance(header, value);
            const auto of_index = distance(indexed, value);
            votes += (of_header < of_index ? 1 : 0) - (of_index < of_header ? 1 : 0);
        }
    }
    return votes > 0 ? 1 : (votes < 0 ? -1 : 0);
}

std::uint64_t microseconds(time_stamp time)
{
    constexpr std::uint64_t in_a_second = 1'000'000;
    return time.timeup * in_a_second + time.timelow;
}

// The file reference table tells the type of an index entry, too.
int vote_of_references(const found& file, std::int64_t type, const index_entry& entry)
{
    const auto& references = file.reference_table.event_entries;
    if (!file.references.is_there()) {
        return 0;
    }
    if (references[static_cast<std::size_t>(entry.type)] == entry.entry) {
        return -1;
    }
    return references[static_cast<std::size_t>(type)] == entry.entry ? 1 : 0;
}

void settle(found& file, std::uint32_t which, const std::vector<std::uint32_t>& blocks)
{
    auto& one = file.events[which];
    const auto& entry = file.index[one.index_entry];
    const auto by_pulse = [&](const block_values& head, bool header) {
        return is_pulse_of(head.mpulse, header ? one.head.number : entry.info.number);
    };
    const auto by_time = [&](const block_values& head, bool header) {
        return same_time(head.time, header ? one.head.time : entry.info.time);
    };
    int number = one.head.number == entry.info.number ? 1 : vote(file, blocks, by_pulse);
    if (number == 0) {
        number =
            vote_of_neighbours(file, which, entry.info.number, [](const event_values& head) { return head.number; });
    }
    int time = same_time(one.head.time, entry.info.time) ? 1 : vote(file, blocks, by_time);
    if (time == 0) {
        time = vote_of_neighbours(file, which, microseconds(entry.info.time),
                                  [](const event_values& head) { return microseconds(head.time); });
    }
    const int type = one.head.type == entry.type ? 1 : vote_of_references(file, one.head.type, entry);
    if (number == 0 || time == 0 || type == 0) {
        one.lost = "event header and event index tell different things of it";
        return;
    }
    if (number < 0) {
        one.head.number = entry.info.number;
    }
    if (time < 0) {
        one.head.time = entry.info.time;
    }
    if (type < 0) {
        one.head.type = entry.type;
    }
}

// Events that the index does not tell of, and whose number, or time, none of their server blocks has, although the
// blocks of such a server mostly do.
void doubt_events(found& file, const std::unordered_map<std::uint32_t, std::vector<std::uint32_t>>& blocks)
{
    const auto doubt = [&](const char* what, auto agrees) {
        std::unordered_map<std::string, std::int64_t> agreement; // blocks that agree, less those that do not
        for (const auto& one : file.blocks) {
            if (one.event != no_index && !one.is_rebuilt) {
                agreement[one.head.server.text] += agrees(one.head, file.events[one.event].head) ? 1 : -1;
            }
        }
        for (std::uint32_t i = 0; i < file.events.size(); ++i) {
            const auto known = blocks.find(i);
            if (file.events[i].is_indexed || file.events[i].is_rebuilt || known == blocks.end()) {
                continue;
            }
            const auto contradicts = [&](std::uint32_t which) {
                const auto& head = file.blocks[which].head;
                return agreement[head.server.text] > 0 && !agrees(head, file.events[i].head);
            };
            if (std::all_of(known->second.begin(), known->second.end(), contradicts)) {
                file.lose(
                    "event " + std::to_string(file.events[i].head.number) + ": its " + what +
                    " cannot be confirmed; its server blocks have another, and the event index does not tell of it");
            }
        }
    };
    doubt("number",
          [](const block_values& of, const event_values& event) { return is_pulse_of(of.mpulse, event.number); });
    doubt("time", [](const block_values& of, const event_values& event) { return same_time(of.time, event.time); });
}

template <class List> std::uint32_t at_position(const List& list, std::size_t count, std::uint64_t position) noexcept
{
    const auto end = list.begin() + static_cast<std::ptrdiff_t>(count);
    const auto place = std::lower_bound(list.begin(), end, position,
                                        [](const auto& one, std::uint64_t at) { return one.position < at; });
    return place != end && place->position == position ? static_cast<std::uint32_t>(place - list.begin()) : no_index;
}

} // namespace

bool agree(const block_values& block, const event_values& event) noexcept
{
    return is_pulse_of(block.mpulse, event.number) || same_time(block.time, event.time);
}

std::uint32_t event_at(const found& file, std::uint64_t position) noexcept
{
    return at_position(file.events, file.events.size(), position);
}

std::uint32_t block_at(const found& file, std::uint64_t position) noexcept
{
    return at_position(file.blocks, file.walked_blocks, position);
}

void find_events(found& file, patterns& scanned)
{
    event_finder(file, scanned).run();
}

void settle_events(found& file)
{
    std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> blocks;
    for (std::uint32_t i = 0; i < file.blocks.size(); ++i) {
        if (file.blocks[i].event != no_index && !file.blocks[i].is_rebuilt) {
            blocks[file.blocks[i].event].push_back(i);
        }
    }
    for (std::uint32_t i = 0; i < file.events.size(); ++i) {
        if (file.events[i].index_entry != no_index) {
            settle(file, i, blocks[i]);
        }
    }
    doubt_events(file, blocks);
}

} // namespace trox::recovery
