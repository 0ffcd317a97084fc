// Decoded values of a published block, in the form of the expected files' `v`.
#ifndef TROX_GOLDEN_PAYLOAD_VALUES_H
#define TROX_GOLDEN_PAYLOAD_VALUES_H

#include "golden_generation.h"
#include "json_compare.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace trox_golden
{

/// The text of a fixed-width field.
template <std::size_t N> std::string field_text(const char (&field)[N])
{
    return {field, static_cast<std::size_t>(std::find(field, field + N, '\0') - field)};
}

inline json time_json(time_stamp time)
{
    return json::array({time.timeup, time.timelow});
}

/// A block and its payload, both in host order and owned by the reader.
template <class G> class block_view
{
public:
    explicit block_view(const typename G::subhead* block) : block_(block)
    {
        if (block_->ldata < static_cast<std::int32_t>(sizeof *block_)) {
            throw std::runtime_error("published block of " + std::to_string(block_->ldata) + " bytes");
        }
    }

    const typename G::subhead& head() const
    {
        return *block_;
    }
    const unsigned char* payload() const
    {
        return reinterpret_cast<const unsigned char*>(block_ + 1);
    }
    std::size_t size() const
    {
        return static_cast<std::size_t>(block_->ldata) - sizeof *block_;
    }
    /// A record that begins `offset` bytes into the payload.
    template <class Record> Record load(std::size_t offset = 0) const
    {
        if (!trox_detail::range_fits(offset, sizeof(Record), 0, size())) {
            throw std::runtime_error("payload of " + std::to_string(size()) + " bytes is too short");
        }
        return trox_detail::load_record<Record>(payload() + offset);
    }
    template <class Record> std::vector<Record> load_list(std::size_t offset, std::size_t count) const
    {
        std::vector<Record> list;
        for (std::size_t i = 0; i < count; ++i) {
            list.push_back(load<Record>(offset + i * sizeof(Record)));
        }
        return list;
    }

private:
    const typename G::subhead* block_;
};

/// `out`: head and sum of a published block.
template <class G> json published_json(const typename G::subhead* block)
{
    const block_view<G> view(block);
    return {{"dtype", block->dtype},
            {"error", block->error},
            {"ldata", block->ldata},
            {"sha", short_sha(view.payload(), view.size())}};
}

inline json samples_json(const float* samples, std::size_t count)
{
    constexpr std::size_t longest_list = 8;
    const std::vector<float> list(samples, samples + count);
    if (count <= longest_list) {
        return list;
    }
    return {{"n", count},
            {"first", json::array({list[0], list[1], list[2]})},
            {"last", list.back()},
            {"sha", short_sha(list.data(), count * sizeof(float))}};
}

inline json statistics_json(const trox_spect_statistics_2010& statistics)
{
    std::vector<float> values(std::begin(statistics.val), std::end(statistics.val));
    while (!values.empty() && values.back() == 0.0F) {
        values.pop_back();
    }
    return json::array({statistics.mask, values});
}

inline bool is_region(std::int32_t dtype)
{
    return dtype == TROX_BLOCK_IMG_ROI1 || dtype == TROX_BLOCK_IMG_ROI2 || dtype == TROX_BLOCK_IMG_ROI3;
}

template <class G> json spectrum_json(const block_view<G>& block)
{
    spectrum_axis axis;
    if (G::read_axis(block.head(), 0, axis) != 0) {
        throw std::runtime_error("spectrum without parameters");
    }
    json value{{"k", "spect"},        {"nmemb", axis.members}, {"nsamp", axis.samples}, {"groups", axis.groups},
               {"code", axis.code},   {"start", axis.start},   {"inc", axis.inc},       {"ginc", axis.group_inc},
               {"flags", axis.flags}, {"memb", json::array()}};
    if (is_region(block.head().dtype)) {
        const auto roi = block.template load<trox_roi_head>();
        value["roi"] = json::array({roi.x, roi.y, roi.width, roi.height});
    }
    for (int member = 0; member < axis.members; ++member) {
        spectrum_axis own;
        const float* const samples = G::member_data(block.head(), member);
        if (samples == nullptr || G::read_axis(block.head(), member, own) != 0) {
            throw std::runtime_error("spectrum without member " + std::to_string(member));
        }
        value["memb"].push_back(samples_json(samples, static_cast<std::size_t>(own.samples * own.groups)));
        if (own.statistics != nullptr) {
            value["stat"].push_back(statistics_json(*own.statistics));
        }
    }
    return value;
}

template <class G> json update_json(const block_view<G>& block)
{
    const auto update = block.template load<typename G::update_block>();
    return {{"k", "upd"},
            {"name", field_text(update.upd_prop)},
            {"status", update.upd_ch_status},
            {"time", time_json(update.upd_ch_time)},
            {"value", update.upd_ch_data}};
}

/// The published update block of an environment record; the index is no longer in it.
template <class G> json environment_json(const block_view<G>& block, std::int32_t stored_index)
{
    const auto update = block.template load<typename G::update_block>();
    return {{"k", "env"},
            {"idx", stored_index},
            {"status", update.upd_ch_status},
            {"time", time_json(update.upd_ch_time)},
            {"value", update.upd_ch_data}};
}

template <class G> json name_value_json(const block_view<G>& block)
{
    constexpr std::size_t head_size = offsetof(trox_name_value_block, values);
    trox_name_value_block head{};
    head.id = block.template load<std::int32_t>(offsetof(trox_name_value_block, id));
    head.ndata = block.template load<std::int32_t>(offsetof(trox_name_value_block, ndata));
    struct comment_field {
        char text[sizeof head.comment];
    };
    const auto comment = block.template load<comment_field>(offsetof(trox_name_value_block, comment));
    json items = json::array();
    for (const auto& item :
         block.template load_list<trox_name_value_channel>(head_size, static_cast<std::size_t>(head.ndata))) {
        items.push_back(json::array({field_text(item.name), item.value}));
    }
    return {
        {"k", "nv"}, {"id", head.id}, {"comment", field_text(comment.text)}, {"ndata", head.ndata}, {"items", items}};
}

/// Adds what all images have. `size` is what width, height and bytes per pixel make.
template <class G>
void add_pixels(json& value, const block_view<G>& block, std::size_t head_size, std::int32_t length, std::int64_t size)
{
    const auto pixels = block.size() - head_size;
    if (length < 0 || static_cast<std::size_t>(length) > pixels) {
        throw std::runtime_error("image of " + std::to_string(length) + " bytes in " + std::to_string(pixels));
    }
    value["length"] = length;
    value["match"] = length > 0 && size == length;
    value["pixels_n"] = pixels;
    value["pixels_sha256"] = sha256_start(block.payload() + head_size, static_cast<std::size_t>(length), 64);
}

template <class G> json image_json(const block_view<G>& block)
{
    const auto head = block.template load<trox_image_frame_head>();
    json value{{"k", "img"},          {"w", head.w},         {"h", head.h},           {"bpp", head.bpp},
               {"compr", head.compr}, {"frame", head.frame}, {"event", head.event_nm}};
    // The upper bits of width, height and bytes per pixel may hold offsets and increments.
    const std::int64_t width = head.w & 0xFFFF;
    const std::int64_t height = head.h & 0xFFFF;
    const std::int64_t bytes = std::max(head.bpp & 15, 1);
    add_pixels(value, block, sizeof head, head.length, width * height * bytes);
    return value;
}

template <class G> json extended_image_json(const block_view<G>& block)
{
    const auto head = block.template load<trox_image_ext_frame_head>();
    json value{{"k", "imgx"}};
    value["fields"] = {{"width", head.width},
                       {"height", head.height},
                       {"aoi_width", head.aoi_width},
                       {"aoi_height", head.aoi_height},
                       {"x_start", head.x_start},
                       {"y_start", head.y_start},
                       {"bpp", head.bpp},
                       {"ebitpp", head.ebitpp},
                       {"hbin", head.hbin},
                       {"vbin", head.vbin},
                       {"source_format", head.source_format},
                       {"image_format", head.image_format},
                       {"frame", head.frame},
                       {"event", head.event},
                       {"scale_x", head.scale_x},
                       {"scale_y", head.scale_y},
                       {"image_rotation", head.image_rotation},
                       {"fspare2", head.fspare2},
                       {"fspare3", head.fspare3},
                       {"fspare4", head.fspare4},
                       {"image_flags", head.image_flags},
                       {"ispare2", head.ispare2},
                       {"ispare3", head.ispare3},
                       {"ispare4", head.ispare4}};
    const std::int64_t size = std::int64_t{head.aoi_width} * head.aoi_height * head.bpp;
    add_pixels(value, block, sizeof head, head.length, size);
    return value;
}

template <class G> json control_json(const block_view<G>& block)
{
    const auto head = block.template load<trox_eqdata_head>();
    const void* const elements = G::member_data(block.head(), 0);
    if (elements != block.payload() + sizeof head) {
        throw std::runtime_error("control value without data");
    }
    json value{{"k", "eq"},
               {"type", head.type},
               {"status", head.status},
               {"time", time_json(head.time)},
               {"length", head.length}};
    const auto count = static_cast<std::size_t>(head.length);
    if (head.type == DATA_STRING) {
        const auto text = block.template load_list<char>(sizeof head, count);
        value["value"] = {{"text", std::string(text.begin(), text.end())}};
    } else if (head.type == DATA_FLOAT || head.type == DATA_A_FLOAT) {
        value["value"] = block.template load_list<float>(sizeof head, count);
    } else {
        value["value"] = block.template load_list<std::int32_t>(sizeof head, count);
    }
    return value;
}

/// The values of a block that was not stored as an environment record.
template <class G> json values_json(const block_view<G>& block)
{
    const std::int32_t dtype = block.head().dtype & 0xFFFF;
    if (G::is_update(dtype)) {
        return update_json(block);
    }
    switch (dtype) {
    case TROX_BLOCK_NAME_VALUE:
        return name_value_json(block);
    case TROX_BLOCK_EQDATA:
        return control_json(block);
    case TROX_BLOCK_IMAGE:
        return image_json(block);
    case TROX_BLOCK_IMAGE_EXT:
        return extended_image_json(block);
    default:
        return spectrum_json(block);
    }
}

} // namespace trox_golden

#endif
