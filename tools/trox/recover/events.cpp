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
        std::multimap<std::uint64_t, const event*> numbers;
        for (const auto& [position, known] : events_) {
            numbers.emplace(known.head.number, &known);
        }
        for (std::uint32_t i = 0; i < file_.index.size(); ++i) {
            const auto& entry = file_.index[i];
            const auto at = events_.find(entry.info.offset);
            if (at != events_.end()) {
                if (!is_equal(entry, at->second.head)) {
                    at->second.index_entry = i;
                }
                continue;
            }
            const auto [first, last] = numbers.equal_range(entry.info.number);
            const bool is_elsewhere =
                std::any_of(first, last, [&](const auto& known) { return is_equal(entry, known.second->head); });
            if (is_elsewhere) {
                continue; // only the index's offset is damaged
            }
            rebuild_event(entry);
        }
    }

    void rebuild_event(const index_entry& entry)
    {
        const auto position = entry.info.offset;
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

class block_finder
{
public:
    explicit block_finder(found& file) : file_(file), size_(file.layout.sizes().server_head), bytes_(size_)
    {
        for (const auto& one : file.events) {
            expected_ += static_cast<std::uint64_t>(one.head.blocks);
            times_.insert(std::uint64_t{one.head.time.timeup} << 32U | one.head.time.timelow);
            numbers_.insert(static_cast<std::uint32_t>(one.head.number) & low_bits);
        }
    }

    void run()
    {
        const auto& basket = file_.table(item::server_blocks);
        if (!basket.is_there()) {
            return;
        }
        auto position = basket.position + file_.layout.sizes().table_head;
        while (position < basket.end() && size_ <= basket.end() - position) {
            block_values head;
            if (is_next(position, basket.cut, head) || is_certain(position, head)) {
                position = add(position, std::move(head));
            } else {
                position = leap(position, basket.end());
            }
        }
        walk_on();
    }

private:
    static constexpr std::uint32_t low_bits = 0x7FFFFFFF;

    bool read(std::uint64_t position, block_values& head)
    {
        if (!file_.file.read(position, bytes_.data(), bytes_.size())) {
            return false;
        }
        head = file_.layout.block(bytes_.data());
        return true;
    }

    bool is_plausible(std::uint64_t position, block_values& head)
    {
        return read(position, head) && is_plausible_block(file_.layout, head);
    }

    // A block directly behind another, or first in its basket, needs less to be one, while the events count more of
    // them.
    bool is_next(std::uint64_t position, bool is_end_unknown, block_values& head)
    {
        const bool follows = next_ == 0 || (position == next_ && file_.blocks.size() < expected_);
        return follows && is_plausible(position, head) && (!is_end_unknown || is_certain_block(file_.layout, head));
    }

    // Also of an event that is there: bytes between two blocks look much like a block.
    bool is_certain(std::uint64_t position, block_values& head)
    {
        return read(position, head) && is_certain_block(file_.layout, head) &&
               (times_.count(std::uint64_t{head.time.timeup} << 32U | head.time.timelow) > 0 ||
                numbers_.count(static_cast<std::uint32_t>(head.mpulse) & low_bits) > 0);
    }

    // From what is no block to where the next may be: behind a damaged one, else anywhere.
    std::uint64_t leap(std::uint64_t position, std::uint64_t end)
    {
        block_values head;
        for (auto next = position + size_; next < end && size_ <= end - next; next += size_) {
            if (is_certain(next, head)) {
                return next;
            }
            if (next - position >= most_damaged * size_) {
                break;
            }
        }
        return position + 1;
    }

    // Where the basket's length is damaged, more blocks may follow.
    void walk_on()
    {
        block_values head;
        while (next_ != 0 && file_.blocks.size() < expected_ && is_certain(next_, head)) {
            add(next_, std::move(head));
        }
    }

    std::uint64_t add(std::uint64_t position, block_values head)
    {
        block added;
        added.position = position;
        added.records_left = head.nchan;
        added.bytes_left = head.ltotal - static_cast<std::int64_t>(size_);
        added.head = std::move(head);
        file_.blocks.push_back(std::move(added));
        next_ = position + size_;
        return next_;
    }

    static constexpr std::uint64_t most_damaged = 4; // blocks in a row; behind more, any place is as good

    found& file_;
    std::uint64_t size_;
    std::vector<unsigned char> bytes_;
    std::uint64_t expected_ = 0;
    std::uint64_t next_ = 0; // behind the last block
    std::unordered_set<std::uint64_t> times_;
    std::unordered_set<std::uint32_t> numbers_;
};

// Blocks lie in the order of their events, and an event's length counts its blocks: so a run of blocks that adds up is
// the event's.
class block_binder
{
public:
    explicit block_binder(found& file) : file_(file) {}

    void run()
    {
        file_.are_blocks_whole = bind_all();
        if (!file_.are_blocks_whole) {
            bind_some();
        }
    }

private:
    bool adds_up(const event& to, std::size_t first) const
    {
        const auto count = static_cast<std::uint64_t>(to.head.blocks);
        if (count > file_.blocks.size() - first) {
            return false;
        }
        auto length = static_cast<std::uint64_t>(file_.layout.sizes().event_header);
        for (std::size_t i = first; i < first + count; ++i) {
            length += static_cast<std::uint64_t>(file_.blocks[i].head.ltotal);
        }
        return length == to.head.length;
    }

    void bind(std::uint32_t to, std::size_t first)
    {
        auto& owner = file_.events[to];
        owner.first_block = static_cast<std::uint32_t>(first);
        owner.block_count = static_cast<std::uint32_t>(owner.head.blocks);
        for (std::size_t i = first; i < first + owner.block_count; ++i) {
            file_.blocks[i].event = to;
            file_.blocks[i].is_by_order = true;
        }
    }

    bool bind_all()
    {
        std::size_t next = 0;
        for (const auto& one : file_.events) {
            if (one.is_rebuilt || !adds_up(one, next)) {
                return false;
            }
            next += static_cast<std::size_t>(one.head.blocks);
        }
        if (next != file_.blocks.size()) {
            return false;
        }
        next = 0;
        for (std::uint32_t i = 0; i < file_.events.size(); ++i) {
            bind(i, next);
            next += file_.events[i].block_count;
        }
        return true;
    }

    // With events or blocks missing, every block must also have the event's number or time.
    void bind_some()
    {
        constexpr std::size_t look_ahead = 256;
        std::size_t next = 0;
        for (std::uint32_t i = 0; i < file_.events.size(); ++i) {
            const auto& one = file_.events[i];
            if (one.is_rebuilt || one.head.blocks == 0) {
                continue;
            }
            const auto end = std::min(file_.blocks.size(), next + look_ahead);
            for (auto first = next; first < end; ++first) {
                if (adds_up(one, first) && all_agree(one, first)) {
                    bind(i, first);
                    next = first + file_.events[i].block_count;
                    break;
                }
            }
        }
    }

    bool all_agree(const event& to, std::size_t first) const
    {
        for (std::size_t i = first; i < first + static_cast<std::size_t>(to.head.blocks); ++i) {
            if (!agree(file_.blocks[i].head, to.head)) {
                return false;
            }
        }
        return true;
    }

    found& file_;
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
    int time = same_time(one.head.time, entry.info.time) ? 1 : vote(file, blocks, by_time);
    const int type = one.head.type == entry.type ? 1 : (entry.is_type_confirmed ? -1 : 0);
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

void find_blocks(found& file)
{
    block_finder(file).run();
    file.walked_blocks = file.blocks.size();
    block_binder(file).run();
}

void settle_events(found& file)
{
    std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> blocks;
    for (std::uint32_t i = 0; i < file.events.size(); ++i) {
        if (file.events[i].index_entry != no_index) {
            blocks[i];
        }
    }
    for (std::uint32_t i = 0; i < file.blocks.size(); ++i) {
        if (const auto of = blocks.find(file.blocks[i].event); of != blocks.end() && !file.blocks[i].is_rebuilt) {
            of->second.push_back(i);
        }
    }
    for (const auto& [which, its_blocks] : blocks) {
        settle(file, which, its_blocks);
    }
}

} // namespace trox::recovery
