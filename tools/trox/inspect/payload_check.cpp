#include "payload_check.h"

#include "event_util.h"
#include "generic/image_shape.h"

#include <cstddef>
#include <utility>

namespace trox::inspect
{

namespace
{

constexpr unsigned statistics_flag = 1;

bool is_assigned(int type) noexcept
{
    return get_channel_number(type, nullptr) > 0;
}

/// `head` + `count` elements of `size` bytes; nothing when that is no length.
std::optional<std::uint64_t> sum(std::uint64_t head, std::int64_t count, std::uint64_t size) noexcept
{
    std::uint64_t bytes = 0;
    if (count < 0 || __builtin_mul_overflow(static_cast<std::uint64_t>(count), size, &bytes) ||
        __builtin_add_overflow(bytes, head, &bytes)) {
        return std::nullopt;
    }
    return bytes;
}

std::optional<std::uint64_t> spectrum_bytes(std::uint64_t before, const trox_spect_head& head) noexcept
{
    if (head.nmemb < 0 || head.nsamp < 0) {
        return std::nullopt;
    }
    return sum(before + sizeof head, std::int64_t{head.nmemb} * head.nsamp, sizeof(float));
}

std::optional<std::uint64_t> spectrum_bytes(std::uint64_t before, const trox_spect_head_2010& head) noexcept
{
    const std::int64_t groups = head.groups == 0 ? 1 : head.groups;
    std::int64_t floats = 0;
    if (head.nmemb < 0 || head.nsamp < 0 || groups < 0 ||
        __builtin_mul_overflow(std::int64_t{head.nmemb} * head.nsamp, groups, &floats)) {
        return std::nullopt;
    }
    const std::int64_t statistics = (head.flags & statistics_flag) != 0 ? head.nmemb : 0;
    const auto heads = sum(before + sizeof head, statistics, sizeof(trox_spect_statistics_2010));
    return heads ? sum(*heads, floats, sizeof(float)) : std::nullopt;
}

} // namespace

payload_family family_of(int dtype) noexcept
{
    constexpr int type_mask = 0xFFFF;
    const int type = dtype & type_mask;
    switch (type) { // an int: a file may hold any
    case TROX_UPD_BLOCK:
    case TROX_BOR_BLOCK:
    case TROX_EOR_BLOCK:
        return payload_family::update;
    case TROX_UPD_BLOCK_2010:
    case TROX_BOR_BLOCK_2010:
    case TROX_EOR_BLOCK_2010:
        return payload_family::update_2010;
    case TROX_ENV_BLOCK:
    case TROX_ENV_BLOCK_2010:
        return payload_family::environment;
    case TROX_BLOCK_IMAGE:
        return payload_family::image;
    case TROX_BLOCK_IMAGE_EXT:
        return payload_family::extended_image;
    case TROX_BLOCK_NAME_VALUE:
        return payload_family::name_value;
    case TROX_BLOCK_EQDATA:
        return payload_family::control_value;
    case TROX_BLOCK_IMG_ROI1:
    case TROX_BLOCK_IMG_ROI2:
    case TROX_BLOCK_IMG_ROI3:
        return payload_family::region;
    case TROX_ENV_DICT_BLOCK:
    case TROX_ENV_DICT_BLOCK_2010:
    case TROX_BLOCK_GENERIC_STRUCT:
    case TROX_UPD_BLOCK_DONT_USE_31:
        return payload_family::words;
    default:
        return is_assigned(type) ? payload_family::spectrum : payload_family::unassigned;
    }
}

std::uint64_t least_payload(payload_family family) noexcept
{
    switch (family) {
    case payload_family::update:
        return sizeof(trox_upd_data_block);
    case payload_family::update_2010:
        return sizeof(trox_upd_data_block_2010);
    case payload_family::environment:
        return sizeof(trox_env_data_block);
    case payload_family::image:
        return sizeof(trox_image_frame_head);
    case payload_family::extended_image:
        return sizeof(trox_image_ext_frame_head);
    case payload_family::name_value:
        return sizeof(name_value_head);
    case payload_family::control_value:
        return sizeof(trox_eqdata_head);
    case payload_family::unassigned:
    case payload_family::spectrum:
    case payload_family::region:
    case payload_family::words:
        break;
    }
    return 0;
}

template <class Spectrum>
std::optional<std::uint64_t> announced_bytes(payload_family family, const payload_head& head) noexcept
{
    static_assert(sizeof(trox_roi_head) + sizeof(Spectrum) <= sizeof(payload_head));
    switch (family) {
    case payload_family::image: {
        const auto image = load_fields<trox_image_frame_head>(head.data());
        return sum(sizeof image, image.length, 1);
    }
    case payload_family::extended_image: {
        const auto image = load_fields<trox_image_ext_frame_head>(head.data());
        return sum(sizeof image, image.length, 1);
    }
    case payload_family::name_value:
        return sum(sizeof(name_value_head), load_fields<name_value_head>(head.data()).ndata,
                   sizeof(trox_name_value_channel));
    case payload_family::control_value: {
        const auto value = load_fields<trox_eqdata_head>(head.data());
        const bool of_bytes = value.type == DATA_STRING || value.type == DATA_IMAGE;
        return sum(sizeof value, value.length, of_bytes ? 1 : sizeof(float));
    }
    case payload_family::spectrum:
        return spectrum_bytes(0, load_fields<Spectrum>(head.data()));
    case payload_family::region:
        return spectrum_bytes(sizeof(trox_roi_head), load_fields<Spectrum>(head.data() + sizeof(trox_roi_head)));
    case payload_family::unassigned:
    case payload_family::update:
    case payload_family::update_2010:
    case payload_family::environment:
    case payload_family::words:
        break;
    }
    return 0;
}

namespace
{

/// Pixels as readers count them: they make the length that the head announces, or the image is refused. Compressed
/// pixels, and none at all, have no shape to hold.
std::optional<payload_fault> check_pixels(bool is_extended, const payload_head& head)
{
    const auto shape = is_extended ? trox_detail::shape_of(load_fields<trox_image_ext_frame_head>(head.data()))
                                   : trox_detail::shape_of(load_fields<trox_image_frame_head>(head.data()));
    if (shape.compr != 0 || shape.length == 0) {
        return std::nullopt;
    }
    std::int64_t bytes = 0;
    const bool is_shape = shape.nx > 0 && shape.ny > 0 && shape.bpp > 0 &&
                          !__builtin_mul_overflow(std::int64_t{shape.nx} * shape.ny, shape.bpp, &bytes);
    if (is_shape && bytes == shape.length) {
        return std::nullopt;
    }
    return payload_fault{finding_code::record_image, "a length of " + std::to_string(shape.length) + " bytes",
                         std::to_string(shape.nx) + " x " + std::to_string(shape.ny) + " pixels of " +
                             std::to_string(shape.bpp) + " bytes"};
}

std::optional<payload_fault> check_image_padding(const payload_head& head)
{
    const auto image = load_fields<trox_image_frame_head>(head.data());
    if (image.padding == 0 && image.padding2 == 0) {
        return std::nullopt;
    }
    return payload_fault{finding_code::padding, hex(static_cast<std::uint32_t>(image.padding | image.padding2)),
                         "0 in the padding of the image's head"};
}

/// True when the heads tell where a payload of the family ends, so that more bytes have no meaning.
bool has_told_end(payload_family family, const payload_head& head) noexcept
{
    switch (family) {
    case payload_family::image:
    case payload_family::extended_image:
    case payload_family::name_value:
    case payload_family::spectrum:
    case payload_family::region:
        return true;
    case payload_family::control_value: { // other types have elements of other sizes
        const auto type = load_fields<trox_eqdata_head>(head.data()).type;
        return type == DATA_INT || type == DATA_FLOAT || type == DATA_STRING || type == DATA_IMAGE ||
               type == DATA_A_FLOAT || type == DATA_A_INT;
    }
    case payload_family::unassigned:
    case payload_family::update:
    case payload_family::update_2010:
    case payload_family::environment:
    case payload_family::words:
        break;
    }
    return false;
}

template <class Spectrum>
std::optional<payload_fault> check_length(payload_family family, const payload_head& head, std::uint64_t size)
{
    const std::string found = std::to_string(size) + " bytes";
    const std::uint64_t heads = (family == payload_family::region ? sizeof(trox_roi_head) : 0) + sizeof(Spectrum);
    if ((family == payload_family::spectrum || family == payload_family::region) && size < heads) {
        return payload_fault{finding_code::record_announced, found, "at least " + std::to_string(heads) + " of heads"};
    }
    const auto announced = announced_bytes<Spectrum>(family, head);
    if (!announced || *announced > size) {
        return payload_fault{finding_code::record_announced, found,
                             announced ? "at least " + std::to_string(*announced) : "counts that can be"};
    }
    if (family == payload_family::image || family == payload_family::extended_image) {
        if (auto fault = check_pixels(family == payload_family::extended_image, head)) {
            return fault;
        }
    }
    if (*announced < size && has_told_end(family, head)) {
        return payload_fault{finding_code::record_longer, found, std::to_string(*announced), size - *announced};
    }
    return std::nullopt;
}

} // namespace

template <class Spectrum>
std::vector<payload_fault> check_payload(int dtype, const payload_head& head, std::uint64_t size)
{
    const payload_family family = family_of(dtype);
    if (size == 0) {
        return {};
    }
    if (size < least_payload(family)) {
        return {{finding_code::record_payload, std::to_string(size) + " bytes",
                 "at least " + std::to_string(least_payload(family)) + " for block type " + std::to_string(dtype)}};
    }
    std::vector<payload_fault> faults;
    if (auto fault = check_length<Spectrum>(family, head, size)) {
        faults.push_back(std::move(*fault));
    }
    if (family == payload_family::image) {
        if (auto fault = check_image_padding(head)) {
            faults.push_back(std::move(*fault));
        }
    }
    return faults;
}

template std::optional<std::uint64_t> announced_bytes<trox_spect_head>(payload_family, const payload_head&) noexcept;
template std::optional<std::uint64_t> announced_bytes<trox_spect_head_2010>(payload_family,
                                                                            const payload_head&) noexcept;
template std::vector<payload_fault> check_payload<trox_spect_head>(int, const payload_head&, std::uint64_t);
template std::vector<payload_fault> check_payload<trox_spect_head_2010>(int, const payload_head&, std::uint64_t);

} // namespace trox::inspect
