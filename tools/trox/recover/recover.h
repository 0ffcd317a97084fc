// Recovery of damaged data files: what can be read of one is written into a new one, of the same generation.
//
// Layer: tools; on the writer, and for the check of what was written on the reader library. A program that recovers:
//
//     const auto result = trox::recovery::recover_file("damaged.raw", "recovered.raw");
//     for (const auto& lost : result.lost_records) { ... }
//     return static_cast<int>(result.end);
//
// Tables are found through the trailer, or by their patterns. Records are found through the rows of the pointers
// table; those that no good row points at, by walking the channels' baskets, and they are then assigned to events by
// what the event headers and the server block heads count: number and bytes of their records, server, event types. A
// record for which this leaves more than one place is lost: nothing is written on a guess that was not asked for.
#ifndef TROX_RECOVER_RECOVER_H
#define TROX_RECOVER_RECOVER_H

#include "event.h"
#include "trox_writer_records.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace trox::recovery
{

/// How a recovery ended. The values are exit codes.
enum class outcome {
    complete = 0, ///< all records recovered
    nothing = 1,  ///< nothing was written
    partial = 3,  ///< written; something is lost
};

/// How a part of the damaged file was found.
enum class means {
    reference, ///< where the file's references say
    pattern,   ///< by its pattern, or by what it looks like
    absent,    ///< the file has none
    lost,      ///< not found, or of no use
};
const char* text_of(means) noexcept;

/// A table or basket, how it was found, and where it begins. `cut`: only a first part of it could be used.
struct found_part {
    std::string name{};
    means how = means::lost;
    std::uint64_t position = 0;
    bool cut = false;
};

/// An event, or one of its server blocks, that is not in the new file.
struct lost_event {
    std::optional<std::uint64_t> number{};
    std::uint64_t offset = 0; ///< of what was read of it, in the damaged file
    std::string reason{};
};

/// A record that is not in the new file, or several of which no more is known than their number.
struct lost_record {
    std::string channel{};                ///< empty when it is not known
    std::optional<std::uint64_t> event{}; ///< number, when it is known
    std::uint64_t offset = 0;             ///< of its sub-head, or of the row that points at it
    std::string reason{};
    std::uint64_t count = 1;
};

/// What became of one channel's records.
struct channel_result {
    std::string name{};
    std::uint64_t by_row = 0;   ///< recovered through the pointers table
    std::uint64_t by_match = 0; ///< recovered by walking its basket
    std::uint64_t by_order = 0; ///< recovered with an event that is assumed
    std::uint64_t lost = 0;
};

struct report {
    outcome end = outcome::nothing;
    std::string failure{}; ///< why nothing was written
    std::optional<writer::generation> generation{};
    std::vector<found_part> parts{};
    std::uint64_t events = 0;  ///< written
    std::uint64_t records = 0; ///< written
    std::vector<channel_result> channels{};
    std::vector<lost_event> lost_events{};
    std::vector<lost_record> lost_records{};
    std::uint64_t lost = 0;   ///< records of all of them, those of unknown channels too
    std::string other_loss{}; ///< the first of the remarks that tell of a loss
    /// What else differs from the undamaged file: fields that are unknown, keys that were given anew.
    std::vector<std::string> remarks{};
};

struct recover_options {
    std::optional<writer::generation> generation{}; ///< else found out
    bool replace_existing = false;                  ///< else an existing output is refused
    bool sync = false;                              ///< wait until the output is on the disk
    /// Keep plain records of block types that no reader knows. A strict reader waits for ever on them.
    bool keep_unknown_types = false;
    /// Give records whose event is not certain to the first blocks that take them, in the order of their basket.
    bool in_order = false;
    /// Told of the bytes of every record that was looked at, written or compared: thrice the records that are
    /// undamaged, and what else is searched. May throw, which stops the recovery.
    std::function<void(std::uint64_t bytes)> seen{};
};

/// Recovers `input` into `output`, which comes to be whole and checked, or not at all; `input` is only read, and an
/// output that is the same file is refused. Memory grows with the tables, not with the data, beside one record and
/// its compressed form. Throws what `seen` throws, or for a lack of memory. One file per call; calls are independent.
report recover_file(const std::string& input, const std::string& output, const recover_options& options = {});

} // namespace trox::recovery

#endif
