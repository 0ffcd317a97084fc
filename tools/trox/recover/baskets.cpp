#include "baskets.h"

#include "basket_walk.h"
#include "rows.h"
#include "tables.h"

#include <algorithm>
#include <unordered_set>

namespace trox::recovery
{
namespace
{

// All baskets of a file.
class file_walker
{
public:
    file_walker(found& file, patterns& scanned, channel_names& names, record_checker& checker)
        : file_(file), names_(names), checker_(checker)
    {
        for (const auto& hit : scanned.get().items) {
            if (hit.what == item::channel) {
                places_.push_back(hit.position);
            }
        }
        if (const auto first = file.reference_table.items[static_cast<std::size_t>(item::channel)]; first != 0) {
            places_.push_back(first);
        }
        for (const auto& one : file.channels) {
            if (one.basket != 0) {
                places_.push_back(one.basket);
            }
        }
        std::sort(places_.begin(), places_.end());
        places_.erase(std::unique(places_.begin(), places_.end()), places_.end());
        places_.erase(
            std::remove_if(places_.begin(), places_.end(), [&](std::uint64_t at) { return !begins_basket(at); }),
            places_.end());
        for (const auto* list : {&file.records, &file.orphans}) {
            for (const auto& one : *list) {
                claimed_.insert(one.data);
                claimed_.insert(one.subhead);
            }
        }
    }

    void run()
    {
        std::uint64_t done = 0;
        std::unordered_set<std::uint32_t> walked;
        for (std::size_t i = 0; i < places_.size(); ++i) {
            if (places_[i] < done || is_in_table(places_[i])) {
                continue; // inside a basket or table: the pattern is chance
            }
            const auto first = places_[i] + file_.layout.sizes().table_head;
            const auto owner = owner_of(places_[i]);
            if (owner == no_index) {
                note_unknown(places_[i], i);
                continue;
            }
            auto& its_channel = file_.channels[owner];
            const bool is_other = its_channel.basket != 0 && its_channel.basket != places_[i];
            if (is_other || !walked.insert(owner).second) {
                file_.result.remarks.push_back("channel " + its_channel.name + ": a second basket, at " +
                                               std::to_string(places_[i]) + ", is left out");
                continue;
            }
            std::uint64_t begin = 0;
            const auto whole = basket_end(file_, first, begin);
            auto ends = whole < file_.file.length() ? places_of_others(i, owner, whole) : std::vector{next_place(i)};
            const bool is_told = whole < file_.file.length() && ends.size() == 1;
            its_channel.basket = places_[i];
            done = walk_basket(file_, checker_, claimed_, owner, places_[i], std::move(ends));
            done = is_told ? whole : done;
        }
        walk_the_headless(walked);
    }

private:
    bool is_in_table(std::uint64_t position) const
    {
        return std::any_of(file_.tables.begin(), file_.tables.end(), [&](const located& table) {
            return table.is_there() && !table.cut && position >= table.position && position < table.end();
        });
    }

    // By the name that its first record carries; where that is damaged, by the rows that lead into it.
    std::uint32_t owner_of(std::uint64_t place)
    {
        const auto find = [&](std::uint64_t channel::*member) {
            const auto& channels = file_.channels;
            const auto known = std::find_if(channels.begin(), channels.end(), [&](const channel& one) {
                return one.*member == place && !one.name.empty();
            });
            return known == channels.end() ? no_index : static_cast<std::uint32_t>(known - channels.begin());
        };
        if (const auto by_rows = find(&channel::basket); by_rows != no_index) {
            return by_rows;
        }
        const auto first = place + file_.layout.sizes().table_head;
        const auto by_name = names_.find(first, first + file_.layout.sizes().subhead);
        return by_name != no_index ? by_name : find(&channel::told_basket);
    }

    // Where baskets of other channels seem to begin within the announced end, and that end: it may be damaged.
    std::vector<std::uint64_t> places_of_others(std::size_t i, std::uint32_t owner, std::uint64_t end)
    {
        std::vector<std::uint64_t> ends;
        for (auto k = i + 1; k < places_.size() && places_[k] < end; ++k) {
            const auto other = is_in_table(places_[k]) ? owner : owner_of(places_[k]);
            if (other != owner && other != no_index) {
                ends.push_back(places_[k]);
            }
        }
        ends.push_back(end);
        return ends;
    }

    // Where the next basket or table begins.
    std::uint64_t next_place(std::size_t i) const
    {
        auto end = file_.file.length();
        if (i + 1 < places_.size()) {
            end = places_[i + 1];
        }
        for (const auto& table : file_.tables) {
            if (table.is_there() && table.position > places_[i]) {
                end = std::min(end, table.position);
            }
        }
        return end;
    }

    // A sub-head must follow: else the pattern is chance.
    bool begins_basket(std::uint64_t place) const
    {
        subhead_values head;
        return checker_.read_subhead(place + file_.layout.sizes().table_head, head) && looks_like_subhead(head);
    }

    void note_unknown(std::uint64_t place, std::size_t i)
    {
        const auto size = file_.layout.sizes().subhead;
        const auto first = place + file_.layout.sizes().table_head;
        subhead_values head;
        checker_.read_subhead(first, head);
        const auto name = head.name.text;
        std::uint64_t begin = 0;
        const auto whole = basket_end(file_, first, begin);
        const auto end = std::min(whole, next_place(i));
        std::uint64_t count = 0;
        for (auto at = first; at < end && size <= end - at && checker_.read_subhead(at, head);) {
            const auto length = static_cast<std::uint64_t>(std::max(head.ldata, 0));
            if (!looks_like_subhead(head) || head.name.text != name || length > end - at) {
                ++at;
                continue;
            }
            const bool is_shared = checker_.is_slow(head) && length > size;
            count += is_shared ? std::max<std::uint64_t>((length - size) / checker_.slow_size(head), 1) : 1;
            at += std::max<std::uint64_t>(length, size);
        }
        lost_record lost;
        lost.channel = name;
        lost.offset = place;
        lost.reason = "a basket of which the channel cannot be told";
        lost.count = std::max<std::uint64_t>(count, 1);
        file_.in_unknown_baskets += lost.count;
        file_.result.lost_records.push_back(std::move(lost));
    }

    // Channels whose basket has no head any more: from the first record that a row leads to.
    void walk_the_headless(const std::unordered_set<std::uint32_t>& walked)
    {
        std::unordered_map<std::uint32_t, std::pair<std::uint64_t, std::uint64_t>> spans;
        for (const auto* list : {&file_.records, &file_.orphans}) {
            for (const auto& one : *list) {
                if (walked.count(one.channel) == 0) {
                    auto& span = spans.emplace(one.channel, std::pair(one.subhead, one.subhead)).first->second;
                    span.first = std::min(span.first, one.subhead);
                    span.second = std::max(span.second, one.data + one.stored);
                }
            }
        }
        const auto head = file_.layout.sizes().table_head;
        for (const auto& [owner, span] : spans) {
            if (span.first >= head) {
                walk_basket(file_, checker_, claimed_, owner, span.first - head, {span.second});
            }
        }
    }

    found& file_;
    channel_names& names_;
    record_checker& checker_;
    std::vector<std::uint64_t> places_;
    std::unordered_set<std::uint64_t> claimed_;
};

} // namespace

bool needs_walk(const found& file)
{
    const auto& pointers = file.table(item::pointers);
    const auto& dictionary = file.table(item::dictionary);
    return !pointers.is_there() || pointers.cut || !dictionary.is_there() || dictionary.cut || !file.bad_rows.empty() ||
           file.columns < file.listed;
}

void walk_baskets(found& file, patterns& scanned, channel_names& names, record_checker& checker)
{
    file_walker(file, scanned, names, checker).run();
    std::stable_sort(file.orphans.begin(), file.orphans.end(), [](const record& a, const record& b) {
        return std::pair(a.channel, a.data) < std::pair(b.channel, b.data);
    });
}

} // namespace trox::recovery
