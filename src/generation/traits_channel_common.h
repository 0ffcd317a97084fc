// What the channel-reading layer needs to know of more than one generation.
#ifndef TROX_GENERATION_TRAITS_CHANNEL_COMMON_H
#define TROX_GENERATION_TRAITS_CHANNEL_COMMON_H

#include "event_util.h"
#include "generic/basket_copy.h"
#include "generic/host_order.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace trox_detail
{

template <class Generation> struct channel_traits;

/// The same in all generations.
struct channel_traits_of_all {
    static constexpr std::uint64_t event_header_basket_pattern = 0xEBAEBAF3;
    static constexpr std::uint64_t server_block_basket_pattern = 0xBBABBAF3;
    static constexpr std::uint64_t channel_basket_pattern = 0xCBACBAF3;
    static constexpr std::size_t any_length = std::numeric_limits<std::size_t>::max();
};

/// The same in the generations with 32-bit event numbers and positions.
template <class Generation> struct channel_traits_of_32_bits {
    static constexpr std::size_t basket_word = sizeof(std::uint32_t);

    /// Event number of a record that is not decoded yet.
    static constexpr std::uint32_t undecoded = 0xFFFFFFFF;
    /// Bytes per record that are cleared before decoding. Intended to be less than a record: the pointer sets
    /// behind the first are not in use, and clearing them would cost more than decoding a small record.
    static constexpr std::size_t cleared_per_record = 140;

    static void load(const void* source, typename Generation::event_header& header)
    {
        load_words(source, header);
    }
    static void load(const void* source, typename Generation::server_block_head& head)
    {
        load_words_but_text(source, head, head.server);
    }
    static void load(const void* source, typename Generation::subhead& head)
    {
        load_words_but_text(source, head, head.chname);
    }

    /// An event number as the texts print it.
    static int printed(std::uint32_t number)
    {
        return static_cast<int>(number);
    }
};

/// The same in the 2010 and the 2024 generation.
struct channel_traits_since_2010 : channel_traits_of_all {
    /// Baskets are copied to the heap when a listed channel lies on a fast event type.
    static constexpr bool may_copy_baskets = true;
    /// How the channel's own basket is held.
    static constexpr auto keeps_basket_as = basket_kind::copied;
    /// A neighbour found by time can be checked against the event numbers.
    static constexpr bool has_by_time_fix = true;
    /// Slow look-ups by number are told when timings are traced.
    static constexpr bool has_lookup_timing = true;
    /// The timing of `start` tells the basket's size.
    static constexpr bool has_basket_size_in_timing = true;

    static constexpr int published_update_type = TROX_UPD_BLOCK_2010;
    static constexpr bool is_update_type(int type)
    {
        return type == TROX_UPD_BLOCK_2010 || type == TROX_BOR_BLOCK_2010 || type == TROX_EOR_BLOCK_2010;
    }
};

} // namespace trox_detail

#endif
