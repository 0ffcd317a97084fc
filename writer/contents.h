// What a file that is being written holds in memory: its tables in the making, and its spool.
#ifndef TROX_WRITER_CONTENTS_H
#define TROX_WRITER_CONTENTS_H

#include "format.h"
#include "spool.h"
#include "trox_writer.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox::writer
{

/// One record: which event and server block it belongs to, its stored bytes, and whether it may share a sub-head.
struct row {
    std::uint32_t event;
    std::uint32_t block;
    std::uint32_t length : 31; ///< sub-head included
    std::uint32_t slow : 1;    ///< data may lie away from the sub-head
};

/// A channel and its records so far.
struct channel {
    std::string name;
    std::uint32_t key = 0;
    storage stored = storage::plain;
    std::optional<channel_description> description;
    std::size_t stream = 0; ///< of the spool
    std::vector<row> rows;
    std::uint32_t event_mask = 0;
    std::uint32_t dtype_mask = 0;
    std::uint32_t largest_payload = 0;
    bool has_slow_rows = false;
};

/// One complete event in the event index of its type.
struct indexed_event {
    std::uint64_t number;
    time_stamp time;
    std::uint32_t index; ///< in the event header basket
};

struct environment_entry {
    std::uint32_t key;
    std::int32_t index;
};

/// Everything but the open event.
struct contents {
    contents(const std::string& file_path, generation file_format, const file_options& file_options_)
        : path(file_path), encoding(format_of(file_format)), file_generation(file_format), options(file_options_),
          data(options.spool_directory.empty() ? directory_of(path) : options.spool_directory,
               path + " (spooled records)", options.buffer_bytes),
          event_stream(data.add_stream()), block_stream(data.add_stream())
    {
    }
    const format_sizes& sizes() const noexcept
    {
        return encoding.sizes();
    }

    std::string path;
    const format& encoding;
    generation file_generation;
    file_options options;
    spool data;
    std::size_t event_stream; ///< event headers, in recording order
    std::size_t block_stream; ///< server block heads, in recording order
    std::vector<channel> channels;
    std::array<std::vector<indexed_event>, trox_event_type_count> events;
    std::uint32_t event_count = 0;
    std::uint32_t block_count = 0;
    std::uint64_t largest_count = 0; ///< records of the channel with most of them
    std::vector<environment_entry> environment;
};

/// One channel's XML description, which it must have. Throws error(bad_value) for text that XML cannot hold.
std::string description_text(const channel&);

/// Text of all XML channel descriptions; empty when no channel is described.
std::string descriptions_text(const contents&);

} // namespace trox::writer

#endif
