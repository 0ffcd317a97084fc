#include "generic/thread_count.h"

#include "event_util.h"

#include <algorithm>

namespace trox_detail
{

namespace
{

constexpr int mask_bits = 32;

int count_for_block_types(std::uint32_t dtype_mask)
{
    constexpr int without_types = 6;
    constexpr int for_images = 10;
    if (dtype_mask == 0) {
        return without_types;
    }
    int count = 1;
    for (int bit = 0; bit < mask_bits; ++bit) { // the highest bit set decides
        if ((dtype_mask >> bit & 1U) != 0) {
            const bool image = bit == TROX_BLOCK_IMAGE || bit == TROX_BLOCK_IMAGE_EXT;
            count = image ? for_images : std::max(1, get_channel_number(bit, nullptr));
        }
    }
    return count;
}

int count_for_event_types(std::uint32_t ev_mask)
{
    constexpr int for_local = 4;
    constexpr int for_multi_line = 2;
    for (int bit = 0; bit < mask_bits; ++bit) {
        if ((ev_mask >> bit & 1U) != 0) {
            const int structure = get_event_struct_type(bit);
            if (structure == TROX_EV_STRUCT_LOCAL) {
                return for_local;
            }
            if (structure == TROX_EV_STRUCT_ML) {
                return for_multi_line;
            }
        }
    }
    return 1;
}

} // namespace

int preferred_thread_count(std::uint32_t dtype_mask, std::uint32_t ev_mask) noexcept
{
    const int count = count_for_block_types(dtype_mask);
    return count == 1 ? count_for_event_types(ev_mask) : 2 * count;
}

} // namespace trox_detail
