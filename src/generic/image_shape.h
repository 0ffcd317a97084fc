// Axes and place of an image's pixels, wherever its head keeps them.
#ifndef TROX_GENERIC_IMAGE_SHAPE_H
#define TROX_GENERIC_IMAGE_SHAPE_H

#include "detail/big_endian.h"
#include "event.h"

#include <cstddef>
#include <cstdint>

namespace trox_detail
{

struct image_shape {
    int xstart = 0;
    int xinc = 0;
    int nx = 0;
    int ystart = 0;
    int yinc = 0;
    int ny = 0;
    int frame = 0;
    int compr = 0;
    int bpp = 0;    // bytes per pixel
    int length = 0; // bytes of the pixels, as announced
    std::size_t head_size = 0;
};

/// Some front ends pack what they have no other place for into the upper bits of the words.
inline image_shape shape_of(const trox_image_frame_head& head)
{
    const auto w = static_cast<unsigned>(head.w);
    const auto h = static_cast<unsigned>(head.h);
    const auto bpp = static_cast<unsigned>(head.bpp);
    image_shape shape;
    shape.xstart = head.w >> 16;
    shape.nx = static_cast<int>(w & 0xFFFFU);
    shape.ystart = head.h >> 16;
    shape.ny = static_cast<int>(h & 0xFFFFU);
    shape.xinc = head.bpp >> 18;
    shape.yinc = static_cast<int>(bpp >> 4 & 0x3FFFU);
    shape.bpp = static_cast<int>((bpp & 15U) == 0 ? 1U : bpp & 15U);
    shape.frame = static_cast<int>(head.frame);
    shape.compr = head.compr;
    shape.length = head.length;
    shape.head_size = sizeof head;
    return shape;
}

inline image_shape shape_of(const trox_image_ext_frame_head& head)
{
    image_shape shape;
    shape.xstart = head.x_start;
    shape.xinc = head.hbin;
    shape.nx = head.aoi_width;
    shape.ystart = head.y_start;
    shape.yinc = head.vbin;
    shape.ny = head.aoi_height;
    shape.bpp = head.bpp;
    shape.frame = static_cast<int>(head.frame);
    shape.length = head.length;
    shape.head_size = sizeof head;
    return shape;
}

/// The shape of an image payload; false for one that is too short for its head. `is_extended` tells the head.
inline bool load_shape(const unsigned char* payload, std::size_t size, bool is_extended, image_shape& shape)
{
    const std::size_t head = is_extended ? sizeof(trox_image_ext_frame_head) : sizeof(trox_image_frame_head);
    if (size < head) {
        return false;
    }
    shape = is_extended ? shape_of(load_record<trox_image_ext_frame_head>(payload))
                        : shape_of(load_record<trox_image_frame_head>(payload));
    return true;
}

} // namespace trox_detail

#endif
