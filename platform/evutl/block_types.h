// What each block type's payload is made of: its layout and its members.
#ifndef TROX_EVUTL_BLOCK_TYPES_H
#define TROX_EVUTL_BLOCK_TYPES_H

#include "event.h"

#include <cstddef>

namespace trox_evutl
{

enum class payload_layout {
    unassigned,
    update,             ///< trox_upd_data_block
    update_2010,        ///< trox_upd_data_block_2010
    environment,        ///< trox_env_data_block
    image,              ///< trox_image_frame_head, pixels
    image_extended,     ///< trox_image_ext_frame_head, pixels
    name_value,         ///< trox_name_value_block
    equipment,          ///< trox_eqdata_head, elements
    spectrum,           ///< spectrum head of the generation, statistics, floats
    spectrum_of_region, ///< trox_roi_head, then as a spectrum
    words               ///< 32-bit words of no known meaning
};

/// The block type that a `dtype` names: its low 16 bits.
constexpr int block_type(int dtype) noexcept
{
    return dtype & 0xFFFF;
}

/// True for the `dtype` of a block that was cut to one member.
constexpr bool is_cut_block(int dtype) noexcept
{
    return (static_cast<unsigned>(dtype) >> 16U) != 0;
}

/// Layout of the block type that `dtype` names.
payload_layout layout_of(int dtype) noexcept;

/// Bytes that a payload of this layout has at least; 0 where its length decides.
std::size_t fixed_head_size(payload_layout layout) noexcept;

} // namespace trox_evutl

#endif
