// Where the parts of a spectrum or trace lie in its block, checked against the block's length. Written once for
// the two layouts of the head.
#ifndef TROX_EVUTL_SPECTRUM_H
#define TROX_EVUTL_SPECTRUM_H

#include "block_types.h"
#include "detail/big_endian.h"
#include "event.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace trox_evutl
{

/// The two layouts: what a block's sub-head and its spectrum head are.
struct spectrum_legacy {
    using subhead = trox_serv_block_subhead;
    using head = trox_spect_head;
};
struct spectrum_2010 {
    using subhead = trox_serv_block_subhead_2010;
    using head = trox_spect_head_2010;
};

template <class Layout> inline constexpr bool has_groups = false;
template <> inline constexpr bool has_groups<spectrum_2010> = true;

/// Bit of `flags` that announces statistics.
inline constexpr std::uint32_t statistics_flag = 1;

/// A block as bytes: its sub-head may lie at any address, so nothing is read through a record's members.
template <class Layout> struct block_view {
    const unsigned char* bytes;
    std::size_t payload_size;

    explicit block_view(const typename Layout::subhead* subhead) noexcept
        : bytes(reinterpret_cast<const unsigned char*>(subhead))
    {
        using record = typename Layout::subhead;
        const auto length = trox_detail::load_record<std::int32_t>(bytes + offsetof(record, ldata));
        constexpr auto head = static_cast<std::int32_t>(sizeof(record));
        payload_size = length < head ? 0 : static_cast<std::size_t>(length - head);
    }

    int dtype() const noexcept
    {
        return trox_detail::load_record<std::int32_t>(bytes + offsetof(typename Layout::subhead, dtype));
    }

    const unsigned char* payload() const noexcept
    {
        return bytes + sizeof(typename Layout::subhead);
    }
};

/// A spectrum whose announced parts all lie inside its block. Offsets count from the begin of the payload.
template <class Layout> struct spectrum_shape {
    typename Layout::head head;
    std::size_t head_offset;
    std::size_t statistics_offset; ///< meaningless without statistics
    std::size_t floats_offset;
    std::size_t members;
    std::size_t groups;  ///< at least 1
    std::size_t samples; ///< per group
    bool has_statistics;

    std::size_t floats_per_member() const noexcept
    {
        return groups * samples;
    }

    std::size_t member_offset(std::size_t member) const noexcept
    {
        return floats_offset + member * floats_per_member() * sizeof(float);
    }
};

inline bool is_spectrum(payload_layout layout) noexcept
{
    return layout == payload_layout::spectrum || layout == payload_layout::spectrum_of_region;
}

inline std::size_t spectrum_head_offset(payload_layout layout) noexcept
{
    return layout == payload_layout::spectrum_of_region ? sizeof(trox_roi_head) : 0;
}

/// Takes counts out of a head; false when one is negative.
template <class Layout> bool take_counts(spectrum_shape<Layout>& shape) noexcept
{
    std::int32_t groups = 1;
    shape.has_statistics = false;
    if constexpr (has_groups<Layout>) {
        groups = shape.head.groups == 0 ? 1 : shape.head.groups;
        shape.has_statistics = (shape.head.flags & statistics_flag) != 0;
    }
    if (shape.head.nmemb < 0 || shape.head.nsamp < 0 || groups < 0) {
        return false;
    }
    shape.members = static_cast<std::size_t>(shape.head.nmemb);
    shape.samples = static_cast<std::size_t>(shape.head.nsamp);
    shape.groups = static_cast<std::size_t>(groups);
    return true;
}

/// Places statistics and floats behind the head; false when they do not fit `payload_size`.
template <class Layout> bool place_parts(spectrum_shape<Layout>& shape, std::size_t payload_size) noexcept
{
    shape.statistics_offset = shape.head_offset + sizeof(typename Layout::head);
    const std::size_t statistics = shape.has_statistics ? shape.members * sizeof(trox_spect_statistics_2010) : 0;
    std::size_t floats = 0;
    const bool overflows = __builtin_mul_overflow(shape.groups, shape.samples, &floats) ||
                           __builtin_mul_overflow(floats, shape.members, &floats) ||
                           __builtin_mul_overflow(floats, sizeof(float), &floats);
    const std::size_t room = payload_size - shape.statistics_offset;
    if (overflows || statistics > room || floats > room - statistics) {
        return false;
    }
    shape.floats_offset = shape.statistics_offset + statistics;
    return true;
}

/// The shape of a block's spectrum, or nothing for another type or a payload too short for what it announces.
template <class Layout> std::optional<spectrum_shape<Layout>> measure_spectrum(const block_view<Layout>& block) noexcept
{
    using head = typename Layout::head;
    const payload_layout layout = layout_of(block.dtype());
    spectrum_shape<Layout> shape{};
    shape.head_offset = spectrum_head_offset(layout);
    if (!is_spectrum(layout) || block.payload_size < shape.head_offset + sizeof(head)) {
        return std::nullopt;
    }
    shape.head = trox_detail::load_record<head>(block.payload() + shape.head_offset);
    if (!take_counts(shape) || !place_parts(shape, block.payload_size)) {
        return std::nullopt;
    }
    return shape;
}

/// Members that a generic spectrum's head announces; 1 when the payload cannot hold a head or so many members, as
/// for a type without a block.
template <class Layout> int announced_members(const typename Layout::subhead* subhead) noexcept
{
    const block_view<Layout> block(subhead);
    if (block.payload_size < sizeof(typename Layout::head)) {
        return 1;
    }
    const auto members = trox_detail::load_record<typename Layout::head>(block.payload()).nmemb;
    const bool is_plausible = members >= 0 && static_cast<std::size_t>(members) <= block.payload_size / sizeof(float);
    return is_plausible ? members : 1;
}

} // namespace trox_evutl

#endif
