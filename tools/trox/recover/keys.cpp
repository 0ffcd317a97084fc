#include "keys.h"

#include "detail/big_endian.h"

#include <algorithm>
#include <map>
#include <set>

namespace trox::recovery
{
namespace
{

class key_settler
{
public:
    key_settler(found& file, record_checker& checker) : file_(file), checker_(checker) {}

    void run()
    {
        drop_described_only();
        for (const auto& one : file_.channels) {
            if (is_kept(one) && one.key) {
                ++owners_[*one.key];
            }
        }
        take_described();
        give_new();
        settle_environment();
    }

private:
    static bool is_kept(const channel& one)
    {
        return !one.name.empty() && one.lost.empty();
    }

    // A whole dictionary lacks no channel.
    void drop_described_only()
    {
        std::set<std::uint32_t> with_records;
        for (const auto& one : file_.records) {
            with_records.insert(one.channel);
        }
        for (std::uint32_t i = 0; i < file_.channels.size(); ++i) {
            auto& one = file_.channels[i];
            if (!one.is_listed && file_.is_dictionary_whole && one.lost.empty() && with_records.count(i) == 0) {
                one.lost = "is described, and in no table";
            }
        }
    }

    static bool has_other_description(const channel& one)
    {
        return one.described_key != 0 && one.key && *one.key != one.described_key;
    }

    // Where all others have the keys of their descriptions, one that has another is damaged.
    void take_described()
    {
        std::size_t equal = 0;
        std::size_t others = 0;
        for (const auto& one : file_.channels) {
            const bool is_compared = is_kept(one) && one.key && one.described_key != 0;
            (has_other_description(one) ? others : equal) += is_compared ? 1 : 0;
        }
        constexpr std::size_t majority = 2;
        const bool are_keys_described = equal >= majority * others;
        for (auto& one : file_.channels) {
            const bool is_damaged = one.is_entry_damaged || (has_other_description(one) && are_keys_described);
            if (!is_kept(one) || !one.is_listed || !is_damaged) {
                continue;
            }
            if (one.described_key == 0 || (one.key != one.described_key && owners_[one.described_key] > 0)) {
                file_.lose("channel " + one.name + ": its dictionary entry is damaged, and " +
                           (one.key ? "its key cannot be confirmed" : "its key is lost"));
                continue;
            }
            file_.lose("channel " + one.name +
                       ": its dictionary entry is damaged; its key is that of its description, " +
                       std::to_string(one.described_key));
            if (one.key != one.described_key) {
                owners_[one.key.value_or(0)] -= one.key ? 1 : 0;
                ++owners_[one.described_key];
                one.key = one.described_key;
            }
        }
    }

    void give_new()
    {
        std::uint32_t next = 1;
        for (const auto& [key, count] : owners_) {
            next = count > 0 ? std::max(next, key + 1) : next;
        }
        for (auto& one : file_.channels) {
            if (is_kept(one) && !one.key) {
                while (next == 0 || owners_[next] > 0) {
                    ++next;
                }
                one.key = next;
                ++owners_[next];
                file_.lose("channel " + one.name + ": its key is lost, a new one is " + std::to_string(next));
            }
        }
    }

    // --- environment -----------------------------------------------------------------------------------

    // The index that all records of a channel carry, where they are environment values.
    std::map<std::uint32_t, std::int32_t> carried_indices()
    {
        constexpr int enough = 16;
        std::map<std::uint32_t, std::set<std::int32_t>> carried;
        std::map<std::uint32_t, int> looked_at;
        for (const auto& one : file_.records) {
            subhead_values head;
            unsigned char index[sizeof(std::int32_t)];
            if (one.damage.empty() && is_kept(file_.channels[one.channel]) && looked_at[one.channel]++ < enough &&
                checker_.read_subhead(one.subhead, head) && block_type(head.dtype) == TROX_ENV_BLOCK &&
                checker_.read_value(head, one.subhead, one.data, index, sizeof index)) {
                carried[one.channel].insert(trox_detail::load_big_endian<std::int32_t>(index));
            }
        }
        std::map<std::uint32_t, std::int32_t> single;
        for (const auto& [channel, indices] : carried) {
            if (indices.size() == 1) {
                single.emplace(channel, *indices.begin());
            }
        }
        return single;
    }

    void settle_environment()
    {
        const auto carried = carried_indices();
        std::map<std::uint32_t, const channel*> by_key;
        for (const auto& one : file_.channels) {
            if (is_kept(one)) {
                by_key.emplace(*one.key, &one);
            }
        }
        std::map<std::uint32_t, std::int32_t> kept;
        for (const auto& [key, index] : file_.environment) {
            if (by_key.count(key) > 0) {
                kept.emplace(key, index);
            } else {
                file_.lose("environment dictionary: the key " + std::to_string(key) + " of an entry is no channel's");
            }
        }
        for (const auto& [which, index] : carried) {
            const auto& one = file_.channels[which];
            const auto [known, is_new] = kept.emplace(*one.key, index);
            if (is_new) {
                file_.environment.emplace_back(*one.key, index);
                file_.lose("channel " + one.name +
                           ": its entry in the environment dictionary is lost; its records tell "
                           "that its index is " +
                           std::to_string(index));
            } else if (known->second != index) {
                file_.lose("channel " + one.name + ": its environment index is damaged; its records tell that it is " +
                           std::to_string(index));
                known->second = index;
            }
        }
        for (auto& [key, index] : file_.environment) {
            const auto known = kept.find(key);
            index = known == kept.end() ? index : known->second;
        }
        file_.environment.erase(std::remove_if(file_.environment.begin(), file_.environment.end(),
                                               [&](const auto& one) { return kept.count(one.first) == 0; }),
                                file_.environment.end());
    }

    found& file_;
    record_checker& checker_;
    std::map<std::uint32_t, int> owners_; // channels that have a key
};

} // namespace

void settle_keys(found& file, record_checker& checker)
{
    key_settler(file, checker).run();
}

} // namespace trox::recovery
