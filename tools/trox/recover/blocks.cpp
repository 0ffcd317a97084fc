#include "events.h"
#include "tables.h"

#include <algorithm>
#include <unordered_set>

namespace trox::recovery
{
namespace
{

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

// The blocks of events that are lost would follow.
bool do_blocks_fill_their_basket(const found& file)
{
    const auto& basket = file.table(item::server_blocks);
    return basket.is_there() && !basket.cut && file.are_blocks_whole && !file.blocks.empty() &&
           file.blocks.back().position + file.layout.sizes().server_head == basket.end();
}

bool do_headers_fill_their_basket(const found& file)
{
    const auto& basket = file.table(item::event_headers);
    if (!basket.is_there() || basket.cut) {
        return false;
    }
    auto position = basket.position + file.layout.sizes().table_head;
    for (const auto& one : file.events) {
        if (one.position != position) {
            return false;
        }
        position += file.layout.sizes().event_header;
    }
    return position >= basket.end();
}

bool does_index_tell_of_all(const found& file)
{
    const auto& index = file.table(item::event_index);
    return index.is_there() && !index.cut && file.index.size() == file.events.size() &&
           std::all_of(file.events.begin(), file.events.end(), [](const event& one) { return one.is_indexed; });
}

} // namespace

void find_blocks(found& file)
{
    block_finder(file).run();
    file.walked_blocks = file.blocks.size();
    block_binder(file).run();
    file.are_events_whole =
        do_blocks_fill_their_basket(file) || do_headers_fill_their_basket(file) || does_index_tell_of_all(file);
}

} // namespace trox::recovery
