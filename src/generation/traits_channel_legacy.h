// What the channel-reading layer needs to know of the legacy generation.
#ifndef TROX_GENERATION_TRAITS_CHANNEL_LEGACY_H
#define TROX_GENERATION_TRAITS_CHANNEL_LEGACY_H

#include "detail/generation_legacy.h"
#include "event_util.h"
#include "generation/event_patterns.h"
#include "generation/messages_channel_legacy.h"
#include "generation/traits_channel_common.h"

#include <cstddef>
#include <cstdint>

namespace trox_detail
{

template <>
struct channel_traits<generation_legacy> : channel_traits_of_all, channel_traits_of_32_bits<generation_legacy> {
    using generation = generation_legacy;

    static constexpr long trailer_size = 4;

    /// Baskets are always mapped.
    static constexpr bool may_copy_baskets = false;
    static constexpr auto keeps_basket_as = basket_kind::mapped;
    static constexpr bool has_by_time_fix = false;
    static constexpr bool has_lookup_timing = false;
    static constexpr bool has_basket_size_in_timing = false;
    /// Longest channel name that a reader holds: that of the files' dictionaries.
    static constexpr std::size_t longest_name = sizeof(generation::chan_dictionary_entry::chan_name) - 1;

    static constexpr int published_update_type = TROX_UPD_BLOCK;
    static constexpr bool is_update_type(int type)
    {
        return type == TROX_UPD_BLOCK || type == TROX_BOR_BLOCK || type == TROX_EOR_BLOCK;
    }

    static constexpr auto read_reference_table = get_trox_file_reference_table_m;
    static constexpr auto read_event_index = trox_get_event_index_table_m;
    static constexpr auto read_dictionary = trox_get_channel_dictionary_table_m;
    static constexpr auto read_pointers_table = trox_get_event_chan_pointers_table_m;
    static constexpr auto read_pointers_table_by_list = trox_get_event_chan_pointers_table_by_list_m;
    static constexpr auto read_env_dictionary = trox_get_env_index_dictionary_table_m;
    static constexpr auto read_descriptions = trox_get_chan_descr_table_m;
    static constexpr int (*find_channel)(generation::chan_dictionary_table*, const char*,
                                         generation::chan_dictionary_entry**) = trox_find_channel_by_name;
    static constexpr int (*cut_to_one_channel)(generation::subhead*, int, const trox_chan_prms*, int*,
                                               generation::subhead**) = device_to_one_channel;

    /// Gives a copy of an event header the pattern by which programs know the layout of what follows.
    static void mark_layout(generation::event_header& header)
    {
        header.pattern = legacy_event_pattern;
    }
};

} // namespace trox_detail

#endif
