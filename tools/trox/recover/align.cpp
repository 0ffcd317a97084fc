#include "align.h"

#include <algorithm>
#include <map>
#include <set>

namespace trox::recovery
{
namespace
{

// One record in the sequence of its channel.
struct item {
    std::uint64_t position;
    std::size_t orphan; // no_orphan: it is known by its row
    std::uint32_t block;
};
constexpr std::size_t no_orphan = ~std::size_t{0};

constexpr int enough_changes = 8; // of lengths that fit: chance is out of the question

struct sequence {
    std::uint32_t channel = no_index;
    std::vector<item> items{};
    std::set<std::uint32_t> impossible{}; // servers that did not take it; they never will
};

// The first and the last way into the blocks of one server: indices of blocks.
struct ways {
    std::uint32_t server = no_index;
    std::vector<std::uint32_t> first{};
    std::vector<std::uint32_t> last{};
};

class aligner
{
public:
    explicit aligner(placing& places) : places_(places), file_(places.file())
    {
        make_sequences();
    }

    void run()
    {
        for (bool changed = true; changed && effort_ > 0;) {
            changed = false;
            for (auto& one : sequences_) {
                changed = take_certain(one) || changed;
            }
        }
    }

    std::vector<std::size_t> take_first()
    {
        std::vector<std::size_t> taken;
        std::stable_sort(sequences_.begin(), sequences_.end(),
                         [](const sequence& a, const sequence& b) { return a.items.size() > b.items.size(); });
        for (auto& one : sequences_) {
            auto ways = find_ways(one);
            if (ways.empty()) {
                continue;
            }
            // The server of which the most blocks are filled to the last byte, or that has the least to choose from.
            const auto rank = [&](const auto& tried) {
                return std::pair(blocks_that_fill(one, tried),
                                 -static_cast<std::int64_t>(places_.blocks_of_server(tried.server).size()));
            };
            const auto best = std::max_element(ways.begin(), ways.end(),
                                               [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
            for (std::size_t i = 0; i < one.items.size(); ++i) {
                if (is_open(one.items[i])) {
                    taken.push_back(one.items[i].orphan);
                }
            }
            take(one, *best, best->first);
            run(); // what this leaves of the others may be certain now
        }
        return taken;
    }

private:
    // A record that is damaged is one for certain when what is next begins where it ends; else it may be anything, and
    // is passed over.
    bool is_solid(const record& one, std::uint64_t next) const
    {
        if (one.length == 0) {
            return false;
        }
        return one.damage.empty() ||
               (!one.is_slow && (one.subhead + one.length == next ||
                                 one.subhead + one.length == file_.channels[one.channel].basket_end));
    }

    void make_sequences()
    {
        std::map<std::uint32_t, sequence> found_ones;
        std::vector<std::size_t> order(file_.orphans.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            const auto& one = file_.orphans[i];
            const bool is_followed = i + 1 < order.size() && file_.orphans[i + 1].channel == one.channel;
            if (is_solid(one, is_followed ? file_.orphans[i + 1].subhead : 0) &&
                file_.channels[one.channel].is_ordered) {
                found_ones[one.channel].items.push_back({one.data, i, no_index});
            }
        }
        for (const auto& one : file_.records) {
            const auto known = found_ones.find(one.channel);
            // A row of a block that does not add up may be wrong: no other record's place is told from it.
            if (known != found_ones.end() && one.block < file_.walked_blocks && !file_.blocks[one.block].is_doubtful) {
                known->second.items.push_back({one.data, no_orphan, one.block});
            }
        }
        for (auto& [channel, one] : found_ones) {
            one.channel = channel;
            std::sort(one.items.begin(), one.items.end(),
                      [](const item& a, const item& b) { return a.position < b.position; });
            sequences_.push_back(std::move(one));
        }
    }

    std::uint32_t known_block(const item& one) const
    {
        return one.orphan == no_orphan ? one.block : places_.place_of(one.orphan);
    }

    bool is_open(const item& one) const
    {
        return known_block(one) == no_index;
    }

    std::uint32_t event_of(std::uint32_t block) const
    {
        return places_.block_of(block).event;
    }

    bool spend(std::uint64_t steps)
    {
        effort_ -= std::min(effort_, steps);
        return effort_ > 0;
    }

    // Events ascend strictly: a channel has one record in an event at most.
    bool find_first(const sequence& one, ways& found_ways)
    {
        const auto& blocks = places_.blocks_of_server(found_ways.server);
        std::size_t next = 0;
        std::int64_t before = -1;
        for (const auto& at : one.items) {
            auto which = known_block(at);
            if (which == no_index) {
                while (next < blocks.size() &&
                       (event_of(blocks[next]) <= before || !places_.fits(at.orphan, blocks[next]))) {
                    ++next;
                }
                if (next == blocks.size()) {
                    return false;
                }
                which = blocks[next];
            } else if (places_.server_of_block(which) != found_ways.server || event_of(which) <= before) {
                return false;
            }
            found_ways.first.push_back(which);
            next = places_.index_in_server(which) + 1;
            before = event_of(which);
        }
        return true;
    }

    void find_last(const sequence& one, ways& found_ways) const
    {
        const auto& blocks = places_.blocks_of_server(found_ways.server);
        auto next = blocks.size(); // behind the one to be tried
        std::int64_t behind = static_cast<std::int64_t>(file_.events.size());
        for (auto at = one.items.rbegin(); at != one.items.rend(); ++at) {
            auto which = known_block(*at);
            if (which == no_index) {
                while (next > 0 &&
                       (event_of(blocks[next - 1]) >= behind || !places_.fits(at->orphan, blocks[next - 1]))) {
                    --next;
                }
                if (next == 0) {
                    found_ways.last.clear(); // there is one: the first
                    return;
                }
                which = blocks[next - 1];
            }
            found_ways.last.push_back(which);
            next = places_.index_in_server(which);
            behind = event_of(which);
        }
        std::reverse(found_ways.last.begin(), found_ways.last.end());
    }

    // One for every server that takes the whole sequence.
    std::vector<ways> find_ways(sequence& one)
    {
        std::vector<ways> result;
        const bool has_open =
            std::any_of(one.items.begin(), one.items.end(), [&](const item& at) { return is_open(at); });
        for (std::uint32_t server = 0; has_open && server < places_.server_count(); ++server) {
            const auto known = places_.server_of_channel(one.channel);
            const auto& blocks = places_.blocks_of_server(server);
            if ((known != no_index && known != server) || one.items.size() > blocks.size() ||
                one.impossible.count(server) > 0) {
                continue;
            }
            if (!spend(2 * blocks.size() + 1)) {
                return {};
            }
            ways tried;
            tried.server = server;
            if (find_first(one, tried)) {
                find_last(one, tried);
                result.push_back(std::move(tried));
            } else {
                one.impossible.insert(server);
            }
        }
        return result;
    }

    std::int64_t blocks_that_fill(const sequence& one, const ways& tried) const
    {
        std::int64_t count = 0;
        for (std::size_t i = 0; i < one.items.size(); ++i) {
            const auto& its_block = places_.block_of(tried.first[i]);
            count += is_open(one.items[i]) && its_block.is_countable && its_block.records_left == 1 ? 1 : 0;
        }
        return count;
    }

    // Every record fills its block to the last byte, in the first way as in the last, and the lengths change often.
    bool fills_exactly(const sequence& one, const ways& tried) const
    {
        int changes = 0;
        std::uint64_t before = 0;
        for (std::size_t i = 0; i < one.items.size(); ++i) {
            if (!is_open(one.items[i]) || tried.last.empty()) {
                continue;
            }
            const auto& its_block = places_.block_of(tried.first[i]);
            if (tried.first[i] != tried.last[i] || !its_block.is_countable || its_block.records_left != 1) {
                return false;
            }
            const auto length = file_.orphans[one.items[i].orphan].length;
            changes += length != before ? 1 : 0;
            before = length;
        }
        return changes > enough_changes;
    }

    bool take_certain(sequence& one)
    {
        auto found_ways = find_ways(one);
        if (found_ways.size() > 1) {
            std::vector<ways> exact;
            for (auto& tried : found_ways) {
                if (fills_exactly(one, tried)) {
                    exact.push_back(std::move(tried));
                }
            }
            found_ways = std::move(exact);
        }
        return found_ways.size() == 1 && take(one, found_ways.front(), found_ways.front().last);
    }

    // Takes the places of the first way that another has, too.
    bool take(const sequence& one, const ways& from, const std::vector<std::uint32_t>& other)
    {
        bool changed = false;
        for (std::size_t i = 0; i < one.items.size() && i < other.size(); ++i) {
            const auto which = from.first[i];
            if (which == other[i] && is_open(one.items[i]) && places_.block_of(which).is_countable &&
                places_.fits(one.items[i].orphan, which)) {
                places_.assign(one.items[i].orphan, which);
                changed = true;
            }
        }
        if (changed) {
            places_.set_server(one.channel, from.server);
        }
        return changed;
    }

    placing& places_;
    found& file_;
    std::vector<sequence> sequences_;
    std::uint64_t effort_ = 200'000'000;
};

} // namespace

void align(placing& places)
{
    aligner(places).run();
}

bool is_aligned_for_certain(const placing& places, const placing::state& before)
{
    struct lengths {
        std::uint64_t last = 0;
        int changes = -1; // the first is none
    };
    std::map<std::uint32_t, lengths> channels;
    for (std::size_t i = 0; i < places.file().orphans.size(); ++i) {
        const auto which = places.place_of(i);
        if (which == no_index || which == before.assigned[i]) {
            continue;
        }
        const auto& its_block = places.block_of(which);
        const auto& one = places.file().orphans[i];
        if (its_block.records_left == 0 && its_block.bytes_left == 0) {
            auto& known = channels[one.channel];
            known.changes += one.length != known.last ? 1 : 0;
            known.last = one.length;
        }
    }
    return std::any_of(channels.begin(), channels.end(),
                       [](const auto& one) { return one.second.changes >= enough_changes; });
}

std::vector<std::size_t> place_in_order(placing& places)
{
    return aligner(places).take_first();
}

} // namespace trox::recovery
