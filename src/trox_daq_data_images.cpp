// The event record accessor: images.
#include "trox_daq_data.h"

#include "detail/big_endian.h"
#include "generic/accessor.h"
#include "generic/image_shape.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

using namespace trox_detail::accessor;

namespace
{

using trox_detail::image_shape;
using trox_detail::load_shape;

/// Whether the payload holds what its shape announces.
bool has_all_pixels(const image_shape& shape, std::size_t payload_size)
{
    return shape.length < 0 || static_cast<std::size_t>(shape.length) <= payload_size - shape.head_size;
}

/// The shape of the image in a payload (null: none): 0, or the answer for a channel that has none to tell of. As for
/// spectra, a missing payload comes before a wrong type.
int find_shape(int kind, int dtype, const unsigned char* payload, std::size_t size, image_shape& shape)
{
    if (payload == nullptr) {
        return no_payload;
    }
    if (kind != image) {
        return failed;
    }
    const bool is_whole =
        load_shape(payload, size, dtype == TROX_BLOCK_IMAGE_EXT, shape) && has_all_pixels(shape, size);
    return is_whole ? 0 : no_payload;
}

/// A pixel of any width as the nearest float; the largest float for what is larger.
float pixel_value(const unsigned char* bytes, std::size_t size)
{
    constexpr std::size_t word = sizeof(std::uint64_t);
    constexpr std::size_t more_than_float_has = 32;
    for (; size != 0 && *bytes == 0; --size) {
        ++bytes;
    }
    const std::size_t head = std::min(size, word);
    const unsigned char* const rest = bytes + head;
    const unsigned char* const end = bytes + size;
    std::uint64_t value = 0;
    for (; bytes != rest; ++bytes) {
        value = value << 8 | *bytes;
    }
    if (rest == end) {
        return static_cast<float>(value);
    }
    // The first bit is among the upper eight: the lowest one is far behind a float's last, and only tells that
    // something follows, so that there is one rounding.
    value |= std::any_of(rest, end, [](unsigned char byte) { return byte != 0; }) ? 1U : 0U;
    const auto shift = static_cast<int>(8 * std::min(size - head, more_than_float_has));
    return std::min(std::ldexp(static_cast<float>(value), shift), std::numeric_limits<float>::max());
}

} // namespace

bool trox_detail::accessor::add_pixels(const pixel_rows& rows, float* values, std::size_t size)
{
    const auto bpp = static_cast<std::size_t>(rows.bpp);
    for (int ix = 0; ix < rows.nx; ++ix) {
        for (int iy = 0; iy < rows.ny; ++iy) {
            const std::size_t index =
                static_cast<std::size_t>(iy) * static_cast<std::size_t>(rows.nx) + static_cast<std::size_t>(ix);
            const std::size_t offset = index * bpp;
            if (bpp > rows.size || offset > rows.size - bpp) {
                // "len" is what there is, and not what the image's head announces: that is how far the pixels go.
                std::fprintf(stderr, "*** error: idx2 %zu len %zu ix %d iy %d bpp %d\n", offset, rows.size, ix, iy,
                             rows.bpp);
                return false;
            }
            if (index >= size) {
                std::fprintf(stderr, "*** error: idx1 %zu size %zu ix %d iy %d nx %d ny %d\n", index, size, ix, iy,
                             rows.nx, rows.ny);
                return false;
            }
            if (values != nullptr) {
                values[index] += pixel_value(rows.bytes + offset, bpp);
            }
        }
    }
    return true;
}

void* trox_daq_getdata::GetImageHeader() const
{
    image_shape shape;
    const bool is_there = PropType == image && Data != nullptr &&
                          load_shape(payload, payload_size, DataType == TROX_BLOCK_IMAGE_EXT, shape);
    return is_there ? payload : nullptr;
}

void* trox_daq_getdata::GetImage() const
{
    image_shape shape;
    const bool is_there = PropType == image && Data != nullptr &&
                          load_shape(payload, payload_size, DataType == TROX_BLOCK_IMAGE_EXT, shape) &&
                          has_all_pixels(shape, payload_size);
    return is_there ? payload + shape.head_size : nullptr;
}

int trox_daq_getdata::GetImagePar(int* frame, int* compr, int* bpp, int* length) const
{
    image_shape shape;
    if (const int status = find_shape(PropType, DataType, Data != nullptr ? payload : nullptr, payload_size, shape);
        status != 0) {
        return status;
    }
    put(frame, shape.frame);
    put(compr, shape.compr);
    put(bpp, shape.bpp);
    put(length, shape.length);
    return 0;
}

int trox_daq_getdata::GetImageSize(int* xstart, int* xinc, int* nx, int* ystart, int* yinc, int* ny) const
{
    image_shape shape;
    if (const int status = find_shape(PropType, DataType, Data != nullptr ? payload : nullptr, payload_size, shape);
        status != 0) {
        return status;
    }
    put(xstart, shape.xstart);
    put(xinc, shape.xinc);
    put(nx, shape.nx);
    put(ystart, shape.ystart);
    put(yinc, shape.yinc);
    put(ny, shape.ny);
    return shape.length;
}

float* trox_daq_getdata::ConvertImage()
{
    image_shape shape;
    const bool is_extended = DataType == TROX_BLOCK_IMAGE_EXT;
    if (PropType != image || Data == nullptr || !load_shape(payload, payload_size, is_extended, shape)) {
        return nullptr;
    }
    if (shape.length < 1 || shape.nx < 1 || shape.ny < 1 || shape.bpp < 1) {
        return nullptr;
    }
    const auto pixels = static_cast<std::uint64_t>(shape.nx) * static_cast<std::uint64_t>(shape.ny);
    if (pixels > static_cast<std::uint64_t>(shape.length) ||
        pixels * static_cast<std::uint64_t>(shape.bpp) != static_cast<std::uint64_t>(shape.length)) {
        return nullptr;
    }
    const bool is_whole = has_all_pixels(shape, payload_size);
    const auto length = static_cast<std::size_t>(shape.length);
    const pixel_rows rows{payload + shape.head_size, is_whole ? length : payload_size - shape.head_size, shape.nx,
                          shape.ny, shape.bpp};
    // What is announced but not there gets no memory; the failure is told all the same.
    auto values = is_whole ? std::make_unique<float[]>(pixels) : nullptr;
    if (!add_pixels(rows, values.get(), pixels)) {
        return nullptr;
    }
    ImageNx = shape.nx;
    ImageNy = shape.ny;
    ImageXstart = static_cast<float>(shape.xstart);
    ImageYstart = static_cast<float>(shape.ystart);
    // Packed steps are reported by GetImageSize only: programs take 0 as "not given" here.
    ImageXinc = is_extended ? static_cast<float>(shape.xinc) : 0.0F;
    ImageYinc = is_extended ? static_cast<float>(shape.yinc) : 0.0F;
    ImageFloat = std::move(values);
    return ImageFloat.get();
}

float* trox_daq_getdata::GetImageFloat() const
{
    return ImageFloat.get();
}

float trox_daq_getdata::GetImageVal(int ix, int iy) const
{
    const bool is_inside = ImageFloat != nullptr && ix >= 0 && ix < ImageNx && iy >= 0 && iy < ImageNy;
    return is_inside ? ImageFloat[static_cast<std::size_t>(iy) * static_cast<std::size_t>(ImageNx) +
                                  static_cast<std::size_t>(ix)]
                     : 0.0F;
}

float trox_daq_getdata::GetImageXstart() const
{
    return ImageXstart;
}

float trox_daq_getdata::GetImageXinc() const
{
    return ImageXinc;
}

int trox_daq_getdata::GetImageNx() const
{
    return ImageNx;
}

float trox_daq_getdata::GetImageYstart() const
{
    return ImageYstart;
}

float trox_daq_getdata::GetImageYinc() const
{
    return ImageYinc;
}

int trox_daq_getdata::GetImageNy() const
{
    return ImageNy;
}
