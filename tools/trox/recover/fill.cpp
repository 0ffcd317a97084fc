#include "fill.h"

#include <algorithm>
#include <map>

namespace trox::recovery
{
namespace
{

// How many records of each channel are used up.
using progress = std::vector<std::uint32_t>;

struct step {
    std::uint32_t from;
    std::uint32_t to;
    std::vector<std::uint32_t> taken; // channels
};

class filler
{
public:
    filler(const std::vector<fill_channel>& channels, const std::vector<fill_block>& blocks, std::uint64_t& effort)
        : channels_(channels), blocks_(blocks), effort_(effort)
    {
    }

    std::optional<fill_result> run()
    {
        layers_.push_back({progress(channels_.size(), 0)});
        for (const auto& block : blocks_) {
            if (!advance(block)) {
                return std::nullopt;
            }
        }
        return collect();
    }

private:
    bool spend(std::uint64_t steps)
    {
        if (steps > effort_) {
            effort_ = 0;
            return false;
        }
        effort_ -= steps;
        return true;
    }

    bool advance(const fill_block& block)
    {
        std::map<progress, std::uint32_t> next;
        std::vector<step> steps;
        const auto& states = layers_.back();
        for (std::uint32_t i = 0; i < states.size(); ++i) {
            if (!spend(channels_.size() + 1)) {
                return false;
            }
            offer(states[i], block);
            chosen_.clear();
            ways_.clear();
            if (!choose(0, block.records, block.bytes)) {
                return false;
            }
            for (auto& taken : ways_) {
                auto after = states[i];
                for (const auto channel : taken) {
                    ++after[channel];
                }
                const auto known = next.emplace(std::move(after), static_cast<std::uint32_t>(next.size())).first;
                steps.push_back({i, known->second, std::move(taken)});
            }
        }
        std::vector<progress> layer(next.size());
        for (const auto& [state, index] : next) {
            layer[index] = state;
        }
        layers_.push_back(std::move(layer));
        steps_.push_back(std::move(steps));
        return !layers_.back().empty();
    }

    // The channels that can be in a block, the longest records first, and what the shortest and longest of them add up
    // to.
    void offer(const progress& state, const fill_block& block)
    {
        offered_.clear();
        for (std::uint32_t i = 0; i < channels_.size(); ++i) {
            const auto& one = channels_[i];
            const bool fits_type = one.event_mask == 0 || (one.event_mask >> block.event_type & 1U) != 0;
            if (state[i] < one.lengths.size() && fits_type) {
                offered_.emplace_back(static_cast<std::int64_t>(one.lengths[state[i]]), i);
            }
        }
        std::sort(offered_.rbegin(), offered_.rend());
        sums_.assign(1, 0);
        for (const auto& one : offered_) {
            sums_.push_back(sums_.back() + one.first);
        }
    }

    // All ways to take `records` of the offered channels from `first` on with `bytes`; false when it takes too long.
    bool choose(std::size_t first, std::int64_t records, std::int64_t bytes)
    {
        if (!spend(1)) {
            return false;
        }
        if (records == 0) {
            if (bytes == 0) {
                stored_ += channels_.size() + chosen_.size(); // the state that it leads to, and the step
                if (stored_ > most_stored) {
                    effort_ = 0;
                    return false;
                }
                ways_.push_back(chosen_);
            }
            return true;
        }
        const auto left = static_cast<std::int64_t>(offered_.size() - first);
        if (records < 0 || records > left) {
            return true;
        }
        const auto count = static_cast<std::size_t>(records);
        const auto most = sums_[first + count] - sums_[first];
        const auto least = sums_.back() - sums_[sums_.size() - 1 - count];
        if (bytes > most || bytes < least) {
            return true;
        }
        chosen_.push_back(offered_[first].second);
        const bool with = choose(first + 1, records - 1, bytes - offered_[first].first);
        chosen_.pop_back();
        return with && choose(first + 1, records, bytes);
    }

    bool is_end(const progress& state) const
    {
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            const bool is_full = state[i] == channels_[i].lengths.size();
            if (!is_full && (state[i] != 0 || channels_[i].must_be_used)) {
                return false;
            }
        }
        return true;
    }

    // Goes back from the ends that are allowed, and keeps what every way there has.
    std::optional<fill_result> collect()
    {
        fill_result result;
        result.is_used.assign(channels_.size(), false);
        result.is_unused.assign(channels_.size(), false);
        std::vector<bool> alive;
        bool has_end = false;
        for (const auto& state : layers_.back()) {
            alive.push_back(is_end(state));
            has_end = has_end || alive.back();
            for (std::size_t i = 0; alive.back() && i < channels_.size(); ++i) {
                (state[i] == 0 ? result.is_unused : result.is_used)[i] = true;
            }
        }
        if (!has_end) {
            return std::nullopt;
        }
        std::vector<std::vector<bool>> differs;
        for (const auto& one : channels_) {
            result.places.emplace_back(one.lengths.size());
            differs.emplace_back(one.lengths.size(), false);
        }
        for (auto block = steps_.size(); block-- > 0;) {
            std::vector<bool> before(layers_[block].size(), false);
            for (const auto& one : steps_[block]) {
                if (alive[one.to]) {
                    before[one.from] = true;
                    note(result, differs, one, static_cast<std::uint32_t>(block));
                }
            }
            alive = std::move(before);
        }
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            for (std::size_t record = 0; record < differs[i].size(); ++record) {
                if (differs[i][record]) {
                    result.places[i][record].reset();
                }
            }
        }
        return result;
    }

    void note(fill_result& result, std::vector<std::vector<bool>>& differs, const step& one, std::uint32_t block) const
    {
        for (const auto channel : one.taken) {
            const auto record = layers_[block][one.from][channel];
            auto& place = result.places[channel][record];
            if (place && *place != block) {
                differs[channel][record] = true;
            }
            place = block;
        }
    }

    static constexpr std::uint64_t most_stored = 4'000'000; // words of states and steps

    const std::vector<fill_channel>& channels_;
    const std::vector<fill_block>& blocks_;
    std::uint64_t& effort_;
    std::uint64_t stored_ = 0;
    std::vector<std::vector<progress>> layers_;
    std::vector<std::vector<step>> steps_;                        // from layer to layer
    std::vector<std::pair<std::int64_t, std::uint32_t>> offered_; // length and channel
    std::vector<std::int64_t> sums_;                              // of the first offered lengths
    std::vector<std::uint32_t> chosen_;
    std::vector<std::vector<std::uint32_t>> ways_;
};

} // namespace

std::optional<fill_result> fill_blocks(const std::vector<fill_channel>& channels, const std::vector<fill_block>& blocks,
                                       std::uint64_t& effort)
{
    constexpr std::size_t most_channels = 4096; // ways are looked for to this depth
    if (channels.size() > most_channels) {
        return std::nullopt;
    }
    return filler(channels, blocks, effort).run();
}

} // namespace trox::recovery
