// Shows a data file of any generation as it lies on the disk: heads, tables and records field by field, each with its
// position, or plain bytes. Also of damaged files: what is there is shown, and what does not fit is told.
//
// Layer: tools. Reads through windows; nothing is decompressed. Rows come one by one, in file order of the items.
#ifndef TROX_INSPECT_DUMP_H
#define TROX_INSPECT_DUMP_H

#include "items.h"
#include "trox/basics.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace trox::inspect
{

inline constexpr std::uint64_t all_rows = std::numeric_limits<std::uint64_t>::max();

/// What is shown. Empty: everything.
struct dump_options {
    std::optional<item_kind> item{};
    std::string channel{};                ///< name: its dictionary entry, column, basket and records
    std::optional<std::uint64_t> event{}; ///< number: its headers, rows and records
    std::uint64_t rows = all_rows;        ///< entries of each table, rows of each column, records of each basket
};

/// One field.
struct dump_row {
    std::uint64_t offset = 0; ///< position in the file
    item_kind item = item_kind::unused;
    std::string channel{};
    std::string record{};  ///< "head", "entry 3", "row 5", "record 5 sub-head", ...
    std::string field{};   ///< as in event.h; "" for a remark about the record
    std::string raw{};     ///< the bytes in hexadecimal, long ones cut
    std::string value{};   ///< as a number or text
    std::string meaning{}; ///< what the number means, where that can be told
};
using dump_sink = std::function<void(const dump_row&)>;

/// What a file is made of, as far as its tables lead there.
struct file_items {
    std::optional<generation> format{};
    std::uint64_t file_size = 0;
    std::vector<item> items{};           ///< in file order, unused pieces included; lengths end inside the file
    std::vector<std::string> channels{}; ///< names in the dictionary
    std::vector<std::string> remarks{};  ///< what does not fit
};

/// Throws std::system_error when the file cannot be opened.
file_items list_items(const std::string& path);

/// Calls `out` for each field. Returns what list_items does. An item or channel that the file lacks gives no rows.
file_items dump_fields(const std::string& path, const dump_options& options, const dump_sink& out);

/// True when the event index or a row leads to an event of this number.
bool has_event(const std::string& path, std::uint64_t number);

/// Sixteen bytes of a file, or fewer at the end.
struct hex_row {
    std::uint64_t offset = 0;
    std::string bytes{}; ///< "faef aef2 0000 ..."
    std::string text{};  ///< printable characters, '.' for others
};

/// Calls `out` for each row of [position, position + length), cut to the file. Returns the bytes shown.
std::uint64_t dump_bytes(const std::string& path, std::uint64_t position, std::uint64_t length,
                         const std::function<void(const hex_row&)>& out);

} // namespace trox::inspect

#endif
