// All that the three generations differ in, as far as the table readers are concerned: record types, the
// width of a table's words, the trailer.
#ifndef TROX_EVUTL_GENERATION_H
#define TROX_EVUTL_GENERATION_H

#include "event.h"

#include <cstddef>
#include <cstdint>

namespace trox_evutl
{

/// Patterns at the head of the tables; in the 2024 generation as 64-bit words of the same value.
inline constexpr std::uint32_t event_index_pattern = 0xEDAEDAF3U;
inline constexpr std::uint32_t dictionary_pattern = 0xDCADCAF3U;
inline constexpr std::uint32_t pointers_pattern = 0xECAECAF3U;
inline constexpr std::uint32_t environment_pattern = 0xEAAEAAF3U;
inline constexpr std::uint32_t description_pattern = 0xCDACDAF3U;

struct generation_legacy {
    using word = std::uint32_t; ///< of table heads, positions and event numbers
    static constexpr std::uint64_t length_limit = INT32_MAX;

    using reference_table = trox_file_reference_table;
    using event_index_table = trox_event_index_table;
    using event_index_head = trox_event_index_entry_head;
    using event_info = trox_event_info_entry;
    using dictionary_table = trox_chan_dictionary_table;
    using dictionary_entry = trox_chan_dictionary_entry;
    using pointers_table = trox_event_chan_pointers_table;
    using pointers_entry = trox_event_chan_ptr_entry;
    using environment_table = trox_env_dictionary_table;
    using description_table = trox_xml_chan_descr_header;

    static constexpr std::uint32_t reference_pattern = 0xFAEFAEF1U;
    /// The file ends with the position of the reference table and nothing else.
    static constexpr bool has_checked_trailer = false;
    static constexpr word trailer_pattern = 0;
};

struct generation_2010 {
    using word = std::uint32_t;
    static constexpr std::uint64_t length_limit = INT32_MAX;

    using reference_table = trox_file_reference_table_2010;
    using event_index_table = trox_event_index_table_2010;
    using event_index_head = trox_event_index_entry_head;
    using event_info = trox_event_info_entry;
    using dictionary_table = trox_chan_dictionary_table_2010;
    using dictionary_entry = trox_chan_dictionary_entry_2010;
    using pointers_table = trox_event_chan_pointers_table;
    using pointers_entry = trox_event_chan_ptr_entry;
    using environment_table = trox_env_dictionary_table_2010;
    using description_table = trox_xml_chan_descr_header_2010;

    static constexpr std::uint32_t reference_pattern = 0xFAEFAEF2U;
    /// The position is followed by the reference table's CRC-32 and a pattern.
    static constexpr bool has_checked_trailer = true;
    static constexpr word trailer_pattern = 0x7A11F010U;
};

struct generation_2024 {
    using word = std::uint64_t;
    static constexpr std::uint64_t length_limit = INT64_MAX;

    using reference_table = trox_file_reference_table_2024;
    using event_index_table = trox_event_index_table_2024;
    using event_index_head = trox_event_index_entry_head_2024;
    using event_info = trox_event_info_entry_2024;
    using dictionary_table = trox_chan_dictionary_table_2024;
    using dictionary_entry = trox_chan_dictionary_entry_2024;
    using pointers_table = trox_event_chan_pointers_table_2024;
    using pointers_entry = trox_event_chan_ptr_entry_2024;
    using environment_table = trox_env_dictionary_table_2024;
    using description_table = trox_xml_chan_descr_header_2024;

    static constexpr std::uint32_t reference_pattern = 0xFAEFAEF3U;
    static constexpr bool has_checked_trailer = true;
    static constexpr word trailer_pattern = 0x7A11F024U;
};

} // namespace trox_evutl

#endif
