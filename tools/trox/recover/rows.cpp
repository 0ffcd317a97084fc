#include "rows.h"

#include "events.h"

#include <algorithm>
#include <map>
#include <unordered_map>

namespace trox::recovery
{
namespace
{

// Rows of one column, as they stand in the file.
class column_rows
{
public:
    explicit column_rows(found& file) : file_(file) {}

    std::uint64_t position(std::uint64_t column, std::uint64_t row) const
    {
        const auto& sizes = file_.layout.sizes();
        return file_.table(item::pointers).position + sizes.pointers_head +
               (column * file_.rows_per_column + row) * sizes.row;
    }

    // The rows up to the last that is not empty, and as many as the dictionary counts.
    std::vector<row_values> read(std::uint64_t column, std::int64_t count)
    {
        const auto& sizes = file_.layout.sizes();
        const auto begin = position(column, 0);
        const auto room = (file_.table(item::pointers).end() - begin) / sizes.row;
        const auto rows = std::min(room, file_.rows_per_column);
        std::vector<row_values> result;
        std::size_t used = 0;
        byte_stream stream(file_.file, begin, begin + rows * sizes.row);
        for (const auto* piece = &stream.next(); !piece->empty(); piece = &stream.next()) {
            // Pieces are a multiple of any row's size, but for the last one.
            for (std::size_t at = 0; sizes.row <= piece->size() - at; at += sizes.row) {
                result.push_back(translate(file_.layout.row(piece->data() + at)));
                if (!result.back().is_empty()) {
                    used = result.size();
                }
            }
        }
        const auto counted = count < 0 ? 0 : std::min<std::uint64_t>(static_cast<std::uint64_t>(count), rows);
        result.resize(std::max<std::uint64_t>(used, counted));
        return result;
    }

private:
    row_values translate(const row_values& row) const
    {
        const auto& shifts = file_.shifts;
        return {shifts.find(row.evhd), shifts.find(row.sbhd), shifts.find(row.chhd), shifts.find(row.data)};
    }

    found& file_;
};

class row_follower
{
public:
    row_follower(found& file, channel_names& names, record_checker& checker)
        : file_(file), names_(names), checker_(checker), rows_(file)
    {
    }

    void run()
    {
        if (!file_.table(item::pointers).is_there()) {
            return;
        }
        if (!file_.are_blocks_whole) {
            for (std::uint64_t column = 0; column < file_.columns; ++column) {
                count_votes(rows_.read(column, -1));
            }
        }
        for (std::uint64_t column = 0; column < file_.columns; ++column) {
            const auto count = column < file_.listed ? file_.channels[column].count : -1;
            follow(column, rows_.read(column, count));
        }
    }

private:
    struct candidate {
        record found_record;
        std::uint64_t row = 0;
        bool is_weak = false; // its two positions contradict each other
    };

    // Which event the rows give a block that the order of blocks has left open.
    void count_votes(const std::vector<row_values>& rows)
    {
        for (const auto& row : rows) {
            const auto block = block_at(file_, row.sbhd);
            const auto event = event_at(file_, row.evhd);
            if (block == no_index || event == no_index || file_.blocks[block].is_by_order) {
                continue;
            }
            const auto [vote, is_first] = votes_.emplace(block, event);
            if (!is_first && vote->second != event) {
                vote->second = no_index;
            }
        }
    }

    void follow(std::uint64_t column, const std::vector<row_values>& rows)
    {
        if (rows.empty()) {
            return;
        }
        const auto channel = channel_of(column, rows);
        if (channel == no_index) {
            for (std::uint64_t row = 0; row < rows.size(); ++row) {
                if (!rows[row].is_empty()) {
                    add_bad(no_index, column, row, no_index, no_index, "no channel can be told for it");
                }
            }
            return;
        }
        const auto end = find_basket(channel, rows);
        const auto count = file_.channels[channel].count;
        std::vector<candidate> candidates;
        for (std::uint64_t row = 0; row < rows.size(); ++row) {
            const auto known = file_.bad_rows.size();
            follow_row(column, row, rows[row], channel, end, candidates);
            if (count >= 0 && row >= static_cast<std::uint64_t>(count)) {
                file_.bad_rows.resize(known); // rows that are not counted are none, unless they lead to a record
            }
        }
        if (candidates.empty()) {
            file_.channels[channel].basket = 0; // what the rows point at is not the channel's
            file_.channels[channel].basket_end = 0;
        }
        keep_single(column, candidates);
    }

    std::uint32_t channel_of(std::uint64_t column, const std::vector<row_values>& rows)
    {
        const bool is_listed = column < file_.listed;
        if (is_listed && !file_.channels[column].name.empty()) {
            names_.correct(static_cast<std::uint32_t>(column), rows);
            return static_cast<std::uint32_t>(column);
        }
        for (const auto& row : rows) {
            if (row.chhd == 0) {
                continue;
            }
            if (is_listed && names_.name_channel(static_cast<std::uint32_t>(column), row.chhd, row.data)) {
                return static_cast<std::uint32_t>(column);
            }
            const auto channel = is_listed ? no_index : names_.find(row.chhd, row.data);
            if (channel != no_index) {
                return channel;
            }
        }
        return no_index;
    }

    std::uint64_t find_basket(std::uint32_t channel, const std::vector<row_values>& rows)
    {
        auto& owner = file_.channels[channel];
        std::uint64_t begin = 0;
        auto end = basket_end(file_, rows.front().chhd, begin);
        const auto is_outside = [&](const row_values& row) {
            return row.chhd >= end && row.chhd < file_.file.length();
        };
        if (begin != 0 && std::any_of(rows.begin(), rows.end(), is_outside)) {
            end = file_.file.length(); // its length contradicts the rows
        }
        owner.basket = owner.told_basket = begin;
        owner.basket_end = end;
        return end;
    }

    void add_bad(std::uint32_t channel, std::uint64_t column, std::uint64_t row, std::uint32_t event,
                 std::uint32_t block, std::string reason)
    {
        file_.bad_rows.push_back({channel, event, block, rows_.position(column, row), std::move(reason)});
    }

    void follow_row(std::uint64_t column, std::uint64_t row, const row_values& at, std::uint32_t channel,
                    std::uint64_t end, std::vector<candidate>& candidates)
    {
        if (at.is_empty()) {
            add_bad(channel, column, row, no_index, no_index, "its row in the pointers table is empty");
            file_.bad_rows.back().is_empty = true;
            return;
        }
        std::uint32_t event = no_index;
        std::uint32_t block = no_index;
        const auto why = find_place(at, event, block);
        if (!why.empty()) {
            add_bad(channel, column, row, event, block, why);
            return;
        }
        auto checked = checker_.check(file_.channels[channel], at.chhd, at.data, end);
        bool is_doubtful = false;
        if (!checked.damage.empty() && end < file_.file.length()) {
            // The basket's length may be what is damaged: a record that decodes beyond its end shows that.
            auto beyond = checker_.check(file_.channels[channel], at.chhd, at.data, file_.file.length());
            if (beyond.damage.empty()) {
                is_doubtful = !beyond.is_slow && !beyond.head.is_zipped();
                checked = std::move(beyond);
            }
        }
        if (checked.length == 0 || (checked.is_slow && !checked.damage.empty())) {
            add_bad(channel, column, row, event, block, "its row leads to no record: " + checked.damage);
            return;
        }
        candidate found_one;
        found_one.row = row;
        found_one.is_weak = !checked.is_slow && at.data != at.chhd + file_.layout.sizes().subhead;
        found_one.found_record = {channel,        event,           block, checked.stored, at.chhd,       checked.data,
                                  checked.length, checked.is_slow, false, is_doubtful,    checked.damage};
        found_one.found_record.fault = checked.fault;
        candidates.push_back(std::move(found_one));
    }

    // Event and server block of a row; a text when they are not certain.
    std::string find_place(const row_values& at, std::uint32_t& event, std::uint32_t& block)
    {
        event = event_at(file_, at.evhd);
        block = block_at(file_, at.sbhd);
        if (event == no_index && block != no_index && file_.blocks[block].is_by_order) {
            event = file_.blocks[block].event; // the block tells
        }
        if (event == no_index) {
            return "its row points at no event header";
        }
        if (block == no_index) {
            block = rebuilt_block(at.sbhd, event);
            return block == no_index ? "its row points at no server block head" : "";
        }
        auto& its_block = file_.blocks[block];
        if (its_block.event == no_index) {
            const auto vote = votes_.find(block);
            const bool is_certain =
                agree(its_block.head, file_.events[event].head) || (vote != votes_.end() && vote->second == event);
            if (!is_certain) {
                return "its row points at event and server block that do not belong together";
            }
            its_block.event = event;
        }
        if (its_block.event != event) {
            event = no_index;
            block = no_index;
            return "its row points at event and server block of different events";
        }
        return {};
    }

    // A block whose head cannot be read: where one can be, and the event lacks one.
    std::uint32_t rebuilt_block(std::uint64_t position, std::uint32_t event)
    {
        const auto known = rebuilt_.find(position);
        if (known != rebuilt_.end()) {
            return file_.blocks[known->second].event == event ? known->second : no_index;
        }
        const auto size = file_.layout.sizes().server_head;
        const auto& owner = file_.events[event];
        const bool has_all = owner.first_block != no_index && !owner.is_rebuilt;
        if (position == 0 || size > file_.file.rest(position) || has_all || !is_free(position, size)) {
            return no_index;
        }
        block added;
        added.position = position;
        added.head.time = owner.head.time;
        added.head.mpulse = static_cast<std::int64_t>(owner.head.number & 0x7FFFFFFFU);
        added.event = event;
        added.is_rebuilt = true;
        added.is_countable = false;
        const auto index = static_cast<std::uint32_t>(file_.blocks.size());
        file_.blocks.push_back(std::move(added));
        rebuilt_.emplace(position, index);
        return index;
    }

    bool is_free(std::uint64_t position, std::uint64_t size) const
    {
        const auto walked = file_.blocks.begin() + static_cast<std::ptrdiff_t>(file_.walked_blocks);
        const auto next = std::lower_bound(file_.blocks.begin(), walked, position,
                                           [](const block& one, std::uint64_t at) { return one.position < at; });
        const bool behind = next == walked || next->position - position >= size;
        const bool before = next == file_.blocks.begin() || position - std::prev(next)->position >= size;
        const auto rebuilt = rebuilt_.lower_bound(position);
        const bool behind_rebuilt = rebuilt == rebuilt_.end() || rebuilt->first - position >= size;
        const bool before_rebuilt = rebuilt == rebuilt_.begin() || position - std::prev(rebuilt)->first >= size;
        return behind && before && behind_rebuilt && before_rebuilt;
    }

    // Two rows never have the same data, nor two records of a channel the same event.
    void keep_single(std::uint64_t column, std::vector<candidate>& candidates)
    {
        std::unordered_map<std::uint64_t, std::vector<std::size_t>> by_data;
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            by_data[candidates[i].found_record.data].push_back(i);
        }
        std::unordered_map<std::uint32_t, bool> events;
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            auto& one = candidates[i];
            auto& record = one.found_record;
            const auto& same = by_data[record.data];
            const auto strong =
                std::count_if(same.begin(), same.end(), [&](std::size_t other) { return !candidates[other].is_weak; });
            if (same.size() > 1 && (one.is_weak || strong != 1)) {
                add_bad(record.channel, column, one.row, record.event, record.block, "another row points at its data");
            } else if (!events.emplace(record.event, true).second) {
                add_bad(record.channel, column, one.row, record.event, record.block,
                        "the event has another record of the channel");
            } else {
                file_.records.push_back(std::move(record));
            }
        }
    }

    found& file_;
    channel_names& names_;
    record_checker& checker_;
    column_rows rows_;
    std::unordered_map<std::uint32_t, std::uint32_t> votes_;
    std::map<std::uint64_t, std::uint32_t> rebuilt_;
};

} // namespace

std::uint64_t basket_end(found& file, std::uint64_t first_subhead, std::uint64_t& begin)
{
    const auto head_size = file.layout.sizes().table_head;
    std::vector<unsigned char> head(head_size);
    begin = 0;
    if (first_subhead < head_size || !file.file.read(first_subhead - head_size, head.data(), head.size()) ||
        file.layout.word(head.data()) != pattern_of(item::channel)) {
        return file.file.length();
    }
    begin = first_subhead - head_size;
    const auto length = file.layout.word(head.data() + file.layout.sizes().word);
    return length >= head_size && length <= file.file.rest(begin) ? begin + length : file.file.length();
}

void follow_rows(found& file, channel_names& names, record_checker& checker)
{
    row_follower(file, names, checker).run();
}

} // namespace trox::recovery
