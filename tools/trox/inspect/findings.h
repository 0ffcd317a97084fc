// What a file check finds: codes that stay the same from version to version, and where each was found.
#ifndef TROX_INSPECT_FINDINGS_H
#define TROX_INSPECT_FINDINGS_H

#include "items.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace trox::inspect
{

enum class severity {
    error,   ///< data are lost or wrong
    warning, ///< against the rules of the format or implausible, but everything is read
    note     ///< worth knowing
};
/// "error", "warning", "note".
const char* name_of(severity level) noexcept;

/// Everything that can be wrong, from the file as a whole to one record. In the order in which findings are told.
enum class finding_code {
    read_error,
    not_a_data_file,
    file_head,
    trailer_pattern,
    trailer_position,
    trailer_crc,
    references_missing,
    references_pattern,
    references_length,
    reference_index_entry,
    reference_channel,
    table_missing,
    table_position,
    table_pattern,
    table_length,
    table_entries,
    item_overlap,
    index_types,
    index_entry,
    index_first,
    index_last,
    index_offset,
    index_order,
    event_shared,
    event_unlisted,
    event_pattern,
    event_mark,
    event_mismatch,
    event_length,
    event_blocks,
    event_order,
    dictionary_name,
    dictionary_name_length,
    dictionary_name_repeated,
    dictionary_key_repeated,
    dictionary_event_mask,
    dictionary_type_mask,
    dictionary_count,
    pointers_columns,
    row_empty,
    row_unused,
    row_repeated,
    row_event,
    row_block,
    row_subhead,
    row_data,
    row_data_offset,
    block_pattern,
    block_head,
    block_length,
    block_channels,
    block_time,
    block_status,
    block_pulse,
    basket_position,
    basket_pattern,
    basket_length,
    record_name,
    record_type,
    record_mark,
    record_error_bits,
    record_length,
    record_length_inexact,
    record_overlap,
    record_zip,
    record_zip_flags,
    record_stream,
    record_stream_length,
    record_payload,
    record_announced,
    record_image,
    record_longer,
    record_value_name,
    record_value_index,
    record_unchecked,
    environment_repeated,
    environment_key,
    descriptions_text,
    descriptions_channel,
    descriptions_differ,
    descriptions_unchecked,
    microseconds,
    padding
};
inline constexpr std::size_t finding_code_count = static_cast<std::size_t>(finding_code::padding) + 1;

/// What a code means, for all findings that carry it.
struct code_info {
    finding_code code;
    const char* name; ///< "record-stream"; never changes
    severity level;
    const char* what;     ///< one sentence
    const char* readable; ///< what can still be read in spite of it
};
const code_info& info_of(finding_code code) noexcept;

/// Where a finding is. What does not apply is empty.
struct finding_place {
    item_kind item = item_kind::unused;
    std::string channel{};
    std::optional<std::uint64_t> event{};  ///< event number
    std::optional<std::uint64_t> record{}; ///< row of the channel, counted from 0; of a table its entry
    std::optional<std::uint64_t> offset{}; ///< position in the file, in bytes
};

struct finding {
    finding_code code = finding_code::read_error;
    finding_place where{};
    std::string found{};
    std::string expected{};
};

/// Gathers findings. Counts all of them, and keeps of each code the first ones by their place in the file, so that what
/// is kept does not depend on the order in which threads come across them. Any thread may add.
class finding_list
{
public:
    explicit finding_list(std::size_t kept_per_code) : kept_per_code_(kept_per_code) {}

    void add(finding_code code, finding_place where, std::string found, std::string expected);

    std::uint64_t count(finding_code code) const;
    std::uint64_t count(severity level) const;
    /// What was kept, by code and then by place.
    std::vector<finding> sorted() const;

private:
    struct of_code {
        std::uint64_t count = 0;
        std::vector<finding> kept; ///< a heap, the last one by place on top
    };

    const std::size_t kept_per_code_;
    mutable std::mutex mutex_; // guards codes_
    std::array<of_code, finding_code_count> codes_;
};

} // namespace trox::inspect

#endif
