#include "result.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_set>

namespace trox::recovery
{
namespace
{

class report_maker
{
public:
    report_maker(found& file, const written_file& written) : file_(file), written_(written), result_(file.result) {}

    void run()
    {
        results_.resize(file_.channels.size());
        for (std::size_t i = 0; i < results_.size(); ++i) {
            results_[i].name = file_.channels[i].name;
        }
        count_written();
        add_events();
        add_damaged();
        add_unplaced();
        add_missing();
        add_uncounted();
        result_.lost = count_lost();
        for (std::size_t i = 0; i < results_.size(); ++i) {
            if (!results_[i].name.empty() && (file_.channels[i].lost.empty() || results_[i].lost > 0)) {
                result_.channels.push_back(results_[i]);
            }
        }
        for (const auto channel : faulty_) {
            result_.remarks.push_back("channel " + file_.channels[channel].name +
                                      ": no payload is as long as its heads say; all are kept");
        }
        if (!file_.unmarked.empty()) {
            result_.remarks.push_back("compressed records whose mark of compression is lost, and set again: " +
                                      std::to_string(file_.unmarked.size()));
        }
        const bool is_complete = result_.lost_events.empty() && result_.lost_records.empty() && !file_.has_loss;
        result_.end = is_complete ? outcome::complete : outcome::partial;
    }

private:
    static std::uint64_t key(std::uint32_t channel, std::uint32_t event)
    {
        return std::uint64_t{channel} << 32U | event;
    }

    void count_written()
    {
        result_.events = written_.events.size();
        for (std::size_t i = 0; i < written_.records.size(); ++i) {
            for (const auto index : written_.records[i]) {
                const auto& one = file_.records[index];
                recovered_.insert(key(one.channel, one.event));
                auto& known = results_[one.channel];
                ++(one.is_assumed ? known.by_order : one.by_match ? known.by_match : known.by_row);
                ++result_.records;
                if (!one.fault.empty()) {
                    faulty_.insert(one.channel);
                }
            }
        }
    }

    // Of an event whose header and index disagree, what the index says.
    std::uint64_t number_of(const event& one) const
    {
        const bool is_indexed = !one.lost.empty() && one.index_entry != no_index;
        return is_indexed ? file_.index[one.index_entry].info.number : one.head.number;
    }

    void lose_record(std::uint32_t channel, std::uint32_t event, std::uint64_t offset, const std::string& reason,
                     std::uint64_t count = 1)
    {
        lost_record lost;
        lost.count = count;
        if (channel != no_index) {
            lost.channel = file_.channels[channel].name;
            results_[channel].lost += count;
        }
        if (event != no_index) {
            lost.event = number_of(file_.events[event]);
        }
        lost.offset = offset;
        lost.reason = reason;
        result_.lost_records.push_back(std::move(lost));
    }

    void add_events()
    {
        std::uint64_t rebuilt = 0;
        for (const auto& one : file_.events) {
            if (!one.lost.empty()) {
                result_.lost_events.push_back({number_of(one), one.position, one.lost});
            }
            rebuilt += one.is_rebuilt ? 1 : 0;
        }
        if (rebuilt > 0) {
            file_.lose(amount(rebuilt, "event header", "event headers") +
                       " cannot be read: number, time and type are from the event index; trigger mask and "
                       "status are unknown, and written as 0");
        }
        std::uint64_t blocks = 0;
        for (const auto& one : file_.blocks) {
            if (one.event == no_index) {
                result_.lost_events.push_back(
                    {std::nullopt, one.position, "a server block of which the event cannot be told"});
            }
            blocks += one.is_rebuilt ? 1 : 0;
        }
        if (blocks > 0) {
            file_.lose(amount(blocks, "server block head", "server block heads") +
                       " cannot be read: the records are in blocks without a name");
        }
        add_missing_blocks();
    }

    // Events that have fewer blocks than they count.
    void add_missing_blocks()
    {
        if (file_.are_blocks_whole) {
            return;
        }
        std::unordered_map<std::uint32_t, std::int64_t> blocks;
        for (const auto& one : file_.blocks) {
            ++blocks[one.event];
        }
        for (std::uint32_t i = 0; i < file_.events.size(); ++i) {
            const auto& one = file_.events[i];
            if (!one.is_rebuilt && one.lost.empty() && blocks[i] < one.head.blocks) {
                result_.lost_events.push_back(
                    {one.head.number, one.position,
                     "server blocks of the event cannot be found: " + std::to_string(one.head.blocks - blocks[i])});
            }
        }
    }

    // Records that are damaged, refused, or of an event that is lost.
    void add_damaged()
    {
        for (const auto& one : file_.records) {
            if (!one.damage.empty()) {
                lose_record(one.channel, one.event, one.subhead, one.damage);
                matched_lost_[one.channel] += one.by_match ? 1 : 0;
            } else if (recovered_.count(key(one.channel, one.event)) == 0) {
                lose_record(one.channel, one.event, one.subhead, "its event is lost");
            }
        }
    }

    // Rows that lead nowhere, and records that no row leads to: they are the same records, as far as their numbers go.
    void add_unplaced()
    {
        std::map<std::uint32_t, std::uint64_t> rows;
        for (const auto& one : file_.bad_rows) {
            ++rows[one.channel];
        }
        for (auto& [channel, count] : rows) {
            if (channel != no_index) {
                count -=
                    std::min(count, results_[channel].by_match + results_[channel].by_order + matched_lost_[channel]);
            }
        }
        auto left = rows;
        for (const auto& one : file_.orphans) {
            auto& count = left[one.channel];
            if (count > 0) {
                --count; // told with its row, which may know the event
                continue;
            }
            lose_record(one.channel, one.event, one.subhead,
                        one.damage.empty() ? "no event can be told for it with certainty" : one.damage);
        }
        for (const auto& one : file_.bad_rows) {
            const bool is_recovered =
                one.channel != no_index && one.event != no_index && recovered_.count(key(one.channel, one.event)) > 0;
            auto& count = rows[one.channel];
            if (count > 0 && !is_recovered) {
                --count;
                lose_record(one.channel, one.event, one.position, one.reason);
            }
        }
    }

    // Records that the dictionary counts, where the pointers table is not there to tell.
    void add_missing()
    {
        const auto& pointers = file_.table(item::pointers);
        if (pointers.is_there() && !pointers.cut && file_.columns >= file_.listed) {
            return;
        }
        auto listed = file_.in_unknown_baskets; // as records of no channel
        for (std::size_t i = 0; i < file_.listed; ++i) {
            const auto& known = results_[i];
            const auto have = known.by_row + known.by_match + known.by_order + known.lost;
            if (file_.channels[i].count > 0 && static_cast<std::uint64_t>(file_.channels[i].count) > have) {
                auto missing = static_cast<std::uint64_t>(file_.channels[i].count) - have;
                const auto explained = std::min(missing, listed);
                missing -= explained;
                listed -= explained;
                if (missing == 0) {
                    continue;
                }
                lose_record(static_cast<std::uint32_t>(i), no_index, file_.channels[i].entry,
                            amount(missing, "record", "records") + " that the dictionary counts cannot be found",
                            missing);
            }
        }
    }

    // Records that server blocks count beyond those that are written or listed.
    void add_uncounted()
    {
        std::uint64_t counted = 0;
        for (const auto& one : file_.blocks) {
            counted += one.is_rebuilt ? 0 : records_of(one);
        }
        counted = std::min(counted, file_.file.length() / file_.layout.sizes().subhead);
        const auto known = result_.records + count_lost();
        if (counted > known) {
            lose_record(no_index, no_index, 0,
                        amount(counted - known, "record", "records") + " that the server blocks count cannot be found",
                        counted - known);
        }
    }

    // A count that cannot be, and one of a block of which no byte is missing, is damaged.
    std::uint64_t records_of(const block& one) const
    {
        const auto& sizes = file_.layout.sizes();
        const auto most =
            (one.head.ltotal - static_cast<std::int64_t>(sizes.server_head)) / static_cast<std::int64_t>(sizes.subhead);
        const auto count = std::min<std::int64_t>(one.head.nchan, std::max<std::int64_t>(most, 0));
        const bool is_whole = one.bytes_left == 0 && one.event != no_index;
        return static_cast<std::uint64_t>(
            std::max<std::int64_t>(is_whole ? one.head.nchan - one.records_left : count, 0));
    }

    std::uint64_t count_lost() const
    {
        std::uint64_t lost = 0;
        for (const auto& one : result_.lost_records) {
            lost += one.count;
        }
        return lost;
    }

    found& file_;
    const written_file& written_;
    report& result_;
    std::vector<channel_result> results_;
    std::set<std::uint32_t> faulty_;                      // channels whose payloads are not as their heads say
    std::unordered_set<std::uint64_t> recovered_;         // channel and event
    std::map<std::uint32_t, std::uint64_t> matched_lost_; // records found without their rows, and lost, per channel
};

} // namespace

void complete_report(found& file, const written_file& written)
{
    report_maker(file, written).run();
}

} // namespace trox::recovery
