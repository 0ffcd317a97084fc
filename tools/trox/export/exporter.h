// Events of a data set, written into a file of another format.
//
// Layer: stands on namespace trox; the verbs of the command line stand on it. Free of the command line: it prints
// nothing, and everything that a person must be told is in the result.
//
// Formats (rows.h lists the columns that a channel has in all of them):
//
//   csv     "rows": a line per event and member of a channel, the values in one field with spaces between them.
//           "wide": a line per event, a field per member; for channels of one value a member.
//   ndjson  a line per event, a JSON object: {"event", "time", "channels": {NAME: {COLUMN: ...} or null}}. Floats are
//           the shortest decimals that read as the same float; "NaN", "Infinity" and "-Infinity" are strings.
//   npz     NumPy: arrays "event_number", "event_time" [event], and "CHANNEL/COLUMN" [event], [event, element] or
//           [event, line, element].
//   hdf5    the same, a group per channel with attributes; chunked, compressed, with checksums.
//   png     a file per image, 8 or 16 bits deep as the camera sent it.
//
// Where a channel has no record, `present` is 0 and its columns hold NaN, 0 or "". Rows that are shorter than the
// longest one of their column are filled up with the same; `length` and `shape` tell.
//
//     trox_export::options how;
//     how.format = trox_export::file_format::hdf5;
//     how.target = "run.h5";
//     const auto done = trox_export::export_events(data, {{trox::pattern_from_text("LINAC.RF/*")}}, {}, how);
#ifndef TROX_EXPORT_EXPORTER_H
#define TROX_EXPORT_EXPORTER_H

#include "trox/event_reader.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trox_export
{

enum class file_format { csv, ndjson, npz, hdf5, png };
/// By the ending of a name: ".csv", ".ndjson", ".jsonl", ".npz", ".h5", ".hdf5", ".png".
std::optional<file_format> format_of_name(std::string_view path);

enum class csv_layout { rows, wide };

struct options {
    file_format format = file_format::hdf5;
    /// Path of the file. Of several images every one has its event number before the ending: "beam-388120042.png",
    /// with several image channels also its channel: "beam-CAM.SCR4-388120042.png".
    std::string target{};
    /// Takes the text of CSV or NDJSON in place of a file, in pieces of any size. Cannot be verified.
    std::function<void(std::string_view)> write{};
    csv_layout csv = csv_layout::rows;
    std::function<std::string(trox::time_point)> show_time{}; ///< of CSV; none: ISO 8601 in UTC
    int compression = 4;                                      ///< of npz and HDF5: 0 none, 1 fast to 9 small
    bool verify = false; ///< read the file back, and compare every value with a second reading of the data
    /// Called often, also while an archive is put together, and before files are put in place: what it throws ends the
    /// export, and targets are as before.
    std::function<void()> check{};
    /// Called after every event with their number so far: of writing, then from 0 again of verifying.
    std::function<void(std::uint64_t)> progress{};
};

/// A channel whose rows did not all have one shape.
struct changed_shape {
    std::string channel{};
    std::size_t fewest = 0; ///< elements
    std::size_t most = 0;
};

struct result {
    std::vector<std::string> files{}; ///< the first 1000
    std::uint64_t file_count = 0;
    std::uint64_t events = 0;
    std::uint64_t records = 0;
    trox::reading_report report{}; ///< what was missing, and what was passed over
    std::vector<changed_shape> changed_shapes{};
    bool is_verified = false;
    /// The first place at which the file holds something else than the data. Nothing was put in place of the target
    /// then.
    std::optional<std::string> difference{};

    /// Whether records or files were passed over.
    bool has_lost_data() const noexcept;
};

/// Writes the selected events. The target is replaced when everything was written (and compared); several images, when
/// all of them were. Memory stays within the budget: three quarters are the reader's, a quarter is for what is not yet
/// written; but a column's row is always held.
/// Throws error: what the reader throws; (wrong_use) for channels that the format cannot hold; (input_output).
result export_events(const trox::data_set& data, const trox::selection& what, const trox::reading_options& reading,
                     const options& how);

} // namespace trox_export

#endif
