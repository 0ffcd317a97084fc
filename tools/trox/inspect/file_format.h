// What the inspecting tools need to know of each generation beside its records: words, patterns, trailer.
#ifndef TROX_INSPECT_FILE_FORMAT_H
#define TROX_INSPECT_FILE_FORMAT_H

#include "fields.h"
#include "generation/traits_channel_2010.h"
#include "generation/traits_channel_2024.h"
#include "generation/traits_channel_legacy.h"
#include "trox/basics.h"

#include <cstdint>

namespace trox::inspect
{

using trox_detail::channel_traits;
using trox_detail::generation_2010;
using trox_detail::generation_2024;
using trox_detail::generation_legacy;

/// Patterns that all generations share.
inline constexpr std::uint64_t index_pattern = 0xEDAEDAF3;
inline constexpr std::uint64_t dictionary_pattern = 0xDCADCAF3;
inline constexpr std::uint64_t pointers_pattern = 0xECAECAF3;
inline constexpr std::uint64_t environment_pattern = 0xEAAEAAF3;
inline constexpr std::uint64_t descriptions_pattern = 0xCDACDAF3;
inline constexpr std::uint64_t event_headers_pattern = 0xEBAEBAF3;
inline constexpr std::uint64_t server_blocks_pattern = 0xBBABBAF3;
inline constexpr std::uint64_t channel_pattern = 0xCBACBAF3;
inline constexpr std::uint32_t legacy_event_pattern = 0xFFEEFFEE;

template <class Generation> struct file_format;

template <> struct file_format<generation_legacy> {
    using word = std::uint32_t;
    using trailer = trailer_without_checks;
    using spectrum_head = trox_spect_head;
    static constexpr auto id = trox::generation::legacy;
    static constexpr std::uint64_t longest_table = INT32_MAX;
    static constexpr bool has_trailer_checks = false;
    static constexpr std::uint64_t references_pattern = 0xFAEFAEF1;
    static constexpr std::uint64_t trailer_pattern = 0;
    static constexpr std::uint32_t event_pattern = legacy_event_pattern;
    static constexpr bool has_64_bits = false; ///< server block heads have a pattern, both heads padding
    static constexpr bool has_groups = false;  ///< and statistics in spectra
    /// Any other value makes it a header of another generation.
    static constexpr bool is_readable_event_pattern(std::uint32_t pattern)
    {
        return pattern == event_pattern;
    }
};

template <> struct file_format<generation_2010> {
    using word = std::uint32_t;
    using trailer = checked_trailer<word>;
    using spectrum_head = trox_spect_head_2010;
    static constexpr auto id = trox::generation::v2010;
    static constexpr std::uint64_t longest_table = INT32_MAX;
    static constexpr bool has_trailer_checks = true;
    static constexpr std::uint64_t references_pattern = 0xFAEFAEF2;
    static constexpr std::uint64_t trailer_pattern = 0x7A11F010;
    static constexpr std::uint32_t event_pattern = 0xFFEEFF10;
    static constexpr bool has_64_bits = false;
    static constexpr bool has_groups = true;
    /// Readers take everything but the legacy pattern for this generation.
    static constexpr bool is_readable_event_pattern(std::uint32_t pattern)
    {
        return pattern != legacy_event_pattern;
    }
};

template <> struct file_format<generation_2024> {
    using word = std::uint64_t;
    using trailer = checked_trailer<word>;
    using spectrum_head = trox_spect_head_2010;
    static constexpr auto id = trox::generation::v2024;
    static constexpr std::uint64_t longest_table = INT64_MAX;
    static constexpr bool has_trailer_checks = true;
    static constexpr std::uint64_t references_pattern = 0xFAEFAEF3;
    static constexpr std::uint64_t trailer_pattern = 0x7A11F024;
    static constexpr std::uint32_t event_pattern = 0xFFEEFF24;
    static constexpr std::uint64_t block_pattern = 0xFFBBFF24;
    static constexpr bool has_64_bits = true;
    static constexpr bool has_groups = true;
    static constexpr bool is_readable_event_pattern(std::uint32_t pattern)
    {
        return pattern == event_pattern;
    }
};

/// Bytes of the head of a basket, and of every table that begins with pattern and length alone.
template <class Generation>
inline constexpr std::size_t head_size = sizeof(table_head<typename file_format<Generation>::word>);

/// True for slow records, whose data may lie away from their sub-head: plain ones of these types.
template <class Generation> constexpr bool may_lie_apart(int type) noexcept
{
    return channel_traits<Generation>::is_update_type(type) || type == TROX_ENV_BLOCK;
}

/// Bytes of the value of such a record.
template <class Generation> constexpr std::size_t slow_value_size(int type) noexcept
{
    return type == TROX_ENV_BLOCK ? sizeof(trox_env_data_block) : sizeof(typename Generation::update_block);
}

} // namespace trox::inspect

#endif
