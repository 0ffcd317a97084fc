#include "values.h"

#include "detail/big_endian.h"
#include "event_util.h"
#include "text.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <numeric>
#include <string_view>

namespace trox_demo
{
namespace
{

using block_head = trox_serv_block_subhead_2010;

const unsigned char* payload(const block_head& block)
{
    return reinterpret_cast<const unsigned char*>(&block + 1);
}

std::size_t payload_size(const block_head& block)
{
    constexpr auto head = static_cast<std::int32_t>(sizeof(block_head));
    return block.ldata < head ? 0 : static_cast<std::size_t>(block.ldata - head);
}

/// A record at the start of the payload; empty when the payload is shorter.
template <class Record> std::optional<Record> load(const block_head& block, std::size_t offset = 0)
{
    if (!trox_detail::range_fits(offset, sizeof(Record), 0, payload_size(block))) {
        return std::nullopt;
    }
    return trox_detail::load_record<Record>(payload(block) + offset);
}

template <std::size_t N> std::string_view field(const char (&chars)[N])
{
    return {chars, strnlen(chars, N)};
}

/// All samples of one member of a spectrum type; none when there is no such member.
trace_samples member(const block_head& block, int index)
{
    trace_samples trace;
    int length = 0;
    int groups = 1;
    const int status = get_spect_params_for_data_type_2010(&block, &trace.start, &trace.inc, nullptr, &length, &groups,
                                                           nullptr, nullptr, index);
    const float* const first = get_pointer_to_data_2010(&block, index);
    if (status == 0 && first != nullptr) {
        trace.values.assign(first, first + std::ptrdiff_t{length} * groups);
    }
    return trace;
}

double mean(const std::vector<float>& values)
{
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

std::string single_cell(const block_head& block)
{
    const auto values = member(block, 0).values;
    return values.empty() ? "?" : text("%.4f", static_cast<double>(values.front()));
}

/// Smallest, mean and largest value.
std::string trace_cell(const block_head& block, int decimals)
{
    const auto values = member(block, 0).values;
    if (values.empty()) {
        return "?";
    }
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    return text("%6.*f %6.*f %6.*f", decimals, static_cast<double>(*least), decimals, mean(values), decimals,
                static_cast<double>(*most));
}

std::string orbit_cell(const block_head& block)
{
    const auto x = member(block, 0).values;
    const auto y = member(block, 1).values;
    return x.empty() || y.empty() ? "?" : text("%+.3f %+.3f", mean(x), mean(y));
}

/// Smallest and largest mean of the members.
std::string gradients_cell(const block_head& block)
{
    std::vector<double> means;
    for (int i = 0; i < get_channel_number(block.dtype, &block); ++i) {
        const auto values = member(block, i).values;
        if (values.empty()) {
            return "?";
        }
        means.push_back(mean(values));
    }
    const auto [least, most] = std::minmax_element(means.begin(), means.end());
    return means.empty() ? "?" : text("%.1f..%.1f", *least, *most);
}

/// Mean and spread from the spectrum's statistics.
std::string energy_cell(const block_head& block)
{
    trox_spect_statistics_2010* statistics = nullptr;
    const int status = get_spect_params_for_data_type_2010(&block, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                           &statistics, 0);
    if (status != 0 || statistics == nullptr) {
        return "?";
    }
    trox_spect_statistics_2010 copy{}; // a block of the reader lies at any address
    std::memcpy(&copy, statistics, sizeof copy);
    return text("%.2f+-%.2f", static_cast<double>(copy.val[2]), static_cast<double>(copy.val[3]));
}

std::string image_cell(const block_head& block)
{
    const picture image = picture_of(block);
    if (image.width == 0) {
        return "?";
    }
    const double sum = std::accumulate(image.pixels.begin(), image.pixels.end(), 0.0);
    return text("%zux%zu %.1f", image.width, image.pixels.size() / image.width,
                sum / static_cast<double>(image.pixels.size()));
}

/// The first of the named values.
std::string name_value_cell(const block_head& block)
{
    const auto item = load<trox_name_value_channel>(block, offsetof(trox_name_value_block, values));
    if (!item) {
        return "?";
    }
    return text("%.2f", static_cast<double>(item->value));
}

std::string control_cell(const block_head& block)
{
    const auto head = load<trox_eqdata_head>(block);
    if (!head || head->type != DATA_STRING || head->length < 0 ||
        !trox_detail::range_fits(sizeof *head, static_cast<std::uint64_t>(head->length), 0, payload_size(block))) {
        return "?";
    }
    const auto* const first = reinterpret_cast<const char*>(payload(block) + sizeof *head);
    return {first, static_cast<std::size_t>(head->length)};
}

std::optional<double> slow_value(const block_head& block)
{
    const auto update = load<trox_upd_data_block_2010>(block);
    return update ? std::optional<double>(update->upd_ch_data) : std::nullopt;
}

std::string slow_cell(const block_head& block)
{
    const auto value = slow_value(block);
    return value ? text("%.2f", *value) : "?";
}

std::string pressure_cell(const block_head& block)
{
    const auto value = slow_value(block);
    return value ? text("%.1e", *value) : "?";
}

/// Pixels of `bytes` bytes each, most significant byte first; empty when the payload does not hold them.
picture pixels_of(const block_head& block, std::size_t head_size, std::int32_t width, std::int32_t height,
                  std::int32_t bytes)
{
    if (width < 1 || height < 1 || bytes < 1 || bytes > 4) {
        return {};
    }
    const auto size = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    const auto pixel_size = static_cast<std::size_t>(bytes);
    const std::size_t room = payload_size(block) - head_size;
    if (size > room / pixel_size) {
        return {};
    }
    picture image;
    image.width = static_cast<std::size_t>(width);
    const unsigned char* at = payload(block) + head_size;
    for (std::uint64_t i = 0; i < size; ++i) {
        double value = 0;
        for (std::size_t byte = 0; byte < pixel_size; ++byte) {
            value = value * 256 + *at++;
        }
        image.pixels.push_back(value);
    }
    return image;
}

} // namespace

std::optional<channel> channel_of(const block_head& block)
{
    const auto update = load<trox_upd_data_block_2010>(block);
    const bool is_update = block.dtype == TROX_UPD_BLOCK_2010 && update;
    const std::string name(is_update ? field(update->upd_prop) : field(block.chname));
    for (const channel candidate : all_channels) {
        if (name == linac().name(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::string cell(channel of, const block_head& block)
{
    switch (of) {
    case channel::charge:
        return single_cell(block);
    case channel::probe:
        return trace_cell(block, 2);
    case channel::forward:
        return trace_cell(block, 1);
    case channel::orbit:
        return orbit_cell(block);
    case channel::gradients:
        return gradients_cell(block);
    case channel::energy:
        return energy_cell(block);
    case channel::screen:
    case channel::laser_spot:
        return image_cell(block);
    case channel::feedback:
        return name_value_cell(block);
    case channel::oscillator:
        return control_cell(block);
    case channel::vacuum:
        return pressure_cell(block);
    case channel::quadrupole:
    case channel::rack:
        break;
    }
    return slow_cell(block);
}

trace_samples trace_of(const block_head& block)
{
    return member(block, 0);
}

picture picture_of(const block_head& block)
{
    if (block.dtype == TROX_BLOCK_IMAGE) {
        const auto head = load<trox_image_frame_head>(block);
        return head ? pixels_of(block, sizeof *head, head->w, head->h, head->bpp) : picture{};
    }
    const auto head = load<trox_image_ext_frame_head>(block);
    return head ? pixels_of(block, sizeof *head, head->aoi_width, head->aoi_height, head->bpp) : picture{};
}

std::string type_text(std::int32_t dtype)
{
    switch (dtype) {
    case TROX_BLOCK_1CHAN_2010:
        return "trace";
    case TROX_BLOCK_4CHAN_2010:
        return "4 channels";
    case TROX_BLOCK_8CHAN_2010:
        return "8 channels";
    case TROX_BLOCK_GENERIC_SPECT:
        return "spectrum";
    case TROX_BLOCK_IMAGE:
        return "image";
    case TROX_BLOCK_IMAGE_EXT:
        return "image, extended";
    case TROX_BLOCK_NAME_VALUE:
        return "name/value list";
    case TROX_BLOCK_EQDATA:
        return "control value";
    case TROX_UPD_BLOCK_2010:
        return "slow value";
    case TROX_ENV_BLOCK:
        return "environment";
    default:
        return text("type %d", dtype);
    }
}

} // namespace trox_demo
