#include "payload_codec.h"

#include "detail/big_endian.h"
#include "event.h"

#include <algorithm>
#include <cstring>

namespace trox::writer
{
namespace
{

using trox_detail::byte_swapped;
using trox_detail::load_record;

constexpr std::size_t word_size = sizeof(std::uint32_t);

// A simple loop over words in place, which compilers turn into vector instructions.
void swap_words(unsigned char* at, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        const auto word = byte_swapped(load_record<std::uint32_t>(at + i * word_size));
        std::memcpy(at + i * word_size, &word, word_size);
    }
}

void swap_image(unsigned char* at)
{
    swap_words(at, offsetof(trox_image_frame_head, padding) / word_size);
    const auto number = byte_swapped(load_record<std::uint64_t>(at + offsetof(trox_image_frame_head, event_nm)));
    std::memcpy(at + offsetof(trox_image_frame_head, event_nm), &number, sizeof number);
    swap_words(at + offsetof(trox_image_frame_head, length), 1);
}

// `source` is the payload before swapping: the count must be read in host order.
void swap_name_values(unsigned char* at, const unsigned char* source, std::size_t size)
{
    const auto announced = load_record<std::int32_t>(source + offsetof(trox_name_value_block, ndata));
    constexpr auto head = offsetof(trox_name_value_block, values);
    const auto present = (size - head) / sizeof(trox_name_value_channel);
    swap_words(at, 1);
    swap_words(at + offsetof(trox_name_value_block, ndata), 1);
    const auto count = std::min<std::size_t>(static_cast<std::size_t>(std::max(announced, 0)), present);
    for (std::size_t i = 0; i < count; ++i) {
        swap_words(at + head + i * sizeof(trox_name_value_channel) + offsetof(trox_name_value_channel, value), 1);
    }
}

void swap_control_value(unsigned char* at, const unsigned char* source, std::size_t size)
{
    const auto announced = load_record<trox_eqdata_head>(source);
    constexpr auto head = sizeof(trox_eqdata_head);
    swap_words(at, head / word_size);
    if (announced.type != DATA_STRING && announced.type != DATA_IMAGE) {
        const auto elements = static_cast<std::size_t>(std::max(announced.length, 0));
        swap_words(at + head, std::min(elements, (size - head) / word_size));
    }
}

} // namespace

bool is_assigned_type(std::int32_t dtype) noexcept
{
    constexpr std::int32_t unassigned_first = 54;
    constexpr std::int32_t unassigned_last = 59;
    constexpr std::int32_t unassigned_alone[] = {30, 32};
    return dtype >= TROX_UPD_BLOCK && dtype < TROX_BLOCK_MAX_2010 && dtype != unassigned_alone[0] &&
           dtype != unassigned_alone[1] && (dtype < unassigned_first || dtype > unassigned_last);
}

std::size_t fixed_head_size(std::int32_t dtype) noexcept
{
    switch (dtype) {
    case TROX_UPD_BLOCK:
    case TROX_BOR_BLOCK:
    case TROX_EOR_BLOCK:
        return sizeof(trox_upd_data_block);
    case TROX_UPD_BLOCK_2010:
    case TROX_BOR_BLOCK_2010:
    case TROX_EOR_BLOCK_2010:
        return sizeof(trox_upd_data_block_2010);
    case TROX_ENV_BLOCK:
    case TROX_ENV_BLOCK_2010:
        return sizeof(trox_env_data_block);
    case TROX_BLOCK_IMAGE:
        return sizeof(trox_image_frame_head);
    case TROX_BLOCK_IMAGE_EXT:
        return sizeof(trox_image_ext_frame_head);
    case TROX_BLOCK_NAME_VALUE:
        return offsetof(trox_name_value_block, values);
    case TROX_BLOCK_EQDATA:
        return sizeof(trox_eqdata_head);
    default:
        return 0;
    }
}

bool needs_payload(std::int32_t dtype) noexcept
{
    constexpr std::int32_t types[] = {TROX_UPD_BLOCK,      TROX_BOR_BLOCK,      TROX_EOR_BLOCK, TROX_UPD_BLOCK_2010,
                                      TROX_BOR_BLOCK_2010, TROX_EOR_BLOCK_2010, TROX_ENV_BLOCK, TROX_ENV_BLOCK_2010};
    return std::find(std::begin(types), std::end(types), dtype) != std::end(types);
}

void to_file_order(std::int32_t dtype, const unsigned char* from, std::size_t size, std::vector<unsigned char>& to)
{
    to.assign(from, from + size);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if (size == 0) {
        return;
    }
    auto* at = to.data();
    switch (dtype) {
    case TROX_UPD_BLOCK:
    case TROX_BOR_BLOCK:
    case TROX_EOR_BLOCK:
    case TROX_UPD_BLOCK_2010:
    case TROX_BOR_BLOCK_2010:
    case TROX_EOR_BLOCK_2010: {
        constexpr std::size_t words_behind_name = 4;
        swap_words(at + fixed_head_size(dtype) - words_behind_name * word_size, words_behind_name);
        return;
    }
    case TROX_ENV_BLOCK:
    case TROX_ENV_BLOCK_2010:
    case TROX_BLOCK_IMAGE_EXT:
        swap_words(at, fixed_head_size(dtype) / word_size);
        return;
    case TROX_BLOCK_IMAGE:
        swap_image(at);
        return;
    case TROX_BLOCK_NAME_VALUE:
        swap_name_values(at, from, size);
        return;
    case TROX_BLOCK_EQDATA:
        swap_control_value(at, from, size);
        return;
    default:
        swap_words(at, size / word_size);
    }
#endif
}

} // namespace trox::writer
