// Data files of any generation, opened: which files, which channels, which events.
//
// Layer: the lowest of namespace trox; stands on the table readers of the generations.
#ifndef TROX_TROX_DATA_SET_H
#define TROX_TROX_DATA_SET_H

#include "basics.h"
#include "error.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Not exported: declared before the pragma.
namespace trox::detail
{
class open_files;
}

#pragma GCC visibility push(default)

namespace trox
{

/// Where runs lie.
struct run_place {
    std::string catalogue{};         ///< directory of the run catalogue
    std::vector<std::string> data{}; ///< directories in which data files are looked for, in this order
    std::string experiment{};        ///< empty: any
    std::string stream{};            ///< empty: any
};

/// A run of a catalogue, and its data files.
struct run_info {
    std::string experiment{};
    std::string stream{};
    std::int32_t number = 0;
    std::optional<time_point> start{}; ///< whole seconds, by the name of the catalogue file once the run has ended
    std::optional<time_point> stop{};  ///< none for a run that goes on
    std::string catalogue_file{};
    std::vector<std::string> files{}; ///< paths where they were found, else base names
};

/// A file that was passed over, and why.
struct skipped_file {
    std::string path{};
    std::string reason{};
};

/// Runs of a catalogue in order of their number, then experiment and stream. `first` and `last` (both included) limit
/// numbers, `begin` and `end` (half-open) the time; what is not given limits nothing. `damaged` receives the catalogue
/// files of runs that, by their names, would be among them, but cannot be read. Throws error (not_found) for a
/// catalogue that cannot be read. Thread-safe.
struct run_query {
    std::optional<std::int32_t> first{};
    std::optional<std::int32_t> last{};
    std::optional<time_point> begin{};
    std::optional<time_point> end{};
};
std::vector<run_info> find_runs(const run_place& place, const run_query& query = {},
                                std::vector<skipped_file>* damaged = nullptr);

/// Events of one type in one file. First and last are by time, as the event index announces them; the bounds are those
/// of its entries, and hold also when numbers begin anew or the announcement is damaged.
struct event_type_info {
    int type = 0;
    std::uint64_t count = 0;
    std::uint64_t first_number = 0;
    std::uint64_t last_number = 0;
    time_point first_time{};
    time_point last_time{};
    std::uint64_t lowest_number = 0;
    std::uint64_t highest_number = 0;
    time_point earliest{};
    time_point latest{};
};

/// One data file.
struct file_info {
    std::string path{};
    generation format = generation::v2010;
    std::uint64_t size = 0;                ///< bytes
    std::size_t channels = 0;              ///< in its dictionary
    std::vector<event_type_info> events{}; ///< by type, in the order of the event index
    std::string problem{};                 ///< what is damaged although the data can be read; empty: nothing
};

/// What the dictionaries and the descriptions tell of a channel.
struct channel_info {
    std::string name{};
    std::string unit{};
    std::string description{};
    std::string property{}; ///< name in the control system
    std::string server{};   ///< server block
    std::string subsystem{};
    std::uint32_t event_types = 0; ///< mask, bit per event type that carries the channel
    std::uint64_t records = 0;     ///< in all files
    std::size_t files = 0;         ///< that have records of it
};

/// What a look at the records of a channel tells.
struct channel_details {
    channel_kind kind = channel_kind::unknown;
    int block_type = 0;                 ///< of the first record
    std::vector<std::string> members{}; ///< names of a trace's members; empty without
    std::size_t samples = 0;            ///< of a member, per group; 0 without
    std::size_t groups = 0;
    std::uint64_t stored_bytes = 0;            ///< of its baskets in all files
    compression stored_as = compression::none; ///< of the first record
    std::vector<skipped_file> skipped_files{}; ///< that could not be loaded any more: all this is told without them
};

/// The event of one record, and the file that holds it (index in `files`).
struct record_stamp {
    std::uint64_t number = 0;
    time_point time{};
    std::size_t file = 0;
};

/// A record that was passed over, and why.
struct skipped_record {
    place where{};
    std::string reason{};
};

/// The events of a channel's records.
struct channel_stamps {
    std::vector<record_stamp> records{};   ///< in the order of the files, and as recorded
    std::vector<skipped_record> skipped{}; ///< whose event cannot be told
};

/// Called by work on many files behind each of them, with the number of files so far and of all.
using file_progress = std::function<void(std::size_t, std::size_t)>;

/// How files are opened.
struct open_options {
    enum class file_order {
        given,  ///< as they come
        by_time ///< by their first event; files without events, and equal times, as the names tell
    };
    bool skip_bad_files = true;       ///< pass over files that cannot be loaded; else throw
    std::size_t most_open_files = 64; ///< descriptors and tables that each reader keeps at once, at least 1
    file_order order = file_order::given;
    file_progress progress{};
};

/// Files of one or several generations in reading order. Opening reads tables only. A data set is a handle: copies
/// share everything. Const operations may be called by any number of threads.
class data_set
{
public:
    /// The given files, in the given order unless the options ask for another. Throws error (not_found, bad_file,
    /// input_output); with `skip_bad_files` only when none could be opened, or when descriptors or memory are short,
    /// which says nothing of a file (input_output).
    static data_set open_files(const std::vector<std::string>& paths, const open_options& options = {});
    /// The files of a run, or of all runs in a period [begin, end). A run of the period whose catalogue file cannot be
    /// read is a skipped file, or thrown like one.
    static data_set open_run(const run_place& place, std::int32_t run, const open_options& options = {});
    static data_set open_period(const run_place& place, time_point begin, time_point end,
                                const open_options& options = {});

    const std::vector<file_info>& files() const noexcept;
    const std::vector<skipped_file>& skipped_files() const noexcept;
    /// All channels of all files, in the order in which the dictionaries first name them.
    const std::vector<channel_info>& channels() const noexcept;
    /// Index of a channel.
    std::optional<std::size_t> find(std::string_view name) const;
    /// Up to `most` names that a person may have meant, the most similar first.
    std::vector<std::string> similar_names(std::string_view name, std::size_t most = 3) const;
    /// Reads the heads of the channel's baskets, and decodes its first good record. Throws error (wrong_use) for a
    /// channel that is not there, (input_output) when descriptors or memory are short.
    channel_details inspect(std::size_t channel) const;
    /// The events of all records of some channels, by the tables alone: nothing is decoded. One element per channel. A
    /// file that cannot be loaded any more is noted among the skipped records of each of its channels. Throws error
    /// (wrong_use) for a channel that is not there, (input_output) when descriptors or memory are short.
    std::vector<channel_stamps> stamps(const std::vector<std::size_t>& channels,
                                       const file_progress& progress = {}) const;
    /// First and last time of all events; none without events that have a time.
    std::optional<time_point> first_time() const noexcept;
    std::optional<time_point> last_time() const noexcept;

    /// For this library's own use.
    const std::shared_ptr<detail::open_files>& internals() const noexcept
    {
        return files_;
    }

private:
    explicit data_set(std::shared_ptr<detail::open_files> files);
    std::shared_ptr<detail::open_files> files_;
};

} // namespace trox

#pragma GCC visibility pop

#endif
