#include "match.h"

#include <algorithm>
#include <unordered_set>

namespace trox::recovery
{
namespace
{

// The records of one channel by position: where each begins, and which it is.
struct begin_of_record {
    std::uint32_t channel;
    std::uint64_t begin;
    record* which;
};

std::vector<begin_of_record> by_position(found& file)
{
    std::vector<begin_of_record> result;
    for (auto* list : {&file.records, &file.orphans}) {
        for (auto& one : *list) {
            if (!one.is_slow) {
                result.push_back({one.channel, one.subhead, &one});
            }
        }
    }
    std::sort(result.begin(), result.end(), [](const begin_of_record& a, const begin_of_record& b) {
        return std::pair(a.channel, a.begin) < std::pair(b.channel, b.begin);
    });
    return result;
}

// A record that runs into the next, or whose block misses exactly the bytes to the next, has a damaged length.
void check_lengths(found& file)
{
    const auto order = by_position(file);
    for (std::size_t i = 0; i < order.size(); ++i) {
        auto& one = *order[i].which;
        const bool has_next = i + 1 < order.size() && order[i + 1].channel == order[i].channel;
        const auto end = one.subhead + one.length;
        const auto next = has_next ? order[i + 1].begin : file.channels[one.channel].basket_end;
        if (has_next && one.length != 0 && end > next) {
            one.damage = "it runs into the record behind it";
            continue;
        }
        if (one.block == no_index || one.length == 0) {
            continue;
        }
        const auto& its_block = file.blocks[one.block];
        const auto gap = static_cast<std::int64_t>(next) - static_cast<std::int64_t>(end);
        if (its_block.is_countable && its_block.records_left == 0 && its_block.bytes_left != 0 &&
            its_block.bytes_left == gap && one.damage.empty()) {
            one.damage = "its length contradicts its server block";
        }
    }
}

// Where all blocks have all of their records, empty rows are none that are missing: the dictionary's count is damaged.
void drop_empty_rows(found& file)
{
    const bool is_all_there = file.are_blocks_whole && file.are_events_whole &&
                              std::all_of(file.blocks.begin(), file.blocks.end(), [](const block& one) {
                                  return one.is_countable && one.records_left == 0 && one.bytes_left == 0;
                              });
    if (!is_all_there) {
        return;
    }
    const auto kept =
        std::remove_if(file.bad_rows.begin(), file.bad_rows.end(), [](const bad_row& one) { return one.is_empty; });
    if (kept != file.bad_rows.end()) {
        file.result.remarks.push_back("channel dictionary: records that it counts, and that are none: " +
                                      std::to_string(file.bad_rows.end() - kept));
        file.bad_rows.erase(kept, file.bad_rows.end());
    }
}

} // namespace

void account(found& file)
{
    for (const auto& one : file.records) {
        auto& its_block = file.blocks[one.block];
        --its_block.records_left;
        its_block.bytes_left -= static_cast<std::int64_t>(one.length);
    }
    for (auto& one : file.blocks) {
        const auto least = static_cast<std::int64_t>(file.layout.sizes().subhead);
        one.is_countable = one.is_countable && one.records_left >= 0 &&
                           (one.records_left == 0 || one.bytes_left >= one.records_left * least);
    }
    drop_empty_rows(file);
    check_lengths(file);
    for (auto& one : file.records) {
        const auto& its_block = file.blocks[one.block];
        const bool adds_up = its_block.is_countable && its_block.records_left == 0 && its_block.bytes_left == 0;
        if (one.is_doubtful && !adds_up && one.damage.empty()) {
            one.damage = "its length passes the end of the basket";
        }
    }
    std::unordered_set<std::uint32_t> explained;
    for (const auto& one : file.records) {
        if (!one.damage.empty()) {
            explained.insert(one.block);
        }
    }
    for (std::uint32_t i = 0; i < file.blocks.size(); ++i) {
        auto& one = file.blocks[i];
        one.is_countable = one.is_countable && (one.records_left > 0 || one.bytes_left == 0 || explained.count(i) > 0);
    }
}

} // namespace trox::recovery
