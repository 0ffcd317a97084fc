// Finding a requested channel by the name that a record carries.
#ifndef TROX_GENERIC_CHANNEL_LOOKUP_H
#define TROX_GENERIC_CHANNEL_LOOKUP_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace trox_detail
{

/// Requested channels in order, by name and by key (the name, with its sub-channel if it has one). Of channels
/// with the same text the first is found. Lookups allocate nothing.
class channel_lookup
{
public:
    static constexpr int none = -1;

    void add(const std::string& name, const std::string& key);

    /// The first channel of that name. `expected` is a guess (any number): a right one saves the hashing.
    int find_name(std::string_view name, std::size_t expected) const
    {
        return find(names_, expected < channels_.size() ? channels_[expected].name : nullptr, name, expected);
    }
    /// The first channel of that key.
    int find_key(std::string_view key, std::size_t expected) const
    {
        return find(keys_, expected < channels_.size() ? channels_[expected].key : nullptr, key, expected);
    }

private:
    struct text_hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept
        {
            return std::hash<std::string_view>{}(text);
        }
    };
    using index_by_text = std::unordered_map<std::string, int, text_hash, std::equal_to<>>;
    /// A channel's texts inside the maps; null for one that an earlier channel has too.
    struct texts {
        const std::string* name;
        const std::string* key;
    };

    static int find(const index_by_text& map, const std::string* guess, std::string_view text, std::size_t expected)
    {
        if (guess != nullptr && *guess == text) {
            return static_cast<int>(expected);
        }
        const auto found = map.find(text);
        return found == map.end() ? none : found->second;
    }

    index_by_text names_;
    index_by_text keys_;
    std::vector<texts> channels_;
};

} // namespace trox_detail

#endif
