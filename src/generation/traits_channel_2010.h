// What the channel-reading layer needs to know of the 2010 generation.
#ifndef TROX_GENERATION_TRAITS_CHANNEL_2010_H
#define TROX_GENERATION_TRAITS_CHANNEL_2010_H

#include "detail/generation_2010.h"
#include "event_util.h"
#include "generation/event_patterns.h"
#include "generation/messages_channel_2010.h"
#include "generation/traits_channel_common.h"

#include <cstddef>
#include <cstdint>

namespace trox_detail
{

template <>
struct channel_traits<generation_2010> : channel_traits_since_2010, channel_traits_of_32_bits<generation_2010> {
    using generation = generation_2010;

    static constexpr long trailer_size = 12;

    /// Longest channel name that a reader holds.
    static constexpr std::size_t longest_name = any_length;

    static constexpr auto read_reference_table = get_trox_file_reference_table_m_2010;
    static constexpr auto read_event_index = trox_get_event_index_table_m_2010;
    static constexpr auto read_dictionary = trox_get_channel_dictionary_table_m_2010;
    static constexpr auto read_pointers_table = trox_get_event_chan_pointers_table_m_2010;
    static constexpr auto read_pointers_table_by_list = trox_get_event_chan_pointers_table_by_list_m_2010;
    static constexpr auto read_env_dictionary = trox_get_env_index_dictionary_table_m_2010;
    static constexpr auto read_descriptions = trox_get_chan_descr_table_m_2010;
    static constexpr int (*find_channel)(generation::chan_dictionary_table*, const char*,
                                         generation::chan_dictionary_entry**) = trox_find_channel_by_name_2010;
    static constexpr int (*cut_to_one_channel)(generation::subhead*, int, const trox_chan_prms*, int*,
                                               generation::subhead**) = device_to_one_channel_2010;

    static int printed_basket_size(std::uint64_t size)
    {
        return static_cast<int>(size);
    }

    /// Keeps a copy of an event header from carrying the pattern of another layout. Other patterns stay as they are.
    static void mark_layout(generation::event_header& header)
    {
        if (header.pattern == legacy_event_pattern) {
            header.pattern = event_pattern_2010;
        }
    }
};

} // namespace trox_detail

#endif
