// Writer of data files (all three generations) and of run catalogues.
//
// Layer: beside the readers; it depends on the records of event.h only. Three classes and some functions:
//
//   file_writer      one data file, event by event
//   run_writer       a whole run: data files named and rolled over by themselves, and the run's catalogue
//   write_catalogue  one run catalogue file
//   spectrum_payload, image_payload, update_payload, ...   payloads of the block types, in host order
//
// A program that writes one file:
//
//     namespace tw = trox::writer;
//     tw::file_writer file("/data/linac_main_run7_file1_20240305T120000.raw", tw::generation::v2024);
//     const auto charge = file.add_channel("LINAC.DIAG/TOROID/3/CHARGE", tw::storage::zlib);
//     for (const auto& shot : shots) {
//         file.begin_event({shot.number, shot.time});              // type TROX_EV_NORMAL
//         file.begin_server_block({"DIAG.SVR1"});                  // time and pulse number of the event
//         file.add_record(charge, tw::spectrum_payload(tw::generation::v2024, TROX_BLOCK_1CHAN_2010, shot.samples));
//         file.end_event();
//     }
//     file.finish();
//
// Nothing is seen under the file's name before `finish` has returned; a writer that fails or is destroyed
// before that leaves nothing behind. Every failure is a trox::writer::error. Objects are independent of each
// other; one object belongs to one thread at a time.
#ifndef TROX_WRITER_H
#define TROX_WRITER_H

#include "trox_writer_records.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace trox::writer
{

// ---------------------------------------------------------------------------------------------------
// Data files
// ---------------------------------------------------------------------------------------------------

/// Writes one data file.
///
/// Life cycle: constructed (channels and events may be added in any order) -> `finish` (file in place) or
/// `abandon`, or destruction (nothing left). Events follow each other: begin_event, for every server
/// begin_server_block and its records, end_event.
///
/// Records are spooled to a nameless file beside the target and put in order by `finish`, so the disk holds
/// the data twice for a moment. Memory: the tables (about 12 bytes a record, 24 an event, some hundred a channel),
/// `buffer_bytes`, and one record with its compressed form. Two descriptors, however many channels.
class file_writer
{
public:
    /// Begins the file `path`. Refuses (bad_name) an empty name, a name of a directory, device or pipe, and an existing
    /// file unless `replace_existing`, which puts the new file in the place of a link, too, and leaves alone what the
    /// link leads to; (unsupported) a default storage that the build has not got; (bad_value) a `max_file_bytes` above
    /// the generation's limit.
    file_writer(const std::string& path, generation format, const file_options& options = {});
    ~file_writer();
    file_writer(file_writer&&) noexcept;
    file_writer& operator=(file_writer&&) noexcept;

    /// Adds a channel to the dictionary. Refuses a name or key that is there already, too long, empty, or not
    /// printable ASCII (bad_name), and what the pointers table has no room for (too_large).
    channel_id add_channel(const channel_settings& settings);
    channel_id add_channel(const std::string& name);
    channel_id add_channel(const std::string& name, storage stored);

    /// The channel of that name, if it was added.
    std::optional<channel_id> find_channel(const std::string& name) const;

    /// An entry of the environment dictionary whose key need not be a channel's.
    void add_environment_entry(std::uint32_t key, std::int32_t index);

    /// Opens an event. Refuses an event type outside 0..31, microseconds above 999999 (bad_value), a number
    /// that the generation cannot hold (too_large), and an event within an event (wrong_use).
    void begin_event(const event_info& event);

    /// Opens a server block in the open event; it ends with the next one, or with the event.
    void begin_server_block(const server_block_info& block);

    /// Adds a channel's record to the open server block. One record per channel and event. Refuses unknown
    /// channels, unassigned block types, payloads shorter than the type's fixed head, TROX_CHAN_ZIP_FLAG
    /// among the error bits (bad_value), a compressor that the build has not got (unsupported), and records
    /// that pass a length field, a basket or the file (too_large).
    void add_record(channel_id channel, const record& record);
    void add_record(channel_id channel, const payload& payload, std::uint32_t error = 0);
    void add_record(const std::string& channel, const record& record);
    void add_record(const std::string& channel, const payload& payload, std::uint32_t error = 0);
    void add_record(channel_id channel, const stored_record& record);

    /// Closes the open event and its server blocks.
    void end_event();

    /// Writes the file and puts it in place. Refuses an open event (wrong_use) and what the layout's gaps push
    /// past the generation's limits (too_large). The map stays valid as long as the writer.
    const file_map& finish();

    /// Gives the file up and removes what was spooled; nothing more can be added. Harmless when repeated.
    void abandon() noexcept;

    /// The file's path; bytes of the file if it were finished now, without the layout's gaps and the
    /// channel descriptions; the largest size allowed; number of complete events.
    const std::string& path() const noexcept;
    std::uint64_t projected_size() const noexcept;
    std::uint64_t size_limit() const noexcept;
    std::uint64_t event_count() const noexcept;

private:
    class state;
    std::unique_ptr<state> state_;
};

// ---------------------------------------------------------------------------------------------------
// File names, run catalogues, whole runs
// ---------------------------------------------------------------------------------------------------

/// Which run. Experiment and stream: 1 to 31 letters, digits, '-', '.' or '+', no '_'; number not negative.
struct run_identity {
    std::string experiment{};
    std::string stream{};
    std::int32_t number = 0;
};

/// <experiment>_<stream>_run<R>_file<N>_<YYYYMMDD>T<hhmmss>[.<digits>].raw, UTC, with `fraction_digits` (0 to 6)
/// digits of the second, cut. Refuses (bad_name) what run_identity does not allow and a number below 0.
std::string data_file_name(const run_identity& run, std::int32_t file_number, time_stamp time, int fraction_digits = 0);

/// One data file in a run catalogue. Whole seconds since the epoch that enclose its data.
struct catalogue_file {
    std::string name{};   ///< base name
    std::string format{}; ///< "raw", "raw64" or "root"
    std::int64_t start = 0;
    std::int64_t stop = 0;
};

/// A run's entry in the catalogue; `stop` 0 for a run that is still going.
struct catalogue_run {
    run_identity run{};
    std::int64_t start = 0;
    std::int64_t stop = 0;
    std::vector<catalogue_file> files{};
};

/// "raw" for legacy and 2010 files, "raw64" for 2024.
const char* catalogue_format(generation format) noexcept;

/// <experiment>_<stream>_run<R>_<start>_<stop>.xml, `open` as the stop of a run that is still going.
std::string catalogue_file_name(const catalogue_run& run);

/// Writes the catalogue file into `directory`, replacing one of the same name; whole or not at all. Returns
/// its path. Refuses names that are no base names or do not suit XML, other formats, a stop before the start.
std::string write_catalogue(const std::string& directory, const catalogue_run& run, bool sync = false);

/// Options of a run.
struct run_settings {
    std::string data_directory{};
    std::string catalogue_directory{}; ///< empty: no catalogue
    run_identity run{};
    generation format = generation::v2010;
    file_options file{};                   ///< of every file; its seed grows by 1 from file to file
    std::uint64_t max_events_per_file = 0; ///< 0: no bound
    std::uint64_t max_bytes_per_file = 0;  ///< a file is closed before the event after; 0: no bound
    int fraction_digits = 0;               ///< of the second in file names
    std::int32_t first_file_number = 1;
    bool open_catalogue = false; ///< keeps an `open` catalogue of the files done so far, until `finish`
};

/// Writes a whole run: files named after their first event, rolled over by number of events or bytes, and the
/// run's catalogue. Channels may be added until the end; files know those added before they were closed.
///
/// Life cycle as file_writer; without `finish` the files that were closed stay, the last one and the
/// catalogue (other than an `open` one) do not come to be.
///
///     tw::run_writer run({"/data", "/catalogue", {"linac", "main", 7}, tw::generation::v2010});
///     const auto charge = run.add_channel("LINAC.DIAG/TOROID/3/CHARGE");
///     ... begin_event, begin_server_block, add_record, end_event as above ...
///     run.finish();
class run_writer
{
public:
    explicit run_writer(const run_settings& settings);
    ~run_writer();
    run_writer(run_writer&&) noexcept;
    run_writer& operator=(run_writer&&) noexcept;

    channel_id add_channel(const channel_settings& settings);
    channel_id add_channel(const std::string& name);
    channel_id add_channel(const std::string& name, storage stored);
    void add_environment_entry(std::uint32_t key, std::int32_t index);

    void begin_event(const event_info& event);
    void begin_server_block(const server_block_info& block);
    void add_record(channel_id channel, const record& record);
    void add_record(channel_id channel, const payload& payload, std::uint32_t error = 0);
    void add_record(channel_id channel, const stored_record& record);
    void end_event();

    /// Closes the present file; the next event begins another. Does nothing when no file is open.
    void next_file();

    /// Layout of the files that are still to be opened.
    void set_layout(const layout_options& layout);

    /// Closes the last file and writes the catalogue. Refuses a run without events (wrong_use).
    void finish();

    /// Gives up the present file; closed ones stay.
    void abandon() noexcept;

    /// Bytes of the present file if it were closed now, as `file_writer` projects them; 0 when none is open.
    std::uint64_t projected_size() const noexcept;

    /// Paths of the files closed so far, and of the catalogue (after `finish`, when one is written).
    const std::vector<std::string>& files() const noexcept;
    const std::string& catalogue() const noexcept;

private:
    class state;
    std::unique_ptr<state> state_;
};

} // namespace trox::writer

#pragma GCC visibility pop

#endif
