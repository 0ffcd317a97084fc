// Checks a data file of any generation: every table, reference, length, count, pattern, checksum, stream and payload.
//
// Layer: tools; above the event utility library, beside the readers, whose own checks it does not trust. Looks at a
// file through windows: its memory grows with the tables' entries (some 50 bytes an event, a server block and a row of
// the channel at hand), not with the data. Whatever bytes a file holds, the check ends and says what it saw.
//
//     const auto report = trox::inspect::check_file("run.raw", {});
//     for (const auto& one : report.findings) ...
#ifndef TROX_INSPECT_DOCTOR_H
#define TROX_INSPECT_DOCTOR_H

#include "findings.h"
#include "items.h"
#include "trox/basics.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace trox::inspect
{

struct doctor_options {
    unsigned threads = 0;           ///< that decompress; 0: as many as the machine has processors
    std::size_t kept_per_code = 20; ///< findings told of each code; all are counted
    /// Compressed payloads of LZO records up to so many bytes are decompressed in memory, one per thread.
    std::uint64_t largest_record = std::uint64_t{1} << 30;
    /// Compressed bytes are decompressed up to so many times the file's size: streams may overlap in a file of ill
    /// will.
    unsigned most_passes = 4;
    std::uint64_t largest_descriptions = std::uint64_t{64} << 20; ///< bytes; larger ones are not decoded
    /// Called by the checking thread with bytes of baskets checked, and of all baskets.
    std::function<void(std::uint64_t done, std::uint64_t total)> progress{};
};

/// One channel of the dictionary. checked = good + damaged + unchecked.
struct channel_report {
    std::string name{};
    std::uint64_t position = 0; ///< of its basket; 0 without one
    std::uint64_t length = 0;   ///< of its basket
    /// Records by the dictionary; nothing where there is none, and the basket was found by its pattern.
    std::optional<std::uint64_t> announced{};
    std::uint64_t checked = 0; ///< rows in use
    std::uint64_t good = 0;
    std::uint64_t damaged = 0;   ///< something of the record is lost
    std::uint64_t unchecked = 0; ///< could not be decompressed by this build
};

struct code_count {
    finding_code code = finding_code::read_error;
    std::uint64_t count = 0;
};

struct check_report {
    std::string path{};
    std::uint64_t file_size = 0;
    std::optional<generation> format{}; ///< nothing: no data file
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
    std::uint64_t notes = 0;
    std::vector<code_count> counts{};     ///< codes that were found, in the order of the enumeration
    std::vector<finding> findings{};      ///< by code and place, at most `kept_per_code` of each
    std::uint64_t events = 0;             ///< in the event index
    std::vector<channel_report> channels; ///< in dictionary order
    std::vector<item> items{};            ///< what the file is made of, in file order, unused bytes included
    std::uint64_t unused_pieces = 0;
    std::uint64_t unused_bytes = 0;
};

/// Checks the file. Throws std::system_error when it cannot be opened; what is wrong with it is in the report.
check_report check_file(const std::string& path, const doctor_options& options = {});

} // namespace trox::inspect

#endif
