// Where the channels of a list stand in a dictionary.
#ifndef TROX_EVUTL_FIND_COLUMNS_H
#define TROX_EVUTL_FIND_COLUMNS_H

#include "read_dictionaries.h"

#include <bitset>
#include <string>
#include <unordered_map>
#include <vector>

namespace trox_evutl
{

/// A channel that the dictionary lacks.
inline constexpr std::size_t no_column = SIZE_MAX;

/// A hash of the text in a field, closed by a NUL or by the field's end. Takes eight bytes a step and finds the
/// end on the way, since opening a large file comes down to one of these per channel of the file.
template <std::size_t Size> std::uint64_t hash_field(const char (&field)[Size]) noexcept
{
    static_assert(Size % sizeof(std::uint64_t) == 0);
    constexpr std::uint64_t lowest_bits = 0x0101010101010101U;
    constexpr std::uint64_t highest_bits = 0x8080808080808080U;
    std::uint64_t hash = 0;
    for (std::size_t at = 0; at < Size; at += sizeof(std::uint64_t)) {
        // The first character in the lowest byte, whatever the machine's byte order.
        std::uint64_t word = trox_detail::byte_swapped(trox_detail::load_big_endian<std::uint64_t>(field + at));
        const std::uint64_t closing = (word - lowest_bits) & ~word & highest_bits; // lowest bit: the first NUL
        if (closing != 0) {
            word &= ((closing & (~closing + 1)) >> 7U) - 1; // what follows the NUL does not count
        }
        hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 32U;
        if (closing != 0) {
            break;
        }
    }
    return hash;
}

/// The names of a list, and for each the index of its first entry in a dictionary.
template <class Entry> class wanted_channels
{
public:
    explicit wanted_channels(const std::vector<std::string>& names)
    {
        indices_.reserve(names.size());
        for (const std::string& name : names) {
            Entry entry{};
            if (name.size() <= sizeof entry.chan_name && indices_.emplace(name, no_column).second) {
                std::memcpy(entry.chan_name, name.data(), name.size());
                filter_.set(filter_bit(entry));
            }
        }
        missing_ = indices_.size();
    }

    bool are_all_found() const noexcept
    {
        return missing_ == 0;
    }

    /// Notes the index of an entry that is wanted. The filter dismisses nearly all others.
    void offer(const Entry& entry, std::size_t index)
    {
        if (!filter_[filter_bit(entry)]) {
            return;
        }
        const auto found = indices_.find(channel_name(entry));
        if (found != indices_.end() && found->second == no_column) {
            found->second = index;
            --missing_;
        }
    }

    std::size_t index_of(const std::string& name) const
    {
        const auto found = indices_.find(name);
        return found == indices_.end() ? no_column : found->second;
    }

private:
    static constexpr std::size_t filter_size = 8192;

    static std::size_t filter_bit(const Entry& entry) noexcept
    {
        return static_cast<std::size_t>(hash_field(entry.chan_name) % filter_size);
    }

    std::unordered_map<std::string_view, std::size_t> indices_;
    std::bitset<filter_size> filter_;
    std::size_t missing_ = 0;
};

/// For each listed channel its place in the dictionary, or `no_column`: one pass over the dictionary, however long
/// the list is.
template <class Table>
std::vector<std::size_t> find_columns(const Table& dictionary, const std::vector<std::string>& channels)
{
    using entry_type = std::remove_cv_t<std::remove_reference_t<decltype(dictionary.entries[0])>>;
    wanted_channels<entry_type> wanted(channels);
    const entry_type* const entries = dictionary.entries;
    const std::size_t count = dictionary_size(dictionary);
    for (std::size_t i = 0; i < count && !wanted.are_all_found(); ++i) {
        prefetch_ahead(entries, i, count);
        wanted.offer(entries[i], i);
    }
    std::vector<std::size_t> columns;
    columns.reserve(channels.size());
    for (const std::string& name : channels) {
        columns.push_back(wanted.index_of(name));
    }
    return columns;
}

} // namespace trox_evutl

#endif
