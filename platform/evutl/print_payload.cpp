// Printer of a block: sub-head, then what its type's payload holds.
#include "event_util.h"
#include "print_records.h"
#include "spectrum.h"

#include <string_view>

namespace trox_evutl
{

namespace
{

/// A payload whose bytes are counted before they are looked at.
struct payload_view {
    const unsigned char* bytes;
    std::size_t size;
};

void print_size(const payload_view& payload, const field_printer& out) noexcept
{
    out.number("payload_bytes", static_cast<std::uint64_t>(payload.size));
}

template <class Record> void print_update(const payload_view& payload, const field_printer& out) noexcept
{
    const auto update = trox_detail::load_record<Record>(payload.bytes);
    out.text("upd_prop", update.upd_prop);
    out.number("upd_ch_status", update.upd_ch_status);
    out.time("upd_ch_time", update.upd_ch_time);
    out.real("upd_ch_data", update.upd_ch_data);
}

void print_environment(const payload_view& payload, const field_printer& out) noexcept
{
    const auto value = trox_detail::load_record<trox_env_data_block>(payload.bytes);
    out.number("env_ch_idx", value.env_ch_idx);
    out.number("env_ch_status", value.env_ch_status);
    out.time("env_ch_time", value.env_ch_time);
    out.real("env_ch_data", value.env_ch_data);
}

void print_image(const payload_view& payload, const field_printer& out) noexcept
{
    const auto head = trox_detail::load_record<trox_image_frame_head>(payload.bytes);
    out.number("w", head.w);
    out.number("h", head.h);
    out.number("bpp", head.bpp);
    out.number("compr", head.compr);
    out.number("frame", head.frame);
    out.number("event_nm", head.event_nm);
    out.number("length", head.length);
    out.number("pixel_bytes", static_cast<std::uint64_t>(payload.size - sizeof head));
}

void print_extended_image(const payload_view& payload, const field_printer& out) noexcept
{
    const auto head = trox_detail::load_record<trox_image_ext_frame_head>(payload.bytes);
    out.number("width", head.width);
    out.number("height", head.height);
    out.number("aoi_width", head.aoi_width);
    out.number("aoi_height", head.aoi_height);
    out.number("x_start", head.x_start);
    out.number("y_start", head.y_start);
    out.number("bpp", head.bpp);
    out.number("ebitpp", head.ebitpp);
    out.number("hbin", head.hbin);
    out.number("vbin", head.vbin);
    out.number("source_format", head.source_format);
    out.number("image_format", head.image_format);
    out.number("frame", head.frame);
    out.number("event", head.event);
    out.real("scale_x", head.scale_x);
    out.real("scale_y", head.scale_y);
    out.real("image_rotation", head.image_rotation);
    out.real("fspare2", head.fspare2);
    out.real("fspare3", head.fspare3);
    out.real("fspare4", head.fspare4);
    out.mask("image_flags", head.image_flags);
    out.number("ispare2", head.ispare2);
    out.number("ispare3", head.ispare3);
    out.number("ispare4", head.ispare4);
    out.number("length", head.length);
    out.number("pixel_bytes", static_cast<std::uint64_t>(payload.size - sizeof head));
}

void print_name_values(const payload_view& payload, const field_printer& out) noexcept
{
    constexpr std::size_t head_size = offsetof(trox_name_value_block, values);
    const unsigned char* const bytes = payload.bytes;
    char comment[sizeof(trox_name_value_block::comment)];
    std::memcpy(comment, bytes + offsetof(trox_name_value_block, comment), sizeof comment);
    const auto announced = trox_detail::load_record<std::int32_t>(bytes + offsetof(trox_name_value_block, ndata));
    out.number("id", trox_detail::load_record<std::int32_t>(bytes));
    out.text("comment", comment);
    out.number("ndata", announced);
    const std::size_t present = (payload.size - head_size) / sizeof(trox_name_value_channel);
    const std::size_t count = std::min(present, static_cast<std::size_t>(std::max(announced, 0)));
    for (std::size_t i = 0; i < count; ++i) {
        const auto channel =
            trox_detail::load_record<trox_name_value_channel>(bytes + head_size + i * sizeof(trox_name_value_channel));
        const field_printer line = out.element("values", i);
        line.text("name", channel.name);
        line.real("value", channel.value);
    }
}

void print_equipment(const payload_view& payload, const field_printer& out) noexcept
{
    const auto head = trox_detail::load_record<trox_eqdata_head>(payload.bytes);
    const unsigned char* const elements = payload.bytes + sizeof head;
    const std::size_t room = payload.size - sizeof head;
    const auto announced = static_cast<std::size_t>(std::max(head.length, 0));
    const std::size_t words = std::min(announced, room / sizeof(std::uint32_t));
    const std::size_t characters = std::min(announced, room);
    out.number("type", head.type);
    out.number("status", head.status);
    out.time("time", head.time);
    out.number("length", head.length);
    if (head.type == DATA_STRING) {
        out.text("data", std::string_view{reinterpret_cast<const char*>(elements), characters});
    } else if (head.type == DATA_IMAGE) {
        out.number("data_bytes", static_cast<std::uint64_t>(characters));
    } else if (head.type == DATA_INT || head.type == DATA_A_INT) {
        out.integers("data", elements, words);
    } else {
        out.reals("data", elements, words);
    }
}

void print_spectrum_head(const trox_spect_head& head, const field_printer& out) noexcept
{
    out.number("nmemb", head.nmemb);
    out.number("nsamp", head.nsamp);
    out.real("start", head.start);
    out.real("inc", head.inc);
}

void print_spectrum_head(const trox_spect_head_2010& head, const field_printer& out) noexcept
{
    out.number("nmemb", head.nmemb);
    out.number("nsamp", head.nsamp);
    out.number("groups", head.groups);
    out.number("code", head.code);
    out.real("start", head.start);
    out.real("inc", head.inc);
    out.real("group_inc", head.group_inc);
    out.mask("flags", head.flags);
}

void print_region(const unsigned char* payload, const field_printer& out) noexcept
{
    const auto region = trox_detail::load_record<trox_roi_head>(payload);
    out.number("x", region.x);
    out.number("y", region.y);
    out.number("width", region.width);
    out.number("height", region.height);
}

void print_statistics(const unsigned char* at, std::size_t count, const field_printer& out) noexcept
{
    for (std::size_t i = 0; i < count; ++i, at += sizeof(trox_spect_statistics_2010)) {
        const auto statistics = trox_detail::load_record<trox_spect_statistics_2010>(at);
        const field_printer line = out.element("statistics", i);
        line.mask("mask", statistics.mask);
        line.reals("val", statistics.val, std::size(statistics.val));
    }
}

template <class Layout> void print_spectrum(const block_view<Layout>& block, const field_printer& out) noexcept
{
    const auto shape = measure_spectrum(block);
    if (!shape) {
        print_size({block.payload(), block.payload_size}, out);
        return;
    }
    if (shape->head_offset != 0) {
        print_region(block.payload(), out);
    }
    print_spectrum_head(shape->head, out);
    if (shape->has_statistics) {
        print_statistics(block.payload() + shape->statistics_offset, shape->members, out);
    }
    for (std::size_t i = 0; i < shape->members && shape->floats_per_member() > 0; ++i) {
        const char* const name = get_chan_name(block.dtype(), static_cast<int>(i));
        out.reals(name != nullptr ? name : "member", block.payload() + shape->member_offset(i),
                  shape->floats_per_member());
    }
}

template <class Layout> void print_block_payload(const block_view<Layout>& block, const field_printer& out) noexcept
{
    const payload_layout layout = layout_of(block.dtype());
    const payload_view payload{block.payload(), block.payload_size};
    if (payload.size < fixed_head_size(layout)) {
        print_size(payload, out);
        return;
    }
    switch (layout) {
    case payload_layout::update:
        print_update<trox_upd_data_block>(payload, out);
        break;
    case payload_layout::update_2010:
        print_update<trox_upd_data_block_2010>(payload, out);
        break;
    case payload_layout::environment:
        print_environment(payload, out);
        break;
    case payload_layout::image:
        print_image(payload, out);
        break;
    case payload_layout::image_extended:
        print_extended_image(payload, out);
        break;
    case payload_layout::name_value:
        print_name_values(payload, out);
        break;
    case payload_layout::equipment:
        print_equipment(payload, out);
        break;
    case payload_layout::spectrum:
    case payload_layout::spectrum_of_region:
        print_spectrum(block, out);
        break;
    case payload_layout::words:
    case payload_layout::unassigned:
        print_size(payload, out);
        break;
    }
}

template <class Layout> void print_block(const typename Layout::subhead* subhead) noexcept
{
    if (subhead != nullptr) {
        const field_printer out;
        print_subhead(subhead, out);
        print_block_payload(block_view<Layout>(subhead), out);
    }
}

} // namespace

} // namespace trox_evutl

void print_trox_channel_data(const trox_serv_block_subhead* block)
{
    trox_evutl::print_block<trox_evutl::spectrum_legacy>(block);
}

void print_trox_channel_data(const trox_serv_block_subhead_2010* block)
{
    trox_evutl::print_block<trox_evutl::spectrum_2010>(block);
}
