#include "match.h"

#include <algorithm>
#include <set>
#include <unordered_map>

namespace trox::recovery
{
namespace
{

// What rows lead to in one block.
struct tally {
    std::int64_t records = 0; // undamaged
    std::int64_t bytes = 0;
    std::int64_t damaged = 0;
};

class row_doubter
{
public:
    row_doubter(found& file, record_checker& checker) : file_(file), checker_(checker) {}

    void run()
    {
        tallies_.resize(file_.blocks.size());
        for (const auto& one : file_.records) {
            auto& known = tallies_[one.block];
            known.damaged += one.damage.empty() ? 0 : 1;
            known.records += one.damage.empty() ? 1 : 0;
            known.bytes += one.damage.empty() ? static_cast<std::int64_t>(one.length) : 0;
        }
        bool is_any_doubtful = false;
        for (std::size_t i = 0; i < file_.blocks.size(); ++i) {
            auto& one = file_.blocks[i];
            one.is_doubtful = !one.is_rebuilt && one.event != no_index && !agrees(one, tallies_[i]);
            is_any_doubtful = is_any_doubtful || one.is_doubtful;
        }
        if (is_any_doubtful) {
            count_bytes_behind_values();
            clear_explained();
            find_wrong_lengths();
            take_out();
        }
    }

private:
    // A count of bytes that is met exactly proves the records, whatever the count of records says.
    bool agrees(const block& one, const tally& known) const
    {
        const auto least = static_cast<std::int64_t>(file_.layout.sizes().subhead);
        const auto left = one.head.ltotal - static_cast<std::int64_t>(file_.layout.sizes().server_head) - known.bytes;
        const auto missing = one.head.nchan - known.records;
        if (left == 0) {
            return known.damaged == 0 || missing == 0;
        }
        return missing > 0 && missing >= known.damaged && left >= missing * least;
    }

    // The value of a slow record may be followed by more bytes, which its sub-head counts.
    void count_bytes_behind_values()
    {
        std::unordered_map<std::uint64_t, int> sharers;
        for (const auto& one : file_.records) {
            sharers[one.subhead] += one.is_slow ? 1 : 0;
        }
        for (const auto& one : file_.records) {
            const auto size = file_.layout.sizes().subhead;
            subhead_values head;
            if (file_.blocks[one.block].is_doubtful && one.damage.empty() && one.is_slow && sharers[one.subhead] == 1 &&
                one.data == one.subhead + size && checker_.read_subhead(one.subhead, head) &&
                static_cast<std::uint64_t>(head.ldata) > one.length) {
                tallies_[one.block].bytes += head.ldata - static_cast<std::int64_t>(one.length);
            }
        }
        for (std::size_t i = 0; i < file_.blocks.size(); ++i) {
            file_.blocks[i].is_doubtful = file_.blocks[i].is_doubtful && !agrees(file_.blocks[i], tallies_[i]);
        }
    }

    // The length of the event counts what its rows lead to: then the length of the block is what is damaged.
    void clear_explained()
    {
        struct sum {
            std::int64_t bytes = 0;
            bool is_doubtful = false;
        };
        std::unordered_map<std::uint32_t, sum> events;
        for (std::size_t i = 0; i < file_.blocks.size(); ++i) {
            const auto& one = file_.blocks[i];
            if (one.event == no_index || file_.events[one.event].is_rebuilt) {
                continue;
            }
            auto& known = events[one.event];
            known.is_doubtful = known.is_doubtful || one.is_doubtful;
            known.bytes += one.is_doubtful
                               ? static_cast<std::int64_t>(file_.layout.sizes().server_head) + tallies_[i].bytes
                               : one.head.ltotal;
        }
        const auto head = static_cast<std::int64_t>(file_.layout.sizes().event_header);
        for (auto& one : file_.blocks) {
            const auto known = one.is_doubtful ? events.find(one.event) : events.end();
            if (known != events.end() &&
                known->second.bytes + head == static_cast<std::int64_t>(file_.events[one.event].head.length)) {
                one.is_doubtful = false;
            }
        }
    }

    // Where the block misses, or has too many, exactly the bytes between one of its records and the next in the basket,
    // the length of that record is what is damaged.
    void find_wrong_lengths()
    {
        std::unordered_map<std::uint32_t, std::set<std::uint64_t>> begins;
        for (const auto& one : file_.records) {
            begins[one.channel].insert(one.subhead);
        }
        std::unordered_map<std::uint32_t, std::vector<record*>> wrong;
        for (auto& one : file_.records) {
            const auto& its_block = file_.blocks[one.block];
            if (!its_block.is_doubtful || one.is_slow || !one.damage.empty() ||
                its_block.head.nchan != tallies_[one.block].records) {
                continue;
            }
            const auto& known = begins[one.channel];
            const auto next = known.upper_bound(one.subhead);
            const auto end = next == known.end() ? file_.channels[one.channel].basket_end : *next;
            const auto gap = static_cast<std::int64_t>(end) - static_cast<std::int64_t>(one.subhead + one.length);
            const auto left = its_block.head.ltotal - static_cast<std::int64_t>(file_.layout.sizes().server_head) -
                              tallies_[one.block].bytes;
            if (gap == left) {
                wrong[one.block].push_back(&one);
            }
        }
        for (const auto& [which, records] : wrong) {
            if (records.size() == 1) {
                records.front()->damage = "its length contradicts its server block";
                file_.blocks[which].is_doubtful = false;
            }
        }
    }

    void take_out()
    {
        constexpr auto reason = "its server block counts other lengths than its rows lead to";
        std::vector<record> kept;
        for (auto& one : file_.records) {
            const auto& its_block = file_.blocks[one.block];
            if (!its_block.is_doubtful || !its_block.is_by_order || !one.damage.empty()) {
                kept.push_back(std::move(one));
                continue;
            }
            file_.bad_rows.push_back({one.channel, one.event, one.block, one.subhead, reason});
            one.event = no_index;
            one.block = no_index;
            one.by_match = true;
            file_.orphans.push_back(std::move(one));
        }
        file_.records = std::move(kept);
        for (const auto& one : file_.blocks) {
            if (one.is_doubtful && !one.is_by_order) {
                file_.lose("server block at " + std::to_string(one.position) +
                           ": its length contradicts its records, and nothing tells which of them is wrong");
            }
        }
    }

    found& file_;
    record_checker& checker_;
    std::vector<tally> tallies_; // per block
};

} // namespace

void judge_faults(found& file)
{
    struct tally {
        std::uint64_t faults = 0, sound = 0;
    };
    std::unordered_map<std::uint32_t, tally> channels;
    for (const auto* list : {&file.records, &file.orphans}) {
        for (const auto& one : *list) {
            auto& known = channels[one.channel];
            known.faults += one.fault.empty() ? 0 : 1;
            known.sound += one.fault.empty() && one.damage.empty() ? 1 : 0;
        }
    }
    for (auto* list : {&file.records, &file.orphans}) {
        for (auto& one : *list) {
            const auto& known = channels[one.channel];
            if (!one.fault.empty() && one.damage.empty() && (known.faults < 2 || known.sound > 0)) {
                one.damage = one.fault;
            }
        }
    }
}

void doubt_rows(found& file, record_checker& checker)
{
    row_doubter(file, checker).run();
}

} // namespace trox::recovery
