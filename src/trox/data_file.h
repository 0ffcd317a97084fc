// One data file of any generation, as the layer sees it.
#ifndef TROX_TROX_DATA_FILE_H
#define TROX_TROX_DATA_FILE_H

#include "event.h"
#include "trox/data_set.h"
#include "trox/decoded.h"
#include "trox/file_bounds.h"
#include "trox/file_window.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace trox::detail
{

/// A record by the tables: its event, and its row in the pointers table.
struct indexed_record {
    trox_time_id_2024 event_id{};
    std::uint32_t row = 0;
    bool is_update = false; ///< delivered as a slow value
};

/// A record that cannot be read, and why.
struct bad_record {
    std::uint64_t offset = 0;
    std::optional<std::uint64_t> number{};
    std::string reason{};
    fault why = fault::damaged_record;
};

/// A time in microseconds from which on the event numbers of a file begin anew.
struct restart_point {
    std::uint64_t time = 0;
    bool from_zero = false;
};

/// Which smaller numbers begin anew: those from which numbers go on, or all.
enum class restart_rule { numbers_go_on, every_number };

/// The records of one channel in one file, or in a stretch of it, without those whose event cannot be told.
struct channel_column {
    std::vector<indexed_record> records{};
    trox_time_id_2024 first{}; ///< the earliest event
    trox_time_id_2024 last{};  ///< the latest
    std::size_t first_at = 0;  ///< where it stands in `records`
    /// Of the numbers, which need not be those of the earliest and of the latest event; 0 when no event has one.
    std::uint64_t lowest_number = 0;
    std::uint64_t highest_number = 0;
    std::size_t lowest_at = 0;
    bool begins_with_zero = false;         ///< the stretch's numbers begin with 0, which else means none
    std::vector<restart_point> restarts{}; ///< of the numbers within
    std::vector<bad_record> bad{};

    /// Sets the members from `first` to `lowest_at`.
    void find_bounds();
    /// Whether numbers begin anew between two records.
    bool has_restart_between(std::size_t a, std::size_t b) const;
};

/// What a thread keeps from one channel to the next: its windows into the baskets.
struct decode_workspace {
    file_window event_headers;
    file_window server_blocks;
    file_window channel;
};

/// Decodes records of one channel of one file. One thread.
class channel_decoder
{
public:
    virtual ~channel_decoder() = default;
    /// Decodes the record of a row, if there is such a row, into `arena`. On failure false, and nothing is left in the
    /// arena.
    virtual bool decode(std::uint32_t row, batch_arena& arena, decoded_record& out) = 0;
    /// Why the last record could not be decoded.
    virtual record_failure failure() const noexcept = 0;
    /// What is wrong with a record, as far as that can be told without room for it; nothing for one that seems sound.
    virtual record_failure defect(std::uint32_t row) noexcept = 0;
};

/// How a channel's records lie in a file.
struct stored_channel {
    std::uint64_t begin = 0; ///< its basket
    std::uint64_t end = 0;
    compression first_stored_as = compression::none;
};

/// A file with the rows of some channels, by their position in the list that they were loaded for. Const operations may
/// be called by any number of threads.
class file_rows
{
public:
    virtual ~file_rows() = default;
    virtual const std::shared_ptr<const std::string>& path() const = 0;
    virtual std::size_t rows(std::size_t channel) const = 0;
    /// Without the bounds.
    virtual channel_column column(std::size_t channel) const = 0;
    /// Where the numbers of the channels begin anew, by the event index; ascending. Slow channels count little as long
    /// as there is a record of another one.
    virtual std::vector<restart_point> restarts(restart_rule rule) const = 0;
    virtual stored_channel stored(std::size_t channel) const = 0;
    /// A decoder for the records of rows `first` to `last`, in either order. It borrows the workspace, and this.
    virtual std::unique_ptr<channel_decoder> decoder(std::size_t channel, std::uint32_t first, std::uint32_t last,
                                                     decode_workspace& workspace) const = 0;
    /// Position of a record's sub-head; 0 for a row that is not there.
    virtual std::uint64_t offset(std::size_t channel, std::uint32_t row) const = 0;
};

/// A channel of a file's dictionary.
struct dictionary_channel {
    std::string name{};
    std::uint32_t event_types = 0;
    std::uint32_t block_types = 0;
    std::uint32_t count = 0;
};

/// Whether the event types of a dictionary's mask are there, and slow ones all.
bool has_slow_events_only(std::uint32_t event_types);

/// Tells whether a path still leads to the file that it led to.
struct file_identity {
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t second = 0; ///< of the last change
    std::int64_t nanosecond = 0;

    bool operator==(const file_identity&) const = default;
};
/// Throws error (input_output).
file_identity identity_of(int fd, const std::string& path);

/// What the tables tell without the rows.
struct file_contents {
    file_identity identity{};
    file_info info{};
    std::vector<type_bounds> bounds{}; ///< by type, as in `info`
    std::vector<dictionary_channel> dictionary{};
    std::vector<channel_info> descriptions{}; ///< with name, unit, description, property, server, subsystem
};

/// Descriptors or memory are short, which says nothing of the file: who holds some may give them up.
class out_of_resources : public error
{
public:
    using error::error;
};

/// Throws what an error number tells of a file that cannot be opened: error (not_found, input_output), or
/// out_of_resources.
[[noreturn]] void throw_unopened(int error_number, const std::string& path);

/// Reads the tables of a file of any generation. Throws error (out_of_resources).
file_contents read_contents(const std::string& path);
/// Loads the rows of channels; one that the file does not know has none. Throws error (out_of_resources), also when the
/// path leads to another file than the one of that identity, or to one that was changed.
std::shared_ptr<const file_rows> load_rows(const std::string& path, generation format, const file_identity& identity,
                                           const std::vector<std::string>& channels);

} // namespace trox::detail

#endif
