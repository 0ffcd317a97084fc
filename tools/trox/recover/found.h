// What a recovery knows of the damaged file: filled by one step after the other.
#ifndef TROX_RECOVER_FOUND_H
#define TROX_RECOVER_FOUND_H

#include "file_layout.h"
#include "recover.h"
#include "shifts.h"
#include "source_file.h"

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace trox::recovery
{

inline constexpr std::uint32_t no_index = std::numeric_limits<std::uint32_t>::max();

/// "1 record", "2 records".
inline std::string amount(std::uint64_t count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

/// A table or basket: its first byte, and bytes that may be used, head included.
struct located {
    means how = means::lost;
    std::uint64_t position = 0;
    std::uint64_t usable = 0;
    bool cut = false; ///< its announced end is not to be had
    bool is_there() const noexcept
    {
        return how == means::reference || how == means::pattern;
    }
    std::uint64_t end() const noexcept
    {
        return position + usable;
    }
};

/// An event of the damaged file.
struct event {
    std::uint64_t position = 0; ///< of its header
    event_values head{};
    bool is_indexed = false;              ///< the event index tells of it, the same or something else
    bool is_rebuilt = false;              ///< from the event index; its header cannot be read
    std::uint32_t index_entry = no_index; ///< what the event index says of it, when that differs
    std::uint32_t first_block = no_index;
    std::uint32_t block_count = 0; ///< bound by order
    std::string lost{};            ///< why it cannot be written
};

/// A server block head.
struct block {
    std::uint64_t position = 0;
    block_values head{};
    std::uint32_t event = no_index;
    bool is_by_order = false; ///< bound to its event by the events' counts
    bool is_rebuilt = false;  ///< its head cannot be read
    bool is_countable = true; ///< what is left is known
    bool is_doubtful = false; ///< its counts do not agree with the records that rows lead to
    std::int64_t records_left = 0;
    std::int64_t bytes_left = 0; ///< what its ltotal counts beyond the records known
};

/// A channel of the new file.
struct channel {
    std::string name{};    ///< full; empty while it is not known
    std::string subhead{}; ///< as sub-heads have it
    std::optional<std::uint32_t> key{};
    std::uint32_t described_key = 0; ///< as the descriptions have it; 0: they have none
    bool is_entry_damaged = false;   ///< nothing of its dictionary entry is to be trusted
    std::uint32_t event_mask = 0;
    std::uint32_t dtype_mask = 0;
    std::int64_t count = -1; ///< records that the dictionary announces; -1 unknown
    std::optional<std::int32_t> environment_index{};
    std::string server{};          ///< the only server it can belong to; empty: unknown
    std::uint64_t entry = 0;       ///< position of its dictionary entry
    std::uint64_t basket = 0;      ///< position, 0 unknown
    std::uint64_t basket_end = 0;  ///< 0 unknown
    std::uint64_t told_basket = 0; ///< where its rows lead, whether these are its records or not; 0 unknown
    bool is_listed = true;         ///< in the dictionary of the file
    bool is_described = false;     ///< under this name
    std::string lost{};            ///< why it cannot be written
    bool is_ordered = true;        ///< its records may lie in the order of the events
    std::uint64_t holes = 0;       ///< stretches of its basket that hold no record that can be found
};

/// A record that was found and decodes, or one that is damaged but whose place is known.
struct record {
    std::uint32_t channel = no_index;
    std::uint32_t event = no_index;
    std::uint32_t block = no_index;
    std::uint32_t stored = 0; ///< bytes behind the sub-head and the zip header
    std::uint64_t subhead = 0;
    std::uint64_t data = 0;   ///< position of the payload, or of the compressed bytes
    std::uint64_t length = 0; ///< as server blocks count it; 0 unknown
    bool is_slow = false;
    bool by_match = false;
    bool is_doubtful = false; ///< passes the announced end of its basket
    std::string damage{};     ///< why it cannot be recovered
    bool is_assumed = false;  ///< its event is a guess that was asked for
    std::string fault{};      ///< its payload is not as its heads say
};

/// A row that could not be followed to a record.
struct bad_row {
    std::uint32_t channel = no_index;
    std::uint32_t event = no_index; ///< when it is certain
    std::uint32_t block = no_index;
    std::uint64_t position = 0;
    std::string reason{};
    bool is_empty = false; ///< nothing stands in it
};

/// One entry of the event index.
struct index_entry {
    index_info_values info{};
    std::int32_t type = 0;
    std::uint64_t entry = 0; ///< position of the entry of its type
};

/// One pattern in the file.
struct pattern_hit {
    std::uint64_t position;
    item what;
};

struct found {
    found(source_file& source, const file_layout& file_layout, report& to)
        : file(source), layout(file_layout), result(to)
    {
    }

    source_file& file;
    const file_layout& layout;
    recover_options options{};

    located references{};
    reference_values reference_table{};
    std::array<located, table_count> tables{};
    const located& table(item what) const
    {
        return tables[static_cast<std::size_t>(what)];
    }

    shift_map shifts{}; ///< of positions in rows and index
    std::vector<index_entry> index{};
    std::vector<event> events{};   ///< by position
    std::vector<block> blocks{};   ///< by position, then the rebuilt ones
    std::size_t walked_blocks = 0; ///< of them by position
    bool are_blocks_whole = false; ///< every event has all of its blocks
    bool are_events_whole = false; ///< there are no events but these, as far as blocks, headers or index tell
    std::vector<channel> channels{};
    bool is_dictionary_whole = false; ///< all of its entries have a name
    std::size_t listed = 0;           ///< channels that stand in the dictionary, in its order; they come first
    std::uint64_t rows_per_column = 0;
    std::uint64_t columns = 0; ///< that begin in the usable part of the pointers table
    std::vector<std::pair<std::uint32_t, std::int32_t>> environment{};
    std::string descriptions{};

    std::vector<record> records{}; ///< assigned to events
    std::vector<record> orphans{}; ///< walked, not pointed at by a good row
    std::vector<bad_row> bad_rows{};
    /// Sub-heads that have lost their mark of compression: what follows them proves that they had it.
    std::unordered_set<std::uint64_t> unmarked{};
    std::uint64_t in_unknown_baskets = 0; ///< records of no channel that can be told; they are listed as lost
    bool has_loss = false;                ///< something else than events and records is lost
    /// Notes a loss of something else.
    void lose(std::string what)
    {
        has_loss = true;
        if (result.other_loss.empty()) {
            result.other_loss = what;
        }
        result.remarks.push_back(std::move(what));
    }
    void advance(std::uint64_t bytes) const
    {
        if (options.seen) {
            options.seen(bytes);
        }
    }
    report& result;
};

} // namespace trox::recovery

#endif
