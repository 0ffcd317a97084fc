// What the channel-reading layer needs to know of the 2024 generation.
#ifndef TROX_GENERATION_TRAITS_CHANNEL_2024_H
#define TROX_GENERATION_TRAITS_CHANNEL_2024_H

#include "detail/generation_2024.h"
#include "event_util.h"
#include "generation/messages_channel_2024.h"
#include "generation/traits_channel_common.h"
#include "generic/host_order.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace trox_detail
{

template <> struct channel_traits<generation_2024> : channel_traits_since_2010 {
    using generation = generation_2024;

    static constexpr long trailer_size = 24;
    static constexpr std::size_t basket_word = sizeof(std::uint64_t);

    /// Event number of a record that is not decoded yet. 0xFFFFFFFF is a number like others here.
    static constexpr generation::event_number undecoded = std::numeric_limits<generation::event_number>::max();
    /// Bytes per record that are cleared before decoding: all.
    static constexpr std::size_t cleared_per_record = sizeof(generation::channel_entry);
    /// Longest channel name that a reader holds.
    static constexpr std::size_t longest_name = sizeof(generation::chan_dictionary_entry::chan_name) - 1;

    static constexpr auto read_reference_table = get_trox_file_reference_table_m_2024;
    static constexpr auto read_event_index = trox_get_event_index_table_m_2024;
    static constexpr auto read_dictionary = trox_get_channel_dictionary_table_m_2024;
    static constexpr auto read_pointers_table = trox_get_event_chan_pointers_table_m_2024;
    static constexpr auto read_pointers_table_by_list = trox_get_event_chan_pointers_table_by_list_m_2024;
    static constexpr auto read_env_dictionary = trox_get_env_index_dictionary_table_m_2024;
    static constexpr auto read_descriptions = trox_get_chan_descr_table_m_2024;
    static constexpr int (*find_channel)(generation::chan_dictionary_table*, const char*,
                                         generation::chan_dictionary_entry**) = trox_find_channel_by_name_2024;
    static constexpr int (*cut_to_one_channel)(generation::subhead*, int, const trox_chan_prms*, int*,
                                               generation::subhead**) = device_to_one_channel_2010;

    static void load(const void* source, generation::event_header& header)
    {
        header = load_record<generation::event_header>(source);
        trox_convert_event_head(&header, &header);
    }
    static void load(const void* source, generation::server_block_head& head)
    {
        head = load_record<generation::server_block_head>(source);
        trox_convert_event_serv_block_head(&head, &head);
    }
    static void load(const void* source, generation::subhead& head)
    {
        load_words_but_text(source, head, head.chname);
    }

    /// An event number as the texts print it.
    static long printed(generation::event_number number)
    {
        return static_cast<long>(number);
    }
    static unsigned long printed_basket_size(std::uint64_t size)
    {
        return size;
    }

    /// Event headers have a type of their own: nobody goes by their pattern.
    static void mark_layout(generation::event_header& /*header*/) {}
};

} // namespace trox_detail

#endif
